// SocketError: raised by the network classes when the socket layer fails (a refused connection,
// an address in use, a peer that reset the connection) and for the datagram socket's state and
// size checks. Messages made from a failing call end in ": " and the text of that call's error
// (see netLibErrorString).
#pragma once

#include <string>

#include "vq/eod/eoderror.h"

namespace vq::eod::io {

class VQ_EOD_API SocketError : public EODError {
public:
    explicit SocketError(const std::string& message);
    ~SocketError() override;

    const char* className() const override;  // "SocketError"
};

}  // namespace vq::eod::io
