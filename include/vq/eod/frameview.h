// FrameView: a read-only view over the bytes of one serialised frame (EngineOutputData), and
// typed views of the records in it, for reading values without building record objects.
//
// A FrameView is built over bytes that the caller keeps alive (a buffer, a block of a file, a
// received chunk). Building it walks the frame once: every record header is checked against the
// bytes really there (RecordHeader, parseRecordHeader), every record of a kind with a published
// layout is checked against that layout (its flag byte, the exact size of its fields, its
// sub-record count and sub-records, recursively), and every record is entered in a fixed index
// inside the view. Nothing is allocated and nothing is read outside [data, data + size),
// whatever the bytes hold; the time is linear in the size.
//
// What a frame holds, on the wire:
//
//     header (RecordHeader; object ID 0x09)
//     flag          1 byte, 1 when the record is enabled
//     frame number  4 bytes, big-endian unsigned
//     count         1 byte, the number of sub-records that follow
//     sub-records   each a whole record: header, flag, its own fields, count, its sub-records
//
// Labelled intersection records (GazeIntersectionOutputDataV3 0x2C, GazeIntersectionOutputDataV4
// 0x27, HeadIntersectionOutputDataV2 0x2D) hold 16 bytes more than their header announces (their
// four 8-byte entry counts are counted as 4 bytes), and so does every record around one, by 16
// per labelled record inside. The view reads them as the record objects do: it accepts exactly
// those 16 bytes per labelled record beyond the announced size, and no others.
//
// Kinds the view does not decode (registered kinds without a published layout such as face,
// feature and image records, and kinds no one registered) are entered in the index and skipped
// by their announced size. A frame is `exact()` when every record in it is of a decoded kind,
// enabled, and not a second record of a kind that may appear only once in its parent: then the
// record objects read exactly the records the index holds, with the same values. When a frame is
// not exact (or not OK), the object path is the judge: ColumnReader asks the record factory for
// the verdict on such frames (and, when it reads them, views the frame the objects write back),
// so damaged or unusual input gives the same errors and values as the record objects.
//
// Typed views (TimingView, HeadV2View, ...) take a RecordRef of their kind and decode each field
// big-endian when it is asked for; fixed vectors come as std::array, strings as std::string_view
// into the frame's bytes. A typed view of a record that the FrameView checked never reads past it.
// Copy such an array element by element (`out[i] = a[i]`), or read its elements where it is:
// a whole-array copy (std::copy, memcpy) reads the elements just stored back in wider loads,
// which wait for the stores, and made reading a whole frame about three times slower.
//
// Thread safety: a FrameView is a value; distinct views may be used on distinct threads. The
// bytes must not change while a view of them is used.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "vq/eod/byteorder.h"
#include "vq/eod/export.h"
#include "vq/eod/objectids.h"
#include "vq/eod/recordheader.h"

namespace vq::eod {

// What building a view found. Anything but OK means that the bytes are not a frame that the
// record objects read as it stands (the object path then decides the error).
enum class ViewStatus : unsigned char {
    OK,
    TRUNCATED,      // the frame, or a record in it, needs more bytes than there are
    NOT_A_FRAME,    // the first record's object ID is not 0x09
    SIZE_MISMATCH,  // a record's fields and sub-records do not fill its announced size exactly
    MALFORMED,      // a field not in the form writers give it (a V1 intersection name that is
                    // not 7 characters and a 0 byte, a V4 eye byte above 2)
    TOO_DEEP,       // records nested deeper than SerializableComposite::MAX_NESTING_DEPTH
    TOO_MANY,       // more records than FrameView::MAX_RECORDS
};

// A short English name of a status ("ok", "truncated", ...).
VQ_EOD_API const char* viewStatusName(ViewStatus status);

// One record of a frame, as the index holds it.
struct RecordRef {
    const unsigned char* data = nullptr;  // the record's data: flag byte, fields, count, records
    std::uint32_t size = 0;               // data bytes held (announced + unannounced)
    std::uint32_t offset = 0;             // of the record's header, from the frame's first byte
    std::int16_t parent = -1;  // index of the enclosing record in the FrameView; -1: the frame
    char object_id = 0;
    std::uint8_t depth = 0;  // 1 for the frame's own records, 2 for theirs, ...

