#include "vq/eod/io/compressedframefileerror.h"

namespace vq::eod::io {

CompressedFrameFileError::CompressedFrameFileError(const std::string& message)
    : EODError(message) {}

CompressedFrameFileError::~CompressedFrameFileError() = default;

const char* CompressedFrameFileError::className() const {
    return "CompressedFrameFileError";
}

}  // namespace vq::eod::io
