// vqlog record: records a live TCP frame stream into a new recording, across dropped
// connections with --reconnect, or the frames of UDP datagrams.
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <thread>

#include "vqlog/commands.h"
#include "vqlog/datagramframes.h"
#include "vqlog/filestats.h"
#include "vqlog/frameserver.h"
#include "vqlog/kinds.h"
#include "vqlog/table.h"
#include "vqlog/terminal.h"

namespace vqlog {

namespace {

struct RecordOptions {
    std::string connect;
    std::string udp;
    std::string output;
    bool single_file = false;
    bool compress = false;
    bool reconnect = false;
    std::string split_every;
    std::uint64_t count = 0;
};

using Clock = std::chrono::steady_clock;
using vq::eod::io::EngineOutputDataTcpClient;

// How long one wait for a frame lasts before the stop flag is looked at again.
constexpr int RECEIVE_WAIT_MILLIS = 100;
// With --reconnect, the pause between two attempts to connect again.
constexpr int RECONNECT_PAUSE_MILLIS = 250;

// The recording, written whole, or in parts (--split-every) in the output directory, each part a
// recording of its own: part-0001.vql, ... or part-0001/, ...
class RecordOutput {
public:
    RecordOutput(std::string path, bool per_kind, const std::string& split_every, int level)
        : _path(std::move(path)), _per_kind(per_kind), _level(level) {
        if (!split_every.empty()) {
            _every = parseEvery(split_every, "--split-every");
            _parted = true;
        } else {
            _writer = std::make_unique<RecordingWriter>(_path, _per_kind, 65536, _level);
        }
    }

    void write(const vq::eod::EngineOutputData& frame) {
        const auto timing = frame.timingOutputData();
        if (_parted) {
            bool next = !_writer;
            if (_writer && !_every.seconds) {
                next = _in_part >= static_cast<std::uint64_t>(_every.amount);
            } else if (_writer && timing && _timed) {
                next = timing->experimentTime() - _part_start >= _every.amount;
            }
            if (next) {
                closePart();
                const std::string part = _path + "/" + partName(++_parts, _per_kind);
                prepareOutput(part, _per_kind);
                _writer = std::make_unique<RecordingWriter>(part, _per_kind, 65536, _level);
                _in_part = 0;
                _timed = false;
            }
            if (timing && !_timed) {
                _timed = true;
                _part_start = timing->experimentTime();
            }
        }
        _writer->write(frame);
        ++_in_part;
        ++_frames;
    }
    void close() { closePart(); }

    std::uint64_t framesWritten() const { return _frames; }
    std::uint64_t facesDropped() const {
        return _faces_dropped + (_writer ? _writer->facesDropped() : 0);
    }
    std::size_t files() const { return _files + (_writer ? _writer->paths().size() : 0); }
    std::uint64_t parts() const { return _parts; }

private:
    void closePart() {
        if (_writer) {
            _writer->close();
            _faces_dropped += _writer->facesDropped();
            _files += _writer->paths().size();
            _writer.reset();
        }
    }

    std::string _path;
    bool _per_kind;
    int _level;  // the compression level of a compressed frame file, or RecordingWriter::PLAIN
    bool _parted = false;
    Every _every;
    std::unique_ptr<RecordingWriter> _writer;
    std::uint64_t _parts = 0;
    std::uint64_t _in_part = 0;
    std::uint64_t _frames = 0;
    std::uint64_t _faces_dropped = 0;
    std::size_t _files = 0;
    bool _timed = false;
    double _part_start = 0;
};

std::string seconds(Clock::duration duration) {
    return fixed(std::chrono::duration<double>(duration).count(), 1) + " s";
}

std::string plural(std::uint64_t count, const char* one, const char* many) {
    return std::to_string(count) + ' ' + (count == 1 ? one : many);
}

// What has been kept so far, and what the sequence of frame numbers lost on the way.
struct Kept {
    std::uint64_t frames = 0;
    unsigned int first = 0;
    unsigned int last = 0;
    std::uint64_t missing = 0;  // frame numbers missing across reconnections or lost datagrams
    std::uint64_t stale = 0;    // frames not newer than the last kept, skipped

    // "after frame 7", or "before the first frame".
    std::string after() const {
        return frames > 0 ? " after frame " + std::to_string(last)
                          : std::string(" before the first frame");
    }
};

// A TCP frame stream, connected again after a drop with --reconnect.
class TcpInput {
public:
    explicit TcpInput(const RecordOptions& options)
        : _options(options), _server(parseEndPoint(options.connect)) {}

    // ToolError with the library's reason and what to try.
    void connect() {
        try {
            _client->connect(_server);
        } catch (const vq::eod::EODError& failure) {
            throw ToolError(explainError(failure.what(), _options.connect));
        }
    }

