#include "vq/eod/io/datagramsocket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <utility>

#include "eod/io/socketcall_internal.h"
#include "eod/precondition_internal.h"
#include "vq/eod/io/netinitialiser.h"
#include "vq/eod/io/socketerror.h"

namespace vq::eod::io {

namespace {

// No UDP datagram over IPv4 carries more, so a larger receive buffer would never be filled.
constexpr int MAX_DATAGRAM_BYTES = 65536;

std::uint64_t newDatagramSocket() {
    initNetLib();
    const int fd = detail::retrySocketCall(
        [] { return detail::systemCalls().socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0); });
    if (fd < 0) {
        detail::throwSocketError("Failed to build socket.");
    }
    return static_cast<std::uint64_t>(fd);
}

ip_mreq membershipRequest(const std::string& group) {
    ip_mreq request{};
    request.imr_multiaddr.s_addr = ::inet_addr(group.c_str());
    request.imr_interface.s_addr = htonl(INADDR_ANY);
    return request;
}

}  // namespace

DatagramSocket::DatagramSocket(int port, int receiveBufferSize, int sendBufferSize)
    : _handle(newDatagramSocket()), _local_address(port) {
    bindLocal(port);
    setReceiveBufferSize(receiveBufferSize);
    setSendBufferSize(sendBufferSize);
}

DatagramSocket::DatagramSocket(std::vector<std::string> groups, int port)
    : _handle(newDatagramSocket()), _local_address(port) {
    if (detail::setIntOption(_handle.fd(), SOL_SOCKET, SO_REUSEADDR, 1) != 0) {
        detail::throwSocketError("Could not set socket to REUSEADDR mode");
    }
    bindLocal(port);
    for (auto group = groups.rbegin(); group != groups.rend(); ++group) {
        subscribeMulticast(*group);
    }
}

DatagramSocket::~DatagramSocket() {
    while (!_groups.empty()) {
        try {
            unsubscribeMulticast(_groups.front());
        } catch (const SocketError&) {
            // Closing the socket below ends the membership all the same.
            _groups.erase(_groups.begin());
        }
    }
}

void DatagramSocket::bindLocal(int port) {
    _local_address.setReceiverAddress();
    _local_address.setPort(port);
    if (detail::bindTo(_handle.fd(), _local_address.sockAddr()) != 0) {
        detail::throwSocketError("Could not bind UDP command socket to address.");
    }
    // Port 0 binds to a port the system chooses: keep that one.
    sockaddr_in bound{};
    socklen_t length = sizeof(bound);
    if (detail::systemCalls().getsockname(_handle.fd(), reinterpret_cast<sockaddr*>(&bound),
                                          &length) == 0) {
        _local_address.setPort(ntohs(bound.sin_port));
    }
}

void DatagramSocket::setReceiveBufferSize(int size) {
    VQ_REQUIRE(size > 0, "buffer size not positive");
    if (detail::setIntOption(_handle.fd(), SOL_SOCKET, SO_RCVBUF, size) != 0) {
        detail::throwSocketError("Failed to set socket recv buffer size.");
    }
    _receive_data.reset(new unsigned char[std::min(size, MAX_DATAGRAM_BYTES)]);
    _receive_size = size;
}

void DatagramSocket::setSendBufferSize(int size) {
    VQ_REQUIRE(size > 0, "buffer size not positive");
    if (detail::setIntOption(_handle.fd(), SOL_SOCKET, SO_SNDBUF, size) != 0) {
        detail::throwSocketError("Failed to set socket send buffer size.");
    }
    _send_size = size;
}

void DatagramSocket::enabledBroadcast(bool enable) {
    if (detail::setIntOption(_handle.fd(), SOL_SOCKET, SO_BROADCAST, enable ? 1 : 0) != 0) {
        detail::throwSocketError("Failed to set socket broadcast option.");
    }
}

void DatagramSocket::connectSocket(const InetAddress& peer) {
    if (detail::connectTo(_handle.fd(), peer.sockAddr()) != 0) {
        _connected = false;
        detail::throwSocketError("Could not connect socket to address.");
    }
    _remote_address = peer;
    _connected = true;
}

void DatagramSocket::disconnectSocket() {
    _remote_address = _local_address;
    _connected = false;
}

const InetAddress& DatagramSocket::getInetAddress() const {
    if (!_connected) {
        throw SocketError("Socket is not connected.");
    }
    return _remote_address;
}

