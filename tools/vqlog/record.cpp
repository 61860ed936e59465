// vqlog record: records a live TCP frame stream into a new recording.
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iostream>

#include "vqlog/commands.h"
#include "vqlog/frameserver.h"
#include "vqlog/kinds.h"
#include "vqlog/terminal.h"

namespace vqlog {

namespace {

struct RecordOptions {
    std::string connect;
    std::string output;
    bool single_file = false;
    std::uint64_t count = 0;
};

// How long one wait for a frame lasts before the stop flag is looked at again.
constexpr int RECEIVE_WAIT_MILLIS = 100;

int record(const RecordOptions& options) {
    const vq::eod::io::InetAddress server = parseEndPoint(options.connect);
    requireRecordingName(options.output, !options.single_file);
    std::error_code error;
    const bool existed = std::filesystem::exists(options.output, error);
    prepareOutput(options.output, !options.single_file);
    catchStopSignals();
    vq::eod::io::EngineOutputDataTcpClient client;
    try {
        client.connect(server);
    } catch (const vq::eod::EODError& failure) {
        if (!existed && !options.single_file) {
            std::filesystem::remove(options.output, error);  // the directory made above, empty
        }
        throw ToolError(std::string(failure.what()) + " (" + options.connect +
                        ": is a tracker or vqlog serve listening there? vqlog serve prints its "
                        "address when it starts)");
    }
    RecordingWriter writer(options.output, !options.single_file);
    std::cerr << "vqlog record: recording " << options.connect << " into " << options.output
              << " (Ctrl-C stops)\n";

    const bool counter = stderrIsTerminal();
    auto shown = std::chrono::steady_clock::now();
    unsigned int first = 0;
    unsigned int last = 0;
    // Every frame handed out is written before the loop looks at the stop flag again.
    std::string damage;  // why the stream's data was damaged, when it was
    try {
        while (!stopRequested() && (options.count == 0 || writer.framesWritten() < options.count)) {
            FramePtr frame = client.receive(RECEIVE_WAIT_MILLIS);
            if (!frame) {
                if (!client.connected()) {
                    // The server closed the stream: cleanly only between records.
                    if (client.pendingBytes() > 0) {
                        damage = "the stream ended inside a record (" +
                                 std::to_string(client.pendingBytes()) +
                                 " bytes after the last whole one)";
                    }
                    break;
                }
                continue;
            }
            writer.write(*frame);
            last = frame->frameNum();
            if (writer.framesWritten() == 1) {
                first = last;
            }
            const auto now = std::chrono::steady_clock::now();
            if (counter && now - shown > std::chrono::milliseconds(200)) {
                shown = now;
                std::fprintf(stderr, "\r%llu frames, last frame %u ",
                             static_cast<unsigned long long>(writer.framesWritten()), last);
                std::fflush(stderr);
            }
        }
    } catch (const vq::eod::SerializableError& error) {
        damage = error.what();  // a damaged stream: the frames before it stay
    }
    if (counter) {
        std::fprintf(stderr, "\r\033[K");
    }
    const bool stopped = stopRequested();
    client.disconnect();
    writer.close();

    const std::uint64_t frames = writer.framesWritten();
    std::cout << "vqlog record: " << frames << (frames == 1 ? " frame" : " frames");
    if (frames > 0) {
        std::cout << " (" << first << ".." << last << ")";
    }
    std::cout << " into " << writer.paths().size()
              << (writer.paths().size() == 1 ? " file" : " files") << " in " << options.output
              << (stopped ? "; stopped by signal" : "") << '\n';
    if (!damage.empty()) {
        std::cerr << "vqlog record: damaged stream: " << damage
                  << "; the frames received before it are kept\n";
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
    command->add_option("--count", options->count, "Stop after this many frames");
    return [options] { return record(*options); };
}

}  // namespace vqlog
