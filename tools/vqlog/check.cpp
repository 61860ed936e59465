// vqlog check and vqlog recover: find the damage in a recording, and keep what is intact.
#include <algorithm>
#include <fstream>
#include <iostream>

#include "vqlog/commands.h"
#include "vqlog/compressed.h"
#include "vqlog/filestats.h"
#include "vqlog/kinds.h"

namespace vqlog {

namespace {

std::string plural(std::uint64_t count, const char* one, const char* many) {
    return std::to_string(count) + ' ' + (count == 1 ? one : many);
}

std::string gapText(const FrameNumbers& frames) {
    std::string text = plural(frames.gaps, "gap", "gaps") + " (";
    for (std::size_t i = 0; i < frames.gap_list.size(); ++i) {
        text += (i > 0 ? ", " : "frames ") + frames.gap_list[i];
    }
    if (frames.gaps > frames.gap_list.size()) {
        text += ", ...";
    }
    return text + " missing)";
}

std::string framesText(const FrameNumbers& frames) {
    const auto& n = frames.numbers;
    std::string text = plural(n.size(), "frame", "frames");
    if (!n.empty()) {
        text += " (" +
                frameRange(*std::min_element(n.begin(), n.end()),
                           *std::max_element(n.begin(), n.end())) +
                ")";
    }
    return text;
}

int check(const std::string& path) {
    if (isCompressedFile(path)) {
        return checkCompressed(path);
    }
    std::vector<FileStats> stats;
    std::uint64_t damaged = 0;
    std::uint64_t ranges = 0;
    std::uint64_t disorder = 0;
    std::uint64_t damaged_files = 0;
    for (const std::string& file : recordingFiles(path)) {
        stats.push_back(scanFile(file));
        const FileStats& s = stats.back();
        const bool intact = s.damage.empty() && s.frames.disorder == 0;
        std::cout << s.name << ": " << framesText(s.frames) << ", " << s.bytes << " bytes"
                  << (intact ? ": intact" : "") << '\n';
        for (const RecordScanner::Item& item : s.damage) {
            std::cout << "  damaged bytes " << item.begin << ".." << item.end - 1 << " ("
                      << plural(item.end - item.begin, "byte", "bytes") << "): " << item.what
                      << '\n';
        }
        for (const std::string& note : s.frames.notes) {
            std::cout << "  " << note << '\n';
        }
        if (s.frames.gaps > 0) {
            std::cout << "  " << gapText(s.frames) << '\n';
        }
        damaged += s.damaged_bytes;
        ranges += s.damage.size();
        disorder += s.frames.disorder;
        damaged_files += intact ? 0 : 1;
    }
    const FrameNumbers merged = mergedNumbers(stats);
    std::cout << "recording: " << framesText(merged) << ", "
              << (merged.gaps == 0 ? "no gaps" : gapText(merged)) << '\n';
    if (damaged_files == 0) {
        std::cout << "check: intact\n";
        return 0;
    }
    std::cout << "check: " << plural(damaged_files, "file", "files") << " damaged:";
    if (ranges > 0) {
        std::cout << ' ' << plural(damaged, "byte", "bytes") << " in "
                  << plural(ranges, "range", "ranges") << (disorder > 0 ? "," : "");
    }
    if (disorder > 0) {
        std::cout << ' ' << plural(disorder, "frame", "frames") << " repeated or out of order";
    }
    std::cout << " (vqlog recover keeps the rest)\n";
    return 1;
}

struct RecoverOptions {
    std::string input;
    std::string output;
};

struct Tally {
    std::uint64_t kept_frames = 0;
    std::uint64_t kept_bytes = 0;
    std::uint64_t dropped_frames = 0;  // intact, but repeated or out of order
    std::uint64_t dropped_bytes = 0;   // damaged bytes and dropped frames
};

int recover(const RecoverOptions& options) {
    if (isCompressedFile(options.input)) {
        return recoverCompressed(options.input, options.output);
    }
    const std::vector<std::string> files = recordingFiles(options.input);
    const bool per_kind = isDirectory(options.input);
    prepareOutput(options.output, per_kind);
    Tally total;
    std::vector<std::string> outputs;
    for (const std::string& file : files) {
        const std::string name = file.substr(file.find_last_of('/') + 1);
        const std::string target = per_kind ? options.output + "/" + name : options.output;
        std::ofstream out(target, std::ios::binary);
        if (!out) {
            throw ToolError("cannot create " + target);
        }
        Tally tally;
        bool any = false;
        unsigned int last = 0;
        const FileStats stats =
            scanFile(file, [&](RecordScanner& scanner, const RecordScanner::Item& item) {
                const std::uint64_t size = item.end - item.begin;
                // Frames must ascend for the reader's merge: repeats and stragglers go.
                if (any && item.frame->frameNum() <= last) {
                    ++tally.dropped_frames;
                    tally.dropped_bytes += size;
                    return;
                }
                const vq::eod::ByteBuffer bytes = scanner.bytes(item.begin, item.end);
                out.write(reinterpret_cast<const char*>(bytes.data()),
                          static_cast<std::streamsize>(bytes.size()));
                any = true;
                last = item.frame->frameNum();
                ++tally.kept_frames;
                tally.kept_bytes += size;
            });
        tally.dropped_bytes += stats.damaged_bytes;
        out.close();
        if (!out) {
            throw ToolError("cannot write " + target);
        }
        outputs.push_back(target);
        std::cout << name << ": kept " << plural(tally.kept_frames, "frame", "frames") << " ("
                  << plural(tally.kept_bytes, "byte", "bytes") << "), dropped "
                  << plural(tally.dropped_bytes, "byte", "bytes");
        if (!stats.damage.empty()) {
            std::cout << " in " << plural(stats.damage.size(), "damaged range", "damaged ranges");
        }
        if (tally.dropped_frames > 0) {
            std::cout << (stats.damage.empty() ? " in " : " and ")
                      << plural(tally.dropped_frames, "frame", "frames")
                      << " repeated or out of order";
        }
        std::cout << '\n';
        total.kept_frames += tally.kept_frames;
        total.kept_bytes += tally.kept_bytes;
        total.dropped_frames += tally.dropped_frames;
        total.dropped_bytes += tally.dropped_bytes;
    }

    // Proof: the new recording scans clean and the library reads every frame of it back.
    std::vector<FileStats> again;
    for (const std::string& target : outputs) {
        again.push_back(scanFile(target));
        if (!again.back().damage.empty() || again.back().frames.disorder > 0) {
            throw ToolError("the recovered file " + target + " is not whole");
        }
    }
    const std::uint64_t expected = mergedNumbers(again).numbers.size();
    std::uint64_t read = 0;
    if (total.kept_frames > 0) {
        FrameSource source(options.output);
        while (source.next()) {
            ++read;
        }
    }
    if (read != expected) {
        throw ToolError("the recovered recording reads back " + std::to_string(read) +
                        " frames instead of " + std::to_string(expected));
    }
    std::cout << "recover: kept " << plural(total.kept_frames, "frame", "frames") << " ("
              << plural(total.kept_bytes, "byte", "bytes") << "), dropped "
              << plural(total.dropped_bytes, "byte", "bytes") << "; " << options.output
              << " reads back whole (" << plural(read, "frame", "frames") << ")\n";
    return 0;
}

}  // namespace

Command addCheck(CLI::App& app) {
    auto path = std::make_shared<std::string>();
    CLI::App* command = app.add_subcommand(
        "check",
        "Read every record of a recording and report, per file, damaged byte ranges "
        "(truncation, a size header that overruns the file, a record that does not decode), "
        "gaps, and repeated or out-of-order frame numbers. Exit 1 when anything is damaged");
    command->add_option("path", *path, "A recording directory or a log file")->required();
    return [path] { return check(*path); };
}

Command addRecover(CLI::App& app) {
    auto options = std::make_shared<RecoverOptions>();
    CLI::App* command = app.add_subcommand(
        "recover",
        "Write every intact frame of a damaged recording, byte for byte, into a new one "
        "(picking up again after damage where a frame can be found), drop repeated and "
        "out-of-order frames, then read the new recording back to prove it whole");
    command->add_option("input", options->input, "A recording directory or a log file")->required();
    command
        ->add_option("output", options->output,
                     "The new recording: a directory for a directory, a file for a file")
        ->required();
    return [options] { return recover(*options); };
}

}  // namespace vqlog
