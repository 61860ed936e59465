#include "vq/eod/io/serialporterror.h"

namespace vq::eod::io {

SerialPortError::SerialPortError(const std::string& message, bool timeout)
    : EODError(message), _timeout(timeout) {}

SerialPortError::~SerialPortError() = default;

const char* SerialPortError::className() const {
    return "SerialPortError";
}

}  // namespace vq::eod::io
