#include "vqlog/filestats.h"

#include <algorithm>
#include <filesystem>

#include "vqlog/kinds.h"

namespace vqlog {

void FrameNumbers::add(unsigned int number, std::uint64_t offset) {
    if (frames > 0) {
        const unsigned int previous = runs.back().last;
        std::string note;
        if (number == previous) {
            note =
                "duplicate frame " + std::to_string(number) + " at byte " + std::to_string(offset);
        } else if (number < previous) {
            note = "frame " + std::to_string(number) + " after frame " + std::to_string(previous) +
                   " at byte " + std::to_string(offset);
        } else if (number > previous + 1) {
            ++gaps;
            missing += number - previous - 1;
            if (gap_list.size() < MAX_LISTED) {
                gap_list.push_back(frameRange(previous + 1, number - 1));
            }
        }
        if (!note.empty()) {
            ++disorder;
            if (notes.size() < MAX_LISTED) {
                notes.push_back(note);
            }
        }
    }
    if (frames > 0 && number == runs.back().last) {
        // a repeat adds no number
    } else if (frames > 0 && std::uint64_t{number} == std::uint64_t{runs.back().last} + 1) {
        runs.back().last = number;
    } else {
        runs.push_back({number, number});
    }
    lowest = frames == 0 ? number : std::min(lowest, number);
    highest = frames == 0 ? number : std::max(highest, number);
    ++frames;
}

void KindStats::add(unsigned int number) {
    if (frames == 0 || number < first) {
        first = number;
    }
    if (frames == 0 || number > last) {
        last = number;
    }
    ++frames;
}

void KindStats::merge(const KindStats& other) {
    if (other.frames == 0) {
        return;
    }
    first = frames == 0 ? other.first : std::min(first, other.first);
    last = frames == 0 ? other.last : std::max(last, other.last);
    frames += other.frames;
}

FileStats scanFile(const std::string& path, const FrameVisitor& on_frame, ProgressBar* progress,
                   std::uint64_t done_before) {
    FileStats stats;
    stats.path = path;
    stats.name =
        displayName(path) == path ? path.substr(path.find_last_of('/') + 1) : displayName(path);
    RecordScanner scanner(path);
    stats.bytes = scanner.fileSize();
    RecordScanner::Item item;
    while (scanner.next(item)) {
        if (progress != nullptr) {
            progress->update(done_before + std::min(scanner.bytesRead(), stats.bytes));
        }
        if (item.type == RecordScanner::Item::DAMAGE) {
            stats.damaged_bytes += item.end - item.begin;
            ++stats.damaged_ranges;
            if (stats.damage.size() < FileStats::MAX_DAMAGE_LISTED) {
                stats.damage.push_back(item);
            }
            continue;
        }
        const unsigned int number = item.frame->frameNum();
        stats.frames.add(number, item.begin);
        stats.unknown_frames += item.unknown_inside ? 1 : 0;
        for (char id : recordKinds(*item.frame)) {
            stats.kinds[id].add(number);
        }
        if (auto timing = item.frame->timingOutputData()) {
            const double time = timing->experimentTime();
            stats.first_time = stats.has_timing ? std::min(stats.first_time, time) : time;
            stats.last_time = stats.has_timing ? std::max(stats.last_time, time) : time;
            stats.has_timing = true;
            ++stats.timed_frames;
        }
        if (on_frame) {
            on_frame(scanner, item);
        }
    }
    return stats;
}

std::uint64_t totalBytes(const std::vector<std::string>& files) {
    std::uint64_t total = 0;
    for (const std::string& file : files) {
        std::error_code error;
        const std::uintmax_t size = std::filesystem::file_size(file, error);
        total += error ? 0 : size;
    }
    return total;
}

FrameNumbers mergedNumbers(const std::vector<FileStats>& stats) {
    std::vector<FrameNumbers::Run> runs;
    for (const FileStats& file : stats) {
        runs.insert(runs.end(), file.frames.runs.begin(), file.frames.runs.end());
    }
    std::sort(runs.begin(), runs.end(),
              [](const auto& a, const auto& b) { return a.first < b.first; });
    FrameNumbers merged;
    std::uint64_t next = 0;  // one past the highest number taken so far
    for (const FrameNumbers::Run& run : runs) {
        if (run.last < next) {
            continue;
        }
        // Each number once, in ascending order: the part of the run not taken yet.
        const unsigned int first =
            merged.frames > 0 ? static_cast<unsigned int>(std::max<std::uint64_t>(run.first, next))
                              : run.first;
        if (merged.frames > 0 && first > next) {
            ++merged.gaps;
            merged.missing += first - next;
            if (merged.gap_list.size() < FrameNumbers::MAX_LISTED) {
                merged.gap_list.push_back(frameRange(static_cast<unsigned int>(next), first - 1));
            }
        }
        if (merged.frames == 0) {
            merged.lowest = first;
        }
        merged.runs.push_back({first, run.last});
        merged.frames += std::uint64_t{run.last} - first + 1;
        merged.highest = run.last;
        next = std::uint64_t{run.last} + 1;
    }
    return merged;
}

ReaderFailures readThrough(const std::string& path,
                           const std::function<void(const vq::eod::EngineOutputData&)>& on_frame,
                           const std::string& what) {
    ReaderFailures failures;
    ProgressBar progress(what, ProgressBar::UNKNOWN);
    std::uint64_t frames = 0;
    vq::eod::io::EngineOutputDataFileReader reader;
    if (isDirectory(path)) {
        reader.openFiles(path);
    } else {
        reader.openFile(path);
    }
    bool any = false;
    unsigned int last = 0;
    try {
        while (const FramePtr frame = reader.readData()) {
            if (frame->numSubObjects() > 0) {
                any = true;
                last = frame->frameNum();
                progress.update(++frames);
                if (on_frame) {
                    on_frame(*frame);
                }
            }
        }
    } catch (const vq::eod::EODError& error) {
        // print, export and convert stop here.
        failures.failed = true;
        failures.first =
            (any ? "after frame " + std::to_string(last) : std::string("before the first frame")) +
            ": " + error.what();
    }
    return failures;
}

std::vector<std::string> recordingFiles(const std::string& path, bool one_recording) {
    if (!isDirectory(path)) {
        return {path};
    }
    std::vector<std::string> files = logFiles(path);
    if (files.empty()) {
        throw ToolError("no log files (*.vql) in " + path);
    }
    if (one_recording) {
        requireOneRecording(path, files);
    }
    return files;
}

std::string frameRange(unsigned int first, unsigned int last) {
    return first == last ? std::to_string(first)
                         : std::to_string(first) + ".." + std::to_string(last);
}

}  // namespace vqlog
