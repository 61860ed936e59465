// FrameServer: sends serialised frames over TCP to every client that connects, as a tracker
// does; the stream is the records back to back, nothing else. Used by `vqlog serve` and the demo.
//
// Clients are accepted between frames. A client that went away, or that does not take a whole
// frame within SEND_TIMEOUT_MILLIS, is dropped (a frame sent in part would break its stream) and
// reported on standard error. Not locked: one thread uses a server.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "vq/corelog.h"

namespace vqlog {

// "HOST:PORT" as an address; UsageError when it is not one (or the port is not 0..65535).
vq::eod::io::InetAddress parseEndPoint(const std::string& text);

class FrameServer {
public:
    static constexpr int SEND_TIMEOUT_MILLIS = 2000;

    // Listens on `host` at `port` (0: a port the system chooses). `name` prefixes the messages
    // about clients; with an empty name there are none.
    FrameServer(const std::string& host, int port, std::string name);
    ~FrameServer();

    int port() const;
    // Accepts the clients that connect within `wait_millis` (0: those already waiting); returns
    // early once one came.
    void acceptClients(int wait_millis);
    std::size_t clients() const { return _clients.size(); }
    // Every client that ever connected.
    std::size_t clientsSeen() const { return _seen; }

    // Sends the bytes to every client.
    void send(const vq::eod::ByteBuffer& bytes);
    // Closes every connection (clients then see the end of the stream) and the listener.
    void close();

private:
    std::string _name;
    vq::eod::io::TcpSocket _listener;
    std::vector<std::unique_ptr<vq::eod::io::TcpSocket>> _clients;
    std::size_t _seen = 0;
};

}  // namespace vqlog
