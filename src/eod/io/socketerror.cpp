#include "vq/eod/io/socketerror.h"

namespace vq::eod::io {

SocketError::SocketError(const std::string& message) : EODError(message) {}

SocketError::~SocketError() = default;

const char* SocketError::className() const {
    return "SocketError";
}

}  // namespace vq::eod::io
