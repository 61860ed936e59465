// CompressingFileWriter: records a stream of frames as one compressed frame file.
//
// The file (docs/compressed-format.md has its layout) is a header, then chunks, then a footer
// with the chunk index. A chunk holds whole serialised frames, compressed with zstd and
// checksummed with XXH3. The caller's thread serialises each frame into the open chunk and closes
// the chunk when its frames reach the chunk size (1 MiB by default) or when a frame is written
// and the chunk's first frame was taken more than the chunk age (1 s by default) before; a
// second thread of the writer compresses the closed chunk and writes it with one write, while
// the caller fills the next. At most two chunks are in memory: a caller that closes a chunk
// while the one before is still being compressed waits for it. So a writer that is killed loses
// the chunk it was filling and, if it is killed within the compression of a chunk (about 2 ms
// for 1 MiB) after closing it, that chunk too (Options::overlap = false rules that out); every
// chunk before them reads back. Only the
// footer, written by closeFile(), is missing then, and the reader finds the chunks one by one
// instead. flushChunk() returns once the open chunk is written to the file.
//
// Frames are taken as EngineOutputDataFileWriter's single-file mode takes them: whole, skipping
// a frame whose serializeEnabled() is false. Frames are expected in ascending frame number and
// time, as an engine makes them; the reader's seeks rely on that order.
//
// Failures are never silent. A chunk that cannot be written (a full disk, an I/O error) raises
// CompressedFrameFileError "CompressingFileWriter - could not write <path>: <reason>" from
// the first writeData(), flushChunk() or closeFile() after the failure; the file is cut back to
// the end of the last whole chunk, the frames of the failed chunk and of the open one are lost,
// and every later writeData() and closeFile() raises the same error again. A frame larger than
// a chunk may hold (64 MiB) raises "CompressingFileWriter::writeData - frame of <n> bytes
// exceeds the chunk limit of 67108864 bytes" and is not written. The destructor closes without
// raising: call closeFile() to learn whether everything reached the disk.
//
// Not thread-safe: one thread uses a writer at a time. Not copyable.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <boost/shared_ptr.hpp>

#include "vq/eod/engineoutputdata.h"

namespace vq::eod::io {

class VQ_EOD_API CompressingFileWriter {
public:
    static constexpr std::size_t DEFAULT_CHUNK_BYTES = 1 << 20;
    static constexpr std::chrono::milliseconds DEFAULT_CHUNK_AGE{1000};
    static constexpr int DEFAULT_LEVEL = 3;
    // The most bytes a chunk's contents may take, before and after compression.
    static constexpr std::size_t MAX_CHUNK_BYTES = 64u << 20;

    struct Options {
        int level = DEFAULT_LEVEL;  // zstd level, -7 to 19 (below 1: its fast levels)
        std::size_t chunk_bytes = DEFAULT_CHUNK_BYTES;            // 1 to MAX_CHUNK_BYTES
        std::chrono::milliseconds chunk_age = DEFAULT_CHUNK_AGE;  // 0: one frame per chunk
        // true: the caller fills the next chunk while the one it closed is compressed. false:
        // the writeData() or flushChunk() that closes a chunk returns once it is on disk, so a
        // killed writer loses at most the chunk it was filling, at about half the speed.
        bool overlap = true;
    };

    CompressingFileWriter();
    CompressingFileWriter(const CompressingFileWriter&) = delete;
    CompressingFileWriter& operator=(const CompressingFileWriter&) = delete;
    // Closes the file without raising.
    ~CompressingFileWriter();

    // Opens (truncating) `path` and writes the file header. An open writer is a programming
    // error ("a file is already open"), and so are options out of range ("compression level
    // out of range", "chunk size out of range", "negative chunk age"). A file that cannot be
    // created raises CompressedFrameFileError "CompressingFileWriter::newFile - could not
    // open file <path>: <reason>"; the writer stays closed. A file header that cannot be written
    // raises the write error (see above); the writer then counts as open until closeFile().
    void newFile(const std::string& path, const Options& options);
    void newFile(const std::string& path);
    void newFile(const std::wstring& path, const Options& options);

    bool isOpen() const;
    // Writes the open chunk, the footer and closes the file; harmless when closed. Raises the
    // write error (see above) after closing when any write failed.
    void closeFile();

    // Adds the frame to the open chunk, writing the chunk when it is full or old. No file open
    // is a programming error ("no file is open"), and so is a null pointer.
    void writeData(const EngineOutputData& frame);
    void writeData(const boost::shared_ptr<const EngineOutputData>& frame);
    // Writes the open chunk now, if it holds any frame (for a caller whose frames pause), and
    // returns once it is written; raises a failure as writeData() does.
    void flushChunk();

    // Frames taken so far, and chunks on disk so far.
    std::uint64_t framesWritten() const;
    std::uint64_t chunksWritten() const;

private:
    class Impl;
    std::unique_ptr<Impl> _impl;
};

}  // namespace vq::eod::io
