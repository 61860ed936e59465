// vqlog check and vqlog recover: find the damage in a recording, and keep what is intact.
#include <algorithm>
#include <fstream>
#include <iostream>

#include "vqlog/commands.h"
#include "vqlog/compressed.h"
#include "vqlog/filestats.h"
#include "vqlog/kinds.h"
#include "vqlog/terminal.h"

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
    std::string text = plural(frames.frames, "frame", "frames");
    if (frames.frames > 0) {
        text += " (" + frameRange(frames.lowest, frames.highest) + ")";
    }
    return text;
}

// What check says of one file: its frames and bytes, its damage, disorder and gaps.
void writeFileReport(const FileStats& s, bool intact) {
    std::cout << s.name << ": " << framesText(s.frames) << ", " << s.bytes << " bytes"
              << (intact ? ": intact" : "") << '\n';
    for (const RecordScanner::Item& item : s.damage) {
        std::cout << "  damaged bytes " << item.begin << ".." << item.end - 1 << " ("
                  << plural(item.end - item.begin, "byte", "bytes") << "): " << item.what << '\n';
    }
    if (s.damaged_ranges > s.damage.size()) {
        std::cout << "  "
                  << plural(s.damaged_ranges - s.damage.size(), "more damaged range",
                            "more damaged ranges")
                  << '\n';
    }
    for (const std::string& note : s.frames.notes) {
        std::cout << "  " << note << '\n';
    }
    if (s.frames.disorder > s.frames.notes.size()) {
        std::cout << "  "
                  << plural(s.frames.disorder - s.frames.notes.size(), "more frame", "more frames")
                  << " repeated or out of order\n";
    }
    if (s.frames.gaps > 0) {
        std::cout << "  " << gapText(s.frames) << '\n';
    }
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
    const std::vector<std::string> files = recordingFiles(path);
    ProgressBar progress("check", totalBytes(files), 1 << 20, "bytes");
    std::uint64_t done = 0;
    for (const std::string& file : files) {
        stats.push_back(scanFile(file, {}, &progress, done));
        const FileStats& s = stats.back();
        done += s.bytes;
        const bool intact = s.damaged_ranges == 0 && s.frames.disorder == 0;
        progress.finish();
        writeFileReport(s, intact);
        damaged += s.damaged_bytes;
        ranges += s.damaged_ranges;
        disorder += s.frames.disorder;
        damaged_files += intact ? 0 : 1;
    }
    const FrameNumbers merged = mergedNumbers(stats);
    std::cout << "recording: " << framesText(merged) << ", "
              << (merged.gaps == 0 ? "no gaps" : gapText(merged)) << '\n';
    if (damaged_files == 0) {
        // Merging can fail where every file scans clean: read it as print does.
        const ReaderFailures reader = readThrough(path, {}, "check");
        if (reader.failed) {
            std::cout << "check: damaged: the library's reader stops " << reader.first << '\n';
            return 1;
        }
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

// Which of the frames to keep, given their numbers in file order: a longest strictly ascending
// sequence, the earliest frame taken among equals. O(n log n) time, three words per frame.
std::vector<bool> ascendingFrames(const std::vector<unsigned int>& numbers) {
    constexpr std::size_t NONE = static_cast<std::size_t>(-1);
    // Built from the back: starts[k] is the frame that starts an ascending sequence of k + 1
    // frames with the highest first number; these numbers fall as k grows.
    std::vector<std::size_t> starts;
    std::vector<std::size_t> next(numbers.size(), NONE);
    for (std::size_t i = numbers.size(); i-- > 0;) {
        const auto at = std::partition_point(
            starts.begin(), starts.end(), [&](std::size_t s) { return numbers[s] > numbers[i]; });
        next[i] = at == starts.begin() ? NONE : *(at - 1);
        if (at == starts.end()) {
            starts.push_back(i);
        } else {
            *at = i;
        }
    }
    std::vector<bool> keep(numbers.size(), false);
    for (std::size_t i = starts.empty() ? NONE : starts.back(); i != NONE; i = next[i]) {
        keep[i] = true;
    }
    return keep;
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

// A kind that an earlier file gives for the same frames (a copy of a file beside it) cannot be
// merged: "<Kind> of frames 3..9 is in <file> too", or "" when none.
std::string clashOf(const FileStats& file, const std::vector<FileStats>& taken) {
    for (const auto& [id, kind] : file.kinds) {
        for (const FileStats& earlier : taken) {
            const auto other = earlier.kinds.find(id);
            if (other != earlier.kinds.end() && kind.first <= other->second.last &&
                other->second.first <= kind.last) {
                return kindName(id) + " of frames " +
                       frameRange(std::max(kind.first, other->second.first),
                                  std::min(kind.last, other->second.last)) +
                       " is in " + earlier.name + " too";
            }
        }
    }
    return "";
}

// Copies the frames of `file` that `keep` marks (in file order), byte for byte, into `target`.
Tally copyFrames(const std::string& file, const std::string& target, const std::vector<bool>& keep,
                 FileStats& stats, ProgressBar& progress, std::uint64_t done) {
    std::ofstream out(target, std::ios::binary);
    if (!out) {
        throw ToolError("cannot create " + target);
    }
    Tally tally;
    std::size_t index = 0;
    stats = scanFile(
        file,
        [&](RecordScanner& scanner, const RecordScanner::Item& item) {
            const std::uint64_t size = item.end - item.begin;
            if (index >= keep.size() || !keep[index++]) {
                ++tally.dropped_frames;
                tally.dropped_bytes += size;
                return;
            }
            const vq::eod::ByteBuffer bytes = scanner.bytes(item.begin, item.end);
            out.write(reinterpret_cast<const char*>(bytes.data()),
                      static_cast<std::streamsize>(bytes.size()));
            ++tally.kept_frames;
            tally.kept_bytes += size;
        },
        &progress, done);
    tally.dropped_bytes += stats.damaged_bytes;
    out.close();
    if (!out) {
        throw ToolError("cannot write " + target);
    }
    return tally;
}

void writeTally(const std::string& name, const Tally& tally, const FileStats& stats) {
    std::cout << name << ": kept " << plural(tally.kept_frames, "frame", "frames") << " ("
              << plural(tally.kept_bytes, "byte", "bytes") << "), dropped "
              << plural(tally.dropped_bytes, "byte", "bytes");
    if (stats.damaged_ranges > 0) {
        std::cout << " in " << plural(stats.damaged_ranges, "damaged range", "damaged ranges");
    }
    if (tally.dropped_frames > 0) {
        std::cout << (stats.damaged_ranges == 0 ? " in " : " and ")
                  << plural(tally.dropped_frames, "frame", "frames") << " repeated or out of order";
    }
    std::cout << '\n';
}

// Proof: the new recording scans clean and the library reads every frame of it back. Returns
// the frames read.
std::uint64_t readBack(const std::string& output, const std::vector<std::string>& outputs,
                       bool any) {
    std::vector<FileStats> again;
    for (const std::string& target : outputs) {
        again.push_back(scanFile(target));
        if (again.back().damaged_ranges > 0 || again.back().frames.disorder > 0) {
            throw ToolError("the recovered file " + target + " is not whole");
        }
    }
    const std::uint64_t expected = mergedNumbers(again).frames;
    std::uint64_t read = 0;
    if (any) {
        FrameSource source(output);
        ProgressBar progress("recover: reading back", ProgressBar::UNKNOWN);
        while (source.next()) {
            progress.update(++read);
        }
    }
    if (read != expected) {
        throw ToolError("the recovered recording reads back " + std::to_string(read) +
                        " frames instead of " + std::to_string(expected));
    }
    return read;
}

int recover(const RecoverOptions& options) {
    if (isCompressedFile(options.input)) {
        return recoverCompressed(options.input, options.output);
    }
    // Files that share a kind are what recover repairs: it keeps the first file of each kind.
    const std::vector<std::string> files = recordingFiles(options.input, false);
    const bool per_kind = isDirectory(options.input);
    if (isStandardOutput(options.output)) {
        throw UsageError("recover reads what it wrote back to prove it whole: name a new file");
    }
    requireRecordingName(options.output, per_kind);
    prepareOutput(options.output, per_kind);
    Tally total;
    std::vector<std::string> outputs;
    std::vector<FileStats> taken;  // the files written so far
    // Each file is scanned twice.
    ProgressBar progress("recover", 2 * totalBytes(files), 1 << 20, "bytes");
    std::uint64_t done = 0;
    for (const std::string& file : files) {
        const std::string name = file.substr(file.find_last_of('/') + 1);
        // The frames kept: the longest ascending sequence of frame numbers the file holds, so
        // that a frame whose number is out of line (a repeat, a straggler, a damaged number) is
        // one frame dropped and never the end of the recording.
        std::vector<unsigned int> numbers;
        const FileStats first_pass = scanFile(
            file,
            [&numbers](RecordScanner&, const RecordScanner::Item& item) {
                numbers.push_back(item.frame->frameNum());
            },
            &progress, done);
        done += first_pass.bytes;
        const std::string clash = clashOf(first_pass, taken);
        if (!clash.empty()) {
            progress.finish();
            std::cout << name << ": skipped, " << clash << '\n';
            total.dropped_bytes += first_pass.bytes;
            done += first_pass.bytes;
            continue;
        }
        taken.push_back(first_pass);
        const std::string target = per_kind ? options.output + "/" + name : options.output;
        FileStats stats;
        const Tally tally =
            copyFrames(file, target, ascendingFrames(numbers), stats, progress, done);
        done += stats.bytes;
        outputs.push_back(target);
        progress.finish();
        writeTally(name, tally, stats);
        total.kept_frames += tally.kept_frames;
        total.kept_bytes += tally.kept_bytes;
        total.dropped_frames += tally.dropped_frames;
        total.dropped_bytes += tally.dropped_bytes;
    }
    const std::uint64_t read = readBack(options.output, outputs, total.kept_frames > 0);
    // Frames, not the sum over files: a per-kind file holds one kind of each frame.
    std::cout << "recover: kept " << plural(read, "frame", "frames") << " ("
              << plural(total.kept_bytes, "byte", "bytes") << "), dropped "
              << plural(total.dropped_bytes, "byte", "bytes") << "; " << options.output
              << " reads back whole\n";
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
