// vqlog serve: replays a recording as a tracker would, over TCP or as UDP datagrams.
#include <algorithm>
#include <chrono>
#include <iostream>
#include <limits>
#include <memory>
#include <thread>

#include "vqlog/commands.h"
#include "vqlog/filestats.h"
#include "vqlog/frameserver.h"
#include "vqlog/kinds.h"
#include "vqlog/terminal.h"

namespace vqlog {

namespace {

using Clock = std::chrono::steady_clock;
using vq::eod::ByteBuffer;
using vq::eod::io::DatagramSocket;
using vq::eod::io::InetAddress;

// The largest datagram payload of IPv4; larger frames leave as several datagrams.
constexpr int MAX_DATAGRAM_BYTES = 65507;
// Pauses in a recording longer than this are shortened to it.
constexpr double MAX_PAUSE_SECONDS = 1.0;
// The interval when no timing records tell the recorded one.
constexpr double DEFAULT_INTERVAL_SECONDS = 1.0 / 60;
// Without --wait, how long the first frame waits for a first client: one that connects within
// this moment of the start gets the recording from its first frame.
constexpr int START_GRACE_MILLIS = 1000;

struct ServeOptions {
    std::string path;
    int port = -1;
    std::string bind = "127.0.0.1";
    std::string rate = "recorded";
    bool loop = false;
    std::size_t wait = 0;
    std::string udp;
    SelectionOptions select;
};

// When each frame is due: at the recorded rate, as fast as possible, or at a fixed rate.
class Pacer {
public:
    explicit Pacer(const std::string& rate) : _recorded(rate == "recorded"), _max(rate == "max") {
        if (!_recorded && !_max) {
            std::size_t used = 0;
            double hz = 0;
            try {
                hz = std::stod(rate, &used);
            } catch (const std::exception&) {
            }
            if (used != rate.size() || !(hz > 0 && hz <= 100000)) {
                throw UsageError("--rate takes recorded, max or frames per second, not '" + rate +
                                 "'");
            }
            _interval = 1.0 / hz;
        }
    }

    // The time the frame is due.
    Clock::time_point due(const vq::eod::EngineOutputData& frame) {
        const auto now = Clock::now();
        if (_max) {
            return now;
        }
        if (!_started) {
            _started = true;
            _next = now;
        } else {
            double interval = _interval;
            if (_recorded) {
                interval = DEFAULT_INTERVAL_SECONDS;
                if (auto timing = frame.timingOutputData()) {
                    if (_has_time) {
                        interval = std::clamp(timing->experimentTime() - _last_time, 0.0,
                                              MAX_PAUSE_SECONDS);
                    }
                    _last_time = timing->experimentTime();
                    _has_time = true;
                }
            }
            _next += std::chrono::duration_cast<Clock::duration>(
                std::chrono::duration<double>(interval));
        }
        return _next;
    }

    // A new pass through the recording (looping): the next frame follows at once.
    void restart() { _has_time = false; }

private:
    bool _recorded;
    bool _max;
    double _interval = DEFAULT_INTERVAL_SECONDS;
    bool _started = false;
    Clock::time_point _next;
    bool _has_time = false;
    double _last_time = 0;
};

// Where the frames go: every client of a TCP server, or datagrams to one address.
class Destination {
public:
    // Opens the server (and waits for --wait clients, or a moment for a first one) or the
    // datagram socket, and says where on standard output.
    explicit Destination(const ServeOptions& options) {
        if (!options.udp.empty()) {
            _to = std::make_unique<InetAddress>(parseEndPoint(options.udp));
            _datagrams =
                std::make_unique<DatagramSocket>(0, MAX_DATAGRAM_BYTES, MAX_DATAGRAM_BYTES);
            const std::string host = _to->getHostIP();
            if (host == "255.255.255.255") {
                _datagrams->enabledBroadcast(true);
            }
            std::cout << "vqlog serve: sending " << options.path << " as datagrams to " << host
                      << ':' << _to->getPort() << std::endl;
            return;
        }
        try {
            _server = std::make_unique<FrameServer>(options.bind, options.port, "vqlog serve");
        } catch (const vq::eod::io::SocketError& error) {
            throw ToolError(
                explainError(error.what(), options.bind + ':' + std::to_string(options.port)));
        }
        std::cout << "vqlog serve: serving " << options.path << " on " << options.bind << ':'
                  << _server->port() << std::endl;
        while (_server->clients() < options.wait && !stopRequested()) {
            _server->acceptClients(100);
        }
        if (options.wait == 0) {
            _server->acceptClients(START_GRACE_MILLIS);
        }
    }

    // Waits until `due` (or a stop); a server takes new clients meanwhile.
    void waitUntil(Clock::time_point due) {
        while (!stopRequested()) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(due - Clock::now());
            if (_server) {
                _server->acceptClients(
                    static_cast<int>(std::clamp<long long>(left.count(), 0, 100)));
            } else if (left.count() > 0) {
                std::this_thread::sleep_for(std::min(left, std::chrono::milliseconds(100)));
            }
            if (Clock::now() >= due) {
                break;
            }
        }
    }

    void send(const ByteBuffer& bytes, unsigned int number) {
        if (_server) {
            _server->send(bytes, number);
        } else {
            _datagrams->sendDatagram(bytes, *_to);
        }
    }

    void close() {
        if (_server) {
            _server->close();
        }
    }