    // The next frame, or null: nothing came within the wait, the connection was taken up again
    // (reconnected() tells), or the stream ended (`ended` set).
    FramePtr next(const Kept& kept, bool counter, bool& ended) {
        std::string why;  // why this connection ended, when it did
        bool damaged = false;
        bool clean = false;  // the server closed the stream between two records
        try {
            FramePtr frame = _client->receive(RECEIVE_WAIT_MILLIS);
            if (frame || _client->connected()) {
                return frame;
            }
            // The server closed the stream: cleanly only between records.
            if (_client->pendingBytes() > 0) {
                damaged = true;
                why = "the stream ended inside a record (" +
                      std::to_string(_client->pendingBytes()) + " bytes after the last whole one)";
            } else {
                clean = true;
                why = "the server closed the connection";
            }
        } catch (const vq::eod::SerializableError& failure) {
            damaged = true;  // a damaged stream: the frames before it stay
            why = failure.what();
        } catch (const vq::eod::io::SocketError& failure) {
            why = explainError(failure.what(), _options.connect);
        }
        if (damaged) {
            damage = why;
        }
        if (!_options.reconnect) {
            if (!damaged && !clean) {
                lost = why;
            }
            ended = true;
            return FramePtr();
        }
        std::cerr << (counter ? "\r\033[K" : "") << "vqlog record: connection to "
                  << _options.connect << " lost" << kept.after() << ": " << why
                  << "; reconnecting\n";
        reconnect();
        return FramePtr();
    }

    void disconnect() { _client->disconnect(); }
    std::uint64_t reconnects() const { return _reconnects; }
    // Whether the connection was taken up again since the last call (once).
    bool reconnected() {
        const bool result = _just_reconnected;
        _just_reconnected = false;
        return result;
    }
    Clock::time_point lostAt() const { return _lost_at; }

    std::string damage;  // why the stream's data was damaged, when it was
    std::string lost;    // why the connection was lost, when it was and stays lost

private:
    // Connects again until it works or a stop is asked for.
    void reconnect() {
        _lost_at = Clock::now();
        _client->disconnect();
        while (!stopRequested()) {
            _client = std::make_unique<EngineOutputDataTcpClient>();
            try {
                _client->connect(_server);
                break;
            } catch (const vq::eod::io::SocketError&) {
                std::this_thread::sleep_for(std::chrono::milliseconds(RECONNECT_PAUSE_MILLIS));
            }
        }
        if (_client->connected()) {
            ++_reconnects;
            _just_reconnected = true;
            std::cerr << "vqlog record: reconnected to " << _options.connect << " after "
                      << seconds(Clock::now() - _lost_at) << '\n';
        }
    }