    // The record's fields: the bytes after the flag byte (the engine-specific data).
    const unsigned char* fields() const { return data + 1; }
    bool enabled() const { return data[0] != 0; }
};

class VQ_EOD_API FrameView {
public:
    // The most records (at every depth, the frame not counted) one view indexes.
    static constexpr std::size_t MAX_RECORDS = 1024;

    FrameView() = default;
    // Views the frame that starts at `data`; the frame must be the first record of the `size`
    // bytes, which may hold more after it (see bytes()).
    FrameView(const unsigned char* data, std::size_t size) noexcept { reset(data, size); }
    // Views another frame; returns status().
    ViewStatus reset(const unsigned char* data, std::size_t size) noexcept;

    ViewStatus status() const { return _status; }
    bool ok() const { return _status == ViewStatus::OK; }
    // OK, and the record objects read exactly the records in the index (see above).
    bool exact() const { return _status == ViewStatus::OK && _exact; }
    // The bytes of the whole frame: header, announced data and unannounced bytes. Valid when OK.
    std::size_t bytes() const { return _bytes; }
    const unsigned char* data() const { return _data; }

    std::uint32_t frameNum() const { return _frame_num; }

    // The records, in the order of their bytes (a parent before its sub-records).
    std::size_t numRecords() const { return _count; }
    const RecordRef& record(std::size_t index) const { return _records[index]; }
    const RecordRef* begin() const { return _records.data(); }
    const RecordRef* end() const { return _records.data() + _count; }

    // Whether the frame at `data` (of `size` bytes, as for reset()) has the shape of the frame
    // this view holds: the view holds an exact frame whose records all took the common path
    // (short headers, enabled, fixed fields), and `data` holds the same structural bytes (each
    // record's object ID, announced size, flag and count byte) at the same offsets. Such a
    // frame is exact, bytes() long, and its records are those of record(0 .. numRecords() - 1)
    // moved by `data - this->data()`; its frame number is the 4 bytes at `data + 4`. The view
    // itself does not change.
    bool repeats(const unsigned char* data, std::size_t size) const noexcept;
    // How many frames laid one after another from `data` (`size` bytes in all), each bytes()
    // long, repeat that shape: repeats() of each, up to `most` of them.
    // Not const: the first call for several frames prepares the comparison of this shape.
    std::size_t repeatsEach(const unsigned char* data, std::size_t size, std::size_t most) noexcept;

    // The first record of this kind whose parent is `parent` (-1: the frame), or null.
    const RecordRef* find(char object_id, int parent = -1) const;
    // The index of a record of this view.
    int indexOf(const RecordRef& record) const {
        return static_cast<int>(&record - _records.data());
    }

private:
    ViewStatus walk(std::size_t pos, int parent, int depth, std::size_t& held,
                    std::uint64_t& unannounced) noexcept;
#if defined(__GNUC__)
    __attribute__((always_inline))
#endif
    ViewStatus
    children(std::size_t& p, int index, int depth, unsigned int count,
             std::uint64_t& inside) noexcept;

    ViewStatus nested(std::size_t& p, int index, int depth, unsigned int count,
                      std::uint64_t& inside) noexcept;
    bool sameShape(const unsigned char* data, std::size_t size) noexcept;
    void keepShape() noexcept;

    // The shape of the last frame, when every record in it took the common path (a short
    // header, enabled, fixed fields or a simple labelled record): per record its first four
    // bytes (kind, announced size, flag) and its count byte. A frame whose bytes hold the same
    // values at the same offsets is read exactly as that one was, so reset() checks those bytes and
    // moves the index onto it.
    struct ShapeEntry {
        std::uint32_t header = 0;  // the four bytes as they lie in memory
        std::uint32_t offset = 0;
        std::uint32_t count_at = 0;
        unsigned char count = 0;
    };
    // A labelled intersection record on the common path (short header, enabled, at most one
    // label, at most one entry of each kind, no sub-records): the bytes that decide its extent
    // are the eye byte (V4), the label count and the label up to its 0 byte, kept here, and the
    // three entry counts.
    struct LabelShape {
        static constexpr std::size_t MAX_TEXT = 40;  // eye, count, label and its 0 byte
        std::uint32_t text_at = 0;
        std::uint32_t text_bytes = 0;
        std::array<std::uint32_t, 3> count_at{};
        std::array<std::uint64_t, 3> count{};
        std::array<unsigned char, MAX_TEXT> text{};
    };
    static constexpr std::size_t MAX_LABEL_SHAPES = 4;
    bool labelled(std::size_t pos, int index, int depth, std::size_t n) noexcept;
    bool sameLabels(const unsigned char* data) const noexcept;

