#include "vq/eod/io/bufferedoutputfilestream.h"

#include "eod/io/paths_internal.h"
#include "eod/precondition_internal.h"

namespace vq::eod::io {

BufferedOutputFileStream::BufferedOutputFileStream(const std::string& path, int mode,
                                                   long long buffer_size)
    // Output is implied, as for any output file stream; reopening needs the whole mode.
    : _path(path), _mode(static_cast<std::ios::openmode>(mode) | std::ios::out), _buffer_size(0) {
    // The standard file buffer takes a buffer of its user only before the file is opened.
    installBuffer(buffer_size);
    if (detail::isNativePath(_path)) {
        open(_path, _mode);
    } else {
        setstate(std::ios::failbit);
    }
}

BufferedOutputFileStream::BufferedOutputFileStream(const std::wstring& path, int mode,
                                                   long long buffer_size)
    : BufferedOutputFileStream(detail::narrowPath(path), mode, buffer_size) {}

BufferedOutputFileStream::~BufferedOutputFileStream() {
    if (is_open()) {
        close();
    }
}

void BufferedOutputFileStream::installBuffer(long long size) {
    VQ_REQUIRE(size >= 0, "buffer_size is negative");
    _buffer.reset(size > 0 ? new char[static_cast<std::size_t>(size)] : nullptr);
    _buffer_size = size;
    rdbuf()->pubsetbuf(_buffer.get(), static_cast<std::streamsize>(size));
}

void BufferedOutputFileStream::setBufferSize(long long size) {
    VQ_REQUIRE(size >= 0, "buffer_size is negative");
    if (!is_open()) {
        installBuffer(size);
        return;
    }
    const std::streamoff position = rdbuf()->pubseekoff(0, std::ios::cur, std::ios::out);
    const bool flushed = rdbuf()->close() != nullptr;
    installBuffer(size);
    // Reopen where writing stopped: appending stays appending; otherwise read-write keeps the
    // contents that plain output would truncate.
    const std::ios::openmode reopen_mode =
        (_mode & std::ios::app) ? _mode : ((_mode & ~std::ios::trunc) | std::ios::in);
    if (rdbuf()->open(_path, reopen_mode) == nullptr) {
        setstate(std::ios::failbit);
        return;
    }
    if (!(_mode & std::ios::app) && position >= 0) {
        rdbuf()->pubseekoff(position, std::ios::beg, std::ios::out);
    }
    if (!flushed) {
        setstate(std::ios::badbit);
    }
}

}  // namespace vq::eod::io