    const RecordOptions& _options;
    vq::eod::io::InetAddress _server;
    std::unique_ptr<EngineOutputDataTcpClient> _client =
        std::make_unique<EngineOutputDataTcpClient>();
    std::uint64_t _reconnects = 0;
    bool _just_reconnected = false;
    Clock::time_point _lost_at;
};

// "[GROUP:]PORT" of --udp: the port, and the multicast group to join (empty for none).
std::pair<int, std::string> parseUdp(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    const std::string port = colon == std::string::npos ? text : text.substr(colon + 1);
    const std::string group = colon == std::string::npos ? "" : text.substr(0, colon);
    const bool digits = !port.empty() && port.size() <= 5 &&
                        port.find_first_not_of("0123456789") == std::string::npos;
    if (!digits || std::stoi(port) > 65535 || (colon != std::string::npos && group.empty())) {
        throw UsageError("--udp takes PORT or GROUP:PORT (a multicast group), not '" + text + "'");
    }
    return {std::stoi(port), group};
}

// Whether the recording ends before `frame`: --count frames are kept, or a stop was asked for.
bool done(const RecordOptions& options, const Kept& kept) {
    return stopRequested() || (options.count != 0 && kept.frames >= options.count);
}

// Whether `frame` is not newer than the last kept (counted as stale); else the numbers it jumps
// over.
bool stale(const vq::eod::EngineOutputData& frame, Kept& kept) {
    if (kept.frames > 0 && frame.frameNum() <= kept.last) {
        ++kept.stale;
        return true;
    }
    return false;
}
std::uint64_t jump(const vq::eod::EngineOutputData& frame, const Kept& kept) {
    return kept.frames > 0 && frame.frameNum() > kept.last + 1ULL
               ? frame.frameNum() - kept.last - 1ULL
               : 0;
}

void keep(RecordOutput& writer, const vq::eod::EngineOutputData& frame, Kept& kept) {
    writer.write(frame);
    kept.last = frame.frameNum();
    kept.first = kept.frames == 0 ? kept.last : kept.first;
    ++kept.frames;
}

// A live count of the frames on a terminal.
class Counter {
public:
    Counter() : _shown(stderrIsTerminal()) {}
    bool shown() const { return _shown; }
    void update(const Kept& kept) {
        const auto now = Clock::now();
        if (_shown && now - _last > std::chrono::milliseconds(200)) {
            _last = now;
            std::fprintf(stderr, "\r%llu frames, last frame %u ",
                         static_cast<unsigned long long>(kept.frames), kept.last);
            std::fflush(stderr);
        }
    }
    void clear() {
        if (_shown) {
            std::fprintf(stderr, "\r\033[K");
        }
    }

private:
    bool _shown;
    Clock::time_point _last = Clock::now();
};

void recordTcp(const RecordOptions& options, TcpInput& input, RecordOutput& writer, Kept& kept) {
    Counter counter;
    // Every frame handed out is written before the loop looks at the stop flag again.
    while (!done(options, kept)) {
        bool ended = false;
        FramePtr frame = input.next(kept, counter.shown(), ended);
        if (ended) {
            break;
        }
        if (!frame) {
            continue;
        }
        // After a reconnection a restarted server may number anew: the recording stays in order.
        if (input.reconnects() > 0 && stale(*frame, kept)) {
            continue;
        }
        const std::uint64_t missing = jump(*frame, kept);
        if (input.reconnected() && missing > 0) {
            kept.missing += missing;
            std::cerr << "vqlog record: frames " << frameRange(kept.last + 1, frame->frameNum() - 1)
                      << " missing (gap of " << seconds(Clock::now() - input.lostAt()) << ")\n";
        }
        keep(writer, *frame, kept);
        counter.update(kept);
    }
    counter.clear();
}

// Datagrams: frames repeated or out of order are skipped, numbers left out are counted missing.
void recordUdp(const RecordOptions& options, DatagramFrames& input, RecordOutput& writer,
               Kept& kept) {
    Counter counter;
    while (!done(options, kept)) {
        FramePtr frame = input.receive(RECEIVE_WAIT_MILLIS);
        if (!frame || stale(*frame, kept)) {
            continue;
        }
        kept.missing += jump(*frame, kept);
        keep(writer, *frame, kept);
        counter.update(kept);
    }
    counter.clear();
}

// The closing line on standard output, or on standard error when the recording goes there.
void writeSummary(const RecordOptions& options, const RecordOutput& writer, const Kept& kept,
                  std::uint64_t reconnects, std::uint64_t damaged_datagrams, bool stopped) {
    std::ostream& out = isStandardOutput(options.output) ? std::cerr : std::cout;
    out << "vqlog record: " << plural(kept.frames, "frame", "frames");
    if (kept.frames > 0) {
        out << " (" << kept.first << ".." << kept.last << ")";
    }
    out << " into " << plural(writer.files(), "file", "files");
    if (!options.split_every.empty()) {
        out << " in " << plural(writer.parts(), "part", "parts");
    }
    out << " in " << options.output;
    if (reconnects > 0) {
        out << "; reconnected " << plural(reconnects, "time", "times") << ", "
            << plural(kept.missing, "frame", "frames") << " missing";
    } else if (!options.udp.empty() && kept.missing > 0) {
        out << "; " << plural(kept.missing, "frame", "frames") << " missing";
    }
    if (damaged_datagrams > 0) {
        out << "; " << plural(damaged_datagrams, "unreadable datagram", "unreadable datagrams")
            << " skipped";
    }
    if (kept.stale > 0) {
        out << "; " << plural(kept.stale, "frame", "frames")
            << " not newer than the last kept skipped";
    }
    out << (stopped ? "; stopped by signal" : "") << '\n';
}

// Exit 1 for a damaged stream, a connection lost for good, or faces left out.
int verdict(const TcpInput* tcp, const RecordOutput& writer) {
    if (tcp != nullptr && !tcp->damage.empty()) {
        std::cerr << "vqlog record: damaged stream: " << tcp->damage
                  << "; the frames received before it are kept\n";
        return 1;
    }
    if (tcp != nullptr && !tcp->lost.empty()) {
        std::cerr << "vqlog record: connection lost: " << tcp->lost
                  << "; the frames received before it are kept"
                  << (tcp->lost.find("--reconnect") == std::string::npos
                          ? " (--reconnect keeps recording across dropped connections)"
                          : "")
                  << '\n';
        return 1;
    }
    if (writer.facesDropped() > 0) {
        std::cerr << "vqlog record: " << writer.facesDropped()
                  << " frames held more than one face; per-kind logs keep the first face only "
                     "(record with --single-file to keep them)\n";
        return 1;
    }
    return 0;
}

int record(const RecordOptions& options) {
    if (options.connect.empty() == options.udp.empty()) {
        throw UsageError("give either --connect HOST:PORT (TCP) or --udp [GROUP:]PORT (datagrams)");
    }
    std::unique_ptr<TcpInput> tcp;
    std::unique_ptr<DatagramFrames> udp;
    std::pair<int, std::string> listen;
    if (options.udp.empty()) {
        tcp = std::make_unique<TcpInput>(options);
    } else {
        listen = parseUdp(options.udp);
    }
    const bool per_kind = !options.single_file && !options.compress;
    // In parts, the output is a directory of them.
    const bool parted = !options.split_every.empty();
    if (parted) {
        parseEvery(options.split_every, "--split-every");
    }
    requireRecordingName(options.output, parted || per_kind);
    std::error_code error;
    const bool existed = std::filesystem::exists(options.output, error);
    prepareOutput(options.output, parted || per_kind);
    catchStopSignals();
    try {
        if (tcp) {
            tcp->connect();
        } else {
            udp = std::make_unique<DatagramFrames>(listen.first, listen.second);
        }
    } catch (const std::exception& failure) {
        if (!existed && (parted || per_kind)) {
            std::filesystem::remove(options.output, error);  // the directory made above, empty
        }
        if (tcp) {
            throw;
        }
        throw ToolError(explainError(failure.what(), options.udp));
    }
    RecordOutput writer(options.output, per_kind, options.split_every,
                        options.compress ? vq::eod::io::CompressingFileWriter::DEFAULT_LEVEL
                                         : RecordingWriter::PLAIN);
    if (udp) {
        // The port first, on standard output (unless the recording goes there), for whoever
        // sends (port 0 chose one).
        (isStandardOutput(options.output) ? std::cerr : std::cout)
            << "vqlog record: listening for datagrams on port " << udp->port() << std::endl;
    }
    std::cerr << "vqlog record: recording " << (tcp ? options.connect : options.udp) << " into "
              << options.output
              << (options.reconnect ? " (Ctrl-C stops; dropped connections are taken up again)"
                                    : " (Ctrl-C stops)")
              << '\n';
    Kept kept;
    if (tcp) {
        recordTcp(options, *tcp, writer, kept);
        tcp->disconnect();
    } else {
        recordUdp(options, *udp, writer, kept);
    }
    const bool stopped = stopRequested();
    writer.close();
    writeSummary(options, writer, kept, tcp ? tcp->reconnects() : 0, udp ? udp->damaged() : 0,
                 stopped);
    return verdict(tcp.get(), writer);
}

}  // namespace

Command addRecord(CLI::App& app) {
    auto options = std::make_shared<RecordOptions>();
    CLI::App* command = app.add_subcommand("record",
                                           "Record a live TCP frame stream (or UDP datagrams) into "
                                           "per-kind logs (or one file), with a "
                                           "live frame counter. Ends when the stream ends, after "
                                           "--count frames, or on Ctrl-C; the files are "
                                           "closed cleanly and every frame received is in them");
    auto* connect = command->add_option("--connect", options->connect, "The tracker's HOST:PORT");
    command
        ->add_option("--udp", options->udp,
                     "Receive datagrams instead, on PORT of every interface (0: one the system "
                     "chooses, printed first), or as a member of the multicast group GROUP:PORT. "
                     "Each datagram holds whole frames, or a piece of a larger frame (pieces are "
                     "gathered). Frames repeated or out of order are skipped, lost ones counted "
                     "missing, unreadable datagrams counted and skipped; ends after --count "
                     "frames or on Ctrl-C")
        ->excludes(connect);
    command
        ->add_option("output", options->output,
                     "The new recording: a directory (new, or without log files), or a "
                     "file with --single-file")
        ->required();
    command->add_flag("--single-file", options->single_file, "Write whole frames into one file");
    command->add_flag(
        "--compress", options->compress,
        "Write one compressed frame file (a crash loses at most about its last second)");
    auto* reconnect =
        command->add_flag("--reconnect", options->reconnect,
                          "Keep recording when the connection drops: connect again every 0.25 s, "
                          "report the gap, skip frames not newer than the last kept");
    reconnect->needs(connect);
    command->add_option("--count", options->count, "Stop after this many frames");
    command->add_option("--split-every", options->split_every,
                        "Write parts of this many frames (1000) or seconds (10s, by the timing "
                        "records) into the output directory: part-0001/, ... (part-0001.vql, ... "
                        "with --single-file)");
    return [options] { return record(*options); };
}

}  // namespace vqlog
