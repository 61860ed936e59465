// FileReader: rebuilds the records of a record file (see filewriter.h), one per read().
//
// Paths: wide paths name the file by their UTF-8 form; a narrow path is used as it is. The file
// is opened for reading in binary mode without any sharing restriction, so it may be read while
// its writer is still appending: atEnd() looks again each time it is asked, and a record that
// arrived after an earlier atEnd() is read as usual.
//
// Hostile input: read() never allocates by the size a header announces; the data is read as it
// arrives, 64 KiB at a time, so a header claiming far more bytes than the file holds only costs
// what is really there. A record cut short by the end of the file, a damaged record and a record
// of an unknown class give a null result with the reason in the status word. After a record cut
// short the reader stays at its end (atEnd() is true); reopen the file to read it anew.
//
// Not thread-safe: one thread uses a reader at a time. Not copyable.
#pragma once

#include <fstream>
#include <memory>
#include <string>

#include <boost/shared_ptr.hpp>

#include "vq/eod/serializable.h"

namespace vq::eod::io {

class VQ_EOD_API FileReader {
public:
    // Size of the stream buffer: the file is read from the operating system in pieces this large.
    static constexpr int BUFFER_SIZE = 65536;

    // A closed reader.
    FileReader();
    // Opens `path`; raises SerializableError "Failed to open file '<path>'." when it cannot.
    explicit FileReader(const std::string& path);
    explicit FileReader(const std::wstring& path);
    FileReader(const FileReader&) = delete;
    FileReader& operator=(const FileReader&) = delete;
    ~FileReader();

    // Closes the file that is open, if any, then opens `path` and returns whether that
    // succeeded. A directory is not a record file and is refused.
    bool open(const std::wstring& path);
    bool open(const std::string& path);
    // Closes the file, if one is open.
    void close();

    bool isOpen() const;
    // True when no further byte can be read now: at the end of the file, and also when the
    // reader is closed or its stream has failed.
    bool atEnd() const;
    // Bytes consumed from the start of the file; 0 when closed.
    unsigned long long position() const;

    // Sets `status` to 0 and reads the next record: a new object of the class its object ID
    // names, or null for an object that is unknown (status bit 1, the object is skipped), cut
    // short by the end of the file (bit 4) or whose data does not match its size (bit 8).
    // Raises std::invalid_argument "files are not open" on a closed reader and "Cannot reading
    // when atEnd()." at the end of the file (status untouched); SerializableError from a record
    // whose data is malformed.
    boost::shared_ptr<Serializable> read(unsigned int& status);

private:
    std::unique_ptr<char[]> _buffer;  // the stream buffer; outlives the stream
    mutable std::ifstream _stream;    // peeking and telling the position change its state
    ByteBuffer _scratch;              // one record's bytes, reused between reads
};

}  // namespace vq::eod::io
