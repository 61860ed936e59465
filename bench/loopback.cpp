#include "loopback.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

#include "workload.h"

namespace vqbench {

namespace {

constexpr int PATIENCE_MILLIS = 5000;
constexpr std::size_t CHUNK_BYTES = 65536;

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

sockaddr_in loopbackAddress(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return address;
}

// Time limits on both directions, and small writes leave at once.
void prepare(int fd) {
    timeval limit{};
    limit.tv_sec = PATIENCE_MILLIS / 1000;
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

}  // namespace

// ---- descriptors ----------------------------------------------------------------------------

Fd& Fd::operator=(Fd&& other) noexcept {
    if (this != &other) {
        reset();
        _fd = other.release();
    }
    return *this;
}

int Fd::release() {
    const int fd = _fd;
    _fd = -1;
    return fd;
}

void Fd::reset() {
    if (_fd >= 0) {
        ::close(_fd);
        _fd = -1;
    }
}

// ---- connections ----------------------------------------------------------------------------

Fd listenOnLoopback(int& port) {
    Fd fd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd.valid()) {
        fail("socket");
    }
    sockaddr_in address = loopbackAddress(0);
    if (::bind(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(fd.get(), 4) != 0) {
        fail("bind or listen on 127.0.0.1");
    }
    socklen_t length = sizeof address;
    if (::getsockname(fd.get(), reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        fail("getsockname");
    }
    port = ntohs(address.sin_port);
    return fd;
}

Fd connectToLoopback(int port) {
    Fd fd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd.valid()) {
        fail("socket");
    }
    prepare(fd.get());
    const sockaddr_in address = loopbackAddress(port);
    int result;
    do {
        result = ::connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    } while (result != 0 && errno == EINTR);
    if (result != 0) {
        fail("connect to 127.0.0.1:" + std::to_string(port));
    }
    return fd;
}

Fd acceptConnection(int listener) {
    pollfd ready{listener, POLLIN, 0};
    if (::poll(&ready, 1, PATIENCE_MILLIS) != 1) {
        return Fd();
    }
    Fd fd(::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
    if (fd.valid()) {
        prepare(fd.get());
    }
    return fd;
}

// ---- transfers ------------------------------------------------------------------------------

bool sendAll(int fd, const unsigned char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t sent = ::send(fd, data, size, MSG_NOSIGNAL);
        if (sent < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        data += sent;
        size -= static_cast<std::size_t>(sent);
    }
    return true;
}

long receiveSome(int fd, unsigned char* data, std::size_t size) {
    for (;;) {
        const ssize_t got = ::recv(fd, data, size, 0);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        return static_cast<long>(got);
    }
}

bool receiveAll(int fd, unsigned char* data, std::size_t size) {
    while (size > 0) {
        const long got = receiveSome(fd, data, size);
        if (got <= 0) {
            return false;
        }
        data += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

// ---- peers ----------------------------------------------------------------------------------

FrameSender::FrameSender() : _listener(listenOnLoopback(_port)), _thread([this] { run(); }) {}

FrameSender::~FrameSender() {
    _stop = true;
    _thread.join();
}

void FrameSender::run() {
    const Fd connection = acceptConnection(_listener.get());
    if (!connection.valid()) {
        return;
    }
    const vq::eod::ByteBuffer& stream = workload().stream;
    while (!_stop) {
        for (std::size_t offset = 0; offset < stream.size() && !_stop; offset += CHUNK_BYTES) {
            const std::size_t size = std::min(CHUNK_BYTES, stream.size() - offset);
            if (!sendAll(connection.get(), stream.data() + offset, size)) {
                return;  // the receiver closed
            }
        }
    }
}

FrameEcho::FrameEcho()
    : _ping_listener(listenOnLoopback(_ping_port)),
      _pong_listener(listenOnLoopback(_pong_port)),
      _thread([this] { run(); }) {}

FrameEcho::~FrameEcho() {
    _thread.join();
}

void FrameEcho::run() {
    const Fd ping = acceptConnection(_ping_listener.get());
    const Fd pong = acceptConnection(_pong_listener.get());
    if (!ping.valid() || !pong.valid()) {
        return;
    }
    unsigned char frame[FRAME_BYTES];
    while (receiveAll(ping.get(), frame, sizeof frame) &&
           sendAll(pong.get(), frame, sizeof frame)) {
    }
}

}  // namespace vqbench
