#include "vq/eod/io/tcpclient.h"

namespace vq::eod::io {

TcpClient::TcpClient() {
    socket().open();
}

TcpClient::~TcpClient() = default;

void TcpClient::open(const InetAddress& server) {
    socket().connect(server);
}

}  // namespace vq::eod::io
