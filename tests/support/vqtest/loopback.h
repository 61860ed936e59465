// Real sockets for the network tests: listeners and connected pairs on 127.0.0.1, and a private
// network namespace for multicast and broadcast. Every wait here is bounded.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "vq/eod/io/inetaddress.h"
#include "vq/eod/io/tcpsocket.h"

namespace vqtest {

// The longest a test waits for something that should happen at once.
constexpr int PATIENCE_MILLIS = 5000;

// 127.0.0.1 at `port`.
vq::eod::io::InetAddress loopback(int port);

// A TCP socket listening on 127.0.0.1 at a port the system chose.
class LoopbackListener {
public:
    LoopbackListener();

    int port() const { return _socket.getLocalAddress().getPort(); }
    vq::eod::io::InetAddress address() const { return loopback(port()); }
    // The next connection; fails the test and returns null when none comes within
    // PATIENCE_MILLIS.
    std::unique_ptr<vq::eod::io::TcpSocket> accept();

private:
    vq::eod::io::TcpSocket _socket;
};

// The server end of one connection on 127.0.0.1, made with plain system calls so that a test can
// play a peer that breaks the connection: reset() aborts it (SO_LINGER 0), and the other end
// sees ECONNRESET instead of an orderly close.
class AbortingServer {
public:
    AbortingServer();  // listening on 127.0.0.1 at a port the system chose
    ~AbortingServer();
    AbortingServer(const AbortingServer&) = delete;
    AbortingServer& operator=(const AbortingServer&) = delete;

    vq::eod::io::InetAddress address() const { return loopback(_port); }
    // Takes the next connection, waiting at most PATIENCE_MILLIS; false when none came.
    bool accept();
    // Sends every byte (blocking); false on failure.
    bool send(const std::vector<unsigned char>& bytes) const;
    // Aborts the connection.
    void reset();

private:
    int _listener = -1;
    int _connection = -1;
    int _port = 0;
};

// A port on 127.0.0.1 where nothing listens: one that was just bound and released.
int closedPort();

// Two connected TCP sockets on 127.0.0.1.
struct LoopbackPair {
    std::unique_ptr<vq::eod::io::TcpSocket> client;
    std::unique_ptr<vq::eod::io::TcpSocket> server;
};
LoopbackPair connectedPair();

// Runs `body` on a thread of its own inside a new network namespace that has only the loopback
// device, up, with routes on it for multicast (224.0.0.0/4) and the limited broadcast address, so
// such traffic never leaves the test. Sockets made by `body` stay in that namespace. Returns an
// empty string when `body` ran, otherwise why it could not run (for example: no privilege to
// create a namespace).
std::string runInPrivateNetwork(const std::function<void()>& body);

}  // namespace vqtest
