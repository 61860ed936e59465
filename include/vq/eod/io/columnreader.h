// ColumnReader: reads a recording into column batches, without building record objects.
//
// A recording is a single log file of whole frames, a compressed frame file (recognised by its
// magic number; see docs/compressed-format.md), or a directory of per-kind log files that
// the reader merges by frame number (as EngineOutputDataFileReader does, on the bytes: the
// frames of every file with the lowest frame number make one row). Other formats give their
// frames through FrameSource. Each frame is checked and read through a FrameView.
//
// Selection (ColumnReaderOptions): the table (columns.h); the record kinds (a frame holding none
// of them is left out, as `vqlog --kinds` has it); the columns; a range of frame numbers (frames
// come in ascending number, so the first frame beyond `last_frame` ends the read); a range of
// time_s (the timing record's experiment time; frames without a timing record are left out when
// a time range is set); a largest number of frames.
//
// Batches. next(batch) fills a ColumnBatch with up to `batch_rows` rows. A batch is a struct of
// arrays: per column one contiguous buffer of its ColumnType (a STRING column: rows + 1 offsets
// and a byte buffer) and one validity byte per row (1: the row has a value; 0: the frame lacks
// the record, and the buffer holds 0 there). The buffers belong to the batch and stay valid until
// the next call of next() with it; reuse one batch to stream a recording of any length through
// memory bounded by the batch size (plus the reader's file blocks and the largest frame). In the
// long tables a frame's rows never straddle two batches: a frame whose rows do not fit starts the
// next batch, and a frame that alone has more rows than batch_rows makes its batch that large.
//
// Files are mapped into memory and read front to back, every length checked against the bytes
// the file holds; the pages behind the read position are given back every BLOCK_BYTES, so
// the resident memory stays bounded whatever the file's length.
//
// Damaged input. The reader's results and errors are those of the record objects: every row it
// gives before an error is one that EngineOutputDataFileReader would give, in the same order, and
// the error is the one it raises (EngineOutputDataFileError "... corrupt or invalid logfile",
// SerializableError from a malformed frame). When a file's framing is damaged, or a frame is not
// one the view reads exactly (FrameView::exact()), the reader goes on from there with the record
// objects (for FrameSources: the factory on that frame), which is slower but gives their verdict.
// An error ends the read: later calls of next() return false.
//
// Not thread-safe: one thread uses a reader at a time. Distinct readers are independent.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "vq/eod/columns.h"
#include "vq/eod/export.h"
#include "vq/eod/io/framesource.h"

