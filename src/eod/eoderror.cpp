#include "vq/eod/eoderror.h"

namespace vq::eod {

EODError::EODError(const std::string& message) : std::runtime_error(message) {}

EODError::~EODError() = default;

const char* EODError::what() const noexcept {
    const char* message = std::runtime_error::what();
    return (message != nullptr && *message != '\0') ? message : "Unknown exception";
}

}  // namespace vq::eod
