#include "vqlog/filestats.h"

#include <algorithm>

#include "vqlog/kinds.h"

namespace vqlog {

void FrameNumbers::add(unsigned int number, std::uint64_t offset) {
    if (!numbers.empty()) {
        const unsigned int previous = numbers.back();
        if (number == previous) {
            ++disorder;
            notes.push_back("duplicate frame " + std::to_string(number) + " at byte " +
                            std::to_string(offset));
        } else if (number < previous) {
            ++disorder;
            notes.push_back("frame " + std::to_string(number) + " after frame " +
                            std::to_string(previous) + " at byte " + std::to_string(offset));
        } else if (number > previous + 1) {
            ++gaps;
            missing += number - previous - 1;
            if (gap_list.size() < MAX_LISTED) {
                gap_list.push_back(frameRange(previous + 1, number - 1));
            }
        }
    }
    numbers.push_back(number);
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

FileStats scanFile(const std::string& path, const FrameVisitor& on_frame) {
    FileStats stats;
    stats.path = path;
    stats.name = path.substr(path.find_last_of('/') + 1);
    RecordScanner scanner(path);
    stats.bytes = scanner.fileSize();
    RecordScanner::Item item;
    while (scanner.next(item)) {
        if (item.type == RecordScanner::Item::DAMAGE) {
            stats.damaged_bytes += item.end - item.begin;
            stats.damage.push_back(item);
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

FrameNumbers mergedNumbers(const std::vector<FileStats>& stats) {
    std::vector<unsigned int> numbers;
    for (const FileStats& file : stats) {
        numbers.insert(numbers.end(), file.frames.numbers.begin(), file.frames.numbers.end());
    }
    std::sort(numbers.begin(), numbers.end());
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    FrameNumbers merged;
    for (unsigned int number : numbers) {
        merged.add(number, 0);
    }
    return merged;
}

std::vector<std::string> recordingFiles(const std::string& path) {
    if (!isDirectory(path)) {
        return {path};
    }
    std::vector<std::string> files = logFiles(path);
    if (files.empty()) {
        throw ToolError("no log files (*.vql) in " + path);
    }
    return files;
}

std::string frameRange(unsigned int first, unsigned int last) {
    return first == last ? std::to_string(first)
                         : std::to_string(first) + ".." + std::to_string(last);
}

}  // namespace vqlog
