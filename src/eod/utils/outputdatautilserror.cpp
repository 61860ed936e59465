#include "vq/eod/utils/outputdatautilserror.h"

namespace vq::eod::utils {

OutputDataUtilsError::OutputDataUtilsError(const std::string& message) : EODError(message) {}

OutputDataUtilsError::~OutputDataUtilsError() = default;

const char* OutputDataUtilsError::className() const {
    return "OutputDataUtilsError";
}

}  // namespace vq::eod::utils
