#include "vq/eod/io/tcpsocket.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <climits>

#include "eod/io/socketcall_internal.h"
#include "eod/precondition_internal.h"
#include "vq/eod/io/netinitialiser.h"

namespace vq::eod::io {

namespace {

struct OptionEntry {
    int level;
    int option;
};

// The system option behind each SocketOptionFlag, or null for a value outside the table.
const OptionEntry* optionEntry(TcpSocket::SocketOptionFlag flag) {
    static const OptionEntry table[] = {
        {SOL_SOCKET, SO_REUSEADDR},  // REUSE_ADDRESS
        {IPPROTO_TCP, TCP_NODELAY},  // TCP_NO_DELAY
    };
    const int index = static_cast<int>(flag);
    if (index < 0 || index >= static_cast<int>(sizeof(table) / sizeof(table[0]))) {
        return nullptr;
    }
    return &table[index];
}

}  // namespace

void TcpSocket::Buffer::setSize(int size) {
    if (size != _size) {
        _data.reset(new unsigned char[static_cast<std::size_t>(size)]);
        _size = size;
    }
}

TcpSocket::TcpSocket(std::uint64_t handle)
    : _handle(handle),
      _connected(false),
      _local_address(0),
      _remote_address(0),
      _max_send_chunk(0) {
    if (_handle.valid()) {
        initialiseBufferSizes();
    }
}

TcpSocket::TcpSocket(std::uint64_t handle, const InetAddress& local, const InetAddress& remote)
    : _handle(handle),
      _connected(true),
      _local_address(local),
      _remote_address(remote),
      _max_send_chunk(0) {
    VQ_REQUIRE(_handle.valid(), "not opened");
    initialiseBufferSizes();
}

TcpSocket::~TcpSocket() = default;

void TcpSocket::open() {
    VQ_REQUIRE(!opened(), "socket already open");
    initNetLib();
    const int fd = detail::retrySocketCall([] {
        return detail::systemCalls().socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP);
    });
    if (fd < 0) {
        detail::throwSocketError("Failed to build socket.");
    }
    _handle.reset(static_cast<std::uint64_t>(fd));
    initialiseBufferSizes();
}

void TcpSocket::close() {
    if (opened()) {
        _handle.reset();
        _connected = false;
    }
}

void TcpSocket::bind(const InetAddress& address) {
    VQ_REQUIRE(opened(), "socket not open");
    VQ_REQUIRE(!_connected, "socket connected");
    if (detail::bindTo(_handle.fd(), address.sockAddr()) != 0) {
        detail::throwSocketError("Could not bind TCP socket to address.");
    }
    _local_address = address;
    sockaddr_in bound{};
    socklen_t length = sizeof(bound);
    if (detail::retrySocketCall([&] {
            return detail::systemCalls().getsockname(_handle.fd(),
                                                     reinterpret_cast<sockaddr*>(&bound), &length);
        }) != 0) {
        detail::throwSocketError("Could not determine bound port for TCP socket.");
    }
    _local_address.setPort(ntohs(bound.sin_port));
}

void TcpSocket::listen() {
    VQ_REQUIRE(opened(), "un-open socket");
    // The system caps the backlog at its own maximum.
    if (detail::retrySocketCall(
            [&] { return detail::systemCalls().listen(_handle.fd(), INT_MAX); }) != 0) {
        detail::throwSocketError("Socket Error try to set listening state");
    }
}

TcpSocket* TcpSocket::accept(int timeoutMillis) {
    VQ_REQUIRE(opened(), "un-open socket");
    if (!waitForData(timeoutMillis)) {
        return nullptr;
    }
    sockaddr_in peer{};
    socklen_t length = sizeof(peer);
    const int fd = detail::retrySocketCall([&] {
        return detail::systemCalls().accept4(_handle.fd(), reinterpret_cast<sockaddr*>(&peer),
                                             &length, SOCK_CLOEXEC);
    });
    if (fd < 0) {
        detail::throwSocketError("Socket Error trying to accept connection");
    }
    SocketHandle accepted(static_cast<std::uint64_t>(fd));
    const InetAddress remote(peer);
    remote.resetHostName();
    TcpSocket* socket = new TcpSocket(accepted.get(), _local_address, remote);
    accepted.release();
    return socket;
}

void TcpSocket::connect(const InetAddress& address) {
    VQ_REQUIRE(opened(), "un-open socket.");
    if (_connected) {
        close();
        VQ_PRECONDITION_FAILED("already connected socket.");
    }
    if (detail::connectTo(_handle.fd(), address.sockAddr()) != 0) {
        close();
        detail::throwSocketError("Could not connect TCP socket to address.");
    }
    _remote_address = address;
    _connected = true;
}

