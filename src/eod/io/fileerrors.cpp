#include "vq/eod/io/fileerrors.h"

#include "eod/io/paths_internal.h"
#include "vq/eod/serializableerror.h"

namespace vq::eod::io {

void throwFileOpenError(const std::string& path) {
    throw SerializableError("Failed to open file '" + path + "'.");
}

void throwFileOpenError(const std::wstring& path) {
    throwFileOpenError(detail::narrowPath(path));
}

void throwFileWriteError(const std::string& path) {
    throw SerializableError("Failed to write to file '" + path + "'.");
}

void throwFileWriteError(const std::wstring& path) {
    throwFileWriteError(detail::narrowPath(path));
}

}  // namespace vq::eod::io
