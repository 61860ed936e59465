// BufferedOutputFileStream: an output file stream with a buffer of the caller's size.
//
// Many small records then reach the operating system in a few large writes. The file is opened
// without any sharing restriction (others may read or write it meanwhile); a wide path names the
// file by its UTF-8 form. A failure to open leaves the stream closed and failed; nothing is
// raised. Failures of writes and of the closing flush show in the stream's state as usual: a
// write that found the device full sets badbit, a close that could not flush sets failbit.
//
// A buffer size of 0 makes the stream unbuffered; a negative size is a programming error.
#pragma once

#include <fstream>
#include <ios>
#include <memory>
#include <string>

#include "vq/eod/export.h"

namespace vq::eod::io {

class VQ_EOD_API BufferedOutputFileStream : public std::ofstream {
public:
    // Opens `path` with `mode` (std::ios::openmode bits) and a buffer of `buffer_size` bytes.
    BufferedOutputFileStream(const std::string& path, int mode, long long buffer_size);
    BufferedOutputFileStream(const std::wstring& path, int mode, long long buffer_size);
    BufferedOutputFileStream(const BufferedOutputFileStream&) = delete;
    BufferedOutputFileStream& operator=(const BufferedOutputFileStream&) = delete;
    // Closes the file, flushing the buffer, before the buffer is released.
    ~BufferedOutputFileStream() override;

    long long bufferSize() const { return _buffer_size; }
    // Replaces the buffer by one of `size` bytes. On an open stream the buffered bytes are
    // written first and the file is reopened at the position reached, without truncation (the
    // standard file buffer takes a new buffer only while closed); a failure of either leaves the
    // stream failed.
    void setBufferSize(long long size);

private:
    void installBuffer(long long size);

    std::string _path;  // the file name, kept for reopening
    std::ios::openmode _mode;
    std::unique_ptr<char[]> _buffer;
    long long _buffer_size;
};

}  // namespace vq::eod::io