int TcpSocket::receive(std::vector<unsigned char>& data, int timeoutMillis, bool append) {
    VQ_REQUIRE(_connected, "unconnected socket");
    if (!waitForData(timeoutMillis)) {
        return 0;
    }
    unsigned char* const bytes = _receive_buffer.buffer();
    const auto count = detail::retrySocketCall([&] {
        return detail::systemCalls().recv(_handle.fd(), bytes,
                                          static_cast<std::size_t>(_receive_buffer.size()), 0);
    });
    if (count < 0) {
        detail::throwSocketError("Failed to receive data.");
    }
    if (!append) {
        data.clear();
    }
    data.insert(data.end(), bytes, bytes + count);
    if (count == 0) {
        _connected = false;
    }
    return static_cast<int>(count);
}

void TcpSocket::send(const std::vector<unsigned char>& data) {
    send(data.data(), static_cast<unsigned int>(data.size()));
}

void TcpSocket::send(const unsigned char* data, unsigned int size) {
    VQ_REQUIRE(_connected, "unconnected socket");
    std::uint64_t sent = 0;
    while (sent < size) {
        sent += sendBytes(data + sent, size - sent, 0);
    }
}

std::uint64_t TcpSocket::send(const unsigned char* data, std::uint64_t size, int timeoutMillis) {
    VQ_REQUIRE(_connected, "unconnected socket");
    std::uint64_t sent = 0;
    while (sent < size) {
        if (!waitForSend(timeoutMillis)) {
            break;
        }
        // Never blocks: writability only promises some room, not room for a whole chunk.
        const std::uint64_t chunk = std::min(size - sent, _max_send_chunk);
        sent += sendBytes(data + sent, chunk, MSG_DONTWAIT);
    }
    return sent;
}

std::uint64_t TcpSocket::sendBytes(const unsigned char* data, std::uint64_t size, int flags) {
    VQ_REQUIRE(_connected, "unconnected socket");
    const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(size, INT_MAX));
    // MSG_NOSIGNAL: a peer that went away is an error here, not a SIGPIPE for the process.
    const auto count = detail::retrySocketCall([&] {
        return detail::systemCalls().send(_handle.fd(), data, length, flags | MSG_NOSIGNAL);
    });
    if (count < 0) {
        if ((flags & MSG_DONTWAIT) != 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            detail::setLastSocketError(0);
            return 0;
        }
        detail::throwSocketError("Failed to send data.");
    }
    return static_cast<std::uint64_t>(count);
}

bool TcpSocket::dataReady() const {
    return waitForData(0);
}

const InetAddress& TcpSocket::getInetAddress() const {
    VQ_REQUIRE(_connected, "unconnected socket");
    return _remote_address;
}

void TcpSocket::setSocketFlag(SocketOptionFlag flag, bool value) {
    const OptionEntry* entry = optionEntry(flag);
    if (entry == nullptr) {
        detail::throwSocketError("Socket option not supported");
    }
    if (detail::setIntOption(_handle.fd(), entry->level, entry->option, value ? 1 : 0) != 0) {
        detail::throwSocketError("Failed to set socket option.");
    }
}

bool TcpSocket::socketFlag(SocketOptionFlag flag) const {
    const OptionEntry* entry = optionEntry(flag);
    if (entry == nullptr) {
        detail::throwSocketError("Socket option not supported");
    }
    int value = 0;
    if (detail::getIntOption(_handle.fd(), entry->level, entry->option, value) != 0) {
        detail::throwSocketError("Failed to set socket option.");
    }
    return value != 0;
}

void TcpSocket::enableNagleAlgortihm(bool value) {
    setSocketFlag(TCP_NO_DELAY, value);
}

void TcpSocket::initialiseBufferSizes() {
    setBufferSize(SO_RCVBUF, _receive_buffer);
    const std::uint64_t send_buffer = socketBufferSize(SO_SNDBUF);
    if (send_buffer <= 1) {
        detail::throwSocketError("Invalid SO_SNDBUF size returned.");
    }
    _max_send_chunk = send_buffer - 1;
}

std::uint64_t TcpSocket::socketBufferSize(int option) const {
    VQ_REQUIRE(option == SO_SNDBUF || option == SO_RCVBUF,
               "buffer_name neither SO_RCVBUF nor SO_SNDBUF");
    int size = 0;
    if (detail::getIntOption(_handle.fd(), SOL_SOCKET, option, size) != 0 || size < 0) {
        detail::throwSocketError("Failed to get socket buffer size.");
    }
    return static_cast<std::uint64_t>(size);
}

void TcpSocket::setBufferSize(int option, Buffer& buffer) {
    const std::uint64_t size = socketBufferSize(option);
    buffer.setSize(static_cast<int>(std::min<std::uint64_t>(size, INT_MAX)));
}

bool TcpSocket::waitForData(int timeoutMillis) const {
    return detail::waitReady(_handle.fd(), POLLIN, timeoutMillis);
}

bool TcpSocket::waitForSend(int timeoutMillis) const {
    return detail::waitReady(_handle.fd(), POLLOUT, timeoutMillis);
}

}  // namespace vq::eod::io
