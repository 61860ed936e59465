#include "vqtest/loopback.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <net/route.h>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <thread>

namespace vqtest {

using vq::eod::io::InetAddress;
using vq::eod::io::INVALID_SOCKET;
using vq::eod::io::TcpSocket;

InetAddress loopback(int port) {
    return InetAddress(port, "127.0.0.1");
}

LoopbackListener::LoopbackListener() : _socket(INVALID_SOCKET) {
    _socket.open();
    _socket.bind(loopback(0));
    _socket.listen();
}

std::unique_ptr<TcpSocket> LoopbackListener::accept() {
    std::unique_ptr<TcpSocket> socket(_socket.accept(PATIENCE_MILLIS));
    EXPECT_TRUE(socket) << "no connection within " << PATIENCE_MILLIS << " ms";
    return socket;
}

AbortingServer::AbortingServer() {
    _listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    if (_listener < 0 ||
        ::bind(_listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        ::listen(_listener, 1) != 0 ||
        ::getsockname(_listener, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        throw std::runtime_error("no listening socket on 127.0.0.1");
    }
    _port = ntohs(address.sin_port);
}

AbortingServer::~AbortingServer() {
    if (_connection >= 0) {
        ::close(_connection);
    }
    ::close(_listener);
}

bool AbortingServer::accept() {
    pollfd entry{_listener, POLLIN, 0};
    if (::poll(&entry, 1, PATIENCE_MILLIS) <= 0) {
        return false;
    }
    _connection = ::accept4(_listener, nullptr, nullptr, SOCK_CLOEXEC);
    return _connection >= 0;
}

bool AbortingServer::send(const std::vector<unsigned char>& bytes) const {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t sent =
            ::send(_connection, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(sent);
    }
    return true;
}

void AbortingServer::reset() {
    const linger abort{1, 0};
    ::setsockopt(_connection, SOL_SOCKET, SO_LINGER, &abort, sizeof(abort));
    ::close(_connection);
    _connection = -1;
}

int closedPort() {
    return LoopbackListener().port();
}

LoopbackPair connectedPair() {
    LoopbackListener listener;
    LoopbackPair pair{std::make_unique<TcpSocket>(INVALID_SOCKET), nullptr};
    pair.client->open();
    pair.client->connect(listener.address());
    pair.server = listener.accept();
    return pair;
}

namespace {

// Brings lo up and routes multicast and the limited broadcast through it; "" on success.
std::string setUpLoopbackOnly(int fd) {
    ifreq device{};
    std::strcpy(device.ifr_name, "lo");
    if (ioctl(fd, SIOCGIFFLAGS, &device) != 0) {
        return "reading the flags of lo";
    }
    device.ifr_flags = static_cast<short>(device.ifr_flags | IFF_UP);
    if (ioctl(fd, SIOCSIFFLAGS, &device) != 0) {
        return "bringing lo up";
    }
    const char* const routes[][2] = {{"224.0.0.0", "240.0.0.0"},
                                     {"255.255.255.255", "255.255.255.255"}};
    for (const auto& destination : routes) {
        rtentry route{};
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = inet_addr(destination[0]);
        std::memcpy(&route.rt_dst, &address, sizeof(address));
        address.sin_addr.s_addr = inet_addr(destination[1]);
        std::memcpy(&route.rt_genmask, &address, sizeof(address));
        route.rt_flags = RTF_UP;
        route.rt_dev = device.ifr_name;
        if (ioctl(fd, SIOCADDRT, &route) != 0) {
            return std::string("adding a route on lo to ") + destination[0];
        }
    }
    return "";
}

}  // namespace

std::string runInPrivateNetwork(const std::function<void()>& body) {
    std::string problem;
    // A namespace entered by one thread is that thread's alone: the rest of the test program
    // keeps the machine's network.
    std::thread worker([&] {
        if (unshare(CLONE_NEWNET) != 0) {
            problem = "creating a network namespace";
        } else {
            const int fd = socket(AF_INET, SOCK_DGRAM, 0);
            problem = setUpLoopbackOnly(fd);
            close(fd);
        }
        if (!problem.empty()) {
            problem += ": " + std::string(std::strerror(errno));
            return;
        }
        body();
    });
    worker.join();
    return problem;
}

}  // namespace vqtest