    // The same structural bytes (the shape's headers, count bytes and labels) as 16-byte blocks
    // of the frame, each with a mask of the bytes that count: repeatsEach() compares a frame's
    // blocks in a few vector operations instead of record by record. Built from the shape the
    // first time repeatsEach() is asked for several frames; frames shorter than a block or
    // longer than MAX_BLOCK_BYTES are compared record by record.
    struct ShapeBlock {
        alignas(16) std::array<unsigned char, 16> ref{};
        alignas(16) std::array<unsigned char, 16> mask{};
        std::uint32_t offset = 0;
    };
    static constexpr std::size_t MAX_BLOCK_BYTES = 2048;
    static constexpr std::size_t MAX_SHAPE_BLOCKS = MAX_BLOCK_BYTES / 16;
    enum class Blocks : unsigned char { UNBUILT, BUILT, NONE };
    void buildBlocks() noexcept;
    bool sameEntries(const unsigned char* data) const noexcept;

    bool _common = false;  // the walk so far took the common path only
    bool _shaped = false;  // _shape describes the index
    std::array<ShapeEntry, MAX_RECORDS + 1> _shape{};
    std::size_t _label_shapes = 0;
    std::array<LabelShape, MAX_LABEL_SHAPES> _labels{};
    Blocks _block_state = Blocks::UNBUILT;
    std::size_t _num_blocks = 0;
    std::array<ShapeBlock, MAX_SHAPE_BLOCKS> _blocks{};

