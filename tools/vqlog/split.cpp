// vqlog split: a recording cut into parts of so many frames or seconds.
#include <iostream>

#include "vqlog/commands.h"
#include "vqlog/kinds.h"
#include "vqlog/terminal.h"

namespace vqlog {

namespace {

struct SplitOptions {
    std::string input;
    std::string output;
    std::string every;
};

int split(const SplitOptions& options) {
    const Every every = parseEvery(options.every, "--every");
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
    ProgressBar progress("split", ProgressBar::UNKNOWN);
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
        progress.update(++frames);
    }
    close();
    progress.finish();
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
