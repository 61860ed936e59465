// vqlog merge: several recordings of one session (files, per-kind directories) into one, merged
// by frame number.
#include <filesystem>
#include <iostream>

#include "vqlog/commands.h"
#include "vqlog/kinds.h"
#include "vqlog/terminal.h"

namespace vqlog {

namespace {

struct MergeOptions {
    std::vector<std::string> paths;  // the inputs, then the output
    bool single_file = false;
    bool per_kind = false;
    std::string overlap = "refuse";
};

struct Input {
    std::string path;
    std::unique_ptr<FrameSource> source;
    FramePtr head;  // its next frame, null at its end
};

// Merges the inputs' frames into the writer; returns the records left out as overlapping.
std::uint64_t mergeInto(RecordingWriter& writer, std::vector<Input>& inputs, bool keep_first) {
    std::uint64_t left_out = 0;  // records of a kind an earlier input gave for the frame
    bool any = false;
    unsigned int last = 0;
    ProgressBar progress("merge", ProgressBar::UNKNOWN);
    for (;;) {
        Input* lowest = nullptr;
        for (Input& input : inputs) {
            if (input.head && (!lowest || input.head->frameNum() < lowest->head->frameNum())) {
                lowest = &input;
            }
        }
        if (!lowest) {
            break;
        }
        const unsigned int number = lowest->head->frameNum();
        if (any && number <= last) {
            throw ToolError(lowest->path + " holds frame " + std::to_string(number) +
                            " after frame " + std::to_string(last) +
                            ": its frames are not in ascending order (vqlog check shows where)");
        }
        // The frame of the first input that has this number takes the records of the others.
        FramePtr frame;
        std::string taker;
        for (Input& input : inputs) {
            if (!input.head || input.head->frameNum() != number) {
                continue;
            }
            if (!frame) {
                frame = input.head;
                taker = input.path;
            } else {
                for (const auto& record : input.head->subObjects()) {
                    if (frame->numSubObjects(record->objectID()) == 0) {
                        frame->addSubObject(record);
                    } else if (keep_first) {
                        ++left_out;
                    } else {
                        throw ToolError(taker + " and " + input.path + " both hold " +
                                        kindName(record->objectID()) + " for frame " +
                                        std::to_string(number) +
                                        " (--overlap first keeps the first recording's)");
                    }
                }
            }
            input.head = input.source->next();
        }
        writer.write(*frame);
        progress.update(writer.framesWritten());
        any = true;
        last = number;
    }
    return left_out;
}

int merge(const MergeOptions& options) {
    if (options.paths.size() < 3) {
        throw UsageError("give at least two recordings and the output");
    }
    const std::string output = options.paths.back();
    std::vector<Input> inputs;
    for (std::size_t i = 0; i + 1 < options.paths.size(); ++i) {
        Input input{options.paths[i], std::make_unique<FrameSource>(options.paths[i]), nullptr};
        input.head = input.source->next();
        inputs.push_back(std::move(input));
    }
    // One file where the name says so (or on standard output), else a per-kind directory.
    const bool named_file = output.size() > 4 && output.compare(output.size() - 4, 4, ".vql") == 0;
    const bool per_kind =
        options.per_kind || (!options.single_file && !named_file && !isStandardOutput(output));
    requireRecordingName(output, per_kind);
    std::error_code error;
    const bool existed = std::filesystem::exists(output, error);
    prepareOutput(output, per_kind);
    RecordingWriter writer(output, per_kind);
    std::uint64_t left_out = 0;  // records of a kind an earlier input gave for the frame
    try {
        left_out = mergeInto(writer, inputs, options.overlap == "first");
    } catch (...) {
        // A refused merge leaves nothing behind: no recording in part.
        try {
            writer.close();
        } catch (...) {
        }
        if (!isStandardOutput(output)) {
            for (const std::string& path : writer.paths()) {
                std::filesystem::remove(path, error);
            }
            if (per_kind && !existed) {
                std::filesystem::remove(output, error);
            }
        }
        throw;
    }
    writer.close();

    std::ostream& report = isStandardOutput(output) ? std::cerr : std::cout;
    report << "vqlog merge: " << writer.framesWritten()
           << (writer.framesWritten() == 1 ? " frame" : " frames") << " from " << inputs.size()
           << " recordings into " << output << (per_kind ? " (per kind)" : " (single file)");
    if (left_out > 0) {
        report << "; " << left_out << (left_out == 1 ? " record" : " records")
               << " of a kind an earlier recording held for the frame left out";
    }
    report << '\n';
    if (writer.facesDropped() > 0) {
        std::cerr << "vqlog merge: " << writer.facesDropped()
                  << " frames held more than one face; per-kind logs keep the first face only "
                     "(merge into a single file to keep them)\n";
        return 1;
    }
    return 0;
}

}  // namespace

Command addMerge(CLI::App& app) {
    auto options = std::make_shared<MergeOptions>();
    CLI::App* command = app.add_subcommand(
        "merge",
        "Merge recordings of one session (log files, per-kind directories) into one new "
        "recording by frame number: a frame takes the records of every input that has its "
        "number. Two inputs holding one kind for the same frame are refused unless --overlap "
        "first");
    command
        ->add_option("paths", options->paths,
                     "The recordings, then the output: a new log file (*.vql, - for standard "
                     "output) or directory")
        ->required();
    auto* single = command->add_flag("--single-file", options->single_file,
                                     "Write one file, whatever the output's name");
    command->add_flag("--per-kind", options->per_kind, "Write a directory, whatever the name")
        ->excludes(single);
    command
        ->add_option("--overlap", options->overlap,
                     "refuse (the default) or first: keep the record of the first recording "
                     "given that holds the kind")
        ->check(CLI::IsMember({"refuse", "first"}));
    return [options] { return merge(*options); };
}

}  // namespace vqlog
