// The errors of the record file classes, shared with the writers built on them.
//
// Both raise SerializableError. The wide forms name the path in its UTF-8 form.
#pragma once

#include <string>

#include "vq/eod/export.h"

namespace vq::eod::io {

// "Failed to open file '<path>'."
[[noreturn]] VQ_EOD_API void throwFileOpenError(const std::string& path);
[[noreturn]] VQ_EOD_API void throwFileOpenError(const std::wstring& path);
// "Failed to write to file '<path>'."
[[noreturn]] VQ_EOD_API void throwFileWriteError(const std::string& path);
[[noreturn]] VQ_EOD_API void throwFileWriteError(const std::wstring& path);

}  // namespace vq::eod::io
