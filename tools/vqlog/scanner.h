// RecordScanner: walks a log file record by record and says exactly which bytes are intact
// frames and which are damaged, for `vqlog info`, `check` and `recover`.
//
// A log file is serialised frames back to back. The scanner decodes each record through the
// library's factory, from a window of the file that holds the record and as many bytes again
// (records with a labelled intersection block hold 16 bytes more than they announce, which the
// factory takes from the bytes that follow). A record is damaged when
// - the file ends inside it ("truncated"),
// - its size header reaches beyond the end of the file while a frame follows further on,
// - it does not decode (its data does not match its size, or the library refuses it),
// - it decodes to something other than a frame (another record, a kind the library lacks), or
// - it is a frame holding a record that is not an engine record (the reader refuses to merge it).
// After damage the scanner looks for the next byte where a whole frame decodes and is followed by
// the end of the file or by the object ID of a frame (a frame cut short counts), and goes on from
// there.
//
// Time: linear in the file. The window slides over the file (each byte is read once and moved at
// most once), so looking for the next frame after damage costs the decoding of each candidate
// header, not a fresh read of the file behind it.
//
// Memory: the window holds a record and as many bytes again, read in pieces of at least 1 MiB,
// plus at most as many bytes before it: at most 4 x MAX_RECORD_BYTES + 2 MiB, whatever the file
// holds. A size header never decides an allocation beyond the file's size. Records of more than
// MAX_RECORD_BYTES are treated as damage. Only regular files are scanned: a FIFO would block, a
// device has no size.
#pragma once

#include <cstdint>
#include <fstream>
#include <string>

#include "vqlog/recording.h"

namespace vqlog {

class RecordScanner {
public:
    // The largest record the scanner decodes: 64 MiB of data, the frame client's limit, so that
    // a recording vqlog calls intact can be streamed.
    static constexpr std::uint64_t MAX_RECORD_BYTES =
        vq::eod::io::EngineOutputDataTcpClient::MAX_RECORD_BYTES;

    struct Item {
        enum Type { FRAME, DAMAGE };
        Type type = FRAME;
        std::uint64_t begin = 0;      // first byte in the file
        std::uint64_t end = 0;        // one past the last byte
        FramePtr frame;               // FRAME: the decoded frame
        bool unknown_inside = false;  // FRAME: it held records of kinds the library lacks
        std::string what;             // DAMAGE: what is wrong, one line
    };

    // Opens the file; ToolError "cannot open <path>: <why>" when it cannot or when it is not a
    // regular file.
    explicit RecordScanner(const std::string& path);

    std::uint64_t fileSize() const { return _size; }
    // The next frame or damaged range, in file order; false at the end of the file.
    bool next(Item& item);
    // The bytes read from the file so far: the work of a scan, about the file's size.
    std::uint64_t bytesRead() const { return _bytes_read; }
    // The bytes [begin, end) of the file.
    vq::eod::ByteBuffer bytes(std::uint64_t begin, std::uint64_t end);

private:
    struct Decoded;

    Decoded decodeAt(std::uint64_t offset);
    // The first offset after `from` where a plausible frame starts, or the file size.
    std::uint64_t resynchronise(std::uint64_t from);
    bool plausibleHeaderAt(std::uint64_t offset);
    bool nextByteIsFrameId(std::uint64_t offset);
    // Makes the window hold [begin, end) (end at most the file size).
    void load(std::uint64_t begin, std::uint64_t end);

    std::string _path;
    std::ifstream _file;
    std::uint64_t _size = 0;
    std::uint64_t _position = 0;  // where the next record starts
    vq::eod::ByteBuffer _window;  // the file's bytes from _window_begin
    std::uint64_t _window_begin = 0;
    std::uint64_t _bytes_read = 0;
};

}  // namespace vqlog
