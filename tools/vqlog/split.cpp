// vqlog split: a recording cut into parts of so many frames or seconds.
#include <cstdio>
#include <iostream>

#include "vqlog/commands.h"
#include "vqlog/kinds.h"

namespace vqlog {

namespace {

struct SplitOptions {
    std::string input;
    std::string output;
    std::string every;
};

// "--every 1000" (frames) or "--every 10s" (seconds by the timing records).
struct Every {
    bool seconds = false;
    double amount = 0;
};

Every parseEvery(const std::string& text) {
    Every every;
    std::string number = text;
    if (!number.empty() && number.back() == 's') {
        every.seconds = true;
        number.pop_back();
    }
    std::size_t used = 0;
    try {
        every.amount = std::stod(number, &used);
    } catch (const std::exception&) {
        used = 0;
    }
    const bool whole =
        every.seconds ||
        every.amount == static_cast<double>(static_cast<std::uint64_t>(every.amount));
    if (number.empty() || used != number.size() || !(every.amount > 0) || !whole ||
        every.amount > 1e15) {
        throw UsageError("--every takes a number of frames (1000) or of seconds (10s), not '" +
                         text + "'");
    }
    return every;
}

// "part-0001.vql", or "part-0001" for a per-kind part.
std::string partName(std::uint64_t part, bool per_kind) {
    char name[32];
    std::snprintf(name, sizeof name, "part-%04llu", static_cast<unsigned long long>(part));
    return std::string(name) + (per_kind ? "" : ".vql");
}

int split(const SplitOptions& options) {
    const Every every = parseEvery(options.every);
    FrameSource source(options.input);
    const bool per_kind = source.perKind();
    requireRecordingName(options.output, true);
    prepareOutput(options.output, true);
    std::unique_ptr<RecordingWriter> writer;
    std::uint64_t parts = 0;
    std::uint64_t frames = 0;
    std::uint64_t in_part = 0;
    bool timed = false;
    double part_start = 0;
    auto close = [&writer] {
        if (writer) {
            writer->close();
        }
    };
    while (FramePtr frame = source.next()) {
        const auto timing = frame->timingOutputData();
        bool next_part = !writer;
        if (writer && !every.seconds) {
            next_part = in_part >= static_cast<std::uint64_t>(every.amount);
        } else if (writer && timing && timed) {
            next_part = timing->experimentTime() - part_start >= every.amount;
        }
        if (next_part) {
            close();
            const std::string path = options.output + "/" + partName(++parts, per_kind);
            prepareOutput(path, per_kind);
            writer = std::make_unique<RecordingWriter>(path, per_kind);
            in_part = 0;
            timed = false;
        }
        if (timing && !timed) {
            timed = true;
            part_start = timing->experimentTime();
        }
        writer->write(*frame);
        ++in_part;
        ++frames;
    }
    close();
    std::cout << "vqlog split: " << frames << (frames == 1 ? " frame" : " frames") << " into "
              << parts << (parts == 1 ? " part" : " parts") << " in " << options.output
              << (per_kind ? " (per-kind directories)" : " (log files)") << '\n';
    return 0;
}

}  // namespace

Command addSplit(CLI::App& app) {
    auto options = std::make_shared<SplitOptions>();
    CLI::App* command = app.add_subcommand(
        "split",
        "Cut a recording into parts of so many frames or seconds (by the timing records), "
        "each a recording of the input's form: OUT/part-0001.vql, ... or OUT/part-0001/, ...");
    command->add_option("input", options->input, "A recording directory or a log file")->required();
    command->add_option("output", options->output, "The directory of the parts (new, or empty)")
        ->required();
    command
        ->add_option("--every", options->every,
                     "Frames per part (1000), or seconds per part (10s): a part ends before the "
                     "first frame whose time is that far from the part's first")
        ->required();
    return [options] { return split(*options); };
}

}  // namespace vqlog
