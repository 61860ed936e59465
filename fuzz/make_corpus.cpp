// Writes the seed corpora of the fuzz targets from real encodings of every record kind.
//
//   make_corpus <directory>     (normally: build/release/fuzz/make_corpus fuzz/corpus)
//
// For each record class of the library (objectids.h) it makes a default record and one with
// random contents (seeded, so the output is the same on every run), and writes, per target,
// files named "kind_<ClassName>": the records alone and inside frames for the factory targets,
// a recording of three frames for the record file, a frame stream cut in pieces for the frame
// client, framed payloads for the serial link. A few more seeds hold whole engine frames and
// per-kind log directories. Existing files of the same names are replaced; others are kept.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "eod/io/serialframing_internal.h"
#include "vq/corelog.h"
#include "vqtest/logfiles.h"
#include "vqtest/records.h"

namespace {

using namespace vq::eod;
namespace fs = std::filesystem;
using Records = std::vector<boost::shared_ptr<Serializable>>;

// The log directory target's file separator (log_directory_fuzzer.cpp).
const std::string LOG_SEPARATOR = "\n--vql--\n";

ByteBuffer serialized(const Serializable& record) {
    ByteBuffer bytes;
    record.serialize(bytes);
    return bytes;
}

ByteBuffer operator+(ByteBuffer head, const ByteBuffer& tail) {
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
}

boost::shared_ptr<Serializable> readBack(const ByteBuffer& bytes) {
    if (bytes.empty()) {
        return nullptr;
    }
    int pos = 0;
    try {
        return SerializableFactory::newObject(bytes, pos);
    } catch (const SerializableError&) {
        return nullptr;
    }
}

// A record of class `id` with random contents that reads back: the test records' generator, or
// for records of fixed layout a default record's data with every byte between the flag and the
// count drawn at random.
boost::shared_ptr<Serializable> randomRecord(char id, std::mt19937& random) {
    if (auto record = readBack(vqtest::randomRecord(id, random))) {
        return record;
    }
    ByteBuffer bytes = serialized(*SerializableFactory::newObject(id));
    const std::size_t data_start =
        bytes.size() - SerializableFactory::newObject(id)->numDataBytes();
    for (std::size_t i = data_start + 1; i + 1 < bytes.size(); ++i) {
        bytes[i] = static_cast<unsigned char>(random());
    }
    auto record = readBack(bytes);
    return record && serialized(*record) == bytes ? record : SerializableFactory::newObject(id);
}

boost::shared_ptr<EngineOutputData> frameOf(unsigned int number, const Records& records) {
    boost::shared_ptr<EngineOutputData> frame(new EngineOutputData);
    frame->setFrameNum(number);
    for (const auto& record : records) {
        try {
            frame->addSubObject(boost::shared_ptr<Serializable>(record->clone()));
        } catch (const std::exception&) {
            // not a record that a frame holds
        }
    }
    return frame;
}

// A frame as an engine writes it: times, head pose, eyes and the engine's state.
boost::shared_ptr<EngineOutputData> engineFrame(unsigned int number) {
    auto timing = boost::shared_ptr<TimingOutputData>(new TimingOutputData);
    timing->setExperimentTime(0.016 * number);
    timing->setApproxDelay(0.012f);
    auto head = boost::shared_ptr<HeadOutputDataV2>(new HeadOutputDataV2);
    head->setTrackingState(true);
    head->setHeadPosition({0.02, -0.01, 0.65 + 0.001 * number});
    head->setHeadRotation({0.05, -0.1, 0.0});
    head->setHeadPositionConfidence(0.9);
    auto pupil = boost::shared_ptr<PupilOutputData>(new PupilOutputData);
    pupil->setPupilDiameter(RIGHT_EYE, 0.0041f);
    pupil->setPupilDiameter(LEFT_EYE, 0.0039f);
    auto closure = boost::shared_ptr<EyeClosureOutputData>(new EyeClosureOutputData);
    closure->setEyeClosure(RIGHT_EYE, 0.1f);
    closure->setEyeClosure(LEFT_EYE, 0.12f);
    auto gaze = boost::shared_ptr<GazeOutputData>(new GazeOutputData);
    for (EyeId eye : {RIGHT_EYE, LEFT_EYE}) {
        const float side = eye == RIGHT_EYE ? -1.0f : 1.0f;
        gaze->setGazeQualityLevel(eye, IR_GAZE);
        gaze->setEyeballCentre(eye, {side * 0.032f, 0.0f, 0.6f});
        gaze->setGazeRotationPitchYaw(eye, {0.0f, side * 0.05f});
    }
    auto eyes = boost::shared_ptr<EyeOutputData>(new EyeOutputData);
    eyes->addSubObject(pupil);
    eyes->addSubObject(closure);
    eyes->addSubObject(gaze);
    auto state = boost::shared_ptr<EngineStateOutputData>(new EngineStateOutputData(1));
    state->addSubObject(
        boost::shared_ptr<HeadTrackerStateOutputData>(new HeadTrackerStateOutputData(2)));
    return frameOf(number, {timing, head, eyes, state});
}

void writeFile(const fs::path& path, const ByteBuffer& bytes) {
    fs::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
}

ByteBuffer readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return ByteBuffer(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A recording of `frames` written per kind by the log writer, as the log directory target's
// input: the options byte, then the files separated.
ByteBuffer logDirectory(const std::vector<boost::shared_ptr<EngineOutputData>>& frames,
                        const std::vector<char>& kinds, unsigned char options) {
    vqtest::TempDir dir;
    io::EngineOutputDataFileWriter writer;
    writer.newFiles(kinds, dir.path(), "", 4096);
    for (const auto& frame : frames) {
        writer.writeData(*frame);
    }
    writer.closeFiles();
    ByteBuffer input{options};
    bool first = true;
    for (const auto& entry : fs::directory_iterator(dir.path())) {
        if (!first) {
            input.insert(input.end(), LOG_SEPARATOR.begin(), LOG_SEPARATOR.end());
        }
        first = false;
        const ByteBuffer file = readFile(entry.path());
        input.insert(input.end(), file.begin(), file.end());
    }
    return input;
}

ByteBuffer serialFrame(const ByteBuffer& payload) {
    ByteBuffer wire;
    io::detail::appendFrame(wire, payload.data(), payload.size());
    return wire;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_corpus <directory>\n");
        return 2;
    }
    const fs::path out = argv[1];
    std::mt19937 random(20261122);
    int files = 0;
    auto write = [&](const std::string& target, const std::string& name, const ByteBuffer& bytes) {
        writeFile(out / target / name, bytes);
        ++files;
    };

    for (int value = -128; value < 128; ++value) {
        const char id = static_cast<char>(value);
        const char* class_name = object_id::className(id);
        if (class_name == nullptr || !SerializableFactory::newObject(id)) {
            continue;
        }
        const auto plain = SerializableFactory::newObject(id);
        const auto filled = randomRecord(id, random);
        const auto other = randomRecord(id, random);
        const std::string name = std::string("kind_") + class_name;
        const ByteBuffer alone = serialized(*filled);
        const ByteBuffer in_frame = serialized(*frameOf(3, {filled}));

        write("factory_buffer", name, alone + in_frame + serialized(*plain));
        write("factory_stream", name, in_frame + alone);
        write("record_file", name,
              serialized(*frameOf(1, {plain})) + in_frame + serialized(*frameOf(5, {other})));
        // Three piece sizes (1, 7 and 200 bytes), a frame, a record that is not one, a frame.
        write("tcp_client", name,
              ByteBuffer{3, 0, 6, 199} + in_frame + alone + serialized(*frameOf(4, {other})));
        // Noise with a false start, then two frames sharing a marker.
        ByteBuffer second = serialFrame(alone);
        second.erase(second.begin(), second.begin() + 2);
        write("serial_frame", name, ByteBuffer{0x13, 0xAA} + serialFrame(in_frame) + second);
    }

    // Whole engine frames.
    std::vector<boost::shared_ptr<EngineOutputData>> frames;
    ByteBuffer recording;
    for (unsigned int number = 1; number <= 4; ++number) {
        frames.push_back(engineFrame(number));
        recording = recording + serialized(*frames.back());
    }
    write("factory_buffer", "engine_frames", recording);
    write("factory_stream", "engine_frames", recording);
    write("record_file", "engine_frames", recording);
    write("tcp_client", "engine_frames", ByteBuffer{2, 0, 40} + recording);
    write("serial_frame", "engine_frames", serialFrame(recording));

    // Log directories: per kind, merged whole and for the head only; one single-file recording.
    const std::vector<char> kinds = {object_id::TIMING_OUTPUT_DATA, object_id::HEAD_OUTPUT_DATA_V2,
                                     object_id::EYE_OUTPUT_DATA};
    write("log_directory", "per_kind", logDirectory(frames, kinds, 0));
    write("log_directory", "per_kind_head_only",
          logDirectory(frames, kinds, static_cast<unsigned char>(object_id::HEAD_OUTPUT_DATA_V2)));
    write("log_directory", "single_file", ByteBuffer{0} + recording);
    std::vector<boost::shared_ptr<EngineOutputData>> gaps = {frames[0], frames[2]};
    write("log_directory", "two_files_with_gaps",
          ByteBuffer{0} + serialized(*frames[1]) + serialized(*frames[3]) +
              ByteBuffer(LOG_SEPARATOR.begin(), LOG_SEPARATOR.end()) + serialized(*frames[0]) +
              serialized(*frames[2]));

    // Frames of one shape holding a gaze and a head target of one label each, so that the column
    // reader reads the long tables a run at a time.
    ByteBuffer targets{0};
    for (unsigned int number = 1; number <= 12; ++number) {
        boost::shared_ptr<GazeIntersectionOutputDataV4> gaze(new GazeIntersectionOutputDataV4);
        gaze->setEyeId(LEFT_EYE);
        gaze->addIntersection("screen", {0.1f * number, 0.2f, 0.3f}, {0.4f, 0.5f}, {7, 9});
        boost::shared_ptr<HeadIntersectionOutputDataV2> head(new HeadIntersectionOutputDataV2);
        head->addIntersection("road", {0.6f, 0.7f, 0.1f * number}, {0.8f, 0.9f}, {3, 4});
        boost::shared_ptr<WorldOutputDataV2> world(new WorldOutputDataV2);
        world->addSubObject(gaze);
        world->addSubObject(head);
        const boost::shared_ptr<EngineOutputData> frame = engineFrame(number);
        frame->addSubObject(world);
        targets = targets + serialized(*frame);
    }
    write("log_directory", "single_file_targets", targets);

    std::printf("wrote %d seed files under %s\n", files, out.string().c_str());
    return 0;
}
