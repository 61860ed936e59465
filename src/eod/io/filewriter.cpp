#include "vq/eod/io/filewriter.h"

#include "eod/io/paths_internal.h"
#include "eod/precondition_internal.h"
#include "vq/eod/io/fileerrors.h"

namespace vq::eod::io {

FileWriter::FileWriter() : _buffer(new char[BUFFER_SIZE]), _size(0) {}

FileWriter::FileWriter(const std::string& path) : FileWriter() {
    if (!open(path)) {
        throwFileOpenError(path);
    }
}

FileWriter::FileWriter(const std::wstring& path) : FileWriter() {
    if (!open(path)) {
        throwFileOpenError(path);
    }
}

FileWriter::~FileWriter() {
    closeStream();
}

bool FileWriter::open(const std::wstring& path) {
    _path = path;
    const std::string name = detail::narrowPath(path);
    if (_stream.is_open() || !detail::isNativePath(name)) {
        _stream.setstate(std::ios::failbit);
        return false;
    }
    // The buffer must be installed before the file is opened to take effect.
    _stream.rdbuf()->pubsetbuf(_buffer.get(), BUFFER_SIZE);
    _stream.open(name, std::ios::out | std::ios::binary | std::ios::trunc);
    _size = 0;
    return !_stream.fail();
}

bool FileWriter::open(const std::string& path) {
    return open(detail::widenPath(path));
}

bool FileWriter::closeStream() {
    bool flushed = true;
    if (_stream.is_open()) {
        flushed = _stream.rdbuf()->close() != nullptr;
    }
    _stream.clear();
    _path.clear();
    _size = 0;
    return flushed;
}

bool FileWriter::closeNoThrow() {
    return closeStream();
}

void FileWriter::close() {
    const std::wstring path = _path;
    if (!closeStream()) {
        throwFileWriteError(path);
    }
}

bool FileWriter::isOpen() const {
    return _stream.is_open();
}

unsigned long long FileWriter::size() const {
    return _stream.is_open() ? _size : 0;
}

bool FileWriter::writeNoThrow(const Serializable& object) {
    VQ_REQUIRE(_stream.is_open(), "files are not open");
    if (!object.serializeEnabled()) {
        return true;
    }
    _scratch.clear();
    object.serialize(_scratch);
    if (_stream.good()) {
        _stream.write(reinterpret_cast<const char*>(_scratch.data()),
                      static_cast<std::streamsize>(_scratch.size()));
    }
    if (!_stream.good()) {
        closeStream();
        return false;
    }
    _size += _scratch.size();
    return true;
}

void FileWriter::write(const Serializable& object) {
    if (!writeNoThrow(object)) {
        throwFileWriteError(_path);
    }
}

}  // namespace vq::eod::io