int DatagramSocket::getSocket() const {
    return static_cast<int>(_handle.get());
}

bool DatagramSocket::dataReady() const {
    return waitForData(0);
}

void DatagramSocket::sendDatagram(const std::vector<unsigned char>& data) const {
    if (!_connected) {
        throw SocketError("Must connect socket before sending.");
    }
    if (data.size() > MAX_CONNECTED_SEND_BYTES) {
        throw SocketError("Buffers exceeds maximum size for a datagram.");
    }
    sendChunks(data, nullptr);
}

void DatagramSocket::sendDatagram(const std::vector<unsigned char>& data,
                                  const InetAddress& to) const {
    sendChunks(data, &to.sockAddr());
}

// One datagram per chunk of at most the send size; to the connected peer when `to` is null.
void DatagramSocket::sendChunks(const std::vector<unsigned char>& data,
                                const sockaddr_in* to) const {
    if (data.empty()) {
        return;
    }
    if (_send_size <= 0) {
        throw SocketError(
            "DatagramSocket::sendDatagram - send size is 0: set it with setSendBufferSize before "
            "sending.");
    }
    const std::size_t chunk_limit = static_cast<std::size_t>(_send_size);
    for (std::size_t offset = 0; offset < data.size();) {
        const std::size_t chunk = std::min(data.size() - offset, chunk_limit);
        const unsigned char* const bytes = data.data() + offset;
        const auto count = detail::retrySocketCall([&] {
            return detail::systemCalls().sendto(_handle.fd(), bytes, chunk, MSG_NOSIGNAL,
                                                reinterpret_cast<const sockaddr*>(to),
                                                to != nullptr ? sizeof(*to) : 0);
        });
        if (count < 0) {
            detail::throwSocketError("Failed to send datagram.");
        }
        offset += chunk;
    }
}

int DatagramSocket::receiveDatagram(std::vector<unsigned char>& data, InetAddress& from,
                                    int timeoutMillis, bool append) const {
    from.resetHostName();
    if (_receive_size <= 0) {
        throw SocketError(
            "DatagramSocket::receiveDatagram - receive size is 0: set it with "
            "setReceiveBufferSize before receiving.");
    }
    if (!waitForData(timeoutMillis)) {
        return 0;
    }
    sockaddr_in sender{};
    socklen_t sender_length = sizeof(sender);
    const auto capacity = static_cast<std::size_t>(std::min(_receive_size, MAX_DATAGRAM_BYTES));
    unsigned char* const bytes = _receive_data.get();
    // MSG_TRUNC reports the datagram's real size, so an oversize one is told apart and dropped.
    const auto count = detail::retrySocketCall([&] {
        return detail::systemCalls().recvfrom(_handle.fd(), bytes, capacity, MSG_TRUNC,
                                              reinterpret_cast<sockaddr*>(&sender), &sender_length);
    });
    if (count < 0) {
        detail::throwSocketError("Failed to receive datagram.");
    }
    from = InetAddress(sender);
    if (count > _receive_size) {
        return 0;
    }
    if (!append) {
        data.clear();
    }
    data.insert(data.end(), bytes, bytes + count);
    return static_cast<int>(count);
}

void DatagramSocket::subscribeMulticast(std::string group) {
    _groups.push_back(group);
    const ip_mreq request = membershipRequest(group);
    if (detail::retrySocketCall([&] {
            return detail::systemCalls().setsockopt(_handle.fd(), IPPROTO_IP, IP_ADD_MEMBERSHIP,
                                                    &request, sizeof(request));
        }) != 0) {
        detail::throwSocketError("Failed to request membership of multicast group " + group);
    }
}

void DatagramSocket::unsubscribeMulticast(std::string group) {
    const auto entry = std::find(_groups.begin(), _groups.end(), group);
    if (entry == _groups.end()) {
        return;
    }
    const ip_mreq request = membershipRequest(group);
    if (detail::retrySocketCall([&] {
            return detail::systemCalls().setsockopt(_handle.fd(), IPPROTO_IP, IP_DROP_MEMBERSHIP,
                                                    &request, sizeof(request));
        }) != 0) {
        detail::throwSocketError("Failed to drop membership of multicast group " + group);
    }
    _groups.erase(entry);
}

bool DatagramSocket::waitForData(int timeoutMillis) const {
    return detail::waitReady(_handle.fd(), POLLIN, timeoutMillis);
}

}  // namespace vq::eod::io
