#include "vq/eod/frameview.h"

#include <algorithm>
#include <cstring>

namespace vq::eod {

namespace {

// Deeper records are left to the record objects, which refuse them at 64.
constexpr int MAX_VIEW_DEPTH = 32;
constexpr std::size_t LABELLED_UNANNOUNCED = 16;

// One-object intersections have fixed fields too, but a name to check: they take the general
// path of the walk, which knows their sizes.
enum : int {
    NOT_DECODED = -1,
    LABELLED = -2,
    LABELLED_WITH_EYE = -3,
    ONE_OBJECT = -4,       // 41 bytes of fields
    ONE_OBJECT_GAZE = -5,  // 53 bytes
};

// The bytes of a decoded kind's fields, or one of the values above.
constexpr int fieldBytesOf(char id) {
    switch (id) {
        case object_id::ENGINE_OUTPUT_DATA:
        case object_id::ENGINE_STATE_OUTPUT_DATA:
        case object_id::HEAD_TRACKER_STATE_OUTPUT_DATA:
            return 4;
        case object_id::TIMING_OUTPUT_DATA:
            return 22;
        case object_id::HEAD_OUTPUT_DATA:
            return 54;
        case object_id::HEAD_OUTPUT_DATA_V2:
            return 114;
        case object_id::EYE_CLOSURE_OUTPUT_DATA:
            return 33;
        case object_id::GAZE_OUTPUT_DATA:
            return 44;
        case object_id::PUPIL_OUTPUT_DATA:
            return 32;
        case object_id::EYE_OUTPUT_DATA:
        case object_id::WORLD_OUTPUT_DATA:
        case object_id::WORLD_OUTPUT_DATA_V2:
        case object_id::FACE_SET_OUTPUT_DATA:
            return 0;
        case object_id::HEAD_INTERSECTION_OUTPUT_DATA_V1:
        case object_id::GAZE_INTERSECTION_OUTPUT_DATA_V1:
            return ONE_OBJECT;
        case object_id::GAZE_INTERSECTION_OUTPUT_DATA_V2:
            return ONE_OBJECT_GAZE;
        case object_id::INERTIA_OUTPUT_DATA:
            return 24;
        case object_id::GPS_OUTPUT_DATA:
            return 17;
        case object_id::GPS_OUTPUT_DATA_V2:
            return 29;
        case object_id::GAZE_INTERSECTION_OUTPUT_DATA_V3:
        case object_id::HEAD_INTERSECTION_OUTPUT_DATA_V2:
            return LABELLED;
        case object_id::GAZE_INTERSECTION_OUTPUT_DATA_V4:
            return LABELLED_WITH_EYE;
        default:
            return NOT_DECODED;
    }
}

struct FieldTable {
    signed char bytes[256];
};

constexpr FieldTable makeFieldTable() {
    FieldTable table{};
    for (int i = 0; i < 256; ++i) {
        table.bytes[i] = static_cast<signed char>(fieldBytesOf(static_cast<char>(i)));
    }
    return table;
}

constexpr FieldTable FIELD_TABLE = makeFieldTable();  // every size is below 128

inline int fieldBytes(char id) {
    return FIELD_TABLE.bytes[static_cast<unsigned char>(id)];
}

// Kinds of which one parent may hold several.
bool mayRepeat(char id) {
    return id == object_id::ENGINE_OUTPUT_DATA || id == object_id::FACE_SET_OUTPUT_DATA ||
           id == object_id::GAZE_INTERSECTION_OUTPUT_DATA_V4;
}

// The data size a short header announces (0xFFFF: the long header's cookie).
inline std::size_t announced(const unsigned char* header) {
    return (static_cast<std::size_t>(header[1]) << 8) | header[2];
}

// Four bytes as they lie in memory: shapes compare bytes, not values.
inline std::uint32_t rawWord(const unsigned char* at) {
    std::uint32_t word;
    std::memcpy(&word, at, sizeof word);
    return word;
}

// The name as writers give it: 7 characters that are not 0, then a 0 byte.
bool paddedName(const unsigned char* name) {
    for (std::size_t i = 0; i < 7; ++i) {
        if (name[i] == 0) {
            return false;
        }
    }
    return name[7] == 0;
}

}  // namespace

const char* viewStatusName(ViewStatus status) {
    switch (status) {
        case ViewStatus::OK:
            return "ok";
        case ViewStatus::TRUNCATED:
            return "truncated";
        case ViewStatus::NOT_A_FRAME:
            return "not a frame";
        case ViewStatus::SIZE_MISMATCH:
            return "size mismatch";
        case ViewStatus::MALFORMED:
            return "malformed";
        case ViewStatus::TOO_DEEP:
            return "nested too deeply";
        case ViewStatus::TOO_MANY:
            return "too many records";
    }
    return "unknown";
}

ViewStatus FrameView::reset(const unsigned char* data, std::size_t size) noexcept {
    if (_shaped && sameShape(data, size)) {
        // The same records at the same offsets as the last frame (sameShape() has pointed
        // the index at them): only the frame's number is new.
        _data = data;
        _size = size;
        _frame_num = byteorder::load<std::uint32_t>(data + 4);
        return _status;
    }
    _shaped = false;
    _data = data;
    _size = size;
    _bytes = 0;
    _count = 0;
    _label_shapes = 0;
    _frame_num = 0;
    _exact = true;
    RecordHeader header;
    if (parseRecordHeader(data, size, header) == RecordExtent::HEADER_INCOMPLETE) {
        return _status = ViewStatus::TRUNCATED;
    }
    if (header.object_id != object_id::ENGINE_OUTPUT_DATA) {
        return _status = ViewStatus::NOT_A_FRAME;
    }
    // The common frame: a short header, enabled, its number and its records.
    if (header.header_bytes == RecordHeader::SHORT_HEADER_BYTES && size >= 9 && data[3] == 1) {
        std::size_t p = 9;
        std::uint64_t inside = 0;
        _common = true;
        _status = children(p, -1, 0, data[8], inside);
        if (_status != ViewStatus::OK) {
            return _status;
        }
        if (p - 3 != header.data_size + inside) {
            return _status = ViewStatus::SIZE_MISMATCH;
        }
        _bytes = p;
        _frame_num = byteorder::load<std::uint32_t>(data + 4);
        if (_common) {
            keepShape();
        }
        return _status;
    }
    _common = false;
    std::uint64_t unannounced = 0;
    std::size_t held = 0;
    _status = walk(0, -1, 0, held, unannounced);
    if (_status == ViewStatus::OK) {
        _frame_num = byteorder::load<std::uint32_t>(_data + header.header_bytes + 1);
    }
    return _status;
}

// Whether `data` holds the last frame's shape: the same structural bytes at the same offsets,
// all of them within `size`. Every check of the common path reads only those bytes and
// compares the frame's length with `size`, so such a frame gives the same index, status and
// exactness.
bool FrameView::sameShape(const unsigned char* data, std::size_t size) noexcept {
    if (size < _bytes) {
        return false;
    }
    const ShapeEntry* const shape = _shape.data();
    RecordRef* const records = _records.data();
    unsigned int differ = (rawWord(data) ^ shape[0].header) |
                          static_cast<unsigned int>(data[shape[0].count_at] ^ shape[0].count);
    for (std::size_t i = 1; i <= _count; ++i) {
        const ShapeEntry& entry = shape[i];
        differ |= rawWord(data + entry.offset) ^ entry.header;
        differ |= static_cast<unsigned int>(data[entry.count_at] ^ entry.count);
        // Pointed at the new bytes as it goes: when a byte differs, the walk that follows
        // writes the index anew, and reads none of it before.
        records[i - 1].data = data + entry.offset + RecordHeader::SHORT_HEADER_BYTES;
    }
    return differ == 0 && sameLabels(data);
}

bool FrameView::sameLabels(const unsigned char* data) const noexcept {
    for (std::size_t i = 0; i < _label_shapes; ++i) {
        const LabelShape& shape = _labels[i];
        if (std::memcmp(data + shape.text_at, shape.text.data(), shape.text_bytes) != 0) {
            return false;
        }
        for (std::size_t c = 0; c < 3; ++c) {
            if (byteorder::load<std::uint64_t>(data + shape.count_at[c]) != shape.count[c]) {
                return false;
            }
        }
    }
    return true;
}

// Whether the `_bytes` bytes at `data` hold the shape's structural bytes, record by record.
bool FrameView::sameEntries(const unsigned char* data) const noexcept {
    const ShapeEntry* const shape = _shape.data();
    unsigned int differ = 0;
    for (std::size_t i = 0; i <= _count; ++i) {
        differ |= rawWord(data + shape[i].offset) ^ shape[i].header;
        differ |= static_cast<unsigned int>(data[shape[i].count_at] ^ shape[i].count);
    }
    return differ == 0 && (_label_shapes == 0 || sameLabels(data));
}

bool FrameView::repeats(const unsigned char* data, std::size_t size) const noexcept {
    return _shaped && exact() && size >= _bytes && sameEntries(data);
}

namespace {

#if defined(__GNUC__)
using Block = unsigned char __attribute__((vector_size(16)));
#else
struct Block {
    std::uint64_t half[2];
    Block operator^(const Block& o) const { return {{half[0] ^ o.half[0], half[1] ^ o.half[1]}}; }
    Block operator&(const Block& o) const { return {{half[0] & o.half[0], half[1] & o.half[1]}}; }
    Block& operator|=(const Block& o) {
        half[0] |= o.half[0];
        half[1] |= o.half[1];
        return *this;
    }
};
#endif

constexpr std::size_t PREFETCH_BYTES = 4096;

inline Block loadBlock(const unsigned char* at) {
    Block b;
    std::memcpy(&b, at, sizeof b);
    return b;
}

inline bool zeroBlock(const Block& b) {
    std::uint64_t half[2];
    std::memcpy(half, &b, sizeof half);
    return (half[0] | half[1]) == 0;
}

}  // namespace

void FrameView::buildBlocks() noexcept {
    _block_state = Blocks::NONE;
    _num_blocks = 0;
    if (_bytes < 16 || _bytes > MAX_BLOCK_BYTES) {
        return;
    }
    std::array<unsigned char, MAX_BLOCK_BYTES> mask;
    std::memset(mask.data(), 0, _bytes);
    for (std::size_t i = 0; i <= _count; ++i) {
        std::memset(mask.data() + _shape[i].offset, 0xFF, 4);
        mask[_shape[i].count_at] = 0xFF;
    }
    for (std::size_t i = 0; i < _label_shapes; ++i) {
        const LabelShape& label = _labels[i];
        std::memset(mask.data() + label.text_at, 0xFF, label.text_bytes);
        for (const std::uint32_t at : label.count_at) {
            std::memset(mask.data() + at, 0xFF, 8);
        }
    }
    // Blocks at 0, 16, 32, ... and the last one ending with the frame (overlapping the one
    // before when the length is not a multiple of 16); blocks without a structural byte left out.
    for (std::size_t at = 0; at < _bytes; at += 16) {
        const std::size_t from = std::min(at, _bytes - 16);
        if (zeroBlock(loadBlock(mask.data() + from))) {
            continue;
        }
        ShapeBlock& b = _blocks[_num_blocks++];
        b.offset = static_cast<std::uint32_t>(from);
        std::memcpy(b.ref.data(), _data + from, 16);
        std::memcpy(b.mask.data(), mask.data() + from, 16);
    }
    _block_state = Blocks::BUILT;
}

std::size_t FrameView::repeatsEach(const unsigned char* data, std::size_t size,
                                   std::size_t most) noexcept {
    if (!_shaped || !exact()) {
        return 0;
    }
    if (_block_state == Blocks::UNBUILT && most >= 8) {
        buildBlocks();
    }
    std::size_t k = 0;
    if (_block_state != Blocks::BUILT) {
        for (; k < most && size >= _bytes && sameEntries(data);
             ++k, data += _bytes, size -= _bytes) {
        }
        return k;
    }
    const ShapeBlock* const blocks = _blocks.data();
    const std::size_t n = _num_blocks;
    for (; k < most && size >= _bytes; ++k, data += _bytes, size -= _bytes) {
#if defined(__GNUC__)
        // The frames are read once, front to back, and usually from memory, not the caches:
        // ask for the lines of the frame PREFETCH_BYTES ahead. The address may lie beyond the
        // bytes (a prefetch never faults), so it is computed as an integer, not a pointer.
        const std::uintptr_t ahead = reinterpret_cast<std::uintptr_t>(data) + PREFETCH_BYTES;
        for (std::size_t line = 0; line < _bytes; line += 64) {
            __builtin_prefetch(reinterpret_cast<const void*>(ahead + line));
        }
#endif
        Block differ{};
        for (std::size_t b = 0; b < n; ++b) {
            differ |= (loadBlock(data + blocks[b].offset) ^ loadBlock(blocks[b].ref.data())) &
                      loadBlock(blocks[b].mask.data());
        }
        if (!zeroBlock(differ)) {
            break;
        }
    }
    return k;
}

// Notes the shape of the frame just read along the common path.
void FrameView::keepShape() noexcept {
    const std::size_t n = _count + 1;
    for (std::size_t i = 0; i < n; ++i) {
        const std::size_t offset = i == 0 ? 0 : _records[i - 1].offset;
        const int fields = i == 0 ? 4 : fieldBytes(_records[i - 1].object_id);
        ShapeEntry& entry = _shape[i];
        entry.offset = static_cast<std::uint32_t>(offset);
        entry.header = rawWord(_data + offset);
        // A labelled record on the common path ends with its count byte (of 0).
        entry.count_at = static_cast<std::uint32_t>(
            fields >= 0 ? offset + 4 + static_cast<std::size_t>(fields)
                        : offset + RecordHeader::SHORT_HEADER_BYTES + _records[i - 1].size - 1);
        entry.count = _data[entry.count_at];
    }
    _shaped = true;
    _block_state = Blocks::UNBUILT;
}

// Checks and indexes the `count` sub-records that start at `p`, children of the record `index`
// at `depth`; moves `p` past them and adds what they hold beyond their sizes to `inside`.
inline ViewStatus FrameView::children(std::size_t& p, int index, int depth, unsigned int count,
                                      std::uint64_t& inside) noexcept {
    // Locals, not members: the index's char stores could alias them and force reloads.
    const unsigned char* const data = _data;
    const std::size_t size = _size;
    RecordRef* const records = _records.data();
    std::size_t n = _count;
    std::size_t pos = p;
    std::uint64_t extra = 0;
    signed char previous = 0;
    for (unsigned int i = 0; i < count; ++i) {
        const std::size_t first = n;
        std::uint64_t sub_unannounced = 0;
        std::size_t sub_held = 0;
        // The common case first: an enabled record of fixed fields and no sub-records, with a
        // short header that announces exactly that.
        const std::size_t left = size - pos;
        const unsigned char* at = data + pos;
        const int sub_fields = left >= 4 ? fieldBytes(static_cast<char>(at[0])) : -1;
        const auto fields = static_cast<std::size_t>(sub_fields);
        if (sub_fields >= 0 && n < MAX_RECORDS &&
            ((static_cast<std::size_t>(at[1]) << 8) | at[2]) == fields + 2 && left >= fields + 5 &&
            at[3] == 1 && at[4 + fields] == 0) {
            RecordRef r;
            r.data = at + 3;
            r.size = static_cast<std::uint32_t>(fields + 2);
            r.offset = static_cast<std::uint32_t>(pos);
            r.parent = static_cast<std::int16_t>(index);
            r.object_id = static_cast<char>(at[0]);
            r.depth = static_cast<std::uint8_t>(depth + 1);
            records[n++] = r;
            sub_held = fields + 5;
        } else if (sub_fields >= 0 && n < MAX_RECORDS && left >= fields + 5 && at[3] == 1 &&
                   depth + 1 < MAX_VIEW_DEPTH &&
                   announced(at) != RecordHeader::EXTENDED_SIZE_COOKIE &&
                   announced(at) + 3 <= left) {
            // A container of fixed fields (eye, world, engine state), enabled, with a short
            // header whose announced data are there: its sub-records, then its size.
            RecordRef& r = records[n];
            r.data = at + 3;
            r.offset = static_cast<std::uint32_t>(pos);
            r.parent = static_cast<std::int16_t>(index);
            r.object_id = static_cast<char>(at[0]);
            r.depth = static_cast<std::uint8_t>(depth + 1);
            _count = n + 1;
            std::size_t q = pos + 5 + fields;
            const ViewStatus status =
                nested(q, static_cast<int>(n), depth + 1, at[4 + fields], sub_unannounced);
            if (status != ViewStatus::OK) {
                return status;
            }
            if (q - pos - 3 != announced(at) + sub_unannounced) {
                return ViewStatus::SIZE_MISMATCH;
            }
            r.size = static_cast<std::uint32_t>(q - pos - 3);
            sub_held = q - pos;
            n = _count;
        } else if (sub_fields < NOT_DECODED && sub_fields >= LABELLED_WITH_EYE &&
                   labelled(pos, index, depth, n)) {
            sub_held = records[n].size + RecordHeader::SHORT_HEADER_BYTES;
            sub_unannounced = LABELLED_UNANNOUNCED;
            ++n;
        } else {
            _count = n;
            const ViewStatus status = walk(pos, index, depth + 1, sub_held, sub_unannounced);
            n = _count;
            if (status != ViewStatus::OK) {
                return status;
            }
        }
        const char kind = records[first].object_id;
        const auto id = static_cast<signed char>(kind);
        if (i > 0 && (id < previous || (id == previous && !mayRepeat(kind)))) {
            _exact = false;  // the objects sort their sub-records, and refuse some repeats
        }
        previous = id;
        pos += sub_held;
        extra += sub_unannounced;
    }
    _count = n;
    p = pos;
    inside += extra;
    return ViewStatus::OK;
}

// children() of a container, out of line (children() is inlined in its callers).
ViewStatus FrameView::nested(std::size_t& p, int index, int depth, unsigned int count,
                             std::uint64_t& inside) noexcept {
    return children(p, index, depth, count, inside);
}

// A labelled intersection record at `pos` that takes the common path (see LabelShape): enters
// it as records[n] and notes its shape; false (nothing entered) for every other one, which
// walk() reads. Such a record is read as walk() reads it: all of it is checked here.
bool FrameView::labelled(std::size_t pos, int index, int depth, std::size_t n) noexcept {
    const unsigned char* const at = _data + pos;
    const std::size_t left = _size - pos;
    const bool eye = static_cast<char>(at[0]) == object_id::GAZE_INTERSECTION_OUTPUT_DATA_V4;
    std::size_t p = 4 + (eye ? 1 : 0);  // after the flag (and the eye)
    if (n >= MAX_RECORDS || _label_shapes == MAX_LABEL_SHAPES || at[3] != 1 ||
        announced(at) == RecordHeader::EXTENDED_SIZE_COOKIE || left < p + 8 || (eye && at[4] > 2)) {
        return false;
    }
    LabelShape& shape = _labels[_label_shapes];
    const std::uint64_t labels = byteorder::load<std::uint64_t>(at + p);
    p += 8;
    if (labels > 1) {
        return false;
    }
    if (labels == 1) {
        const std::size_t end = std::min(left, 4 + LabelShape::MAX_TEXT - 1);
        while (p < end && at[p] != 0) {
            ++p;
        }
        if (p == end || left - p < 5) {
            return false;  // no 0 byte within the label's room, or no index after it
        }
        ++p;
    }
    shape.text_at = static_cast<std::uint32_t>(pos + 4);
    shape.text_bytes = static_cast<std::uint32_t>(p - 4);
    std::memcpy(shape.text.data(), at + 4, p - 4);
    p += labels == 1 ? 4 : 0;
    constexpr std::size_t ENTRY[3] = {16, 12, 12};
    for (std::size_t c = 0; c < 3; ++c) {
        if (left - p < 8) {
            return false;
        }
        const std::uint64_t count = byteorder::load<std::uint64_t>(at + p);
        if (count > 1 || left - p - 8 < count * ENTRY[c]) {
            return false;
        }
        shape.count_at[c] = static_cast<std::uint32_t>(pos + p);
        shape.count[c] = count;
        p += 8 + count * ENTRY[c];
    }
    if (left - p < 1 || at[p] != 0 || p + 1 - 3 != announced(at) + LABELLED_UNANNOUNCED) {
        return false;  // sub-records, or a size that walk() judges
    }
    ++p;
    RecordRef& r = _records[n];
    r.data = at + 3;
    r.size = static_cast<std::uint32_t>(p - 3);
    r.offset = static_cast<std::uint32_t>(pos);
    r.parent = static_cast<std::int16_t>(index);
    r.object_id = static_cast<char>(at[0]);
    r.depth = static_cast<std::uint8_t>(depth + 1);
    ++_label_shapes;
    return true;
}

// Checks the record whose header is at `pos`, enters it in the index (unless it is the frame,
// at depth 0), and its sub-records. On OK, `held` is the bytes the record takes, header
// included, and `unannounced` what it holds beyond its announced size.
ViewStatus FrameView::walk(std::size_t pos, int parent, int depth, std::size_t& held,
                           std::uint64_t& unannounced) noexcept {
    _common = false;
    RecordHeader header;
    const RecordExtent extent = parseRecordHeader(_data + pos, _size - pos, header);
    if (extent != RecordExtent::COMPLETE) {
        return ViewStatus::TRUNCATED;
    }
    const std::size_t start = pos + header.header_bytes;
    int index = -1;
    if (depth > 0) {
        if (_count == MAX_RECORDS) {
            return ViewStatus::TOO_MANY;
        }
        index = static_cast<int>(_count++);
        RecordRef& r = _records[static_cast<std::size_t>(index)];
        r.data = _data + start;
        r.size = header.data_size;
        r.offset = static_cast<std::uint32_t>(pos);
        r.parent = static_cast<std::int16_t>(parent);
        r.object_id = header.object_id;
        r.depth = static_cast<std::uint8_t>(depth);
    }
    int fields = fieldBytes(header.object_id);
    const bool one_object = fields == ONE_OBJECT || fields == ONE_OBJECT_GAZE;
    if (one_object) {
        fields = fields == ONE_OBJECT ? 41 : 53;
    }
    if (fields == NOT_DECODED) {
        // Skipped by its size; the record objects judge it.
        _exact = false;
        unannounced = 0;
        held = header.header_bytes + static_cast<std::size_t>(header.data_size);
        if (depth == 0) {
            _bytes = held;
        }
        return ViewStatus::OK;
    }
    std::size_t p = start;
    if (_size - p < 1) {
        return ViewStatus::TRUNCATED;
    }
    if (_data[p] != 1) {
        _exact = false;  // a disabled record, which the objects drop, or an unusual flag byte
    }
    ++p;
    std::uint64_t own_unannounced = 0;
    if (fields >= 0) {
        if (_size - p < static_cast<std::size_t>(fields)) {
            return ViewStatus::TRUNCATED;
        }
        if (one_object && !paddedName(_data + p + 4)) {
            return ViewStatus::MALFORMED;
        }
        p += static_cast<std::size_t>(fields);
    } else {
        if (fields == LABELLED_WITH_EYE) {
            if (_size - p < 1) {
                return ViewStatus::TRUNCATED;
            }
            if (_data[p] > 2) {
                return ViewStatus::MALFORMED;  // not an eye; the record objects refuse it
            }
            ++p;
        }
        bool ordered = true;
        const std::size_t taken = LabelledIntersectionView::measure(_data + p, _size - p, &ordered);
        if (taken == 0) {
            return ViewStatus::TRUNCATED;
        }
        _exact = _exact && ordered;
        p += taken;
        own_unannounced = LABELLED_UNANNOUNCED;
    }
    if (_size - p < 1) {
        return ViewStatus::TRUNCATED;
    }
    const unsigned int count = _data[p++];
    if (count > 0 && depth >= MAX_VIEW_DEPTH) {
        return ViewStatus::TOO_DEEP;
    }
    std::uint64_t inside = 0;
    const ViewStatus children_status = children(p, index, depth, count, inside);
    if (children_status != ViewStatus::OK) {
        return children_status;
    }
    const std::uint64_t consumed = p - start;
    if (consumed != header.data_size + own_unannounced + inside) {
        return ViewStatus::SIZE_MISMATCH;
    }
    unannounced = own_unannounced + inside;
    held = p - pos;
    if (index >= 0) {
        _records[static_cast<std::size_t>(index)].size = static_cast<std::uint32_t>(consumed);
    }
    if (depth == 0) {
        _bytes = p;
    }
    return ViewStatus::OK;
}

const RecordRef* FrameView::find(char object_id, int parent) const {
    for (std::size_t i = 0; i < _count; ++i) {
        if (_records[i].parent == parent && _records[i].object_id == object_id) {
            return &_records[i];
        }
    }
    return nullptr;
}

// ---- labelled intersections -------------------------------------------------------------------

namespace {

constexpr std::size_t WORLD_ENTRY = 16;
constexpr std::size_t PLANE_ENTRY = 12;
constexpr std::size_t PIXEL_ENTRY = 12;

// Reads a count at `p` and steps over `count` fixed entries; false when they do not fit.
bool skipEntries(const unsigned char* f, std::size_t size, std::size_t& p, std::size_t entry,
                 bool* ordered) {
    if (size - p < 8) {
        return false;
    }
    const std::uint64_t count = byteorder::load<std::uint64_t>(f + p);
    p += 8;
    if (count > (size - p) / entry) {
        return false;
    }
    if (ordered != nullptr) {
        for (std::uint64_t i = 1; i < count; ++i) {
            const auto before = byteorder::load<std::int32_t>(f + p + (i - 1) * entry);
            const auto here = byteorder::load<std::int32_t>(f + p + i * entry);
            if (here <= before) {
                *ordered = false;
                break;
            }
        }
    }
    p += static_cast<std::size_t>(count) * entry;
    return true;
}

}  // namespace

std::size_t LabelledIntersectionView::measure(const unsigned char* f, std::size_t size,
                                              bool* ordered) noexcept {
    if (size < 8) {
        return 0;
    }
    const std::uint64_t labels = byteorder::load<std::uint64_t>(f);
    std::size_t p = 8;
    std::string_view previous;
    for (std::uint64_t i = 0; i < labels; ++i) {
        // Each label takes at least 5 bytes, so a hostile count ends at the end of the bytes.
        const std::size_t label = p;
        while (p < size && f[p] != 0) {
            ++p;
        }
        if (size - p < 5) {
            return 0;
        }
        const std::string_view text(reinterpret_cast<const char*>(f + label), p - label);
        if (ordered != nullptr && i > 0 && !(previous < text)) {
            *ordered = false;
        }
        previous = text;
        p += 5;
    }
    if (!skipEntries(f, size, p, WORLD_ENTRY, ordered) ||
        !skipEntries(f, size, p, PLANE_ENTRY, ordered) ||
        !skipEntries(f, size, p, PIXEL_ENTRY, ordered)) {
        return 0;
    }
    return p;
}

LabelledIntersectionView::LabelledIntersectionView(const RecordRef& r) : _f(r.fields()) {
    if (r.object_id == object_id::GAZE_INTERSECTION_OUTPUT_DATA_V4) {
        _eye = static_cast<signed char>(_f[0]);
        ++_f;
    }
    _labels = byteorder::load<std::uint64_t>(_f);
    // The sections after the labels; the FrameView has checked that they fit.
    std::size_t p = 8;
    for (std::uint64_t i = 0; i < _labels; ++i) {
        while (_f[p] != 0) {
            ++p;
        }
        p += 5;
    }
    _world = p;
    _plane = _world + 8 +
             static_cast<std::size_t>(byteorder::load<std::uint64_t>(_f + _world)) * WORLD_ENTRY;
    _pixel = _plane + 8 +
             static_cast<std::size_t>(byteorder::load<std::uint64_t>(_f + _plane)) * PLANE_ENTRY;
}

void LabelledIntersectionView::rewind() {
    _next_label = 0;
    _cursor = 8;
}

bool LabelledIntersectionView::findPoint(std::size_t section, std::uint64_t /*unused*/,
                                         std::size_t entry_bytes, std::int32_t index,
                                         std::size_t& at) const {
    std::uint64_t low = 0;
    std::uint64_t high = byteorder::load<std::uint64_t>(_f + section);
    const unsigned char* entries = _f + section + 8;
    while (low < high) {
        const std::uint64_t mid = low + (high - low) / 2;
        const auto here =
            byteorder::load<std::int32_t>(entries + static_cast<std::size_t>(mid) * entry_bytes);
        if (here == index) {
            at = section + 8 + static_cast<std::size_t>(mid) * entry_bytes + 4;
            return true;
        }
        if (here < index) {
            low = mid + 1;
        } else {
            high = mid;
        }
    }
    return false;
}

bool LabelledIntersectionView::next(LabelledIntersection& out) {
    if (_next_label >= _labels) {
        return false;
    }
    ++_next_label;
    const std::size_t label = _cursor;
    while (_f[_cursor] != 0) {
        ++_cursor;
    }
    out = LabelledIntersection();
    out.label = std::string_view(reinterpret_cast<const char*>(_f + label), _cursor - label);
    out.index = byteorder::load<std::int32_t>(_f + _cursor + 1);
    _cursor += 5;
    std::size_t at = 0;
    if ((out.has_world = findPoint(_world, 0, WORLD_ENTRY, out.index, at))) {
        out.world = view_detail::arrayAt<float, 3>(_f, at);
    }
    if ((out.has_plane = findPoint(_plane, 0, PLANE_ENTRY, out.index, at))) {
        out.plane = view_detail::arrayAt<float, 2>(_f, at);
    }
    if ((out.has_pixel = findPoint(_pixel, 0, PIXEL_ENTRY, out.index, at))) {
        out.pixel = view_detail::arrayAt<std::int32_t, 2>(_f, at);
    }
    return true;
}

}  // namespace vq::eod
