// vqlog record: records a live TCP frame stream into a new recording, across dropped
// connections with --reconnect.
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <thread>

#include "vqlog/commands.h"
#include "vqlog/filestats.h"
#include "vqlog/frameserver.h"
#include "vqlog/kinds.h"
#include "vqlog/table.h"
#include "vqlog/terminal.h"

namespace vqlog {

namespace {

struct RecordOptions {
    std::string connect;
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

int record(const RecordOptions& options) {
    const vq::eod::io::InetAddress server = parseEndPoint(options.connect);
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
    auto client = std::make_unique<EngineOutputDataTcpClient>();
    try {
        client->connect(server);
    } catch (const vq::eod::EODError& failure) {
        if (!existed && (parted || per_kind)) {
            std::filesystem::remove(options.output, error);  // the directory made above, empty
        }
        throw ToolError(explainError(failure.what(), options.connect));
    }
    RecordOutput writer(options.output, per_kind, options.split_every,
                        options.compress ? vq::eod::io::CompressingFileWriter::DEFAULT_LEVEL
                                         : RecordingWriter::PLAIN);
    std::cerr << "vqlog record: recording " << options.connect << " into " << options.output
              << (options.reconnect ? " (Ctrl-C stops; dropped connections are taken up again)"
                                    : " (Ctrl-C stops)")
              << '\n';

    const bool counter = stderrIsTerminal();
    auto shown = Clock::now();
    unsigned int first = 0;
    unsigned int last = 0;
    std::string damage;  // why the stream's data was damaged, when it was
    std::string lost;    // why the connection was lost, when it was and stays lost
    std::uint64_t reconnects = 0;
    std::uint64_t missing = 0;  // frame numbers missing across reconnections
    std::uint64_t stale = 0;    // frames after a reconnection not newer than the last kept
    bool just_reconnected = false;
    Clock::time_point lost_at;
    // Every frame handed out is written before the loop looks at the stop flag again.
    while (!stopRequested() && (options.count == 0 || writer.framesWritten() < options.count)) {
        FramePtr frame;
        std::string ended;  // why this connection ended, when it did
        bool damaged = false;
        bool clean = false;  // the server closed the stream between two records
        try {
            frame = client->receive(RECEIVE_WAIT_MILLIS);
            if (!frame && !client->connected()) {
                // The server closed the stream: cleanly only between records.
                if (client->pendingBytes() > 0) {
                    damaged = true;
                    ended = "the stream ended inside a record (" +
                            std::to_string(client->pendingBytes()) +
                            " bytes after the last whole one)";
                } else {
                    clean = true;
                    ended = "the server closed the connection";
                }
            }
        } catch (const vq::eod::SerializableError& failure) {
            damaged = true;  // a damaged stream: the frames before it stay
            ended = failure.what();
        } catch (const vq::eod::io::SocketError& failure) {
            ended = explainError(failure.what(), options.connect);
        }
        if (!ended.empty()) {
            if (damaged) {
                damage = ended;
            }
            if (!options.reconnect) {
                if (!damaged && !clean) {
                    lost = ended;
                }
                break;
            }
            // Keep recording: connect again until it works or a stop is asked for.
            const std::string after = writer.framesWritten() > 0
                                          ? " after frame " + std::to_string(last)
                                          : std::string(" before the first frame");
            std::cerr << (counter ? "\r\033[K" : "") << "vqlog record: connection to "
                      << options.connect << " lost" << after << ": " << ended << "; reconnecting\n";
            lost_at = Clock::now();
            client->disconnect();
            while (!stopRequested()) {
                client = std::make_unique<EngineOutputDataTcpClient>();
                try {
                    client->connect(server);
                    break;
                } catch (const vq::eod::io::SocketError&) {
                    std::this_thread::sleep_for(std::chrono::milliseconds(RECONNECT_PAUSE_MILLIS));
                }
            }
            if (client->connected()) {
                ++reconnects;
                just_reconnected = true;
                std::cerr << "vqlog record: reconnected to " << options.connect << " after "
                          << seconds(Clock::now() - lost_at) << '\n';
            }
            continue;
        }
        if (!frame) {
            continue;
        }
        if (reconnects > 0 && writer.framesWritten() > 0 && frame->frameNum() <= last) {
            ++stale;  // numbered anew by a restarted server: the recording stays in order
            continue;
        }
        if (just_reconnected) {
            just_reconnected = false;
            if (writer.framesWritten() > 0 && frame->frameNum() > last + 1ULL) {
                missing += frame->frameNum() - last - 1ULL;
                std::cerr << "vqlog record: frames " << frameRange(last + 1, frame->frameNum() - 1)
                          << " missing (gap of " << seconds(Clock::now() - lost_at) << ")\n";
            }
        }
        writer.write(*frame);
        last = frame->frameNum();
        if (writer.framesWritten() == 1) {
            first = last;
        }
        const auto now = Clock::now();
        if (counter && now - shown > std::chrono::milliseconds(200)) {
            shown = now;
            std::fprintf(stderr, "\r%llu frames, last frame %u ",
                         static_cast<unsigned long long>(writer.framesWritten()), last);
            std::fflush(stderr);
        }
    }
    if (counter) {
        std::fprintf(stderr, "\r\033[K");
    }
    const bool stopped = stopRequested();
    client->disconnect();
    writer.close();

    const std::uint64_t frames = writer.framesWritten();
    // Standard output may be the recording itself.
    std::ostream& out = isStandardOutput(options.output) ? std::cerr : std::cout;
    out << "vqlog record: " << frames << (frames == 1 ? " frame" : " frames");
    if (frames > 0) {
        out << " (" << first << ".." << last << ")";
    }
    out << " into " << writer.files() << (writer.files() == 1 ? " file" : " files");
    if (parted) {
        out << " in " << writer.parts() << (writer.parts() == 1 ? " part" : " parts");
    }
    out << " in " << options.output;
    if (reconnects > 0) {
        out << "; reconnected " << reconnects << (reconnects == 1 ? " time, " : " times, ")
            << missing << (missing == 1 ? " frame" : " frames") << " missing";
    }
    if (stale > 0) {
        out << "; " << stale << (stale == 1 ? " frame" : " frames")
            << " not newer than the last kept skipped";
    }
    out << (stopped ? "; stopped by signal" : "") << '\n';
    if (!damage.empty()) {
        std::cerr << "vqlog record: damaged stream: " << damage
                  << "; the frames received before it are kept\n";
        return 1;
    }
    if (!lost.empty()) {
        std::cerr << "vqlog record: connection lost: " << lost
                  << "; the frames received before it are kept"
                  << (lost.find("--reconnect") == std::string::npos
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

}  // namespace

Command addRecord(CLI::App& app) {
    auto options = std::make_shared<RecordOptions>();
    CLI::App* command = app.add_subcommand(
        "record",
        "Record a live TCP frame stream into per-kind logs (or one file), with a live frame "
        "counter. Ends when the stream ends, after --count frames, or on Ctrl-C; the files are "
        "closed cleanly and every frame received is in them");
    command->add_option("--connect", options->connect, "The tracker's HOST:PORT")->required();
    command
        ->add_option("output", options->output,
                     "The new recording: a directory (new, or without log files), or a "
                     "file with --single-file")
        ->required();
    command->add_flag("--single-file", options->single_file, "Write whole frames into one file");
    command->add_flag(
        "--compress", options->compress,
        "Write one compressed frame file (a crash loses at most about its last second)");
    command->add_flag("--reconnect", options->reconnect,
                      "Keep recording when the connection drops: connect again every 0.25 s, "
                      "report the gap, skip frames not newer than the last kept");
    command->add_option("--count", options->count, "Stop after this many frames");
    command->add_option("--split-every", options->split_every,
                        "Write parts of this many frames (1000) or seconds (10s, by the timing "
                        "records) into the output directory: part-0001/, ... (part-0001.vql, ... "
                        "with --single-file)");
    return [options] { return record(*options); };
}

}  // namespace vqlog
