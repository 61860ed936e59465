// TcpEndPoint: one owned TCP socket with a receive time limit and guarded send calls; the base
// of TcpClient and of application servers' per-connection end points.
//
// Time limits are milliseconds: 0 makes receive only look, and a negative limit is refused.
// Sending requires a connected socket: otherwise std::invalid_argument
// "src/eod/io/tcpendpoint.cpp:<line>: not open". Socket failures raise SocketError (tcpsocket.h).
//
// Not locked: one thread uses an end point at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "vq/eod/export.h"
#include "vq/eod/io/inetaddress.h"
#include "vq/eod/io/tcpsocket.h"

namespace vq::eod::io {

class VQ_EOD_API TcpEndPoint {
public:
    // The default receive time limit, in milliseconds.
    static constexpr int DEFAULT_RECEIVE_TIMEOUT_MILLIS = 100;

    TcpEndPoint(const TcpEndPoint&) = delete;
    TcpEndPoint& operator=(const TcpEndPoint&) = delete;
    virtual ~TcpEndPoint();

    void close();
    // True when the socket is CONNECTED (an open but unconnected socket gives false).
    bool opened() const;
    // True when data (or the peer's close) is waiting; does not wait.
    bool dataReady() const;
    // Sets TCP_NODELAY: true turns the Nagle algorithm off (see TcpSocket).
    void enableNagleAlgortihm(bool value);
    InetAddress localAddress();

    // Waits up to the receive time limit and reads once (TcpSocket::receive). Returns the bytes
    // read, 0 on time-out or when the peer closed.
    int receive(std::vector<unsigned char>& data, bool append);
    // A negative limit raises SocketError "Invalid timeout value"; 0 makes receive a poll.
    void setReceiveTimeoutMillis(int millis);
    int receiveTimeoutMillis() const { return _receive_timeout_millis; }

    // Send every byte, blocking (TcpSocket::send).
    void send(const std::vector<unsigned char>& data);
    void send(const unsigned char* data, std::uint64_t size);
    // Sends with a time limit on each wait for room; returns the bytes sent (TcpSocket::send).
    std::uint64_t send(const unsigned char* data, std::uint64_t size, int timeoutMillis);

protected:
    // A closed socket.
    TcpEndPoint();
    // An open socket bound to `local` (errors of TcpSocket::open and bind pass through).
    explicit TcpEndPoint(const InetAddress& local);
    // Takes ownership of `socket`, typically one returned by TcpSocket::accept; not null.
    explicit TcpEndPoint(TcpSocket* socket);

    TcpSocket& socket() { return *_socket; }
    const TcpSocket& socket() const { return *_socket; }

private:
    std::unique_ptr<TcpSocket> _socket;  // never null
    int _receive_timeout_millis;         // limit of each receive wait
};

}  // namespace vq::eod::io
