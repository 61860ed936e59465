#include "vq/eod/io/engineoutputdatafileerror.h"

namespace vq::eod::io {

EngineOutputDataFileError::EngineOutputDataFileError(const std::string& message)
    : EODError(message) {}

EngineOutputDataFileError::~EngineOutputDataFileError() = default;

const char* EngineOutputDataFileError::className() const {
    return "EngineOutputDataFileError";
}

}  // namespace vq::eod::io
