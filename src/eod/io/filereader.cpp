#include "vq/eod/io/filereader.h"

#include <filesystem>
#include <system_error>

#include "eod/io/paths_internal.h"
#include "eod/precondition_internal.h"
#include "eod/serializablefactory_internal.h"
#include "vq/eod/io/fileerrors.h"
#include "vq/eod/serializablefactory.h"

namespace vq::eod::io {

FileReader::FileReader() : _buffer(new char[BUFFER_SIZE]) {}

FileReader::FileReader(const std::string& path) : FileReader() {
    if (!open(path)) {
        throwFileOpenError(path);
    }
}

FileReader::FileReader(const std::wstring& path) : FileReader() {
    if (!open(path)) {
        throwFileOpenError(path);
    }
}

FileReader::~FileReader() = default;

bool FileReader::open(const std::wstring& path) {
    close();
    const std::string name = detail::narrowPath(path);
    std::error_code error;
    if (!detail::isNativePath(name) || std::filesystem::is_directory(name, error)) {
        _stream.setstate(std::ios::failbit);
        return false;
    }
    // The buffer must be installed before the file is opened to take effect.
    _stream.rdbuf()->pubsetbuf(_buffer.get(), BUFFER_SIZE);
    _stream.open(name, std::ios::in | std::ios::binary);
    return !_stream.fail();
}

bool FileReader::open(const std::string& path) {
    return open(detail::widenPath(path));
}

void FileReader::close() {
    if (_stream.is_open()) {
        _stream.close();
    }
}

bool FileReader::isOpen() const {
    return _stream.is_open();
}

bool FileReader::atEnd() const {
    if (!_stream.is_open() || _stream.fail()) {
        return true;
    }
    // An earlier end of file is forgotten: the writer may have appended since. The stream is
    // then good, raises on no state and has no tied stream.
    _stream.clear();
    return vq::eod::detail::bufferAtEnd(_stream);
}

unsigned long long FileReader::position() const {
    if (!_stream.is_open()) {
        return 0;
    }
    // Asked of the buffer, not the stream, which would refuse once it has seen the end.
    const std::streamoff pos = _stream.rdbuf()->pubseekoff(0, std::ios::cur, std::ios::in);
    return pos < 0 ? 0 : static_cast<unsigned long long>(pos);
}

boost::shared_ptr<Serializable> FileReader::read(unsigned int& status) {
    VQ_REQUIRE(_stream.is_open(), "files are not open");
    VQ_REQUIRE(!atEnd(), "Cannot reading when atEnd().");
    status = 0;
    return eod::detail::newObjectWithStatus(_stream, status, _scratch);
}

}  // namespace vq::eod::io
