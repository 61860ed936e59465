#include "vq/eod/io/tcpendpoint.h"

#include <algorithm>
#include <climits>

#include "eod/precondition_internal.h"
#include "vq/eod/io/socketerror.h"

namespace vq::eod::io {

TcpEndPoint::TcpEndPoint()
    : _socket(new TcpSocket(INVALID_SOCKET)),
      _receive_timeout_millis(DEFAULT_RECEIVE_TIMEOUT_MILLIS) {}

TcpEndPoint::TcpEndPoint(const InetAddress& local) : TcpEndPoint() {
    _socket->open();
    _socket->bind(local);
}

TcpEndPoint::TcpEndPoint(TcpSocket* socket)
    : _socket(socket), _receive_timeout_millis(DEFAULT_RECEIVE_TIMEOUT_MILLIS) {
    VQ_REQUIRE(_socket != nullptr, "null socket");
}

TcpEndPoint::~TcpEndPoint() = default;

void TcpEndPoint::close() {
    _socket->close();
}

bool TcpEndPoint::opened() const {
    return _socket->connected();
}

bool TcpEndPoint::dataReady() const {
    return _socket->dataReady();
}

void TcpEndPoint::enableNagleAlgortihm(bool value) {
    _socket->enableNagleAlgortihm(value);
}

InetAddress TcpEndPoint::localAddress() {
    return _socket->getLocalAddress();
}

int TcpEndPoint::receive(std::vector<unsigned char>& data, bool append) {
    return _socket->receive(data, _receive_timeout_millis, append);
}

void TcpEndPoint::setReceiveTimeoutMillis(int millis) {
    if (millis < 0) {
        throw SocketError("Invalid timeout value");
    }
    _receive_timeout_millis = millis;
}

void TcpEndPoint::send(const std::vector<unsigned char>& data) {
    send(data.data(), data.size());
}

void TcpEndPoint::send(const unsigned char* data, std::uint64_t size) {
    VQ_REQUIRE(_socket->connected(), "not open");
    // The socket's blocking send counts in 32 bits: larger blocks go in 4 GiB pieces.
    while (size > 0) {
        const auto piece = static_cast<unsigned int>(std::min<std::uint64_t>(size, UINT_MAX));
        _socket->send(data, piece);
        data += piece;
        size -= piece;
    }
}

std::uint64_t TcpEndPoint::send(const unsigned char* data, std::uint64_t size, int timeoutMillis) {
    VQ_REQUIRE(_socket->connected(), "not open");
    return _socket->send(data, size, timeoutMillis);
}

}  // namespace vq::eod::io
