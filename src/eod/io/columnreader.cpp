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

bool FrameSource::nextBlock(FrameBlock& block) {
    FrameBytes frame;
    if (!next(frame)) {
        return false;
    }
    _one[1] = frame.size;
    block.base = frame.data;
    block.offsets = _one;
    block.count = 1;
    return true;
}

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

// The frames of an input from its read position on, for runs: they lie one after another from
// `data` (`size` bytes in all); offsets null: back to back, each as long as its view says;
// else frame k spans offsets[k] - offsets[0] to offsets[k + 1] - offsets[0] from `data`, for
// k < count.
struct Stretch {
    const unsigned char* data = nullptr;
    std::size_t size = 0;
    const std::size_t* offsets = nullptr;
    std::size_t count = 0;
};

// Where the reader takes frames from: views them one at a time.
class Input {
public:
    virtual ~Input() = default;
    // Whether runs may read this input's frames through stretch() and skip().
    virtual bool runnable() const { return false; }
    // The frames from the read position on (none when the input holds no more at hand).
    virtual Stretch stretch() const { return {}; }
    // Moves the read position past `frames` frames of stretch(), `bytes` in all.
    virtual void skip(std::size_t /*frames*/, std::size_t /*bytes*/) {}
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
    void consume(const FrameView& view) override { advance(view.bytes()); }
    bool runnable() const override { return !_failed; }
    Stretch stretch() const override { return {_data + _pos, _size - _pos, nullptr, 0}; }
    void skip(std::size_t /*frames*/, std::size_t bytes) override { advance(bytes); }

private:
    void advance(std::size_t bytes) {
        _pos += bytes;
        if (_pos - _dropped >= DROP_BYTES) {
            const std::size_t page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
            const std::size_t end = _pos / page * page;
            ::madvise(const_cast<unsigned char*>(_data) + _dropped, end - _dropped, MADV_DONTNEED);
            _dropped = end;
        }
    }

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

// A FrameSource of another format, read a block of frames at a time; frames the view does not
// take as they stand go through the record factory, which gives the error or the frame's
// records.
class SourceInput : public Input {
public:
    explicit SourceInput(std::unique_ptr<FrameSource> source) : _source(std::move(source)) {}
    Got view(FrameView& view) override {
        if (_held) {
            return Got::FRAME;
        }
        while (_index == _block.count) {
            if (!_source->nextBlock(_block)) {
                return Got::END;
            }
            _index = 0;
        }
        const unsigned char* data = _block.base + _block.offsets[_index];
        const std::size_t size = _block.offsets[_index + 1] - _block.offsets[_index];
        if (view.reset(data, size) != ViewStatus::OK || !view.exact()) {
            ByteBuffer copy(data, data + size);
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
    void consume(const FrameView&) override {
        _held = false;
        ++_index;
    }
    bool runnable() const override { return true; }
    Stretch stretch() const override {
        if (_index == _block.count) {
            return {};
        }
        const std::size_t* offsets = _block.offsets + _index;
        const std::size_t count = _block.count - _index;
        return {_block.base + offsets[0], offsets[count] - offsets[0], offsets, count};
    }
    void skip(std::size_t frames, std::size_t /*bytes*/) override { _index += frames; }

private:
    std::unique_ptr<FrameSource> _source;
    FrameBlock _block;
    std::size_t _index = 0;  // of the next frame in the block
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
    void finishRows(std::size_t count) { _row += count; }
    bool selected(std::size_t column) const { return _slots[column] != nullptr; }
    // The values of a column from the current row on (valid until the next reserve()).
    template <typename T>
    T* column(std::size_t column) const {
        return static_cast<T*>(_values[column]) + _row;
    }
    // Columns first .. first + count - 1 hold values in `rows` rows from the current row on.
    void present(std::size_t first, std::size_t count, std::size_t rows) const {
        for (std::size_t c = first; c < first + count; ++c) {
            std::memset(_valid[c] + _row, 1, rows);
        }
    }
    // Columns first .. first + count - 1 have no values in `rows` rows from the current row on.
    void absent(std::size_t first, std::size_t count, std::size_t rows) const {
        for (std::size_t c = first; c < first + count; ++c) {
            if (_width[c] == 0) {
                auto* offsets = static_cast<std::uint32_t*>(_values[c]) + _row;
                std::fill(offsets + 1, offsets + rows + 1, offsets[0]);
            } else {
                std::memset(static_cast<unsigned char*>(_values[c]) + _row * _width[c], 0,
                            rows * _width[c]);
            }
            std::memset(_valid[c] + _row, 0, rows);
        }
    }
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

    // The text of a STRING column in row `k` from the current row on; rows are given in order.
    void putText(std::size_t column, std::string_view text, std::size_t k = 0) {
        Column* c = _slots[column];
        if (c != nullptr) {
            c->_chars.insert(c->_chars.end(), text.begin(), text.end());
            reinterpret_cast<std::uint32_t*>(c->_values.data())[_row + k + 1] =
                static_cast<std::uint32_t>(c->_chars.size());
            c->_valid[_row + k] = 1;
        }
    }
    // The same text in rows `0 .. n - 1` from the current row on.
    void putSameText(std::size_t column, std::string_view text, std::size_t n) {
        Column* c = _slots[column];
        if (c == nullptr) {
            return;
        }
        const std::size_t first = c->_chars.size();
        c->_chars.resize(first + n * text.size());
        auto* offsets = reinterpret_cast<std::uint32_t*>(c->_values.data()) + _row + 1;
        for (std::size_t k = 0; k < n; ++k) {
            std::memcpy(c->_chars.data() + first + k * text.size(), text.data(), text.size());
            offsets[k] = static_cast<std::uint32_t>(first + (k + 1) * text.size());
        }
        std::memset(c->_valid.data() + _row, 1, n);
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
    // Row `k` from the current row on; valid until the next reserve().
    Cells cells(std::size_t k = 0) const {
        return Cells{_values.data(), _valid.data(), _width.data(), _row + k};
    }

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

// The frame table's groups of columns; each is filled from one record of a row.
enum Group : std::size_t {
    G_TIMING,
    G_HEAD,
    G_HEAD_V1,
    G_PUPIL,
    G_EYELID,
    G_GAZE,
    G_ENGINE,
    G_TRACKER,
    G_TARGET,
    G_GPS,
    G_INERTIA,
    G_COUNT,
};

// The record of a group in a picked frame, or null.
const RecordRef* groupRecord(const Picked& p, std::size_t group) {
    switch (group) {
        case G_TIMING:
            return p.timing;
        case G_HEAD:
            return p.head;
        case G_HEAD_V1:
            return p.head_v1;
        case G_PUPIL:
            return p.pupil;
        case G_EYELID:
            return p.eyelid;
        case G_GAZE:
            return p.gaze;
        case G_ENGINE:
            return p.engine;
        case G_TRACKER:
            return p.tracker;
        case G_TARGET:
            return p.target;
        case G_GPS:
            return p.gps != nullptr ? p.gps : p.gps_v1;
        default:
            return p.inertia;
    }
}

// Which records a frame's inputs picked (before resolve()): frames that pick the same slots
// resolve to records of the same groups.
std::uint32_t slotMask(const Picked& p) {
    std::uint32_t mask = (p.any ? 1u : 0u) | std::min(p.faces, 2u) << 20;
    std::uint32_t bit = 2;
    for (const RecordRef* slot : {p.timing, p.head, p.head_direct, p.head_v1, p.pupil,
                                  p.pupil_direct, p.eyelid, p.eyelid_direct, p.gaze, p.gaze_direct,
                                  p.engine, p.tracker, p.target, p.gps, p.gps_v1, p.inertia}) {
        mask |= slot != nullptr ? bit : 0u;
        bit <<= 1;
    }
    return mask;
}

// The records of up to ROWS rows of the frame table: per group whether the rows hold it (the
// same for every row of a chunk) and each row's record.
struct Chunk {
    static constexpr std::size_t ROWS = 256;
    std::array<bool, G_COUNT> present{};
    // The group's records in every row have the same structural bytes (FrameView::repeats):
    // the same extent, and the same values wherever they decide it.
    std::array<bool, G_COUNT> same{};
    std::array<char, G_COUNT> kind{};  // the object ID of the group's records
    std::array<std::array<const unsigned char*, ROWS>, G_COUNT> data{};  // RecordRef::data
    std::array<std::uint32_t, ROWS> frame_num{};

    // Row `row` holds record r of group g.
    void put(std::size_t g, std::size_t row, const RecordRef& r) {
        kind[g] = r.object_id;
        data[g][row] = r.data;
    }
};

// Per row of a chunk's group, a typed view of its record.
template <typename View>
View viewOf(const unsigned char* data, char kind) {
    RecordRef r;
    r.data = data;
    r.object_id = kind;
    return View(r);
}

// The values of columns first .. first + N - 1, of one type, from the current row on.
template <typename T, std::size_t N>
std::array<T*, N> columnsAt(const ColumnFiller& f, std::size_t first) {
    std::array<T*, N> out;
    for (std::size_t i = 0; i < N; ++i) {
        out[i] = f.column<T>(first + i);
    }
    return out;
}

// Stores an array of values into columns out[at ..] of row k.
template <typename T, typename U, std::size_t N, std::size_t M>
void store(const std::array<T*, M>& out, std::size_t at, std::size_t k,
           const std::array<U, N>& values) {
    for (std::size_t i = 0; i < N; ++i) {
        out[at + i][k] = static_cast<T>(values[i]);
    }
}

void fillTiming(ColumnFiller& f, const Chunk& c, std::size_t n) {
    double* const time = f.column<double>(F_TIME_S);
    double* const experiment = f.column<double>(F_TIMING);
    std::int64_t* const stamp = f.column<std::int64_t>(F_TIMESTAMP);
    std::int32_t* const secs = f.column<std::int32_t>(F_TIMING + 1);
    std::uint32_t* const msecs = f.column<std::uint32_t>(F_TIMING + 2);
    float* const delay = f.column<float>(F_TIMING + 3);
    std::int32_t* const label = f.column<std::int32_t>(F_TIMING + 4);
    for (std::size_t k = 0; k < n; ++k) {
        const auto t = viewOf<TimingView>(c.data[G_TIMING][k], c.kind[G_TIMING]);
        time[k] = experiment[k] = t.experimentTime();
        stamp[k] = static_cast<std::int64_t>(t.frameTimeSecs()) * 1000000000LL +
                   static_cast<std::int64_t>(t.frameTimeMSecs()) * 1000000LL;
        secs[k] = t.frameTimeSecs();
        msecs[k] = t.frameTimeMSecs();
        delay[k] = t.approxDelay();
        label[k] = t.annotationLabelID();
    }
    f.present(F_TIME_S, 7, n);
}

void fillHead(ColumnFiller& f, const Chunk& c, std::size_t n) {
    std::uint8_t* const tracking = f.column<std::uint8_t>(F_HEAD);
    std::int8_t* const quality = f.column<std::int8_t>(F_HEAD + 12);
    const std::array<double*, 11> out = columnsAt<double, 11>(f, F_HEAD + 1);  // to + 11
    const std::array<double*, 6> eyes = columnsAt<double, 6>(f, F_HEAD + 13);
    const bool euler = f.any(F_HEAD + 8, 3);
    for (std::size_t k = 0; k < n; ++k) {
        const auto h = viewOf<HeadV2View>(c.data[G_HEAD][k], c.kind[G_HEAD]);
        const std::array<double, 4> q = h.headRotationQuaternion();
        store(out, 0, k, h.headPosition());
        store(out, 3, k, q);
        if (euler) {
            store(out, 7, k, utils::detail::eulerAnglesOfQuaternion(q.data()));
        }
        out[10][k] = h.headPositionConfidence();
        store(eyes, 0, k, h.headEyeBallPos(0));
        store(eyes, 3, k, h.headEyeBallPos(1));
        tracking[k] = h.isTracking();
        quality[k] = h.modelQualityLevel();
    }
    f.present(F_HEAD, 19, n);
}

// As the record objects convert it: widened, the quaternion from the Euler angles.
void fillHeadV1(ColumnFiller& f, const Chunk& c, std::size_t n) {
    for (std::size_t k = 0; k < n; ++k) {
        const ColumnFiller::Cells out = f.cells(k);
        const auto h = viewOf<HeadV1View>(c.data[G_HEAD_V1][k], c.kind[G_HEAD_V1]);
        const std::array<float, 3> rotation = h.headRotation();
        const std::vector<double> euler{rotation[0], rotation[1], rotation[2]};
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
    }
}

void fillPupil(ColumnFiller& f, const Chunk& c, std::size_t n) {
    const std::array<float*, 8> out = columnsAt<float, 8>(f, F_PUPIL);
    for (std::size_t k = 0; k < n; ++k) {
        const auto v = viewOf<PupilView>(c.data[G_PUPIL][k], c.kind[G_PUPIL]);
        store(out, 0, k, v.pupilPosition(0));
        out[3][k] = v.pupilDiameter(0);
        store(out, 4, k, v.pupilPosition(1));
        out[7][k] = v.pupilDiameter(1);
    }
    f.present(F_PUPIL, 8, n);
}

void fillEyelid(ColumnFiller& f, const Chunk& c, std::size_t n) {
    const std::array<float*, 9> out = columnsAt<float, 9>(f, F_EYELID);
    std::uint8_t* const blinking = f.column<std::uint8_t>(F_EYELID + 5);
    for (std::size_t k = 0; k < n; ++k) {
        const auto v = viewOf<EyeClosureView>(c.data[G_EYELID][k], c.kind[G_EYELID]);
        out[0][k] = v.eyeClosure(0);
        out[1][k] = v.eyeClosure(1);
        out[2][k] = v.eyeClosureConfidence(0);
        out[3][k] = v.eyeClosureConfidence(1);
        out[4][k] = v.eyeClosureCalibStatus();
        out[6][k] = v.blinkFrequency();
        out[7][k] = v.averageBlinkDuration();
        out[8][k] = v.perclos();
        blinking[k] = v.blinking();
    }
    f.present(F_EYELID, 9, n);
}

void fillGaze(ColumnFiller& f, const Chunk& c, std::size_t n) {
    const std::array<float*, 14> out = columnsAt<float, 14>(f, F_GAZE);
    std::int32_t* const quality[2] = {f.column<std::int32_t>(F_GAZE),
                                      f.column<std::int32_t>(F_GAZE + 6)};
    std::uint8_t* const calibrated = f.column<std::uint8_t>(F_GAZE + 12);
    std::uint8_t* const saccade = f.column<std::uint8_t>(F_GAZE + 13);
    for (std::size_t k = 0; k < n; ++k) {
        const auto v = viewOf<GazeView>(c.data[G_GAZE][k], c.kind[G_GAZE]);
        for (int eye = 0; eye < 2; ++eye) {
            const std::size_t at = 6 * static_cast<std::size_t>(eye);
            store(out, at + 1, k, v.eyeballCentre(eye));
            store(out, at + 4, k, v.gazeRotation(eye));
        }
        quality[0][k] = v.gazeQualityLevel(0);
        quality[1][k] = v.gazeQualityLevel(1);
        calibrated[k] = v.gazeCalibrated();
        saccade[k] = v.saccade();
    }
    f.present(F_GAZE, 14, n);
}

void fillState(ColumnFiller& f, const Chunk& c, std::size_t g, std::size_t column, std::size_t n) {
    std::int32_t* const out = f.column<std::int32_t>(column);
    for (std::size_t k = 0; k < n; ++k) {
        out[k] = viewOf<StateView>(c.data[g][k], c.kind[g]).state();
    }
    f.present(column, 1, n);
}

// Where the values of a labelled intersection record of a frame that repeats a shape lie, as
// offsets from the record's data (its flag byte). Such a record took FrameView's common path:
// at most one label, at most one entry of each kind.
struct OneLabel {
    bool labelled = false;  // it holds a label
    std::string_view text;  // the label, in the record's bytes
    std::size_t index_at = 0;
    std::array<std::size_t, 3> entry{};  // world, plane, pixel: the entry's index, 0 for none
};

OneLabel oneLabel(const unsigned char* data, char kind) {
    const std::size_t fields = kind == object_id::GAZE_INTERSECTION_OUTPUT_DATA_V4 ? 2 : 1;
    OneLabel one;
    one.labelled = byteorder::load<std::uint64_t>(data + fields) != 0;
    std::size_t at = fields + 8;
    if (one.labelled) {
        const auto* text = reinterpret_cast<const char*>(data + at);
        one.text = std::string_view(text, std::strlen(text));  // the view found its 0 byte
        one.index_at = at + one.text.size() + 1;
        at = one.index_at + 4;
    }
    constexpr std::size_t ENTRY[3] = {16, 12, 12};
    for (std::size_t k = 0; k < 3; ++k) {
        const std::uint64_t count = byteorder::load<std::uint64_t>(data + at);
        one.entry[k] = count == 1 ? at + 8 : 0;
        at += 8 + static_cast<std::size_t>(count) * ENTRY[k];
    }
    return one;
}

// Rows whose labelled records all have one shape: a labelled record of that shape holds at
// most one label and at most one entry of each kind (FrameView's common path), so the offsets
// of its label and entries are those of the first row. An entry is the label's when its index
// is the label's.
void fillSameTargets(ColumnFiller& f, const Chunk& c, std::size_t n) {
    const OneLabel one = oneLabel(c.data[G_TARGET][0], c.kind[G_TARGET]);
    if (!one.labelled) {
        for (std::size_t k = 0; k < n; ++k) {
            f.cells(k).absent(F_TARGET, 8);
        }
        return;
    }
    f.putSameText(F_TARGET, one.text, n);
    const std::array<std::size_t, 3>& entry = one.entry;
    for (std::size_t k = 0; k < n; ++k) {
        const unsigned char* const data = c.data[G_TARGET][k];
        const ColumnFiller::Cells out = f.cells(k);
        const auto index = byteorder::load<std::int32_t>(data + one.index_at);
        const auto holds = [&](std::size_t kind) {
            return entry[kind] != 0 && byteorder::load<std::int32_t>(data + entry[kind]) == index;
        };
        out.putAll(F_TARGET + 1, holds(0) ? view_detail::arrayAt<float, 3>(data, entry[0] + 4)
                                          : std::array<float, 3>{});
        out.putAll(F_TARGET + 4, holds(1) ? view_detail::arrayAt<float, 2>(data, entry[1] + 4)
                                          : std::array<float, 2>{});
        if (holds(2)) {
            out.putAll(F_TARGET + 6, view_detail::arrayAt<std::int32_t, 2>(data, entry[2] + 4));
        } else {
            out.absent(F_TARGET + 6, 2);
        }
    }
}

// The label of the lowest index (the first such label), as the record objects pick it.
void fillTarget(ColumnFiller& f, const Chunk& c, std::size_t n) {
    if (c.same[G_TARGET]) {
        fillSameTargets(f, c, n);
        return;
    }
    for (std::size_t k = 0; k < n; ++k) {
        const ColumnFiller::Cells out = f.cells(k);
        LabelledIntersection hit;
        bool found = false;
        auto labels = viewOf<LabelledIntersectionView>(c.data[G_TARGET][k], c.kind[G_TARGET]);
        LabelledIntersection each;
        while (labels.next(each)) {
            if (!found || each.index < hit.index) {
                hit = each;
                found = true;
            }
        }
        if (!found) {
            out.absent(F_TARGET, 8);
            continue;
        }
        f.putText(F_TARGET, hit.label, k);
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
    }
}

void fillGps(ColumnFiller& f, const Chunk& c, std::size_t n) {
    for (std::size_t k = 0; k < n; ++k) {
        const ColumnFiller::Cells out = f.cells(k);
        const auto g = viewOf<GpsView>(c.data[G_GPS][k], c.kind[G_GPS]);
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
    }
}

void fillInertia(ColumnFiller& f, const Chunk& c, std::size_t n) {
    const std::array<float*, 6> out = columnsAt<float, 6>(f, F_INERTIA);
    for (std::size_t k = 0; k < n; ++k) {
        const auto v = viewOf<InertiaView>(c.data[G_INERTIA][k], c.kind[G_INERTIA]);
        store(out, 0, k, v.angularRate());
        store(out, 3, k, v.accel());
    }
    f.present(F_INERTIA, 6, n);
}

// The columns of each group: the first and their number.
struct GroupColumns {
    std::size_t first;
    std::size_t count;
};
constexpr GroupColumns GROUP_COLUMNS[G_COUNT] = {
    {F_TIME_S, 7}, {F_HEAD, 19},   {F_HEAD, 19},  {F_PUPIL, 8}, {F_EYELID, 9},  {F_GAZE, 14},
    {F_ENGINE, 1}, {F_TRACKER, 1}, {F_TARGET, 8}, {F_GPS, 6},   {F_INERTIA, 6},
};

// Fills `n` rows of the frame table from a chunk, group by group.
void fillChunk(ColumnFiller& f, const Chunk& c, std::size_t n) {
    f.reserve(f.rows() + n);
    std::memcpy(f.column<std::uint32_t>(F_FRAME_NUM), c.frame_num.data(),
                n * sizeof(std::uint32_t));
    f.present(F_FRAME_NUM, 1, n);
    for (std::size_t g = 0; g < G_COUNT; ++g) {
        const GroupColumns cols = GROUP_COLUMNS[g];
        if (!f.any(cols.first, cols.count)) {
            continue;  // none of its columns selected
        }
        // The head's columns come from the second version or else the first.
        const bool head_v1 = g == G_HEAD && !c.present[G_HEAD] && c.present[G_HEAD_V1];
        if (head_v1 || (g == G_HEAD_V1 && !c.present[G_HEAD_V1])) {
            continue;
        }
        if (!c.present[g]) {
            f.absent(cols.first, cols.count, n);
            continue;
        }
        switch (g) {
            case G_TIMING:
                fillTiming(f, c, n);
                break;
            case G_HEAD:
                fillHead(f, c, n);
                break;
            case G_HEAD_V1:
                fillHeadV1(f, c, n);
                break;
            case G_PUPIL:
                fillPupil(f, c, n);
                break;
            case G_EYELID:
                fillEyelid(f, c, n);
                break;
            case G_GAZE:
                fillGaze(f, c, n);
                break;
            case G_ENGINE:
            case G_TRACKER:
                fillState(f, c, g, cols.first, n);
                break;
            case G_TARGET:
                fillTarget(f, c, n);
                break;
            case G_GPS:
                fillGps(f, c, n);
                break;
            default:
                fillInertia(f, c, n);
                break;
        }
    }
    f.finishRows(n);
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
            if (held[i] && views[i]->frameNum() == frame_num) {
                summarizeView(i, 0);
            }
        }
        if (p.faces > 1) {
            ++summary->more_faces;
        }
    }
    // The kinds of view i's kept records; a row of `faces` face sets.
    void summarizeView(std::size_t i, unsigned faces) {
        const FrameView& v = *views[i];
        for (std::size_t r = 0; r < v.numRecords(); ++r) {
            const char kind = v.record(r).object_id;
            if (keptRecord(i, r) && kind != id::FACE_SET_OUTPUT_DATA) {
                seen[static_cast<unsigned char>(kind)] = 1;
            }
        }
        if (faces > 1) {
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

    // Runs. After a row of the frame table taken from mapped files (every kind, no time
    // range), the rows that follow are gathered into a chunk and filled column by column while
    // they are made the same way: the same inputs give a frame, each of the same shape as the
    // first row's where that frame was read on the common path (FrameView::repeats), or else
    // one whose records fill the same slots of Picked; the frame numbers agree, and every
    // other input holds a later frame. Such rows pick what the general path would pick.
    struct Run {
        bool set = false;
        std::vector<unsigned char> part;    // per input: gives a frame to the row
        std::vector<unsigned char> shaped;  // per input taking part: its frame repeats a shape
        std::vector<std::uint32_t> mask;    // per other input taking part: its slots
        std::uint64_t later = 0;            // the lowest frame number of the other inputs
        std::array<int, G_COUNT> owner{};   // per group: the input giving its record, -1: none
        std::array<char, G_COUNT> kind{};   // per group: its records' object ID
        std::array<std::size_t, G_COUNT> offset{};  // and where its data lies in the frame
        unsigned faces = 0;                         // face sets in the row
        // The long tables: the intersection records of a row's frames, in the order of their
        // rows, where they lie in their input's frame, and the rows they make.
        struct Intersection {
            std::size_t input;
            std::size_t offset;  // of the record's data from its frame's first byte
            std::uint32_t size;
            char object_id;
        };
        std::vector<Intersection> intersections;
        std::size_t rows = 0;
        // After gatherRun(): each input's first frame of the rows and the bytes of a frame.
        std::vector<const unsigned char*> first;
        std::vector<std::size_t> bytes;
    } run;
    // An input taking part in a run, while its rows are gathered.
    struct Part {
        FrameView* view;
        Stretch stretch;  // its frames from the read position on
        std::size_t input;
        bool shaped;
        std::array<unsigned char, G_COUNT> groups;  // the groups whose records it gives
        std::size_t num_groups;

        // The bytes that frame k, starting `start` bytes into the stretch, may take.
        std::size_t bytesFrom(std::size_t k, std::size_t start) const {
            return stretch.offsets != nullptr ? stretch.offsets[k + 1] - stretch.offsets[k]
                                              : stretch.size - start;
        }
    };
    std::vector<Part> parts;
    // Per input: where the frames of a walked input's rows end, from its first.
    std::vector<std::array<std::size_t, Chunk::ROWS + 1>> walked;
    bool runs = false;  // runs may be taken (set by the constructors)
    std::unique_ptr<Chunk> chunk = std::make_unique<Chunk>();

    void checkRuns() {
        const bool timed = options.start_s > -std::numeric_limits<double>::infinity() ||
                           options.end_s < std::numeric_limits<double>::infinity();
        runs = all_kinds && !timed && !objects;
        for (const auto& input : inputs) {
            runs = runs && input->runnable();
        }
        run.set = false;
        walked.resize(runs ? inputs.size() : 0);
    }

    // Notes how the row just taken (frame number `frame_num`, picked as `p`) was made, before
    // its frames are consumed.
    void setRun(std::uint32_t frame_num, const Picked& p) {
        run.set = false;
        if (!runs) {
            return;
        }
        const std::size_t count = inputs.size();
        run.part.assign(count, 0);
        run.shaped.assign(count, 0);
        run.mask.assign(count, 0);
        run.later = std::numeric_limits<std::uint64_t>::max();
        run.faces = p.faces;
        for (std::size_t i = 0; i < count; ++i) {
            if (!held[i]) {
                continue;
            }
            const FrameView& v = *views[i];
            if (v.frameNum() != frame_num) {
                run.later = std::min<std::uint64_t>(run.later, v.frameNum());
                continue;
            }
            run.part[i] = 1;
            run.shaped[i] = v.repeats(v.data(), v.bytes()) ? 1 : 0;
            Picked own;
            pick(i, own);
            run.mask[i] = slotMask(own);
        }
        for (std::size_t g = 0; g < G_COUNT; ++g) {
            const RecordRef* r = groupRecord(p, g);
            run.owner[g] = -1;
            for (std::size_t i = 0; r != nullptr && i < count; ++i) {
                const FrameView& v = *views[i];
                if (run.part[i] && r >= v.begin() && r < v.end()) {
                    run.owner[g] = static_cast<int>(i);
                    run.kind[g] = r->object_id;
                    run.offset[g] = static_cast<std::size_t>(r->data - v.data());
                }
            }
            if (r != nullptr && run.owner[g] < 0) {
                return;  // not a record of the inputs' frames: no run
            }
        }
        if (options.table != Table::FRAME && !setIntersections()) {
            return;
        }
        run.set = true;
    }

    // The long tables: a run takes frames that all repeat a shape, so that every frame of it
    // holds the same intersection records at the same places, making the same rows.
    bool setIntersections() {
        const bool gaze = options.table == Table::GAZE_INTERSECTIONS;
        run.intersections.clear();
        run.rows = 0;
        for (std::size_t i = 0; i < inputs.size(); ++i) {
            if (!run.part[i]) {
                continue;
            }
            if (!run.shaped[i]) {
                return false;
            }
            const FrameView& v = *views[i];
            for (const RecordRef& r : v) {
                if (gaze ? isGazeIntersection(r.object_id) : isHeadIntersection(r.object_id)) {
                    run.intersections.push_back(
                        {i, static_cast<std::size_t>(r.data - v.data()), r.size, r.object_id});
                    run.rows += intersectionRows(r);
                }
            }
        }
        run.first.assign(inputs.size(), nullptr);
        run.bytes.assign(inputs.size(), 0);
        return true;
    }

    // The frames of a room of `rows` rows.
    std::size_t framesFor(std::size_t rows) const {
        if (options.table == Table::FRAME) {
            return rows;
        }
        return run.rows == 0 ? Chunk::ROWS : rows / run.rows;
    }

    // Fills the long table's rows of the `n` frames gathered.
    void fillIntersectionRows(std::size_t n) {
        const bool gaze = options.table == Table::GAZE_INTERSECTIONS;
        filler.reserve(filler.rows() + n * run.rows);
        if (fillSameLabelled(gaze, n)) {
            return;
        }
        for (std::size_t k = 0; k < n; ++k) {
            for (const Run::Intersection& at : run.intersections) {
                RecordRef r;
                r.data = run.first[at.input] + k * run.bytes[at.input] + at.offset;
                r.size = at.size;
                r.object_id = at.object_id;
                fillIntersections(filler, gaze, chunk->frame_num[k], r);
            }
        }
    }

    // The rows of a run whose frames make one row each, from a labelled record of one label:
    // its eye byte, label and entry counts are part of the shape that the frames repeat, so
    // they are those of the first frame, and every frame's values lie at its offsets. Fills
    // them column by column; false (nothing filled) for every other run.
    bool fillSameLabelled(bool gaze, std::size_t n) {
        if (run.rows != 1 || run.intersections.size() != 1) {
            return false;
        }
        const Run::Intersection& one = run.intersections.front();
        const bool eye = one.object_id == id::GAZE_INTERSECTION_OUTPUT_DATA_V4;
        if (!eye && one.object_id != id::GAZE_INTERSECTION_OUTPUT_DATA_V3 &&
            one.object_id != id::HEAD_INTERSECTION_OUTPUT_DATA_V2) {
            return false;
        }
        const unsigned char* const first = run.first[one.input] + one.offset;
        const std::size_t stride = run.bytes[one.input];
        const OneLabel label = oneLabel(first, one.object_id);
        const std::array<std::size_t, 3>& entry = label.entry;
        const std::size_t shift = gaze ? 0 : 1;  // the head table has no eye column
        auto col = [shift](std::size_t c) { return c - (c > L_EYE ? shift : 0); };
        const auto version = static_cast<std::int8_t>(versionOf(one.object_id));
        filler.putSameText(col(L_LABEL), label.text, n);
        for (std::size_t k = 0; k < n; ++k) {
            const unsigned char* const data = first + k * stride;
            const ColumnFiller::Cells out = filler.cells(k);
            out.put<std::uint32_t>(L_FRAME_NUM, chunk->frame_num[k]);
            out.put<std::int8_t>(L_VERSION, version);
            if (gaze && eye && static_cast<signed char>(data[1]) >= 0) {
                out.put<std::int8_t>(L_EYE, static_cast<std::int8_t>(data[1]));
            } else if (gaze) {
                out.absent(L_EYE, 1);
            }
            const auto index = byteorder::load<std::int32_t>(data + label.index_at);
            out.put<std::int32_t>(col(L_INDEX), index);
            out.absent(col(L_SCREEN), 1);
            const auto holds = [&](std::size_t kind) {
                return entry[kind] != 0 &&
                       byteorder::load<std::int32_t>(data + entry[kind]) == index;
            };
            if (holds(0)) {
                out.putAll(col(L_WORLD), view_detail::arrayAt<float, 3>(data, entry[0] + 4));
            } else {
                out.absent(col(L_WORLD), 3);
            }
            if (holds(1)) {
                out.putAll(col(L_PLANE), view_detail::arrayAt<float, 2>(data, entry[1] + 4));
            } else {
                out.absent(col(L_PLANE), 2);
            }
            if (holds(2)) {
                out.putAll(col(L_PIXEL), view_detail::arrayAt<std::int32_t, 2>(data, entry[2] + 4));
            } else {
                out.absent(col(L_PIXEL), 2);
            }
            if (gaze) {
                out.absent(L_OBJECT, 3);
            }
        }
        filler.finishRows(n);
        return true;
    }

    // Gathers up to `room` rows of the run into the chunk; their frames are consumed.
    std::size_t gatherRun(std::size_t room) {
        Chunk& c = *chunk;
        for (std::size_t g = 0; g < G_COUNT; ++g) {
            c.present[g] = run.owner[g] >= 0;
            c.kind[g] = run.kind[g];
            c.same[g] = c.present[g] && run.shaped[static_cast<std::size_t>(run.owner[g])] != 0;
        }
        parts.clear();
        for (std::size_t i = 0; i < inputs.size(); ++i) {
            if (!run.part[i]) {
                continue;
            }
            Part part{views[i].get(), inputs[i]->stretch(), i, run.shaped[i] != 0, {}, 0};
            if (part.stretch.size == 0) {
                return 0;  // no frame at hand: the general path reads on
            }
            for (std::size_t g = 0; g < G_COUNT; ++g) {
                if (run.owner[g] == static_cast<int>(i)) {
                    part.groups[part.num_groups++] = static_cast<unsigned char>(g);
                }
            }
            parts.push_back(part);
        }
        // A few rows first, so that a run that ends at once costs little; then the rest.
        std::size_t most = std::min(room, Chunk::ROWS);
        for (const Part& part : parts) {
            if (part.stretch.offsets != nullptr) {
                most = std::min(most, part.stretch.count);
            }
        }
        std::size_t n = rowsOf(c, 0, std::min<std::size_t>(most, 8));
        if (n == 8) {
            n = rowsOf(c, n, most);
        }
        for (const Part& part : parts) {
            const std::size_t* ends = walked[part.input].data();
            for (std::size_t k = 0; summary != nullptr && !part.shaped && k < n; ++k) {
                part.view->reset(part.stretch.data + ends[k], part.bytesFrom(k, ends[k]));
                summarizeView(part.input, 0);
            }
            if (!run.first.empty()) {
                run.first[part.input] = part.stretch.data;
                run.bytes[part.input] = part.view->bytes();
            }
            inputs[part.input]->skip(n, part.shaped ? n * part.view->bytes() : ends[n]);
        }
        return n;
    }

    // Rows from..to - 1 of the run as far as they go: each input in turn takes the rows that
    // the ones before it took; the first sets their frame numbers, which must lie in the range
    // and below the other inputs' frames. Returns the end of the rows taken.
    std::size_t rowsOf(Chunk& c, std::size_t from, std::size_t to) {
        for (std::size_t j = 0; j < parts.size() && to > from; ++j) {
            to = parts[j].shaped ? shapedRows(c, parts[j], j == 0, from, to)
                                 : walkedRows(c, parts[j], j == 0, from, to);
            for (std::size_t k = from; j == 0 && k < to; ++k) {
                if (c.frame_num[k] >= run.later || c.frame_num[k] < options.first_frame ||
                    c.frame_num[k] > options.last_frame) {
                    to = k;
                }
            }
        }
        return to;
    }

    // The rows of a shaped input: frames of its view's shape whose numbers are those of the
    // inputs before it (the first input sets them).
    std::size_t shapedRows(Chunk& c, const Part& part, bool first, std::size_t from,
                           std::size_t rows) {
        FrameView& v = *part.view;
        const std::size_t bytes = v.bytes();
        const Stretch& s = part.stretch;
        const unsigned char* at = s.data + from * bytes;
        rows = from + v.repeatsEach(at, s.size - from * bytes, rows - from);
        for (std::size_t k = from; k < rows; ++k, at += bytes) {
            const auto number = byteorder::load<std::uint32_t>(at + 4);
            const bool whole =
                s.offsets == nullptr || s.offsets[k + 1] - s.offsets[0] == (k + 1) * bytes;
            if (!whole || (!first && number != c.frame_num[k])) {
                rows = k;
                break;
            }
            if (first) {
                c.frame_num[k] = number;
            }
        }
        for (std::size_t i = 0; i < part.num_groups; ++i) {
            const std::size_t g = part.groups[i];
            const unsigned char* data = s.data + from * bytes + run.offset[g];
            for (std::size_t k = from; k < rows; ++k, data += bytes) {
                c.data[g][k] = data;
            }
        }
        return rows;
    }

    // The rows of an input whose frames are walked: each viewed, exact, picking the same
    // slots, with the frame numbers of the inputs before it.
    std::size_t walkedRows(Chunk& c, const Part& part, bool first, std::size_t from,
                           std::size_t rows) {
        FrameView& v = *part.view;
        std::size_t* ends = walked[part.input].data();
        ends[0] = 0;
        for (std::size_t k = from; k < rows; ++k) {
            const std::size_t size = part.bytesFrom(k, ends[k]);
            if (v.reset(part.stretch.data + ends[k], size) != ViewStatus::OK || !v.exact()) {
                return k;
            }
            Picked own;
            pick(part.input, own);
            if (slotMask(own) != run.mask[part.input]) {
                return k;
            }
            resolve(own);
            if (first) {
                c.frame_num[k] = v.frameNum();
            } else if (v.frameNum() != c.frame_num[k]) {
                return k;
            }
            for (std::size_t i = 0; i < part.num_groups; ++i) {
                const std::size_t g = part.groups[i];
                c.put(g, k, *groupRecord(own, g));
            }
            ends[k + 1] = ends[k] + (part.stretch.offsets != nullptr ? size : v.bytes());
        }
        return rows;
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
        checkRuns();
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
    _state->checkRuns();
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
    _state->checkRuns();
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
            if (s.run.set) {
                const std::size_t n = s.gatherRun(static_cast<std::size_t>(std::min<std::uint64_t>(
                    s.framesFor(limit - s.filler.rows()), s.options.max_frames - s.taken)));
                if (n > 0) {
                    if (table == Table::FRAME) {
                        fillChunk(s.filler, *s.chunk, n);
                    } else {
                        s.fillIntersectionRows(n);
                    }
                    s.taken += n;
                    s.merged += n;
                    if (s.summary != nullptr && s.run.faces > 1) {
                        s.summary->more_faces += n;
                    }
                    s.done = s.taken >= s.options.max_frames;
                    continue;
                }
                s.run.set = false;
            }
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
                    Chunk& c = *s.chunk;
                    for (std::size_t g = 0; g < G_COUNT; ++g) {
                        const RecordRef* r = groupRecord(p, g);
                        c.present[g] = r != nullptr;
                        c.same[g] = false;
                        if (r != nullptr) {
                            c.put(g, 0, *r);
                        }
                    }
                    c.frame_num[0] = frame_num;
                    fillChunk(s.filler, c, 1);
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
                s.setRun(frame_num, p);
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
