#include "vqtest/loopback.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <net/route.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
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
    LoopbackListener listener;
    return listener.port();
}

LoopbackPair connectedPair() {
    LoopbackListener listener;
    LoopbackPair pair;
    pair.client.reset(new TcpSocket(INVALID_SOCKET));
    pair.client->open();
    pair.client->connect(listener.address());
    pair.server = listener.accept();
    return pair;
}

namespace {

std::string systemError(const char* what) {
    return std::string(what) + ": " + std::strerror(errno);
}

sockaddr_in ipv4(const char* dotted) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = ::inet_addr(dotted);
    return address;
}

// A route through lo; an empty string when it was added.
std::string addLoopbackRoute(int fd, const char* destination, const char* mask, bool host) {
    rtentry route{};
    const sockaddr_in dst = ipv4(destination);
    const sockaddr_in genmask = ipv4(mask);
    std::memcpy(&route.rt_dst, &dst, sizeof(dst));
    std::memcpy(&route.rt_genmask, &genmask, sizeof(genmask));
    route.rt_flags = RTF_UP | (host ? RTF_HOST : 0);
    char device[] = "lo";
    route.rt_dev = device;
    return ::ioctl(fd, SIOCADDRT, &route) == 0 ? "" : systemError("adding a route on lo");
}

// Brings lo up and routes multicast and the limited broadcast through it.
std::string setUpLoopbackOnly() {
    const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
    if (fd < 0) {
        return systemError("socket");
    }
    std::string problem;
    ifreq request{};
    std::strcpy(request.ifr_name, "lo");
    if (::ioctl(fd, SIOCGIFFLAGS, &request) != 0) {
        problem = systemError("reading the flags of lo");
    } else {
        request.ifr_flags = static_cast<short>(request.ifr_flags | IFF_UP);
        if (::ioctl(fd, SIOCSIFFLAGS, &request) != 0) {
            problem = systemError("bringing lo up");
        }
    }
    if (problem.empty()) {
        problem = addLoopbackRoute(fd, "224.0.0.0", "240.0.0.0", false);
    }
    if (problem.empty()) {
        problem = addLoopbackRoute(fd, "255.255.255.255", "255.255.255.255", true);
    }
    ::close(fd);
    return problem;
}

}  // namespace

std::string runInPrivateNetwork(const std::function<void()>& body) {
    std::string problem;
    // A namespace entered by one thread is that thread's alone, so the rest of the test program
    // keeps the machine's network.
    std::thread worker([&] {
        if (::unshare(CLONE_NEWNET) != 0) {
            problem = systemError("creating a network namespace");
            return;
        }
        problem = setUpLoopbackOnly();
        if (problem.empty()) {
            body();
        }
    });
    worker.join();
    return problem;
}

}  // namespace vqtest
