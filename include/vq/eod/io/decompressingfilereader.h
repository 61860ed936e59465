// DecompressingFileReader: reads the files of CompressingFileWriter.
//
// Opening reads the file header and, from the file's end, the footer with the chunk index. A file
// without a valid footer (its writer was killed, or the footer is damaged) is read chunk by chunk
// instead, up to its last whole chunk. Frames come out in file order, as objects (readData) or as
// their serialised bytes (readFrameBytes); seekFrame() and seekTime() find their chunk by a binary
// search of the index and decompress that one chunk.
//
// Damage. Every chunk carries checksums of its header and of its contents. A chunk whose header,
// contents or compressed form is damaged, bytes between chunks that are no chunk, and a chunk
// cut short by the end of the file are each reported once, by the read that reaches them,
// after every frame before them: CompressedFrameFileError "DecompressingFileReader - damaged
// chunk at bytes <first>-<last> (frames <first>-<last>): <reason>", and the next read goes on
// with the next intact chunk. The frame range of a chunk whose header is damaged is the range its
// intact neighbours leave, "(frames <a>-<b> by its neighbours)", or "(frames unknown)". damage()
// lists what was found so far; verify() reads every chunk and lists all of it.
//
// Bounds. A chunk's contents take at most MAX_CHUNK_BYTES (64 MiB) before and after compression;
// a header announcing more is damage, never an allocation. The reader holds at most three chunks
// as frames (the one read and two decoded ahead), the compressed and decompressed contents of
// one chunk for each of the two threads that decode, and 40 bytes of index per chunk. Time is
// linear in the file's size; a damaged region is searched for the next chunk's sync marker.
//
// Reading ahead. While the frames of one chunk are read in file order (readData,
// readFrameBytes, readFrameBlock), a thread of the reader decodes the next two chunks, one after
// the other (reads each, checks both checksums, decompresses it, rebuilds its frames), so that a
// caller who reads a file through finds each chunk ready and the thread never waits for the
// caller to finish a chunk. A read that passes into a chunk the thread is still decoding decodes
// the chunk after it on the caller's thread meanwhile (or the chunk itself, when the thread has
// not begun it), so that both threads decode when decoding is the slower side. Seeks and
// readChunk() decode their chunk on the caller's thread, and start no reading ahead until the
// reads pass into the next chunk. Damage found ahead, by either thread, is reported as above, by
// the read that reaches it.
//
// Not thread-safe: one thread uses a reader at a time. Not copyable.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <boost/shared_ptr.hpp>

#include "vq/eod/engineoutputdata.h"

namespace vq::eod::io {

class VQ_EOD_API DecompressingFileReader {
public:
    static constexpr std::size_t MAX_CHUNK_BYTES = 64u << 20;

    // One chunk of the index, or a damaged region where a chunk should be.
    struct Chunk {
        std::uint64_t offset = 0;  // of its sync marker
        std::uint64_t bytes = 0;   // sync marker, header and contents
        std::uint32_t frames = 0;  // 0 when its header is damaged
        std::uint32_t first_frame = 0;
        std::uint32_t last_frame = 0;
        double first_time = 0;  // NaN: no frame of the chunk has a timing record
        double last_time = 0;
        std::string damage;  // empty unless found damaged: the reason
    };

    // What the file holds: from the footer, or from the chunk headers of a file without one.
    struct Summary {
        std::uint64_t frames = 0;
        std::uint32_t first_frame = 0;
        std::uint32_t last_frame = 0;
        double first_time = 0;  // NaN when no frame has a timing record
        double last_time = 0;
        std::vector<std::pair<char, std::uint64_t>> kinds;  // records per object ID
    };

    DecompressingFileReader();
    DecompressingFileReader(const DecompressingFileReader&) = delete;
    DecompressingFileReader& operator=(const DecompressingFileReader&) = delete;
    ~DecompressingFileReader();

    // Whether the file starts with the magic number of a compressed frame file.
    static bool isCompressedFrameFile(const std::string& path);

    // Opens `path`. An open reader is a programming error ("a file is already open"). Raises
    // CompressedFrameFileError "DecompressingFileReader::open - <reason>: <path>", the reason
    // one of "could not open file", "not a compressed frame file", "unsupported version <n>".
    // A damaged file header is damage (the chunks are still read), not an error.
    void open(const std::string& path);
    void open(const std::wstring& path);
    bool isOpen() const;
    void close();

    // Whether the index came from a valid footer.
    bool hasFooter() const;
    const std::vector<Chunk>& chunks() const;
    Summary summary() const;
    // The damage found so far, one message each (as raised by the reads).
    std::vector<std::string> damage() const;
    // Checks every chunk (both checksums, decompression, frames) and returns all damage; the next
    // read starts again at the first frame.
    std::vector<std::string> verify();

    // The next frame, or null at the end. Closed is a programming error ("no file is open").
    boost::shared_ptr<EngineOutputData> readData();
    // The next frame's serialised bytes, valid until the next read or seek; false at the end.
    bool readFrameBytes(const unsigned char*& data, std::size_t& size);
    // The frames of the current chunk not read yet (the next chunk's when none are left), at
    // once: frame i spans base + offsets[i] to base + offsets[i + 1], i < count; valid until
    // the next read or seek; false at the end.
    bool readFrameBlock(const unsigned char*& base, const std::size_t*& offsets,
                        std::size_t& count);
    bool endOfData();

    // The next read returns the first frame whose number is at least `frame_num` (or ends).
    void seekFrame(std::uint32_t frame_num);
    // The next read returns the first frame whose timing record's experiment time is at least
    // `time` (or ends).
    void seekTime(double time);
    void rewind();

    // The frames of chunk `index`, decoded: frame i is [offsets[i], offsets[i + 1]) of `frames`.
    // Raises the damage error of a damaged chunk.
    void readChunk(std::size_t index, ByteBuffer& frames, std::vector<std::size_t>& offsets);

private:
    class Impl;
    std::unique_ptr<Impl> _impl;
};

}  // namespace vq::eod::io
