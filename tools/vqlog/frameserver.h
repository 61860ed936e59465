// FrameServer: sends serialised frames over TCP to every client that connects, as a tracker
// does; the stream is the records back to back, nothing else. Used by `vqlog serve` and the demo.
//
// Clients are accepted between frames. A client that went away, or that does not take a whole
// frame within SEND_TIMEOUT_MILLIS, is dropped (a frame sent in part would break its stream) and
// reported on standard error. What each client got (frames, first and last frame number, why it
// was dropped) is kept for a report. Not locked: one thread uses a server.
#pragma once

#include <cstdint>
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
    // Reports kept; clients beyond are counted in reportsLeftOut().
    static constexpr std::size_t MAX_REPORTS = 100;

    // What one client got.
    struct ClientReport {
        std::string address;       // "HOST:PORT" of the client
        std::uint64_t frames = 0;  // whole frames it took
        unsigned int first = 0;    // the first and last frame number it took (frames > 0)
        unsigned int last = 0;
        std::string dropped;  // why the server dropped it, when it did
    };

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

    // Sends the bytes of frame `frame_number` to every client.
    void send(const vq::eod::ByteBuffer& bytes, unsigned int frame_number);
    // Closes every connection (clients then see the end of the stream) and the listener.
    void close();

    // The clients that are gone (dropped, or all after close()), in the order they went.
    const std::vector<ClientReport>& reports() const { return _reports; }
    std::size_t reportsLeftOut() const { return _left_out; }

private:
    struct Client {
        std::unique_ptr<vq::eod::io::TcpSocket> socket;
        ClientReport report;
    };
    void keepReport(ClientReport report);

    std::string _name;
    vq::eod::io::TcpSocket _listener;
    std::vector<Client> _clients;
    std::size_t _seen = 0;
    std::vector<ClientReport> _reports;
    std::size_t _left_out = 0;
};

}  // namespace vqlog
