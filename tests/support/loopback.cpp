#include "vqtest/loopback.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <net/route.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
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
