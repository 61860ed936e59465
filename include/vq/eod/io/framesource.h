// FrameSource: where ColumnReader takes the bytes of serialised frames from, one whole frame at
// a time. The library's record files and per-kind log files are read by its own sources (see
// ColumnReader's path constructor); another file format gives its frames to ColumnReader by
// implementing this interface.
//
// Contract of next():
// - It returns true and sets `frame` to the bytes of the next frame, from the first byte of its
//   header (object ID 0x09) to at least the last byte of the frame; more bytes may follow, which
//   the reader ignores. The bytes stay valid and unchanged until the next call of next() or the
//   source's destruction; the source owns them.
// - It returns false at the end of the frames, and again on every later call.
// - It raises its own EODError subclass when it cannot deliver the next frame (a damaged or
//   truncated file); the reader passes that on. It never returns bytes it could not read.
// - A source of one kind of a per-kind recording delivers frames in ascending frame number, as
//   the per-kind writer writes them; ColumnReader merges several such sources by frame number.
//
// The bytes of a frame are untrusted: the reader checks them (FrameView) and asks the record
// factory for the verdict on a frame the view does not accept as it stands, so a source need not
// check anything but that it delivers what its format holds.
#pragma once

#include <cstddef>
#include <string>

#include "vq/eod/export.h"

namespace vq::eod::io {

// The bytes of one frame, owned by its source.
struct FrameBytes {
    const unsigned char* data = nullptr;
    std::size_t size = 0;
};

// Frames that lie one after another, owned by their source: frame i spans the bytes from
// base + offsets[i] to base + offsets[i + 1], for i < count (offsets holds count + 1 ascending
// values).
struct FrameBlock {
    const unsigned char* base = nullptr;
    const std::size_t* offsets = nullptr;
    std::size_t count = 0;
};

class VQ_EOD_API FrameSource {
public:
    virtual ~FrameSource();
    // The next frame, or false at the end (see above).
    virtual bool next(FrameBytes& frame) = 0;
    // The next frames, at least one: those that next() would give one by one, as many as the
    // source has at hand, under the same contract (valid until the next call of next() or
    // nextBlock()); false at the end. ColumnReader reads through this; the default gives the
    // one frame of next(). A source whose frames lie in one buffer gives them all at once.
    virtual bool nextBlock(FrameBlock& block);
    // A name for messages, such as the file's path.
    virtual std::string name() const = 0;

private:
    std::size_t _one[2] = {0, 0};  // the offsets of the default nextBlock()
};

}  // namespace vq::eod::io