    // " to 2 clients" for a server, else "".
    std::string clientsText() const {
        if (!_server) {
            return "";
        }
        return " to " + std::to_string(_server->clientsSeen()) +
               (_server->clientsSeen() == 1 ? " client" : " clients");
    }

    // What each client got: one that came late or was dropped has fewer frames.
    void writeClients(std::ostream& out) const {
        if (!_server) {
            return;
        }
        for (const FrameServer::ClientReport& client : _server->reports()) {
            out << "  client " << client.address << ": "
                << (client.frames == 1 ? "1 frame" : std::to_string(client.frames) + " frames");
            if (client.frames > 0) {
                out << " (" << frameRange(client.first, client.last) << ")";
            }
            if (!client.dropped.empty()) {
                out << ", dropped: " << client.dropped;
            }
            out << '\n';
        }
        if (_server->reportsLeftOut() > 0) {
            out << "  and " << _server->reportsLeftOut() << " more clients\n";
        }
    }

private:
    std::unique_ptr<FrameServer> _server;
    std::unique_ptr<DatagramSocket> _datagrams;
    std::unique_ptr<InetAddress> _to;
};

// Looping, the frame numbers go on from pass to pass (each pass keeps its own gaps), so that a
// recording of the stream reads as one recording.
class Numbering {
public:
    void newPass() {
        ++_passes;
        _pass_start = true;
    }
    std::uint64_t passes() const { return _passes; }
    // Numbers the frame on; false when the numbers ran out.
    bool take(vq::eod::EngineOutputData& frame) {
        if (_pass_start) {
            _offset = _passes == 1 ? 0 : _next - frame.frameNum();
            _pass_start = false;
        }
        const std::uint64_t number = frame.frameNum() + _offset;
        if (number > std::numeric_limits<unsigned int>::max()) {
            return false;
        }
        frame.setFrameNum(static_cast<unsigned int>(number));
        _next = number + 1;
        return true;
    }

private:
    std::uint64_t _passes = 1;
    bool _pass_start = true;
    std::uint64_t _offset = 0;
    std::uint64_t _next = 0;  // one past the last number sent
};

int serve(const ServeOptions& options) {
    if ((options.port < 0) == options.udp.empty()) {
        throw UsageError("give either --port N (TCP) or --udp ADDR:PORT (datagrams)");
    }
    const Selection selection = options.select.selection();
    Pacer pacer(options.rate);
    auto source = std::make_unique<FrameSource>(options.path, selection);
    catchStopSignals();
    Destination destination(options);
    std::uint64_t sent = 0;
    Numbering numbering;
    bool numbers_ran_out = false;
    ByteBuffer bytes;
    ProgressBar progress("serve", ProgressBar::UNKNOWN);
    while (!stopRequested()) {
        FramePtr frame = source->next();
        if (!frame) {
            if (!options.loop || sent == 0) {
                break;
            }
            source = std::make_unique<FrameSource>(options.path, selection);
            pacer.restart();
            numbering.newPass();
            continue;
        }
        if (!numbering.take(*frame)) {
            numbers_ran_out = true;
            break;
        }
        destination.waitUntil(pacer.due(*frame));
        bytes.clear();
        frame->serialize(bytes);
        destination.send(bytes, frame->frameNum());
        progress.update(++sent);
    }
    progress.finish();
    destination.close();
    std::cout << "vqlog serve: sent " << sent << (sent == 1 ? " frame" : " frames");
    if (options.loop) {
        std::cout << " in " << numbering.passes()
                  << (numbering.passes() == 1 ? " pass" : " passes");
    }
    std::cout << destination.clientsText() << (stopRequested() ? " (stopped)" : "")
              << (numbers_ran_out ? " (frame numbers ran out: the loop ends)" : "") << '\n';
    destination.writeClients(std::cout);
    return 0;
}

}  // namespace

Command addServe(CLI::App& app) {
    auto options = std::make_shared<ServeOptions>();
    CLI::App* command = app.add_subcommand(
        "serve",
        "Replay a recording as a tracker would: serialised frames over TCP to every client "
        "that connects (--port), or as UDP datagrams (--udp), at the recorded rate, as fast as "
        "possible or at a given rate. Ends after the last frame (or Ctrl-C)");
    command->add_option("path", options->path, "A recording directory or a log file")->required();
    auto* port = command
                     ->add_option("--port", options->port,
                                  "TCP port to serve on (0: one the system chooses, printed)")
                     ->check(CLI::Range(0, 65535));
    command
        ->add_option("--bind", options->bind,
                     "The address to serve on (default 127.0.0.1; 0.0.0.0 for every one)")
        ->needs(port);
    command
        ->add_option("--udp", options->udp,
                     "Send datagrams to ADDR:PORT instead: unicast, broadcast (255.255.255.255) "
                     "or a multicast group; a frame larger than 65507 bytes leaves as several")
        ->excludes(port);
    command->add_option("--rate", options->rate,
                        "recorded (from the timing records; pauses over 1 s shortened), max, or "
                        "frames per second");
    command->add_flag("--loop", options->loop, "Start again after the last frame");
    command
        ->add_option("--wait", options->wait, "Wait for this many clients before the first frame")
        ->needs(port);
    options->select.addTo(*command, false);
    return [options] { return serve(*options); };
}

}  // namespace vqlog
