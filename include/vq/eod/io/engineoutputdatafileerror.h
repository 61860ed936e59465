// EngineOutputDataFileError: raised by the frame log writer and reader for files that cannot be
// listed, opened or written, and for log files whose contents are not frames.
#pragma once

#include <string>

#include "vq/eod/eoderror.h"

namespace vq::eod::io {

class VQ_EOD_API EngineOutputDataFileError : public EODError {
public:
    explicit EngineOutputDataFileError(const std::string& message);
    ~EngineOutputDataFileError() override;

    const char* className() const override;  // "EngineOutputDataFileError"
};

}  // namespace vq::eod::io