    const unsigned char* _data = nullptr;
    std::size_t _size = 0;
    std::size_t _bytes = 0;
    std::uint32_t _frame_num = 0;
    std::size_t _count = 0;
    ViewStatus _status = ViewStatus::TRUNCATED;
    bool _exact = false;
    std::array<RecordRef, MAX_RECORDS> _records{};
};

// Big-endian field decoding of the typed views.
namespace view_detail {
template <typename T>
inline T at(const unsigned char* fields, std::size_t offset) {
    return byteorder::load<T>(fields + offset);
}
template <typename T, std::size_t N>
inline std::array<T, N> arrayAt(const unsigned char* fields, std::size_t offset) {
    std::array<T, N> values;
    for (std::size_t i = 0; i < N; ++i) {
        values[i] = at<T>(fields, offset + i * sizeof(T));
    }
    return values;
}
}  // namespace view_detail

// Per-eye values are indexed by EyeId: 0 the right eye, 1 the left eye.

// TimingOutputData (0x0A): 22 bytes of fields.
class TimingView {
public:
    static constexpr char ID = object_id::TIMING_OUTPUT_DATA;
    static constexpr std::size_t FIELD_BYTES = 22;
    explicit TimingView(const RecordRef& r) : _f(r.fields()) {}
    double experimentTime() const { return view_detail::at<double>(_f, 0); }  // s
    std::int32_t frameTimeSecs() const { return view_detail::at<std::int32_t>(_f, 8); }
    std::uint16_t frameTimeMSecs() const { return view_detail::at<std::uint16_t>(_f, 12); }
    float approxDelay() const { return view_detail::at<float>(_f, 14); }
    std::int32_t annotationLabelID() const { return view_detail::at<std::int32_t>(_f, 18); }

private:
    const unsigned char* _f;
};

// HeadOutputData (0x0B), the first version: 54 bytes of fields.
class HeadV1View {
public:
    static constexpr char ID = object_id::HEAD_OUTPUT_DATA;
    static constexpr std::size_t FIELD_BYTES = 54;
    explicit HeadV1View(const RecordRef& r) : _f(r.fields()) {}
    std::int8_t trackingState() const { return view_detail::at<std::int8_t>(_f, 0); }
    std::array<float, 3> headPosition() const { return view_detail::arrayAt<float, 3>(_f, 1); }
    std::array<float, 3> headRotation() const { return view_detail::arrayAt<float, 3>(_f, 13); }
    float headPositionConfidence() const { return view_detail::at<float>(_f, 25); }
    std::int8_t modelQualityLevel() const { return view_detail::at<std::int8_t>(_f, 29); }
    std::array<float, 3> headEyeBallPos(int eye) const {
        return view_detail::arrayAt<float, 3>(_f, 30 + 12 * static_cast<std::size_t>(eye != 0));
    }

private:
    const unsigned char* _f;
};

// HeadOutputDataV2 (0x10): 114 bytes of fields. The Euler angles are not on the wire; the
// columns derive them from the quaternion as the record does.
class HeadV2View {
public:
    static constexpr char ID = object_id::HEAD_OUTPUT_DATA_V2;
    static constexpr std::size_t FIELD_BYTES = 114;
    explicit HeadV2View(const RecordRef& r) : _f(r.fields()) {}
    bool isTracking() const { return _f[0] != 0; }
    std::array<double, 3> headPosition() const { return view_detail::arrayAt<double, 3>(_f, 1); }
    // w, x, y, z
    std::array<double, 4> headRotationQuaternion() const {
        return view_detail::arrayAt<double, 4>(_f, 25);
    }
    double headPositionConfidence() const { return view_detail::at<double>(_f, 57); }
    std::int8_t modelQualityLevel() const { return view_detail::at<std::int8_t>(_f, 65); }
    std::array<double, 3> headEyeBallPos(int eye) const {
        return view_detail::arrayAt<double, 3>(_f, 66 + 24 * static_cast<std::size_t>(eye != 0));
    }

private:
    const unsigned char* _f;
};

// PupilOutputData (0x0E): 32 bytes of fields.
class PupilView {
public:
    static constexpr char ID = object_id::PUPIL_OUTPUT_DATA;
    static constexpr std::size_t FIELD_BYTES = 32;
    explicit PupilView(const RecordRef& r) : _f(r.fields()) {}
    std::array<float, 3> pupilPosition(int eye) const {
        return view_detail::arrayAt<float, 3>(_f, 16 * static_cast<std::size_t>(eye != 0));
    }
    float pupilDiameter(int eye) const {
        return view_detail::at<float>(_f, 12 + 16 * static_cast<std::size_t>(eye != 0));
    }

private:
    const unsigned char* _f;
};

// EyeClosureOutputData (0x0C): 33 bytes of fields.
class EyeClosureView {
public:
    static constexpr char ID = object_id::EYE_CLOSURE_OUTPUT_DATA;
    static constexpr std::size_t FIELD_BYTES = 33;
    explicit EyeClosureView(const RecordRef& r) : _f(r.fields()) {}
    float eyeClosure(int eye) const {
        return view_detail::at<float>(_f, 4 * static_cast<std::size_t>(eye != 0));
    }
    float eyeClosureConfidence(int eye) const {
        return view_detail::at<float>(_f, 8 + 4 * static_cast<std::size_t>(eye != 0));
    }
    float eyeClosureCalibStatus() const { return view_detail::at<float>(_f, 16); }
    bool blinking() const { return _f[20] != 0; }
    float blinkFrequency() const { return view_detail::at<float>(_f, 21); }
    float averageBlinkDuration() const { return view_detail::at<float>(_f, 25); }
    float perclos() const { return view_detail::at<float>(_f, 29); }

private:
    const unsigned char* _f;
};

// GazeOutputData (0x0D): 44 bytes of fields.
class GazeView {
public:
    static constexpr char ID = object_id::GAZE_OUTPUT_DATA;
    static constexpr std::size_t FIELD_BYTES = 44;
    explicit GazeView(const RecordRef& r) : _f(r.fields()) {}
    std::uint8_t gazeQualityLevel(int eye) const { return _f[21 * (eye != 0)]; }  // 0..3
    std::array<float, 3> eyeballCentre(int eye) const {
        return view_detail::arrayAt<float, 3>(_f, 1 + 21 * static_cast<std::size_t>(eye != 0));
    }
    // pitch, yaw
    std::array<float, 2> gazeRotation(int eye) const {
        return view_detail::arrayAt<float, 2>(_f, 13 + 21 * static_cast<std::size_t>(eye != 0));
    }
    bool gazeCalibrated() const { return _f[42] != 0; }
    bool saccade() const { return _f[43] != 0; }

private:
    const unsigned char* _f;
};

// EngineStateOutputData (0x28) and HeadTrackerStateOutputData (0x29): 4 bytes of fields.
class StateView {
public:
    static constexpr std::size_t FIELD_BYTES = 4;
    explicit StateView(const RecordRef& r) : _f(r.fields()) {}
    std::int32_t state() const { return view_detail::at<std::int32_t>(_f, 0); }

private:
    const unsigned char* _f;
};

// GPSOutputData (0x22, 17 bytes of fields) and GPSOutputDataV2 (0x23, 29 bytes).
struct GpsCoordinateView {
    std::int16_t degrees = 0;
    std::int8_t minutes = 0;
    float seconds = 0;  // whole seconds in the first version
    char hemisphere = 'N';
    // Signed decimal degrees, south and west negative.
    double decimalDegrees() const {
        const double value =
            (degrees * 3600.0 + minutes * 60.0 + static_cast<double>(seconds)) / 3600.0;
        return hemisphere == 'S' || hemisphere == 'W' ? -value : value;
    }
};

class GpsView {
public:
    static constexpr std::size_t V1_FIELD_BYTES = 17;
    static constexpr std::size_t V2_FIELD_BYTES = 29;
    explicit GpsView(const RecordRef& r)
        : _f(r.fields()), _v2(r.object_id == object_id::GPS_OUTPUT_DATA_V2) {}
    bool v2() const { return _v2; }
    bool isDataValid() const { return _f[0] != 0; }
    std::uint32_t gmtTime() const { return view_detail::at<std::uint32_t>(_f, 1); }
    GpsCoordinateView latitude() const { return coordinate(5); }
    GpsCoordinateView longitude() const { return coordinate(_v2 ? 13 : 10); }
    // km/h; the first version's whole number, -1 when there is none
    float speed() const {
        return _v2 ? view_detail::at<float>(_f, 21)
                   : static_cast<float>(view_detail::at<std::int16_t>(_f, 15));
    }
    float course() const { return _v2 ? view_detail::at<float>(_f, 25) : 0.0f; }  // V2 only

private:
    GpsCoordinateView coordinate(std::size_t at) const {
        GpsCoordinateView c;
        c.degrees = view_detail::at<std::int16_t>(_f, at);
        c.minutes = view_detail::at<std::int8_t>(_f, at + 2);
        if (_v2) {
            c.seconds = view_detail::at<float>(_f, at + 3);
            c.hemisphere = static_cast<char>(_f[at + 7]);
        } else {
            c.seconds = view_detail::at<std::int8_t>(_f, at + 3);
            c.hemisphere = static_cast<char>(_f[at + 4]);
        }
        return c;
    }
    const unsigned char* _f;
    bool _v2;
};

// InertiaOutputData (0x20): 24 bytes of fields.
class InertiaView {
public:
    static constexpr char ID = object_id::INERTIA_OUTPUT_DATA;
    static constexpr std::size_t FIELD_BYTES = 24;
    explicit InertiaView(const RecordRef& r) : _f(r.fields()) {}
    std::array<float, 3> angularRate() const { return view_detail::arrayAt<float, 3>(_f, 0); }
    std::array<float, 3> accel() const { return view_detail::arrayAt<float, 3>(_f, 12); }

private:
    const unsigned char* _f;
};

// GazeIntersectionOutputDataV1 (0x12), HeadIntersectionOutputDataV1 (0x11): 41 bytes of fields;
// GazeIntersectionOutputDataV2 (0x1D): the same 41 and the gaze object point, 53 bytes.
class IntersectionV1View {
public:
    static constexpr std::size_t V1_FIELD_BYTES = 41;
    static constexpr std::size_t V2_FIELD_BYTES = 53;
    explicit IntersectionV1View(const RecordRef& r)
        : _f(r.fields()), _v2(r.object_id == object_id::GAZE_INTERSECTION_OUTPUT_DATA_V2) {}
    std::int32_t objectIndex() const { return view_detail::at<std::int32_t>(_f, 0); }
    // The 7 characters on the wire (a checked record holds 7 and a 0 byte), without the
    // blanks that pad them, as the record objects read it.
    std::string_view objectName() const {
        std::size_t n = 7;
        while (n > 0 && _f[4 + n - 1] == ' ') {
            --n;
        }
        return std::string_view(reinterpret_cast<const char*>(_f + 4), n);
    }
    bool intersectsScreen() const { return _f[12] != 0; }
    std::array<float, 3> world() const { return view_detail::arrayAt<float, 3>(_f, 13); }
    std::array<float, 2> screen() const { return view_detail::arrayAt<float, 2>(_f, 25); }
    std::array<std::int32_t, 2> pixel() const {
        return view_detail::arrayAt<std::int32_t, 2>(_f, 33);
    }
    bool hasGazeObject() const { return _v2; }
    // GazeIntersectionOutputDataV2 only
    std::array<float, 3> gazeObject() const { return view_detail::arrayAt<float, 3>(_f, 41); }

private:
    const unsigned char* _f;
    bool _v2;
};

// One labelled intersection: a label, its index, a world point, and a plane point and a pixel
// when the record holds them for that index.
struct LabelledIntersection {
    std::string_view label;
    std::int32_t index = 0;
    bool has_world = false;
    bool has_plane = false;
    bool has_pixel = false;
    std::array<float, 3> world{};  // zeros without a world point
    std::array<float, 2> plane{};
    std::array<std::int32_t, 2> pixel{};
};

// GazeIntersectionOutputDataV3 (0x2C), HeadIntersectionOutputDataV2 (0x2D) and
// GazeIntersectionOutputDataV4 (0x27, an eye byte first). The fields:
//
//     label count (8 bytes), then per label: the label (its bytes and a 0 byte), index (4 bytes)
//     world count (8 bytes), then per entry: index (4), x, y, z (floats)
//     plane count (8 bytes), then per entry: index (4), x, y (floats)
//     pixel count (8 bytes), then per entry: index (4), x, y (4-byte integers)
//
// Writers put labels in ascending byte order and entries in ascending index, each once; a record
// that holds them otherwise is not exact (FrameView), and its values come from the record
// objects instead.
class VQ_EOD_API LabelledIntersectionView {
public:
    // The record must be one that a FrameView checked.
    explicit LabelledIntersectionView(const RecordRef& r);
    // V4: the eye the intersections are of (EyeId, 2 for both eyes); -1 for the other kinds.
    int eyeId() const { return _eye; }
    std::size_t numLabels() const { return static_cast<std::size_t>(_labels); }
    // The labels in their order, one per call, with their points; false after the last.
    // Each call takes time in the label's length and the logarithm of the entry counts.
    bool next(LabelledIntersection& out);
    // Starts next() again at the first label.
    void rewind();

    // Checks the fields of `size` bytes at `fields` (after the eye byte of V4): returns the
    // bytes they take, or 0 when they need more than `size`. Never reads outside them. With
    // `ordered`, says whether labels and entries are in strictly ascending order.
    static std::size_t measure(const unsigned char* fields, std::size_t size,
                               bool* ordered = nullptr) noexcept;

private:
    bool findPoint(std::size_t section, std::uint64_t count, std::size_t entry_bytes,
                   std::int32_t index, std::size_t& at) const;

    const unsigned char* _f = nullptr;  // the label count
    int _eye = -1;
    std::uint64_t _labels = 0;
    std::uint64_t _next_label = 0;
    std::size_t _cursor = 8;  // of the next label, from _f
    std::size_t _world = 0;   // of the world count, from _f
    std::size_t _plane = 0;
    std::size_t _pixel = 0;
};

}  // namespace vq::eod
