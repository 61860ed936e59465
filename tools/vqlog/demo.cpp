// vqlog demo: a simulated tracker records, streams and reads back a few seconds of frames, and
// the demo checks that every path gives back exactly what was produced.
#include <algorithm>
#include <cctype>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <thread>

#include "vqlog/commands.h"
#include "vqlog/frameserver.h"
#include "vqlog/kinds.h"
#include "vqlog/simulator.h"
#include "vqlog/table.h"

namespace vqlog {

namespace {

using namespace vq::eod;
using Clock = std::chrono::steady_clock;

// The longest the demo waits for its own client or for a frame.
constexpr int PATIENCE_MILLIS = 5000;
constexpr double DEGREES = 180 / 3.14159265358979323846;

struct DemoOptions {
    double seconds = 3;
    double rate = 60;
    std::uint32_t seed = 1;
    std::string out;
    bool fast = false;
    std::size_t rows = 12;
    std::size_t every = 5;
};

std::string newTemporaryDirectory() {
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern =
        std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/vqlog-demo-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw ToolError("cannot create a directory like " + pattern);
    }
    return pattern;
}

std::string ordinal(std::size_t n) {
    const char* suffix = (n % 100 >= 11 && n % 100 <= 13) ? "th"
                         : n % 10 == 1                    ? "st"
                         : n % 10 == 2                    ? "nd"
                         : n % 10 == 3                    ? "rd"
                                                          : "th";
    return n == 1 ? std::string("") : std::to_string(n) + suffix;
}

// The word as a POSIX shell reads it back: as it stands when it holds no special character,
// else in single quotes.
std::string shellWord(const std::string& word) {
    const bool plain = !word.empty() && std::all_of(word.begin(), word.end(), [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) || std::strchr("%+,-./:=@_", c);
    });
    if (plain) {
        return word;
    }
    std::string quoted = "'";
    for (char c : word) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

std::string& invoked() {
    static std::string argv0 = "vqlog";
    return argv0;
}

std::int64_t wallClockMillis() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

// What the simulated tracker did.
struct Production {
    std::vector<ByteBuffer> frames;  // each frame serialised
    std::vector<std::string> files;
    unsigned int blinks = 0;
    unsigned int saccades = 0;
    unsigned int gps_fixes = 0;
    std::exception_ptr failure;
};

// The tracker: produces the frames at the rate (or at once with `fast`), writes each to the
// per-kind recording and sends it to the client.
void runTracker(const DemoOptions& options, std::size_t count, const std::string& directory,
                FrameServer& server, Production& production) {
    try {
        server.acceptClients(PATIENCE_MILLIS);
        if (server.clients() == 0) {
            throw ToolError("the demo's client did not connect");
        }
        TrackerSimulator tracker(options.seed, options.rate, wallClockMillis());
        RecordingWriter writer(directory, true);
        const auto start = Clock::now();
        for (std::size_t i = 0; i < count; ++i) {
            if (!options.fast) {
                std::this_thread::sleep_until(start +
                                              std::chrono::duration_cast<Clock::duration>(
                                                  std::chrono::duration<double>(i / options.rate)));
            }
            FramePtr frame = tracker.nextFrame();
            production.gps_fixes += frame->gpsOutputDataV2() ? 1 : 0;
            writer.write(*frame);
            production.frames.emplace_back();
            frame->serialize(production.frames.back());
            server.send(production.frames.back(), frame->frameNum());
        }
        writer.close();
        production.files = writer.paths();
        production.blinks = tracker.blinks();
        production.saccades = tracker.saccades();
    } catch (...) {
        production.failure = std::current_exception();
    }
    server.close();  // the client sees the end of the stream
}

void addTableRow(Table& table, const EngineOutputData& frame) {
    std::vector<std::string> row{std::to_string(frame.frameNum())};
    auto timing = frame.timingOutputData();
    row.push_back(timing ? fixed(timing->experimentTime(), 3) : "");
    if (auto head = frame.headOutputData()) {
        for (double p : head->headPosition()) {
            row.push_back(fixed(p * 100, 1));
        }
        row.push_back(fixed(head->headRotation()[1] * DEGREES, 1));
        row.push_back(fixed(head->headRotation()[0] * DEGREES, 1));
    } else {
        row.resize(row.size() + 5);
    }
    auto eyes = frame.eyeOutputData();
    auto eyelid = eyes ? eyes->eyeClosureOutputData() : nullptr;
    auto gaze = eyes ? eyes->gazeOutputData() : nullptr;
    row.push_back(eyelid ? fixed(eyelid->eyeClosure(RIGHT_EYE), 2) : "");
    row.push_back(eyelid ? (eyelid->blinking() ? "yes" : "-") : "");
    row.push_back(gaze ? (gaze->saccade() ? "yes" : "-") : "");
    // Where the gaze meets the screen (0..1 from its top-left corner), as the labelled gaze
    // intersection says.
    auto world = frame.worldOutputData();
    auto hit = world ? world->subObjectAs<GazeIntersectionOutputDataV4>(
                           GazeIntersectionOutputDataV4::THIS_OBJECT_ID)
                     : nullptr;
    const bool on_screen = hit && hit->hasPlane("screen");
    row.push_back(on_screen ? fixed(hit->plane("screen")[0], 3) : "-");
    row.push_back(on_screen ? fixed(hit->plane("screen")[1], 3) : "-");
    table.add(row);
}

// The frames a client on this thread receives from the tracker at `port`, serialised.
std::vector<ByteBuffer> receiveAll(int port) {
    std::vector<ByteBuffer> received;
    io::EngineOutputDataTcpClient client;
    client.connect(io::InetAddress(port, "127.0.0.1"));
    while (FramePtr frame = client.receive(PATIENCE_MILLIS)) {
        received.emplace_back();
        frame->serialize(received.back());
    }
    client.disconnect();
    return received;
}

// Read back: the per-kind files merged into frames; their head and eye records go back into
// face set 0, where the tracker put them. The rows options choose go into `table`.
std::vector<ByteBuffer> readBack(const std::string& directory, const DemoOptions& options,
                                 Table& table) {
    std::vector<ByteBuffer> read_back;
    FrameSource source(directory);
    while (FramePtr frame = source.next()) {
        utils::migrateFaceSetOutputData(*frame);
        read_back.emplace_back();
        frame->serialize(read_back.back());
        const std::size_t index = read_back.size() - 1;
        if (index % options.every == 0 && index / options.every < options.rows) {
            addTableRow(table, *frame);
        }
    }
    return read_back;
}

void writeReport(const std::string& directory, const DemoOptions& options, Production& production,
                 int port, std::size_t received, std::size_t read_back) {
    std::cout << "recording  " << directory << " (per kind)\n";
    std::uint64_t bytes = 0;
    Table files({"file", "bytes"});
    std::sort(production.files.begin(), production.files.end());
    for (const std::string& path : production.files) {
        const auto size = std::filesystem::file_size(path);
        bytes += size;
        files.add({path.substr(path.find_last_of('/') + 1), std::to_string(size)});
    }
    files.write(std::cout, 11);
    std::cout << "stream     " << production.frames.size()
              << " frames sent over TCP to 127.0.0.1:" << port << ", " << received << " received\n"
              << "read back  " << read_back << " frames merged from " << bytes << " bytes in "
              << production.files.size() << " files\n"
              << "events     " << production.blinks
              << (production.blinks == 1 ? " blink, " : " blinks, ") << production.saccades
              << (production.saccades == 1 ? " saccade, " : " saccades, ") << production.gps_fixes
              << (production.gps_fixes == 1 ? " GPS fix" : " GPS fixes") << "\n\nEvery "
              << ordinal(options.every) << " frame of the first " << options.rows * options.every
              << ", read back from the recording:\n";
}

int verdict(bool same_files, bool same_stream, std::size_t count, const std::string& directory) {
    if (same_files && same_stream) {
        const std::string vqlog = shellWord(invocation());
        const std::string path = shellWord(directory);
        const std::string indent(13, ' ');
        std::cout << "Look closer: " << vqlog << " info " << path << '\n'
                  << indent << vqlog << " print " << path << " --count 5\n"
                  << indent << vqlog << " export " << path << " --format csv\n\n";
        std::cout << "check: OK, the " << count
                  << " frames read back from the recording and received over TCP equal those "
                     "produced, byte for byte\n";
        return 0;
    }
    std::cout << "check: FAILED, "
              << (same_files ? "" : "the frames read back from the recording differ")
              << (same_files || same_stream ? "" : " and ")
              << (same_stream ? "" : "the frames received over TCP differ")
              << " from those produced\n";
    return 1;
}

int demo(const DemoOptions& options) {
    if (!(options.seconds > 0 && options.seconds <= 600) ||
        !(options.rate > 0 && options.rate <= 1000)) {
        throw UsageError("--seconds takes 0 to 600 and --rate 0 to 1000");
    }
    const auto count =
        static_cast<std::size_t>(std::max(1.0, std::round(options.seconds * options.rate)));
    std::string directory = options.out;
    if (directory.empty()) {
        directory = newTemporaryDirectory();
    } else {
        prepareOutput(directory, true);
    }
    std::cout
        << "vqlog demo: a simulated tracker, " << fixed(count / options.rate, 2) << " s at "
        << fixed(options.rate, 0) << " Hz (" << count
        << " frames): head pose, eyelids, pupils, gaze on a screen, timing, engine state, GPS, "
           "inertia\n\n";

    // The tracker serves on 127.0.0.1 at a port the system chooses; the client is this thread.
    FrameServer server("127.0.0.1", 0, "");
    Production production;
    std::thread tracker([&] { runTracker(options, count, directory, server, production); });
    std::vector<ByteBuffer> received;
    try {
        received = receiveAll(server.port());
    } catch (...) {
        tracker.join();
        throw;
    }
    tracker.join();
    if (production.failure) {
        std::rethrow_exception(production.failure);
    }
    Table table({"frame", "time_s", "head_x_cm", "head_y_cm", "head_z_cm", "yaw_deg", "pitch_deg",
                 "eyelid_r", "blink", "saccade", "screen_x", "screen_y"});
    const std::vector<ByteBuffer> read_back = readBack(directory, options, table);
    writeReport(directory, options, production, server.port(), received.size(), read_back.size());
    table.write(std::cout);
    std::cout << '\n';
    return verdict(read_back == production.frames, received == production.frames, count, directory);
}

}  // namespace

