#include "vq/eod/utils/geomutilserror.h"

namespace vq::eod::utils {

GeomUtilsError::GeomUtilsError(const std::string& message) : EODError(message) {}

GeomUtilsError::~GeomUtilsError() = default;

const char* GeomUtilsError::className() const {
    return "GeomUtilsError";
}

}  // namespace vq::eod::utils
