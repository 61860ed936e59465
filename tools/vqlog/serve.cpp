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

int serve(const ServeOptions& options) {
    if ((options.port < 0) == options.udp.empty()) {
        throw UsageError("give either --port N (TCP) or --udp ADDR:PORT (datagrams)");
    }
    const Selection selection = options.select.selection();
    Pacer pacer(options.rate);
    std::unique_ptr<FrameServer> server;
    std::unique_ptr<DatagramSocket> datagrams;
    std::unique_ptr<InetAddress> destination;
    auto source = std::make_unique<FrameSource>(options.path, selection);
    catchStopSignals();
    if (options.udp.empty()) {
        try {
            server = std::make_unique<FrameServer>(options.bind, options.port, "vqlog serve");
        } catch (const vq::eod::io::SocketError& error) {
            throw ToolError(
                explainError(error.what(), options.bind + ':' + std::to_string(options.port)));
        }
        std::cout << "vqlog serve: serving " << options.path << " on " << options.bind << ':'
                  << server->port() << std::endl;
        while (server->clients() < options.wait && !stopRequested()) {
            server->acceptClients(100);
        }
        if (options.wait == 0) {
            server->acceptClients(START_GRACE_MILLIS);
        }
    } else {
        destination = std::make_unique<InetAddress>(parseEndPoint(options.udp));
        datagrams = std::make_unique<DatagramSocket>(0, MAX_DATAGRAM_BYTES, MAX_DATAGRAM_BYTES);
        const std::string host = destination->getHostIP();
        if (host == "255.255.255.255") {
            datagrams->enabledBroadcast(true);
        }
        std::cout << "vqlog serve: sending " << options.path << " as datagrams to " << host << ':'
                  << destination->getPort() << std::endl;
    }

    std::uint64_t sent = 0;
    std::uint64_t passes = 1;
    // Looping, the frame numbers go on from pass to pass (each pass keeps its own gaps), so that
    // a recording of the stream reads as one recording.
    bool pass_start = true;
    std::uint64_t offset = 0;
    std::uint64_t next_number = 0;  // one past the last number sent
    bool numbers_ran_out = false;
    ByteBuffer bytes;
    while (!stopRequested()) {
        FramePtr frame = source->next();
        if (!frame) {
            if (!options.loop || sent == 0) {
                break;
            }
            source = std::make_unique<FrameSource>(options.path, selection);
            pacer.restart();
            ++passes;
            pass_start = true;
            continue;
        }
        if (pass_start) {
            offset = passes == 1 ? 0 : next_number - frame->frameNum();
            pass_start = false;
        }
        const std::uint64_t number = frame->frameNum() + offset;
        if (number > std::numeric_limits<unsigned int>::max()) {
            numbers_ran_out = true;
            break;
        }
        frame->setFrameNum(static_cast<unsigned int>(number));
        next_number = number + 1;
        const auto due = pacer.due(*frame);
        while (!stopRequested()) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(due - Clock::now());
            if (server) {
                // Waiting is the time to take new clients.
                server->acceptClients(
                    static_cast<int>(std::clamp<long long>(left.count(), 0, 100)));
            } else if (left.count() > 0) {
                std::this_thread::sleep_for(std::min(left, std::chrono::milliseconds(100)));
            }
            if (Clock::now() >= due) {
                break;
            }
        }
        bytes.clear();
        frame->serialize(bytes);
        if (server) {
            server->send(bytes, frame->frameNum());
        } else {
            datagrams->sendDatagram(bytes, *destination);
        }
        ++sent;
    }
    if (server) {
        server->close();
    }
    std::cout << "vqlog serve: sent " << sent << (sent == 1 ? " frame" : " frames");
    if (options.loop) {
        std::cout << " in " << passes << (passes == 1 ? " pass" : " passes");
    }
    if (server) {
        std::cout << " to " << server->clientsSeen()
                  << (server->clientsSeen() == 1 ? " client" : " clients");
    }
    std::cout << (stopRequested() ? " (stopped)" : "")
              << (numbers_ran_out ? " (frame numbers ran out: the loop ends)" : "") << '\n';
    if (server) {
        // What each client got: one that came late or was dropped has fewer frames.
        for (const FrameServer::ClientReport& client : server->reports()) {
            std::cout << "  client " << client.address << ": "
                      << (client.frames == 1 ? "1 frame"
                                             : std::to_string(client.frames) + " frames");
            if (client.frames > 0) {
                std::cout << " (" << frameRange(client.first, client.last) << ")";
            }
            if (!client.dropped.empty()) {
                std::cout << ", dropped: " << client.dropped;
            }
            std::cout << '\n';
        }
        if (server->reportsLeftOut() > 0) {
            std::cout << "  and " << server->reportsLeftOut() << " more clients\n";
        }
    }
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
