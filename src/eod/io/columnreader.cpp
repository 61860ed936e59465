#include "vq/eod/io/columnreader.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "eod/io/paths_internal.h"
#include "eod/precondition_internal.h"
#include "eod/utils/geomutils_internal.h"
#include "vq/eod/engineoutputdata.h"
#include "vq/eod/frameview.h"
#include "vq/eod/io/compressedframesource.h"
#include "vq/eod/io/engineoutputdatafileerror.h"
#include "vq/eod/io/engineoutputdatafilereader.h"
#include "vq/eod/serializableerror.h"
#include "vq/eod/serializablefactory.h"
#include "vq/eod/utils/geomutils.h"

namespace vq::eod::io {

FrameSource::~FrameSource() = default;

int ColumnBatch::find(const std::string& name) const {
    for (std::size_t i = 0; i < _columns.size(); ++i) {
        if (name == _columns[i].info().name) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

namespace {

namespace id = object_id;

enum class Got { FRAME, END, DAMAGED };

// Where the reader takes frames from: views them one at a time.
class Input {
public:
    virtual ~Input() = default;
    // Views the next frame into `view` (again the same one until consume()).
    virtual Got view(FrameView& view) = 0;
    virtual void consume(const FrameView& view) = 0;
};

// A record file, mapped into memory and read front to back. A frame that the view does not take
// as it stands is DAMAGED: the reader then goes on with the record objects. Pages behind the
// read position are given back every DROP_BYTES, so that the resident memory stays bounded
// whatever the file's length.
class MappedFile : public Input {
public:
    static constexpr std::size_t DROP_BYTES = ColumnReader::BLOCK_BYTES;

    explicit MappedFile(const std::string& path) {
        const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) {
            throw EngineOutputDataFileError(
                "EngineOutputDataFileReader::openFiles - could not open file " + path);
        }
        struct stat info {};
        if (::fstat(fd, &info) == 0 && info.st_size > 0) {
            void* map = ::mmap(nullptr, static_cast<std::size_t>(info.st_size), PROT_READ,
                               MAP_PRIVATE, fd, 0);
            if (map != MAP_FAILED) {
                _data = static_cast<const unsigned char*>(map);
                _size = static_cast<std::size_t>(info.st_size);
                ::madvise(map, _size, MADV_SEQUENTIAL);
            } else {
                _failed = true;  // the objects will read it, or say why not
            }
        }
        ::close(fd);
    }
    ~MappedFile() override {
        if (_data != nullptr) {
            ::munmap(const_cast<unsigned char*>(_data), _size);
        }
    }
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    Got view(FrameView& view) override {
        if (_failed) {
            return Got::DAMAGED;
        }
        if (_pos == _size) {
            return Got::END;
        }
        if (view.reset(_data + _pos, _size - _pos) != ViewStatus::OK || !view.exact()) {
            return Got::DAMAGED;
        }
        return Got::FRAME;
    }
    void consume(const FrameView& view) override {
        _pos += view.bytes();
        if (_pos - _dropped >= DROP_BYTES) {
            const std::size_t page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
            const std::size_t end = _pos / page * page;
            ::madvise(const_cast<unsigned char*>(_data) + _dropped, end - _dropped, MADV_DONTNEED);
            _dropped = end;
        }
    }

private:
    const unsigned char* _data = nullptr;
    std::size_t _size = 0;
    std::size_t _pos = 0;
    std::size_t _dropped = 0;
    bool _failed = false;
};

// A frame as the record objects write it back, for frames the view leaves to them.
bool serializeFrame(const Serializable& frame, ByteBuffer& bytes, FrameView& view) {
    bytes.clear();
    frame.serialize(bytes);
    return view.reset(bytes.data(), bytes.size()) == ViewStatus::OK;
}

// A FrameSource of another format; frames the view does not take as they stand go through the
// record factory, which gives the error or the frame's records.
class SourceInput : public Input {
public:
    explicit SourceInput(std::unique_ptr<FrameSource> source) : _source(std::move(source)) {}
    Got view(FrameView& view) override {
        if (_held) {
            return Got::FRAME;
        }
        FrameBytes frame;
        if (!_source->next(frame)) {
            return Got::END;
        }
        if (view.reset(frame.data, frame.size) != ViewStatus::OK || !view.exact()) {
            ByteBuffer copy(frame.data, frame.data + frame.size);
            int pos = 0;
            boost::shared_ptr<Serializable> object = SerializableFactory::newObject(copy, pos);
            auto decoded = boost::dynamic_pointer_cast<EngineOutputData>(object);
            if (!decoded) {
                throw SerializableError("ColumnReader::next() - not a whole frame in " +
                                        _source->name());
            }
            if (!serializeFrame(*decoded, _rewritten, view)) {
                throw SerializableError("ColumnReader::next() - frame too large to view in " +
                                        _source->name());
            }
        }
        _held = true;
        return Got::FRAME;
    }
    void consume(const FrameView&) override { _held = false; }

private:
    std::unique_ptr<FrameSource> _source;
    ByteBuffer _rewritten;
    bool _held = false;
};

// The merged frames of EngineOutputDataFileReader, written back and viewed.
class ObjectInput : public Input {
public:
    ObjectInput(EngineOutputDataFileReader reader, std::uint64_t skip)
        : _reader(std::move(reader)), _skip(skip) {}
    Got view(FrameView& view) override {
        while (!_held) {
            boost::shared_ptr<EngineOutputData> frame = _reader.readData();
            if (!frame) {
                return Got::END;
            }
            if (_skip > 0) {
                --_skip;  // the reader has taken it from the bytes already
                continue;
            }
            if (!serializeFrame(*frame, _bytes, view)) {
                throw SerializableError(
                    "ColumnReader::next() - frame too large to view, frame number " +
                    std::to_string(frame->frameNum()));
            }
            _held = true;
        }
        return Got::FRAME;
    }
    void consume(const FrameView&) override { _held = false; }

private:
    EngineOutputDataFileReader _reader;
    std::uint64_t _skip;
    ByteBuffer _bytes;
    bool _held = false;
};

// The records of one merged frame that the tables read.
struct Picked {
    const RecordRef* timing = nullptr;
    const RecordRef* any_timing = nullptr;  // selected or not: for the time range
    const RecordRef* head = nullptr;
    const RecordRef* head_direct = nullptr;
    const RecordRef* head_v1 = nullptr;
    const RecordRef* pupil = nullptr;
    const RecordRef* pupil_direct = nullptr;
    const RecordRef* eyelid = nullptr;
    const RecordRef* eyelid_direct = nullptr;
    const RecordRef* gaze = nullptr;
    const RecordRef* gaze_direct = nullptr;
    const RecordRef* engine = nullptr;
    const RecordRef* tracker = nullptr;
    const RecordRef* target = nullptr;
    const RecordRef* gps = nullptr;
    const RecordRef* gps_v1 = nullptr;
    const RecordRef* inertia = nullptr;
    bool any = false;   // the frame holds a record
    bool kept = false;  // the frame holds a selected record
    unsigned faces = 0;
};

void setOnce(const RecordRef*& slot, const RecordRef& r) {
    if (slot == nullptr) {
        slot = &r;
    }
}

}  // namespace

// Writes the values of one row into the selected columns of a batch. Prepared once per batch:
// per column of the table, where its values and validity bytes go, so that a value is two
// stores without a branch; columns not selected write into a scratch buffer of the batch's size.
class ColumnFiller {
public:
    void bind(ColumnBatch& batch, Table table, const std::vector<std::size_t>& selected,
              std::size_t capacity) {
        const std::vector<ColumnInfo>& all = columns(table);
        _slots.assign(all.size(), nullptr);
        _width.resize(all.size());
        for (std::size_t i = 0; i < all.size(); ++i) {
            _width[i] = static_cast<unsigned char>(columnTypeSize(all[i].type));
        }
        if (batch._columns.size() != selected.size()) {
            batch._columns.assign(selected.size(), Column());
        }
        for (std::size_t i = 0; i < selected.size(); ++i) {
            Column& c = batch._columns[i];
            c._info = &all[selected[i]];
            c._rows = 0;
            c._chars.clear();
            _slots[selected[i]] = &c;
        }
        _selected_before.assign(all.size() + 1, 0);
        for (std::size_t i = 0; i < all.size(); ++i) {
            _selected_before[i + 1] = _selected_before[i] + (_slots[i] != nullptr ? 1 : 0);
        }
        _batch = &batch;
        _row = 0;
        _capacity = 0;  // a batch of its own may come with every call: size its buffers anew
        reserve(capacity);
    }
    void reserve(std::size_t rows) {
        if (rows <= _capacity && _capacity > 0) {
            return;
        }
        _capacity = rows;
        for (Column& c : _batch->_columns) {
            const std::size_t size = columnTypeSize(c.type());
            const std::size_t bytes = size == 0 ? (rows + 1) * sizeof(std::uint32_t) : rows * size;
            if (c._values.size() < bytes) {
                c._values.resize(bytes);
            }
            if (c._valid.size() < rows) {
                c._valid.resize(rows);
            }
            if (size == 0) {
                reinterpret_cast<std::uint32_t*>(c._values.data())[0] = 0;
            }
        }
        _scratch.resize(rows + 1);
        _scratch_valid.resize(rows);
        _values.resize(_slots.size());
        _valid.resize(_slots.size());
        for (std::size_t i = 0; i < _slots.size(); ++i) {
            Column* c = _slots[i];
            _values[i] = c != nullptr ? static_cast<void*>(c->_values.data()) : _scratch.data();
            _valid[i] = c != nullptr ? c->_valid.data() : _scratch_valid.data();
        }
    }
    std::size_t rows() const { return _row; }
    void finishRow() { ++_row; }
    void finish() {
        _batch->_rows = _row;
        for (Column& c : _batch->_columns) {
            c._rows = _row;
        }
    }
    // Whether one of columns first .. first + count - 1 is selected.
    bool any(std::size_t first, std::size_t count) const {
        return _selected_before[first + count] != _selected_before[first];
    }

    void putText(std::size_t column, std::string_view text) {
        Column* c = _slots[column];
        if (c != nullptr) {
            c->_chars.insert(c->_chars.end(), text.begin(), text.end());
            reinterpret_cast<std::uint32_t*>(c->_values.data())[_row + 1] =
                static_cast<std::uint32_t>(c->_chars.size());
            c->_valid[_row] = 1;
        }
    }
    // Where the values of the current row go.
    struct Cells {
        void* const* values;
        std::uint8_t* const* valid;
        const unsigned char* width;
        std::size_t row;

        template <typename T>
        void put(std::size_t column, T value) const {
            static_cast<T*>(values[column])[row] = value;
            valid[column][row] = 1;
        }
        template <typename T, std::size_t N>
        void putAll(std::size_t first, const std::array<T, N>& array) const {
            for (std::size_t i = 0; i < N; ++i) {
                put(first + i, array[i]);
            }
        }
        // Columns first .. first + count - 1 have no value in this row.
        void absent(std::size_t first, std::size_t count) const {
            for (std::size_t column = first; column < first + count; ++column) {
                void* at = values[column];
                switch (width[column]) {
                    case 0: {
                        auto* offsets = static_cast<std::uint32_t*>(at);
                        offsets[row + 1] = offsets[row];
                        break;
                    }
                    case 1:
                        static_cast<std::uint8_t*>(at)[row] = 0;
                        break;
                    case 4:
                        static_cast<std::uint32_t*>(at)[row] = 0;
                        break;
                    default:
                        static_cast<std::uint64_t*>(at)[row] = 0;
                        break;
                }
                valid[column][row] = 0;
            }
        }
    };
    // Valid until the next reserve().
    Cells cells() const { return Cells{_values.data(), _valid.data(), _width.data(), _row}; }

private:
    std::vector<Column*> _slots;  // per column of the table, null when not selected
    std::vector<void*> _values;   // per column of the table: its values, or the scratch
    std::vector<std::uint8_t*> _valid;
    std::vector<unsigned char> _width;          // columnTypeSize of each column
    std::vector<std::size_t> _selected_before;  // selected columns before each column
    detail::Buffer<std::uint64_t> _scratch;
    detail::Buffer<std::uint8_t> _scratch_valid;
    ColumnBatch* _batch = nullptr;
    std::size_t _row = 0;
    std::size_t _capacity = 0;
};

namespace {

// Column positions in the frame table (columns.cpp lists them in this order).
enum FrameColumn : std::size_t {
    F_FRAME_NUM = 0,
    F_TIME_S,
    F_TIMESTAMP,
    F_TIMING,                // 5
    F_HEAD = F_TIMING + 5,   // 19
    F_PUPIL = F_HEAD + 19,   // 8
    F_EYELID = F_PUPIL + 8,  // 9
    F_GAZE = F_EYELID + 9,   // 14
    F_ENGINE = F_GAZE + 14,
    F_TRACKER,
    F_TARGET,               // 8
    F_GPS = F_TARGET + 8,   // 6
    F_INERTIA = F_GPS + 6,  // 6
    F_END = F_INERTIA + 6,
};

// Column positions in the intersection tables.
enum LongColumn : std::size_t {
    L_FRAME_NUM = 0,
    L_VERSION,
    L_EYE,  // gaze only; the head table's columns are one lower from here on
    L_LABEL,
    L_INDEX,
    L_SCREEN,
    L_WORLD,
    L_PLANE = L_WORLD + 3,
    L_PIXEL = L_PLANE + 2,
    L_OBJECT = L_PIXEL + 2,
    L_END = L_OBJECT + 3,
};

void fillFrame(ColumnFiller& filler, std::uint32_t frame_num, const Picked& p) {
    const ColumnFiller::Cells out = filler.cells();
    out.put<std::uint32_t>(F_FRAME_NUM, frame_num);
    if (!filler.any(F_TIME_S, 7)) {
        // none of them selected
    } else if (p.timing != nullptr) {
        const TimingView t(*p.timing);
        out.put<double>(F_TIME_S, t.experimentTime());
        out.put<std::int64_t>(F_TIMESTAMP,
                              static_cast<std::int64_t>(t.frameTimeSecs()) * 1000000000LL +
                                  static_cast<std::int64_t>(t.frameTimeMSecs()) * 1000000LL);
        out.put<double>(F_TIMING, t.experimentTime());
        out.put<std::int32_t>(F_TIMING + 1, t.frameTimeSecs());
        out.put<std::uint32_t>(F_TIMING + 2, t.frameTimeMSecs());
        out.put<float>(F_TIMING + 3, t.approxDelay());
        out.put<std::int32_t>(F_TIMING + 4, t.annotationLabelID());
    } else {
        out.absent(F_TIME_S, 2);
        out.absent(F_TIMING, 5);
    }

    if (!filler.any(F_HEAD, 19)) {
        // none of them selected
    } else if (p.head != nullptr) {
        const HeadV2View h(*p.head);
        const std::array<double, 4> q = h.headRotationQuaternion();
        out.put<std::uint8_t>(F_HEAD, h.isTracking());
        out.putAll(F_HEAD + 1, h.headPosition());
        out.putAll(F_HEAD + 4, q);
        out.putAll(F_HEAD + 8, utils::detail::eulerAnglesOfQuaternion(q.data()));
        out.put<double>(F_HEAD + 11, h.headPositionConfidence());
        out.put<std::int8_t>(F_HEAD + 12, h.modelQualityLevel());
        out.putAll(F_HEAD + 13, h.headEyeBallPos(0));
        out.putAll(F_HEAD + 16, h.headEyeBallPos(1));
    } else if (p.head_v1 != nullptr) {
        // As the record objects convert it: widened, the quaternion from the Euler angles.
        const HeadV1View h(*p.head_v1);
        const std::array<float, 3> r = h.headRotation();
        const std::vector<double> euler{r[0], r[1], r[2]};
        const std::vector<double> q = utils::fromEulerAngles(euler);
        out.put<std::uint8_t>(F_HEAD, h.trackingState() != 0);
        const std::array<float, 3> pos = h.headPosition();
        for (std::size_t i = 0; i < 3; ++i) {
            out.put<double>(F_HEAD + 1 + i, pos[i]);
            out.put<double>(F_HEAD + 8 + i, euler[i]);
        }
        for (std::size_t i = 0; i < 4; ++i) {
            out.put<double>(F_HEAD + 4 + i, q[i]);
        }
        out.put<double>(F_HEAD + 11, h.headPositionConfidence());
        out.put<std::int8_t>(F_HEAD + 12, h.modelQualityLevel());
        for (int eye = 0; eye < 2; ++eye) {
            const std::array<float, 3> e = h.headEyeBallPos(eye);
            for (std::size_t i = 0; i < 3; ++i) {
                out.put<double>(F_HEAD + 13 + 3 * static_cast<std::size_t>(eye) + i, e[i]);
            }
        }
    } else {
        out.absent(F_HEAD, 19);
    }

    if (!filler.any(F_PUPIL, 8)) {
        // none of them selected
    } else if (p.pupil != nullptr) {
        const PupilView v(*p.pupil);
        for (int eye = 0; eye < 2; ++eye) {
            const std::size_t at = F_PUPIL + 4 * static_cast<std::size_t>(eye);
            out.putAll(at, v.pupilPosition(eye));
            out.put<float>(at + 3, v.pupilDiameter(eye));
        }
    } else {
        out.absent(F_PUPIL, 8);
    }

    if (!filler.any(F_EYELID, 9)) {
        // none of them selected
    } else if (p.eyelid != nullptr) {
        const EyeClosureView v(*p.eyelid);
        out.put<float>(F_EYELID, v.eyeClosure(0));
        out.put<float>(F_EYELID + 1, v.eyeClosure(1));
        out.put<float>(F_EYELID + 2, v.eyeClosureConfidence(0));
        out.put<float>(F_EYELID + 3, v.eyeClosureConfidence(1));
        out.put<float>(F_EYELID + 4, v.eyeClosureCalibStatus());
        out.put<std::uint8_t>(F_EYELID + 5, v.blinking());
        out.put<float>(F_EYELID + 6, v.blinkFrequency());
        out.put<float>(F_EYELID + 7, v.averageBlinkDuration());
        out.put<float>(F_EYELID + 8, v.perclos());
    } else {
        out.absent(F_EYELID, 9);
    }

    if (!filler.any(F_GAZE, 14)) {
        // none of them selected
    } else if (p.gaze != nullptr) {
        const GazeView v(*p.gaze);
        for (int eye = 0; eye < 2; ++eye) {
            const std::size_t at = F_GAZE + 6 * static_cast<std::size_t>(eye);
            out.put<std::int32_t>(at, v.gazeQualityLevel(eye));
            out.putAll(at + 1, v.eyeballCentre(eye));
            out.putAll(at + 4, v.gazeRotation(eye));
        }
        out.put<std::uint8_t>(F_GAZE + 12, v.gazeCalibrated());
        out.put<std::uint8_t>(F_GAZE + 13, v.saccade());
    } else {
        out.absent(F_GAZE, 14);
    }

    if (p.engine != nullptr) {
        out.put<std::int32_t>(F_ENGINE, StateView(*p.engine).state());
    } else {
        out.absent(F_ENGINE, 1);
    }
    if (p.tracker != nullptr) {
        out.put<std::int32_t>(F_TRACKER, StateView(*p.tracker).state());
    } else {
        out.absent(F_TRACKER, 1);
    }

    // The label of the lowest index (the first such label), as the record objects pick it.
    LabelledIntersection hit;
    bool found = false;
    if (p.target != nullptr && filler.any(F_TARGET, 8)) {
        LabelledIntersectionView labels(*p.target);
        LabelledIntersection each;
        while (labels.next(each)) {
            if (!found || each.index < hit.index) {
                hit = each;
                found = true;
            }
        }
    }
    if (found) {
        filler.putText(F_TARGET, hit.label);
        out.putAll(F_TARGET + 1, hit.world);
        if (hit.has_plane) {
            out.putAll(F_TARGET + 4, hit.plane);
        } else {
            out.put<float>(F_TARGET + 4, 0.0f);  // as the record objects give it: zeros
            out.put<float>(F_TARGET + 5, 0.0f);
        }
        if (hit.has_pixel) {
            out.putAll(F_TARGET + 6, hit.pixel);
        } else {
            out.absent(F_TARGET + 6, 2);
        }
    } else {
        out.absent(F_TARGET, 8);
    }

    if (!filler.any(F_GPS, 6)) {
        // none of them selected
    } else if (p.gps != nullptr || p.gps_v1 != nullptr) {
        const GpsView g(p.gps != nullptr ? *p.gps : *p.gps_v1);
        out.put<std::uint8_t>(F_GPS, g.isDataValid());
        out.put<std::uint32_t>(F_GPS + 1, g.gmtTime());
        out.put<double>(F_GPS + 2, g.latitude().decimalDegrees());
        out.put<double>(F_GPS + 3, g.longitude().decimalDegrees());
        if (g.v2()) {
            out.put<float>(F_GPS + 4, g.speed());
            out.put<float>(F_GPS + 5, g.course());
        } else {
            if (g.speed() >= 0) {
                out.put<float>(F_GPS + 4, g.speed());
            } else {
                out.absent(F_GPS + 4, 1);  // -1: no speed
            }
            out.absent(F_GPS + 5, 1);
        }
    } else {
        out.absent(F_GPS, 6);
    }

    if (!filler.any(F_INERTIA, 6)) {
        // none of them selected
    } else if (p.inertia != nullptr) {
        const InertiaView v(*p.inertia);
        out.putAll(F_INERTIA, v.angularRate());
        out.putAll(F_INERTIA + 3, v.accel());
    } else {
        out.absent(F_INERTIA, 6);
    }
}

bool isGazeIntersection(char kind) {
    return kind == id::GAZE_INTERSECTION_OUTPUT_DATA_V1 ||
           kind == id::GAZE_INTERSECTION_OUTPUT_DATA_V2 ||
           kind == id::GAZE_INTERSECTION_OUTPUT_DATA_V3 ||
           kind == id::GAZE_INTERSECTION_OUTPUT_DATA_V4;
}

bool isHeadIntersection(char kind) {
    return kind == id::HEAD_INTERSECTION_OUTPUT_DATA_V1 ||
           kind == id::HEAD_INTERSECTION_OUTPUT_DATA_V2;
}

int versionOf(char kind) {
    switch (kind) {
        case id::GAZE_INTERSECTION_OUTPUT_DATA_V1:
        case id::HEAD_INTERSECTION_OUTPUT_DATA_V1:
            return 1;
        case id::GAZE_INTERSECTION_OUTPUT_DATA_V2:
        case id::HEAD_INTERSECTION_OUTPUT_DATA_V2:
            return 2;
        case id::GAZE_INTERSECTION_OUTPUT_DATA_V3:
            return 3;
        default:
            return 4;
    }
}

// The rows of one intersection record.
void fillIntersections(ColumnFiller& filler, bool gaze, std::uint32_t frame_num,
                       const RecordRef& r) {
    const std::size_t shift = gaze ? 0 : 1;  // the head table has no eye column
    auto col = [shift](std::size_t c) { return c - (c > L_EYE ? shift : 0); };
    const int version = versionOf(r.object_id);
    auto start = [&](const ColumnFiller::Cells& out) {
        out.put<std::uint32_t>(L_FRAME_NUM, frame_num);
        out.put<std::int8_t>(L_VERSION, static_cast<std::int8_t>(version));
    };
    if (version <= 2 && r.object_id != id::HEAD_INTERSECTION_OUTPUT_DATA_V2) {
        const IntersectionV1View v(r);
        const ColumnFiller::Cells out = filler.cells();
        start(out);
        if (gaze) {
            out.absent(L_EYE, 1);
        }
        filler.putText(col(L_LABEL), v.objectName());
        out.put<std::int32_t>(col(L_INDEX), v.objectIndex());
        out.put<std::uint8_t>(col(L_SCREEN), v.intersectsScreen());
        out.putAll(col(L_WORLD), v.world());
        out.putAll(col(L_PLANE), v.screen());
        out.putAll(col(L_PIXEL), v.pixel());
        if (gaze) {
            if (v.hasGazeObject()) {
                out.putAll(L_OBJECT, v.gazeObject());
            } else {
                out.absent(L_OBJECT, 3);
            }
        }
        filler.finishRow();
        return;
    }
    LabelledIntersectionView v(r);
    LabelledIntersection hit;
    while (v.next(hit)) {
        const ColumnFiller::Cells out = filler.cells();
        start(out);
        if (gaze) {
            if (v.eyeId() >= 0) {
                out.put<std::int8_t>(L_EYE, static_cast<std::int8_t>(v.eyeId()));
            } else {
                out.absent(L_EYE, 1);
            }
        }
        filler.putText(col(L_LABEL), hit.label);
        out.put<std::int32_t>(col(L_INDEX), hit.index);
        out.absent(col(L_SCREEN), 1);
        if (hit.has_world) {
            out.putAll(col(L_WORLD), hit.world);
        } else {
            out.absent(col(L_WORLD), 3);
        }
        if (hit.has_plane) {
            out.putAll(col(L_PLANE), hit.plane);
        } else {
            out.absent(col(L_PLANE), 2);
        }
        if (hit.has_pixel) {
            out.putAll(col(L_PIXEL), hit.pixel);
        } else {
            out.absent(col(L_PIXEL), 2);
        }
        if (gaze) {
            out.absent(L_OBJECT, 3);
        }
        filler.finishRow();
    }
}

std::size_t intersectionRows(const RecordRef& r) {
    if (r.object_id == id::GAZE_INTERSECTION_OUTPUT_DATA_V3 ||
        r.object_id == id::GAZE_INTERSECTION_OUTPUT_DATA_V4 ||
        r.object_id == id::HEAD_INTERSECTION_OUTPUT_DATA_V2) {
        return LabelledIntersectionView(r).numLabels();
    }
    return 1;
}

}  // namespace

// ---- the reader -------------------------------------------------------------------------------

struct ColumnReader::State {
    ColumnReaderOptions options;
    std::vector<std::unique_ptr<Input>> inputs;
    std::vector<std::unique_ptr<FrameView>> views;  // the current frame of each input
    std::vector<unsigned char> held;                // whether views[i] holds one
    std::vector<unsigned char> ended;
    // From a path: the record objects' reader, opened as the fallback and for its errors.
    std::string path;
    bool per_kind = false;
    bool objects = false;
    std::uint64_t merged = 0;  // merged frames with records taken from the inputs so far
    std::uint64_t taken = 0;
    bool done = false;
    std::vector<unsigned char> kind_selected = std::vector<unsigned char>(256, 0);
    bool all_kinds = true;  // options.kinds is empty: every record is kept
    // Per record of each view: whether the selection keeps it.
    using Keep = std::array<unsigned char, FrameView::MAX_RECORDS>;
    std::vector<std::unique_ptr<Keep>> kept;
    ColumnFiller filler;
    RecordingSummary* summary = nullptr;  // scanRecording's
    std::vector<unsigned char> seen = std::vector<unsigned char>(256, 0);

    void summarize(std::uint32_t frame_num, const Picked& p) {
        for (std::size_t i = 0; i < inputs.size(); ++i) {
            if (!held[i] || views[i]->frameNum() != frame_num) {
                continue;
            }
            const FrameView& v = *views[i];
            for (std::size_t r = 0; r < v.numRecords(); ++r) {
                const char kind = v.record(r).object_id;
                if (keptRecord(i, r) && kind != id::FACE_SET_OUTPUT_DATA) {
                    seen[static_cast<unsigned char>(kind)] = 1;
                }
            }
        }
        if (p.faces > 1) {
            ++summary->more_faces;
        }
    }

    // Whether the selection keeps record r of view i.
    bool keptRecord(std::size_t i, std::size_t r) const { return all_kinds || (*kept[i])[r] != 0; }

    bool selectedKind(char kind) const {
        return options.kinds.empty() || kind_selected[static_cast<unsigned char>(kind)] != 0;
    }

    void reset(std::size_t count) {
        views.clear();
        for (std::size_t i = 0; i < count; ++i) {
            views.push_back(std::make_unique<FrameView>());
        }
        held.assign(count, 0);
        ended.assign(count, 0);
        kept.clear();
        for (std::size_t i = 0; i < count; ++i) {
            kept.push_back(std::make_unique<Keep>());
        }
    }

    void switchToObjects() {
        EngineOutputDataFileReader reader;
        if (per_kind) {
            reader.openFiles(path);
        } else {
            reader.openFile(path);
        }
        inputs.clear();
        inputs.push_back(std::make_unique<ObjectInput>(std::move(reader), merged));
        reset(1);
        objects = true;
    }

    // Which records of view i the selection keeps, and what they hold.
    void pick(std::size_t i, Picked& p) {
        const FrameView& v = *views[i];
        Keep& keep = *kept[i];
        int face = -1;
        int eye = -1;
        int eye_direct = -1;
        int engine = -1;
        int world = -1;
        p.any = p.any || v.numRecords() > 0;
        for (std::size_t r = 0; r < v.numRecords(); ++r) {
            const RecordRef& rec = v.record(r);
            const char kind = rec.object_id;
            const bool top = rec.depth == 1;
            if (top) {
                if (kind == id::TIMING_OUTPUT_DATA && p.any_timing == nullptr) {
                    p.any_timing = &rec;
                }
                if (kind == id::FACE_SET_OUTPUT_DATA) {
                    ++p.faces;
                }
            }
            if (all_kinds) {
                p.kept = true;  // every record: the frame's own among them
            } else {
                const bool parent_kept =
                    rec.parent >= 0 && keep[static_cast<std::size_t>(rec.parent)];
                const bool in_face =
                    rec.depth == 2 && v.record(static_cast<std::size_t>(rec.parent)).object_id ==
                                          id::FACE_SET_OUTPUT_DATA;
                const bool k = parent_kept || (selectedKind(kind) && (top || in_face));
                keep[r] = k;
                if (!k) {
                    continue;
                }
                if (top || in_face) {
                    p.kept = true;
                }
            }
            const int idx = static_cast<int>(r);
            if (top) {
                switch (kind) {
                    case id::TIMING_OUTPUT_DATA:
                        setOnce(p.timing, rec);
                        break;
                    case id::FACE_SET_OUTPUT_DATA:
                        if (face < 0) {
                            face = idx;
                        }
                        break;
                    case id::HEAD_OUTPUT_DATA_V2:
                        setOnce(p.head_direct, rec);
                        break;
                    case id::HEAD_OUTPUT_DATA:
                        setOnce(p.head_v1, rec);
                        break;
                    case id::EYE_OUTPUT_DATA:
                        if (eye_direct < 0) {
                            eye_direct = idx;
                        }
                        break;
                    case id::PUPIL_OUTPUT_DATA:
                        setOnce(p.pupil_direct, rec);
                        break;
                    case id::EYE_CLOSURE_OUTPUT_DATA:
                        setOnce(p.eyelid_direct, rec);
                        break;
                    case id::GAZE_OUTPUT_DATA:
                        setOnce(p.gaze_direct, rec);
                        break;
                    case id::ENGINE_STATE_OUTPUT_DATA:
                        if (engine < 0) {
                            engine = idx;
                            p.engine = &rec;
                        }
                        break;
                    case id::WORLD_OUTPUT_DATA_V2:
                        if (world < 0) {
                            world = idx;
                        }
                        break;
                    case id::GPS_OUTPUT_DATA_V2:
                        setOnce(p.gps, rec);
                        break;
                    case id::GPS_OUTPUT_DATA:
                        setOnce(p.gps_v1, rec);
                        break;
                    case id::INERTIA_OUTPUT_DATA:
                        setOnce(p.inertia, rec);
                        break;
                    default:
                        break;
                }
                continue;
            }
            const int parent = rec.parent;
            if (parent == face) {
                if (kind == id::HEAD_OUTPUT_DATA_V2) {
                    setOnce(p.head, rec);
                } else if (kind == id::EYE_OUTPUT_DATA && eye < 0) {
                    eye = idx;
                }
            } else if (parent == eye || parent == eye_direct) {
                const bool mine = parent == eye;
                if (kind == id::PUPIL_OUTPUT_DATA) {
                    setOnce(mine ? p.pupil : p.pupil_direct, rec);
                } else if (kind == id::EYE_CLOSURE_OUTPUT_DATA) {
                    setOnce(mine ? p.eyelid : p.eyelid_direct, rec);
                } else if (kind == id::GAZE_OUTPUT_DATA) {
                    setOnce(mine ? p.gaze : p.gaze_direct, rec);
                }
            } else if (parent == engine && kind == id::HEAD_TRACKER_STATE_OUTPUT_DATA) {
                setOnce(p.tracker, rec);
            } else if (parent == world && kind == id::GAZE_INTERSECTION_OUTPUT_DATA_V4) {
                setOnce(p.target, rec);
            }
        }
    }

    static void resolve(Picked& p) {
        if (p.head == nullptr) {
            p.head = p.head_direct;
        }
        if (p.head != nullptr) {
            p.head_v1 = nullptr;
        }
        if (p.pupil == nullptr) {
            p.pupil = p.pupil_direct;
        }
        if (p.eyelid == nullptr) {
            p.eyelid = p.eyelid_direct;
        }
        if (p.gaze == nullptr) {
            p.gaze = p.gaze_direct;
        }
    }
};

namespace {

ColumnReaderOptions checked(ColumnReaderOptions options) {
    VQ_REQUIRE(options.batch_rows > 0, "batch_rows must be at least 1");
    return options;
}

std::vector<std::size_t> selectColumns(const ColumnReaderOptions& options) {
    std::vector<std::size_t> selected;
    if (options.columns.empty()) {
        for (std::size_t i = 0; i < columns(options.table).size(); ++i) {
            selected.push_back(i);
        }
        return selected;
    }
    for (const std::string& name : options.columns) {
        const int index = columnIndex(options.table, name);
        VQ_REQUIRE(index >= 0, "unknown column name");
        selected.push_back(static_cast<std::size_t>(index));
    }
    return selected;
}

bool isDirectoryPath(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    ::close(fd);
    return true;
}

}  // namespace

ColumnReader::ColumnReader(const std::string& path, ColumnReaderOptions options)
    : _state(std::make_unique<State>()) {
    _state->options = checked(std::move(options));
    _selected = selectColumns(_state->options);
    _state->path = path;
    _state->per_kind = isDirectoryPath(path);
    // The record objects' reader opens first, so that errors are its own.
    EngineOutputDataFileReader reader;
    std::vector<std::string> files;
    if (_state->per_kind) {
        reader.openFiles(path);
        for (const std::wstring& file :
             EngineOutputDataFileReader::logFilesInDir(detail::widenPath(path))) {
            files.push_back(detail::narrowPath(file));
        }
    } else if (DecompressingFileReader::isCompressedFrameFile(path)) {
        // A compressed frame file gives its frames through its source; its errors are its own.
        _state->inputs.push_back(
            std::make_unique<SourceInput>(std::make_unique<CompressedFrameSource>(path)));
    } else {
        reader.openFile(path);
        files.push_back(path);
    }
    for (const std::string& file : files) {
        _state->inputs.push_back(std::make_unique<MappedFile>(file));
    }
    _state->reset(_state->inputs.size());
    for (char kind : _state->options.kinds) {
        _state->kind_selected[static_cast<unsigned char>(kind)] = 1;
    }
    _state->all_kinds = _state->options.kinds.empty();
}

ColumnReader::ColumnReader(std::vector<std::unique_ptr<FrameSource>> sources,
                           ColumnReaderOptions options)
    : _state(std::make_unique<State>()) {
    _state->options = checked(std::move(options));
    _selected = selectColumns(_state->options);
    for (auto& source : sources) {
        VQ_REQUIRE(source != nullptr, "null frame source");
        _state->inputs.push_back(std::make_unique<SourceInput>(std::move(source)));
    }
    _state->reset(_state->inputs.size());
    for (char kind : _state->options.kinds) {
        _state->kind_selected[static_cast<unsigned char>(kind)] = 1;
    }
    _state->all_kinds = _state->options.kinds.empty();
}

ColumnReader::~ColumnReader() = default;

std::uint64_t ColumnReader::framesTaken() const {
    return _state->taken;
}

bool ColumnReader::next(ColumnBatch& batch) {
    State& s = *_state;
    s.filler.bind(batch, s.options.table, _selected, s.options.batch_rows);
    const Table table = s.options.table;
    const std::size_t limit = s.options.batch_rows;
    try {
        while (!s.done && s.filler.rows() < limit) {
            // Frame views of the next merged frame.
            bool any_input = false;
            bool restart = false;
            for (std::size_t i = 0; i < s.inputs.size(); ++i) {
                if (s.held[i] || s.ended[i]) {
                    any_input = any_input || s.held[i];
                    continue;
                }
                const Got got = s.inputs[i]->view(*s.views[i]);
                if (got == Got::END) {
                    s.ended[i] = 1;
                } else if (got == Got::DAMAGED) {
                    s.switchToObjects();
                    restart = true;
                    break;
                } else {
                    s.held[i] = 1;
                    any_input = true;
                }
            }
            if (restart) {
                continue;
            }
            if (!any_input) {
                s.done = true;
                break;
            }
            std::uint32_t frame_num = 0xFFFFFFFFu;
            bool first = true;
            for (std::size_t i = 0; i < s.inputs.size(); ++i) {
                if (s.held[i] && (first || s.views[i]->frameNum() < frame_num)) {
                    frame_num = s.views[i]->frameNum();
                    first = false;
                }
            }
            Picked p;
            for (std::size_t i = 0; i < s.inputs.size(); ++i) {
                if (s.held[i] && s.views[i]->frameNum() == frame_num) {
                    s.pick(i, p);
                }
            }
            State::resolve(p);
            bool take = p.any && p.kept && frame_num >= s.options.first_frame;
            if (frame_num > s.options.last_frame && p.any && p.kept) {
                s.done = true;
                break;
            }
            const bool timed = s.options.start_s > -std::numeric_limits<double>::infinity() ||
                               s.options.end_s < std::numeric_limits<double>::infinity();
            if (take && timed) {
                const double t =
                    p.any_timing != nullptr ? TimingView(*p.any_timing).experimentTime() : 0.0;
                take = p.any_timing != nullptr && t >= s.options.start_s && t <= s.options.end_s;
            }
            // Rows of this frame.
            std::size_t rows = take ? 1 : 0;
            if (take && table != Table::FRAME) {
                rows = 0;
                const bool gaze = table == Table::GAZE_INTERSECTIONS;
                for (std::size_t i = 0; i < s.inputs.size(); ++i) {
                    if (!s.held[i] || s.views[i]->frameNum() != frame_num) {
                        continue;
                    }
                    const FrameView& v = *s.views[i];
                    for (std::size_t r = 0; r < v.numRecords(); ++r) {
                        const char kind = v.record(r).object_id;
                        if (s.keptRecord(i, r) &&
                            (gaze ? isGazeIntersection(kind) : isHeadIntersection(kind))) {
                            rows += intersectionRows(v.record(r));
                        }
                    }
                }
            }
            if (rows > 0 && s.filler.rows() > 0 && s.filler.rows() + rows > limit) {
                break;  // the frame starts the next batch
            }
            if (take) {
                s.filler.reserve(s.filler.rows() + rows);
                if (table == Table::FRAME) {
                    fillFrame(s.filler, frame_num, p);
                    s.filler.finishRow();
                } else {
                    const bool gaze = table == Table::GAZE_INTERSECTIONS;
                    for (std::size_t i = 0; i < s.inputs.size(); ++i) {
                        if (!s.held[i] || s.views[i]->frameNum() != frame_num) {
                            continue;
                        }
                        const FrameView& v = *s.views[i];
                        for (std::size_t r = 0; r < v.numRecords(); ++r) {
                            const char kind = v.record(r).object_id;
                            if (s.keptRecord(i, r) &&
                                (gaze ? isGazeIntersection(kind) : isHeadIntersection(kind))) {
                                fillIntersections(s.filler, gaze, frame_num, v.record(r));
                            }
                        }
                    }
                }
                ++s.taken;
                if (s.summary != nullptr) {
                    s.summarize(frame_num, p);
                }
            }
            for (std::size_t i = 0; i < s.inputs.size(); ++i) {
                if (s.held[i] && s.views[i]->frameNum() == frame_num) {
                    s.inputs[i]->consume(*s.views[i]);
                    s.held[i] = 0;
                }
            }
            if (p.any && !s.objects) {
                ++s.merged;
            }
            if (s.taken >= s.options.max_frames) {
                s.done = true;
            }
        }
    } catch (...) {
        s.done = true;
        s.filler.finish();
        throw;
    }
    s.filler.finish();
    return batch.numRows() > 0;
}

RecordingSummary scanRecording(const std::string& path, const ColumnReaderOptions& options) {
    ColumnReaderOptions scan = options;
    scan.table = Table::FRAME;
    scan.columns = {"frame_num"};
    scan.batch_rows = 4096;
    ColumnReader reader(path, scan);
    RecordingSummary summary;
    reader._state->summary = &summary;
    ColumnBatch batch;
    while (reader.next(batch)) {
        summary.frames += batch.numRows();
    }
    for (int kind = -128; kind < 128; ++kind) {
        if (reader._state->seen[static_cast<unsigned char>(kind)] != 0) {
            summary.kinds.push_back(static_cast<char>(kind));
        }
    }
    return summary;
}

}  // namespace vq::eod::io
