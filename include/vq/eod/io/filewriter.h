// FileWriter: appends serialised records to a record file.
//
// A record file is nothing but serialised objects back to back, each with its object ID and size
// header: no file header, index, padding or trailer. An empty file holds no records.
//
// Paths: wide paths name the file by their UTF-8 form; a narrow path is used as it is. The file
// is opened for writing in binary mode, truncated, without any sharing restriction: other
// processes may read it (or write it) while it is open, so a reader can follow a recording.
//
// Buffering and failures: writes collect in a 64 KiB buffer and reach the operating system when
// it is full, so a failing device (a full disk) often shows only at a later write or when the
// file is closed. A failed write closes the writer: writeNoThrow() returns false and write()
// raises "Failed to write to file ''." (the path is already forgotten by the close). The bytes
// of a record that was written only in part stay in the file. A close that cannot flush the
// buffer makes close() raise "Failed to write to file '<path>'." (closeNoThrow() returns false);
// the writer is closed either way. The destructor closes without raising, so a caller that must
// know whether every record reached the file calls close() first.
//
// Not thread-safe: one thread uses a writer at a time. Not copyable.
#pragma once

#include <fstream>
#include <memory>
#include <string>

#include "vq/eod/serializable.h"

namespace vq::eod::io {

class VQ_EOD_API FileWriter {
public:
    // Size of the stream buffer: records reach the operating system in writes of this size.
    static constexpr int BUFFER_SIZE = 65536;

    // A closed writer.
    FileWriter();
    // Opens `path`; raises SerializableError "Failed to open file '<path>'." when it cannot.
    explicit FileWriter(const std::string& path);
    explicit FileWriter(const std::wstring& path);
    FileWriter(const FileWriter&) = delete;
    FileWriter& operator=(const FileWriter&) = delete;
    // Closes the file (flushing it) without raising.
    ~FileWriter();

    // Opens `path`, truncating an existing file, and returns whether that succeeded. The path is
    // stored first, so filePath() names it even after a failure. A writer that already has an
    // open file refuses: it returns false and keeps that file open, but marks its stream failed,
    // so the next write fails and closes the writer. Close before opening another file.
    bool open(const std::wstring& path);
    bool open(const std::string& path);
    // Flushes and closes the file, clears the error state and forgets the path. Harmless on a
    // closed writer. Raises SerializableError "Failed to write to file '<path>'." when buffered
    // bytes could not be written; the writer is closed all the same.
    void close();
    // The same, returning false instead of raising.
    bool closeNoThrow();

    bool isOpen() const;
    // The stored path (empty when closed).
    std::wstring filePath() const { return _path; }
    // Bytes written since the file was opened, buffered bytes included; 0 when closed.
    unsigned long long size() const;

    // Appends the object's serialised form, header first. A record whose serializeEnabled() is
    // false writes nothing and counts as written. On a failed write the writer is closed and the
    // result is false. Writing on a closed writer is a programming error, raised even here
    // (std::invalid_argument "files are not open").
    bool writeNoThrow(const Serializable& object);
    // The same, raising SerializableError "Failed to write to file ''." where writeNoThrow()
    // returns false.
    void write(const Serializable& object);

private:
    // Closes the file; false when buffered bytes could not be written.
    bool closeStream();

    std::unique_ptr<char[]> _buffer;  // the stream buffer; outlives the stream
    std::ofstream _stream;
    std::wstring _path;        // path of the open file, empty when closed
    unsigned long long _size;  // bytes written since opening
    ByteBuffer _scratch;       // one record's serialised form, reused between writes
};

}  // namespace vq::eod::io
