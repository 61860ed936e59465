// Plain POSIX sockets on 127.0.0.1 for the network benchmarks: the raw baselines, and the peers
// (a sender of frames, an echo) that feed both the baselines and the library's frame client.
//
// Every socket made here has send and receive time limits of a few seconds, so a benchmark whose
// peer went away stops with an error instead of hanging.
#pragma once

#include <atomic>
#include <cstddef>
#include <thread>

namespace vqbench {

// Owns one descriptor; closes it on destruction.
class Fd {
public:
    Fd() = default;
    explicit Fd(int fd) : _fd(fd) {}
    Fd(Fd&& other) noexcept : _fd(other.release()) {}
    Fd& operator=(Fd&& other) noexcept;
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    ~Fd() { reset(); }

    int get() const { return _fd; }
    bool valid() const { return _fd >= 0; }
    int release();
    void reset();

private:
    int _fd = -1;
};

// A TCP socket listening on 127.0.0.1 at a port the system chose; raises std::runtime_error.
Fd listenOnLoopback(int& port);
// A TCP socket connected to 127.0.0.1:port, with TCP_NODELAY; raises std::runtime_error.
Fd connectToLoopback(int port);
// The next connection on `listener`, with TCP_NODELAY; an invalid Fd when none came in time.
Fd acceptConnection(int listener);

// Sends all `size` bytes; false when the peer went away or a time limit ran out.
bool sendAll(int fd, const unsigned char* data, std::size_t size);
// Receives exactly `size` bytes; false when the peer closed or a time limit ran out.
bool receiveAll(int fd, unsigned char* data, std::size_t size);
// Receives what is there (waiting for at least one byte); 0 when the peer closed, -1 on error.
long receiveSome(int fd, unsigned char* data, std::size_t size);

// A thread that accepts one connection and sends the workload's frames back to back in 64 KiB
// writes until the receiver closes the connection or the sender is destroyed.
class FrameSender {
public:
    FrameSender();
    ~FrameSender();
    FrameSender(const FrameSender&) = delete;
    FrameSender& operator=(const FrameSender&) = delete;

    int port() const { return _port; }

private:
    void run();

    int _port = 0;
    Fd _listener;
    std::atomic<bool> _stop{false};
    std::thread _thread;
};

// A thread that accepts a connection on pingPort(), then one on pongPort(), and sends every
// frame (FRAME_BYTES bytes) that arrives on the first to the second, until the first closes.
class FrameEcho {
public:
    FrameEcho();
    ~FrameEcho();
    FrameEcho(const FrameEcho&) = delete;
    FrameEcho& operator=(const FrameEcho&) = delete;

    int pingPort() const { return _ping_port; }
    int pongPort() const { return _pong_port; }

private:
    void run();

    int _ping_port = 0;
    int _pong_port = 0;
    Fd _ping_listener;
    Fd _pong_listener;
    std::thread _thread;
};

}  // namespace vqbench
