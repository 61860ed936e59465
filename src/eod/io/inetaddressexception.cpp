#include "vq/eod/io/inetaddressexception.h"

namespace vq::eod::io {

InetAddressException::InetAddressException(const std::string& message) : EODError(message) {}

InetAddressException::~InetAddressException() = default;

const char* InetAddressException::className() const {
    return "InetAddressException";
}

}  // namespace vq::eod::io
