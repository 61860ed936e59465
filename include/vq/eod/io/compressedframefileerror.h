// CompressedFrameFileError: raised by the compressed frame file writer and reader for files that
// cannot be opened or written, for files that are not compressed frame files, and for damaged
// chunks (the message names the chunk's byte and frame ranges).
#pragma once

#include <string>

#include "vq/eod/eoderror.h"

namespace vq::eod::io {

class VQ_EOD_API CompressedFrameFileError : public EODError {
public:
    explicit CompressedFrameFileError(const std::string& message);
    ~CompressedFrameFileError() override;

    const char* className() const override;  // "CompressedFrameFileError"
};

}  // namespace vq::eod::io