namespace vq::eod::io {

namespace detail {
// An allocator that leaves new elements uninitialised: the reader writes every cell of a row
// (a value or a 0 with validity 0), so a new batch's buffers need not be zeroed first.
template <typename T>
struct UninitialisedAllocator : std::allocator<T> {
    template <typename U>
    struct rebind {
        using other = UninitialisedAllocator<U>;
    };
    UninitialisedAllocator() = default;
    template <typename U>
    UninitialisedAllocator(const UninitialisedAllocator<U>&) noexcept {}
    template <typename U>
    void construct(U* p) noexcept {
        ::new (static_cast<void*>(p)) U;
    }
    template <typename U, typename... Args>
    void construct(U* p, Args&&... args) {
        ::new (static_cast<void*>(p)) U(std::forward<Args>(args)...);
    }
};
template <typename T>
using Buffer = std::vector<T, UninitialisedAllocator<T>>;
}  // namespace detail

struct ColumnReaderOptions {
    Table table = Table::FRAME;
    std::vector<char> kinds;           // records of these kinds only; empty: every kind
    std::vector<std::string> columns;  // these columns, in this order; empty: every column
    std::uint32_t first_frame = 0;     // frame numbers taken, both ends included
    std::uint32_t last_frame = std::numeric_limits<std::uint32_t>::max();
    double start_s = -std::numeric_limits<double>::infinity();  // time_s taken, both ends
    double end_s = std::numeric_limits<double>::infinity();
    std::uint64_t max_frames = std::numeric_limits<std::uint64_t>::max();
    std::size_t batch_rows = 65536;  // rows per batch, at least 1
};

// One column of a batch.
class VQ_EOD_API Column {
public:
    const ColumnInfo& info() const { return *_info; }
    ColumnType type() const { return _info->type; }
    std::size_t numRows() const { return _rows; }
    // The values: numRows() elements of the column's type (columnTypeSize() bytes each),
    // contiguous. For STRING, the offsets (numRows() + 1 std::uint32_t) instead.
    const void* data() const { return _values.data(); }
    template <typename T>
    const T* values() const {
        return reinterpret_cast<const T*>(_values.data());
    }
    // One byte per row: 1 when the row holds a value.
    const std::uint8_t* validity() const { return _valid.data(); }
    bool valid(std::size_t row) const { return _valid[row] != 0; }
    // STRING: the bytes the offsets point into.
    const char* chars() const { return _chars.data(); }
    std::size_t numChars() const { return _chars.size(); }

private:
    friend class ColumnReader;
    friend class ColumnFiller;
    const ColumnInfo* _info = nullptr;
    std::size_t _rows = 0;
    detail::Buffer<unsigned char> _values;  // aligned for 8-byte types by the allocator
    detail::Buffer<std::uint8_t> _valid;
    std::vector<char> _chars;
};

class VQ_EOD_API ColumnBatch {
public:
    std::size_t numRows() const { return _rows; }
    std::size_t numColumns() const { return _columns.size(); }
    const Column& column(std::size_t i) const { return _columns[i]; }
    // The index of a column by name, or -1.
    int find(const std::string& name) const;

private:
    friend class ColumnReader;
    friend class ColumnFiller;
    std::size_t _rows = 0;
    std::vector<Column> _columns;
};

// What scanRecording() found.
struct RecordingSummary {
    std::uint64_t frames = 0;      // frames selected
    std::vector<char> kinds;       // the kinds of their records (in face sets too), ascending
    std::uint64_t more_faces = 0;  // frames holding more than one face set
};

class VQ_EOD_API ColumnReader {
public:
    // The unit in which pages of a mapped file are given back.
    static constexpr std::size_t BLOCK_BYTES = 1 << 20;

    // Opens a directory of per-kind log files, or one log file; the errors of
    // EngineOutputDataFileReader (openFiles, openFile) pass through. Unknown column names
    // and a batch_rows of 0 are programming errors (std::invalid_argument).
    explicit ColumnReader(const std::string& path, ColumnReaderOptions options = {});
    // Reads the frames of `sources`: one source of whole frames, or several (one per kind)
    // merged by frame number.
    ColumnReader(std::vector<std::unique_ptr<FrameSource>> sources,
                 ColumnReaderOptions options = {});
    ~ColumnReader();
    ColumnReader(const ColumnReader&) = delete;
    ColumnReader& operator=(const ColumnReader&) = delete;

    // The columns of the batches, in their order, as indices into columns(options.table).
    const std::vector<std::size_t>& selectedColumns() const { return _selected; }

    // Fills `batch` with the next rows; false (and an empty batch) when none are left.
    bool next(ColumnBatch& batch);

    // Frames read so far that the selection took.
    std::uint64_t framesTaken() const;

private:
    struct State;
    friend VQ_EOD_API RecordingSummary scanRecording(const std::string& path,
                                                     const ColumnReaderOptions& options);
    std::unique_ptr<State> _state;
    std::vector<std::size_t> _selected;
};

// Reads the selected frames of a recording once (views only) and says what they hold; the
// options' table, columns and batch_rows do not matter.
VQ_EOD_API RecordingSummary scanRecording(const std::string& path,
                                          const ColumnReaderOptions& options);

}  // namespace vq::eod::io
