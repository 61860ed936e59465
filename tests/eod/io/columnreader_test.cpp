// ColumnReader and FrameView against the record objects: seeded random frames of every published
// kind give the same values both ways, and damaged frames the same verdict.
#include "vq/eod/io/columnreader.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <random>

#include "vq/corelog.h"
#include "vqtest/logfiles.h"
#include "vqtest/records.h"

namespace vqtest {
namespace {

using namespace vq::eod;
using vq::eod::io::ColumnBatch;
using vq::eod::io::ColumnReader;
using vq::eod::io::ColumnReaderOptions;
using vq::eod::io::FrameBytes;
using vq::eod::io::FrameSource;
using Ptr = boost::shared_ptr<Serializable>;

// Frames from memory, one after the other.
class MemorySource : public FrameSource {
public:
    explicit MemorySource(std::vector<ByteBuffer> frames) : _frames(std::move(frames)) {}
    bool next(FrameBytes& frame) override {
        if (_next == _frames.size()) {
            return false;
        }
        frame.data = _frames[_next].data();
        frame.size = _frames[_next].size();
        ++_next;
        return true;
    }
    std::string name() const override { return "memory"; }

private:
    std::vector<ByteBuffer> _frames;
    std::size_t _next = 0;
};

Ptr readBack(const ByteBuffer& bytes) {
    int pos = 0;
    return SerializableFactory::newObject(bytes, pos);
}

// A record of a fixed layout with random fields, read by its own class.
Ptr randomFixed(char id, std::size_t field_bytes, std::mt19937& random) {
    ByteBuffer bytes;
    Serializable::writeHeader(bytes, id, static_cast<unsigned int>(field_bytes + 2));
    bytes.push_back(1);
    for (std::size_t i = 0; i < field_bytes; ++i) {
        bytes.push_back(static_cast<unsigned char>(random()));
    }
    bytes.push_back(0);
    return readBack(bytes);
}

template <typename T>
boost::shared_ptr<T> as(const Ptr& p) {
    return boost::dynamic_pointer_cast<T>(p);
}

// The eye records of a frame: pupil, eye closure and gaze.
boost::shared_ptr<EyeOutputData> randomEye(std::mt19937& random) {
    auto eye = as<EyeOutputData>(randomFixed(object_id::EYE_OUTPUT_DATA, 0, random));
    eye->addSubObject(randomFixed(object_id::PUPIL_OUTPUT_DATA, 32, random));
    eye->addSubObject(randomFixed(object_id::EYE_CLOSURE_OUTPUT_DATA, 33, random));
    eye->addSubObject(randomFixed(object_id::GAZE_OUTPUT_DATA, 44, random));
    return eye;
}

// The engine state (with the head tracker's) and the inertia record.
void addEngineAndInertia(EngineOutputData& frame, std::mt19937& random) {
    auto engine = randomFixed(object_id::ENGINE_STATE_OUTPUT_DATA, 4, random);
    as<EngineOutputBase>(engine)->addSubObject(
        randomFixed(object_id::HEAD_TRACKER_STATE_OUTPUT_DATA, 4, random));
    frame.addSubObject(engine);
    frame.addSubObject(randomFixed(object_id::INERTIA_OUTPUT_DATA, 24, random));
}

// A frame of every published kind with random values; odd seeds give the older layout (head
// record of the first version held by the frame, GPS of the first version, eye records directly).
boost::shared_ptr<EngineOutputData> randomFrame(unsigned seed) {
    std::mt19937 random(seed);
    boost::shared_ptr<EngineOutputData> frame(new EngineOutputData);
    frame->setFrameNum(seed * 7);
    frame->addSubObject(randomFixed(object_id::TIMING_OUTPUT_DATA, 22, random));
    const auto eye = randomEye(random);
    if (seed % 2 == 0) {
        boost::shared_ptr<FaceSetOutputData> face(new FaceSetOutputData);
        face->addSubObject(randomFixed(object_id::HEAD_OUTPUT_DATA_V2, 114, random));
        face->addSubObject(eye);
        frame->addSubObject(face);
        frame->addSubObject(randomFixed(object_id::GPS_OUTPUT_DATA_V2, 29, random));
    } else {
        frame->addSubObject(randomFixed(object_id::HEAD_OUTPUT_DATA, 54, random));
        frame->addSubObject(eye);
        frame->addSubObject(randomFixed(object_id::GPS_OUTPUT_DATA, 17, random));
    }
    addEngineAndInertia(*frame, random);
    boost::shared_ptr<WorldOutputDataV2> world(new WorldOutputDataV2);
    for (char id :
         {object_id::GAZE_INTERSECTION_OUTPUT_DATA_V4, object_id::GAZE_INTERSECTION_OUTPUT_DATA_V4,
          object_id::GAZE_INTERSECTION_OUTPUT_DATA_V3, object_id::GAZE_INTERSECTION_OUTPUT_DATA_V1,
          object_id::GAZE_INTERSECTION_OUTPUT_DATA_V2, object_id::HEAD_INTERSECTION_OUTPUT_DATA_V1,
          object_id::HEAD_INTERSECTION_OUTPUT_DATA_V2}) {
        world->addSubObject(readBack(randomRecord(id, random)));
    }
    frame->addSubObject(world);
    return frame;
}

ColumnBatch readAll(const std::vector<ByteBuffer>& frames, Table table) {
    std::vector<std::unique_ptr<FrameSource>> sources;
    sources.push_back(std::make_unique<MemorySource>(frames));
    ColumnReaderOptions options;
    options.table = table;
    options.batch_rows = 1000;
    ColumnReader reader(std::move(sources), options);
    ColumnBatch batch;
    reader.next(batch);
    return batch;
}

// The value of a named column in a row, as a double (bit-equal for NaN too).
double cell(const ColumnBatch& batch, const char* name, std::size_t row) {
    const int index = batch.find(name);
    EXPECT_GE(index, 0) << name;
    const io::Column& c = batch.column(static_cast<std::size_t>(index));
    EXPECT_TRUE(c.valid(row)) << name;
    switch (c.type()) {
        case ColumnType::BOOL:
            return c.values<std::uint8_t>()[row];
        case ColumnType::INT8:
            return c.values<std::int8_t>()[row];
        case ColumnType::INT32:
            return c.values<std::int32_t>()[row];
        case ColumnType::UINT32:
            return c.values<std::uint32_t>()[row];
        case ColumnType::FLOAT32:
            return c.values<float>()[row];
        default:
            return c.values<double>()[row];
    }
}

void expectSame(double view, double object, const std::string& what) {
    if (std::isnan(object)) {
        EXPECT_TRUE(std::isnan(view)) << what;
    } else {
        EXPECT_EQ(view, object) << what;
    }
}

TEST(ColumnReader, EveryPublishedKindGivesTheValuesOfTheRecordObjects) {
    constexpr unsigned FRAMES = 60;
    std::vector<ByteBuffer> bytes;
    std::vector<boost::shared_ptr<EngineOutputData>> objects;
    for (unsigned seed = 0; seed < FRAMES; ++seed) {
        bytes.emplace_back();
        randomFrame(seed)->serialize(bytes.back());
        objects.push_back(as<EngineOutputData>(readBack(bytes.back())));
        ASSERT_TRUE(objects.back()) << seed;
        FrameView view(bytes.back().data(), bytes.back().size());
        ASSERT_TRUE(view.exact()) << seed << ' ' << viewStatusName(view.status());
        EXPECT_EQ(view.bytes(), bytes.back().size());
    }
    const ColumnBatch batch = readAll(bytes, Table::FRAME);
    ASSERT_EQ(batch.numRows(), FRAMES);
    for (std::size_t row = 0; row < FRAMES; ++row) {
        const EngineOutputData& f = *objects[row];
        const std::string seed = " seed " + std::to_string(row);
        auto same = [&](const std::string& name, double value) {
            expectSame(cell(batch, name.c_str(), row), value, name + seed);
        };
        same("frame_num", f.frameNum());
        const auto timing = f.timingOutputData();
        same("time_s", timing->experimentTime());
        same("timing_frame_time_secs", timing->frameTimeSecs());
        same("timing_frame_time_msecs", timing->frameTimeMSecs());
        same("timing_approx_delay", timing->approxDelay());
        same("timing_annotation_label_id", timing->annotationLabelID());
        const auto head = f.headOutputData();
        const auto eye = f.eyeOutputData();
        same("head_tracking", head->isTracking());
        for (int i = 0; i < 3; ++i) {
            const std::string a(1, "xyz"[i]);
            same("head_position_" + a, head->headPosition()[i]);
            same("head_rotation_" + a + "_rad", head->headRotation()[i]);
            same("head_left_eyeball_" + a, head->headEyeBallPos(LEFT_EYE)[i]);
            same("pupil_right_" + a, eye->pupilOutputData()->pupilPosition(RIGHT_EYE)[i]);
            same("gaze_left_eyeball_" + a, eye->gazeOutputData()->eyeballCentre(LEFT_EYE)[i]);
        }
        same("head_quaternion_w", head->headRotationQuaternion()[0]);
        same("head_quaternion_z", head->headRotationQuaternion()[3]);
        same("head_position_confidence", head->headPositionConfidence());
        same("head_model_quality_level", head->modelQualityLevel());
        same("pupil_left_diameter", eye->pupilOutputData()->pupilDiameter(LEFT_EYE));
        const auto lid = eye->eyeClosureOutputData();
        same("eyelid_left_closure", lid->eyeClosure(LEFT_EYE));
        same("eyelid_right_confidence", lid->eyeClosureConfidence(RIGHT_EYE));
        same("eyelid_calibration_status", lid->eyeClosureCalibStatus());
        same("blinking", lid->blinking());
        same("blink_frequency", lid->blinkFrequency());
        same("blink_average_duration", lid->averageBlinkDuration());
        same("perclos", lid->perclos());
        auto gaze = boost::const_pointer_cast<GazeOutputData>(eye->gazeOutputData());
        same("gaze_right_quality", gaze->gazeQualityLevel(RIGHT_EYE));
        same("gaze_left_pitch_rad", gaze->gazeRotation(LEFT_EYE)[0]);
        same("gaze_right_yaw_rad", gaze->gazeRotation(RIGHT_EYE)[1]);
        same("gaze_calibrated", gaze->gazeCalibrated());
        same("saccade", gaze->saccade());
        same("engine_state", f.engineStateOutputData()->state());
        same("head_tracker_state",
             f.engineStateOutputData()->headtrackerStateOutputData()->state());
        const auto inertia = f.inertiaOutputData();
        same("inertia_angular_rate_y", inertia->angularRateY());
        same("inertia_accel_z", inertia->accelZ());
        if (const auto gps = f.gpsOutputDataV2()) {
            same("gps_valid", gps->isDataValid());
            same("gps_gmt_time", gps->gmtTime());
            same("gps_speed_km_h", gps->speed());
            same("gps_course", gps->course());
        } else {
            same("gps_gmt_time", f.gpsOutputData()->gmtTime());
        }
        const auto target = f.worldOutputData()->subObjectAs<GazeIntersectionOutputDataV4>(
            object_id::GAZE_INTERSECTION_OUTPUT_DATA_V4);
        if (!target->labels().empty()) {
            const ObjectIntersection hit = target->firstIntersection();
            same("gaze_target_y", hit.world[1]);
            same("gaze_target_plane_x", hit.screen[0]);
        }
    }

    // The long tables: a row per one-object record and per label of the labelled ones.
    std::size_t gaze_rows = 0;
    std::size_t head_rows = 0;
    for (const auto& f : objects) {
        for (const auto& record : f->worldOutputData()->subObjects()) {
            const auto labelled = boost::dynamic_pointer_cast<IntersectionOutputBaseV2>(record);
            const std::size_t rows = labelled ? labelled->labels().size() : 1;
            const char id = record->objectID();
            (id == object_id::HEAD_INTERSECTION_OUTPUT_DATA_V1 ||
                     id == object_id::HEAD_INTERSECTION_OUTPUT_DATA_V2
                 ? head_rows
                 : gaze_rows) += rows;
        }
    }
    EXPECT_EQ(readAll(bytes, Table::GAZE_INTERSECTIONS).numRows(), gaze_rows);
    EXPECT_EQ(readAll(bytes, Table::HEAD_INTERSECTIONS).numRows(), head_rows);
}

// A frame of shape 0 to 3, random values: 0 the common frame with a gaze target of one label
// (in every seventh frame its world point is of another index) and a head target, 1 that with
// GPS and a second gaze target instead, 2 a target of two labels (none in every third frame, no
// world container in every fifth), 3 the older head record and no world container.
boost::shared_ptr<EngineOutputData> shapedFrame(unsigned number, unsigned shape,
                                                std::mt19937& random) {
    boost::shared_ptr<EngineOutputData> frame(new EngineOutputData);
    frame->setFrameNum(number);
    auto timing = as<TimingOutputData>(randomFixed(object_id::TIMING_OUTPUT_DATA, 22, random));
    timing->setExperimentTime(number / 60.0);
    frame->addSubObject(timing);
    const auto eye = randomEye(random);
    if (shape == 3) {
        frame->addSubObject(randomFixed(object_id::HEAD_OUTPUT_DATA, 54, random));
        frame->addSubObject(eye);
    } else {
        boost::shared_ptr<FaceSetOutputData> face(new FaceSetOutputData);
        face->addSubObject(randomFixed(object_id::HEAD_OUTPUT_DATA_V2, 114, random));
        face->addSubObject(eye);
        frame->addSubObject(face);
    }
    addEngineAndInertia(*frame, random);
    if (shape == 1) {
        frame->addSubObject(randomFixed(object_id::GPS_OUTPUT_DATA_V2, 29, random));
    }
    if (shape != 3 && (shape != 2 || number % 5 != 0)) {
        std::uniform_real_distribution<float> value(-2, 2);
        boost::shared_ptr<GazeIntersectionOutputDataV4> target(new GazeIntersectionOutputDataV4);
        if (shape != 2) {
            target->addIntersection("screen", {value(random), value(random), value(random)},
                                    {value(random), value(random)}, {7, 9});
            if (number % 7 == 0) {  // a world point of index 1, which is no label's
                ByteBuffer bytes;
                target->serialize(bytes);
                bytes[35] = 1;  // header, flag, eye, label count, "screen", its index, count
                target = as<GazeIntersectionOutputDataV4>(readBack(bytes));
            }
        } else {
            target->addIntersection("left mirror", {value(random), value(random), value(random)});
            target->addIntersection("road", {value(random), value(random), value(random)});
        }
        boost::shared_ptr<WorldOutputDataV2> world(new WorldOutputDataV2);
        if (shape != 2 || number % 3 != 0) {
            world->addSubObject(target);
        }
        if (shape == 0) {  // the head's target: a row of the head table
            boost::shared_ptr<HeadIntersectionOutputDataV2> head(new HeadIntersectionOutputDataV2);
            head->addIntersection("road", {value(random), value(random), value(random)},
                                  {value(random), value(random)}, {3, 4});
            world->addSubObject(head);
        }
        if (shape == 1) {  // a second target: two rows of the long table
            boost::shared_ptr<GazeIntersectionOutputDataV4> more(new GazeIntersectionOutputDataV4);
            more->addIntersection("mirror", {value(random), value(random), value(random)});
            world->addSubObject(more);
        }
        frame->addSubObject(world);
    }
    return frame;
}

// Every column of every batch of a read, as bytes: validity, then values (texts for strings).
std::string tableBytes(const std::string& path, const ColumnReaderOptions& options) {
    ColumnReader reader(path, options);
    ColumnBatch batch;
    std::string out;
    while (reader.next(batch)) {
        for (std::size_t i = 0; i < batch.numColumns(); ++i) {
            const io::Column& c = batch.column(i);
            const auto* valid = reinterpret_cast<const char*>(c.validity());
            out.append(c.info().name).append(valid, c.numRows());
            if (c.type() == ColumnType::STRING) {
                const auto* offsets = c.values<std::uint32_t>();
                out.append(c.chars() + offsets[0], offsets[c.numRows()] - offsets[0]);
            } else {
                out.append(static_cast<const char*>(c.data()),
                           c.numRows() * columnTypeSize(c.type()));
            }
        }
    }
    return out;
}

// Frames whose shapes repeat for a while are read a run at a time: the batches are those of the
// frames read one by one, in a single file, merged from per-kind files and from a compressed
// file (all three alike), whatever the selection of frames and columns and wherever a batch or a
// chunk ends.
TEST(ColumnReader, RunsOfRepeatedShapesGiveTheRowsOfFramesReadOneByOne) {
    TempDir dir;
    io::EngineOutputDataFileWriter single;
    single.newFile(dir / "single.vql", 4096);
    io::EngineOutputDataFileWriter kinds;
    std::vector<char> ids;
    for (const object_id::Kind& kind : object_id::KINDS) {
        if (kind.log_file_name != nullptr) {
            ids.push_back(kind.id);
        }
    }
    std::filesystem::create_directory(dir / "kinds");
    kinds.newFiles(ids, dir / "kinds", std::string(), 4096);
    io::CompressingFileWriter packed;
    io::CompressingFileWriter::Options small;
    small.chunk_bytes = 20000;  // several chunks, a run ends with each
    packed.newFile(dir / "packed.vqz", small);
    std::mt19937 random(5);
    unsigned number = 0;
    while (number < 900) {
        const unsigned shape = random() % 4;
        for (unsigned n = 1 + random() % 40; n > 0; --n) {
            const auto frame = shapedFrame(number, shape, random);
            single.writeData(frame);
            kinds.writeData(frame);
            packed.writeData(*frame);
            number += 1 + (random() % 8 == 0 ? 1 : 0);
        }
    }
    single.closeFiles();
    kinds.closeFiles();
    packed.closeFile();
    constexpr std::uint32_t LAST = 0xFFFFFFFF;
    constexpr std::uint64_t ALL = ~0ull;
    const std::vector<std::string> some = {"gaze_target_label", "head_rotation_y_rad", "gps_course",
                                           "frame_num"};
    struct Case {
        const char* what;
        Table table;
        std::size_t batch_rows;
        std::uint32_t first;
        std::uint32_t last;
        std::uint64_t most;
        std::vector<std::string> columns;
    } cases[] = {
        {"everything", Table::FRAME, 100, 0, LAST, ALL, {}},
        {"a range of frames in small batches", Table::FRAME, 7, 130, 777, ALL, {}},
        {"at most 301 frames", Table::FRAME, 64, 0, LAST, 301, {}},
        {"gaze intersections, small batches", Table::GAZE_INTERSECTIONS, 5, 0, LAST, ALL, {}},
        {"gaze intersections, 200 frames", Table::GAZE_INTERSECTIONS, 1000, 40, LAST, 200, {}},
        {"some columns", Table::FRAME, 1000, 0, LAST, ALL, some},
        {"head intersections", Table::HEAD_INTERSECTIONS, 50, 0, LAST, ALL, {}},
    };
    for (const Case& c : cases) {
        std::string single;  // the same frames in every form give the same table
        for (const std::string& path : {dir / "single.vql", dir / "kinds", dir / "packed.vqz"}) {
            ColumnReaderOptions options;
            options.table = c.table;
            options.batch_rows = c.batch_rows;
            options.first_frame = c.first;
            options.last_frame = c.last;
            options.max_frames = c.most;
            options.columns = c.columns;
            const std::string runs = tableBytes(path, options);
            // A time range that takes every frame reads them one by one.
            options.start_s = std::numeric_limits<double>::lowest();
            EXPECT_EQ(runs, tableBytes(path, options)) << c.what << ", " << path;
            EXPECT_GT(runs.size(), 1000u) << c.what;
            if (single.empty()) {
                single = runs;
            }
            EXPECT_EQ(runs, single) << c.what << ", " << path;
        }
    }
}

// Damaged per-kind recordings: the rows before the error and the error of the record objects.
TEST(ColumnReader, DamagedRecordingsGiveTheFramesAndTheErrorOfTheRecordObjects) {
    struct Case {
        const char* what;
        std::uintmax_t keep_of_12;  // of the Timing file, in twelfths
        std::size_t at;             // of the byte changed, in twelfths of the file
        unsigned char flip;         // XOR into that byte, or 0
        bool fails;
    } cases[] = {{"cut short (a writer still writing)", 7, 0, 0, false},
                 {"a record that is not a frame", 12, 0, 0x03, true},
                 {"a size byte changed", 12, 6, 0x01, true},
                 {"intact", 12, 0, 0, false}};
    for (const Case& c : cases) {
        TempDir dir;
        io::EngineOutputDataFileWriter writer;
        writer.newFiles({object_id::TIMING_OUTPUT_DATA, object_id::INERTIA_OUTPUT_DATA}, dir.path(),
                        std::string(), 4096);
        for (unsigned seed = 0; seed < 12; ++seed) {
            writer.writeData(randomFrame(seed));
        }
        writer.closeFiles();
        const std::string timing = dir / "Timing.vql";
        std::filesystem::resize_file(timing,
                                     std::filesystem::file_size(timing) * c.keep_of_12 / 12);
        if (c.flip != 0) {
            ByteBuffer bytes = readFile(timing);
            bytes[bytes.size() * c.at / 12 / 36 * 36 + 2] ^= c.flip;  // 36 bytes a frame
            writeFile(timing, bytes);
        }
        std::vector<std::uint32_t> expected;
        std::string expected_error;
        io::EngineOutputDataFileReader objects;
        objects.openFiles(dir.path());
        try {
            while (auto frame = objects.readData()) {
                expected.push_back(frame->frameNum());
            }
        } catch (const EODError& error) {
            expected_error = error.what();
        }
        std::vector<std::uint32_t> got;
        std::string error_text;
        ColumnReaderOptions options;
        options.batch_rows = 2;
        try {
            ColumnReader reader(dir.path(), options);
            ColumnBatch batch;
            while (reader.next(batch)) {
                const std::uint32_t* numbers = batch.column(0).values<std::uint32_t>();
                got.insert(got.end(), numbers, numbers + batch.numRows());
            }
        } catch (const EODError& error) {
            error_text = error.what();
        }
        EXPECT_EQ(expected_error.empty(), !c.fails) << c.what;
        EXPECT_EQ(got, expected) << c.what;
        EXPECT_EQ(error_text, expected_error) << c.what;
    }
}

TEST(FrameView, DamagedFramesAreNeverTakenWhereTheRecordObjectsRefuseThem) {
    ByteBuffer good;
    randomFrame(4)->serialize(good);
    std::mt19937 random(11);
    for (int trial = 0; trial < 3000; ++trial) {
        ByteBuffer bytes = good;
        if (trial < 200) {
            bytes.resize(static_cast<std::size_t>(random()) % good.size());
        } else {
            for (int flips = 0; flips <= trial % 3; ++flips) {
                bytes[static_cast<std::size_t>(random()) % bytes.size()] ^=
                    static_cast<unsigned char>(1u << (random() % 8));
            }
        }
        const FrameView view(bytes.data(), bytes.size());
        if (!view.exact()) {
            continue;
        }
        Ptr object;
        EXPECT_NO_THROW(object = readBack(bytes)) << trial;
        const auto frame = as<EngineOutputData>(object);
        ASSERT_TRUE(frame) << trial;
        EXPECT_EQ(frame->frameNum(), view.frameNum()) << trial;
    }
}

}  // namespace
}  // namespace vqtest
