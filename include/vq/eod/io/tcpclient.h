// TcpClient: an end point that connects out. It is open (unconnected) from construction;
// open(server) connects it. A failed connect closes the socket: make a new TcpClient to try
// again.
#pragma once

#include "vq/eod/io/tcpendpoint.h"

namespace vq::eod::io {

class VQ_EOD_API TcpClient : public TcpEndPoint {
public:
    // An open, unconnected socket (SocketError "Failed to build socket.: ..." when none can be
    // made).
    TcpClient();
    ~TcpClient() override;

    // Connects to `server` (TcpSocket::connect, its errors included).
    void open(const InetAddress& server);
};

}  // namespace vq::eod::io