void setInvocation(const std::string& argv0) {
    invoked() = argv0;
}

const std::string& invocation() {
    namespace fs = std::filesystem;
    static const std::string resolved = [] {
        const std::string& argv0 = invoked();
        std::error_code error;
        const fs::path self = fs::canonical("/proc/self/exe", error);
        if (argv0.find('/') != std::string::npos || error) {
            return argv0;  // a path runs as given from where vqlog started: the demo stays there
        }
        const char* path = std::getenv("PATH");
        const std::string directories = path != nullptr ? path : "";
        for (std::size_t begin = 0; begin <= directories.size();) {
            const std::size_t end = std::min(directories.find(':', begin), directories.size());
            const fs::path directory = directories.substr(begin, end - begin);
            const fs::path candidate = (directory.empty() ? fs::path(".") : directory) / argv0;
            if (fs::exists(candidate, error)) {
                // The first program of that name the PATH finds is the one the shell runs.
                return fs::equivalent(candidate, self, error) ? argv0 : self.string();
            }
            begin = end + 1;
        }
        return self.string();
    }();
    return resolved;
}

Command addDemo(CLI::App& app) {
    auto options = std::make_shared<DemoOptions>();
    CLI::App* command = app.add_subcommand(
        "demo",
        "A simulated tracker produces a few seconds of frames at 60 Hz, writes them as a "
        "per-kind recording into a new directory and streams them over TCP on 127.0.0.1 to a "
        "client; the demo reads the recording back merged, checks that the frames read and "
        "received equal those produced, and shows the first frames");
    command->add_option("--seconds", options->seconds, "How long the tracker runs (3)");
    command->add_option("--rate", options->rate, "Frames per second (60)");
    command->add_option("--seed", options->seed, "Seed of the simulated person (1)");
    command->add_option("--out", options->out,
                        "The recording's directory (default: a new one under $TMPDIR or /tmp)");
    command->add_flag("--fast", options->fast, "Produce the frames at once, not in real time");
    command->add_option("--rows", options->rows, "Rows of the table (12)");
    command->add_option("--every", options->every, "Frames from one row to the next (5)")
        ->check(CLI::PositiveNumber);
    return [options] { return demo(*options); };
}

}  // namespace vqlog
