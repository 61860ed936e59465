// vqlog info: what a recording holds, per file and per kind.
#include <algorithm>
#include <iostream>

#include "vqlog/commands.h"
#include "vqlog/filestats.h"
#include "vqlog/kinds.h"
#include "vqlog/table.h"

namespace vqlog {

namespace {

int info(const std::string& path) {
    const std::vector<std::string> files = recordingFiles(path);
    std::vector<FileStats> stats;
    std::uint64_t bytes = 0;
    for (const std::string& file : files) {
        stats.push_back(scanFile(file));
        bytes += stats.back().bytes;
    }
    std::cout << displayName(path) << ": "
              << (isDirectory(path) ? "per-kind recording, " + std::to_string(files.size()) +
                                          (files.size() == 1 ? " log file, " : " log files, ")
                                    : std::string("single file, "))
              << bytes << " bytes\n\n";

    Table per_file({"file", "bytes", "frames", "first", "last", "gaps", "missing", "unknown"});
    std::map<char, KindStats, vq::eod::object_id::Less> kinds;
    std::uint64_t damaged = 0;
    std::uint64_t damaged_ranges = 0;
    bool timed = false;
    double first_time = 0;
    double last_time = 0;
    std::uint64_t timed_frames = 0;
    for (const FileStats& file : stats) {
        const FrameNumbers& n = file.frames;
        const bool any = n.frames > 0;
        per_file.add({file.name, std::to_string(file.bytes), std::to_string(n.frames),
                      any ? std::to_string(n.lowest) : "-", any ? std::to_string(n.highest) : "-",
                      std::to_string(file.frames.gaps), std::to_string(file.frames.missing),
                      std::to_string(file.unknown_frames)});
        for (const auto& [id, kind] : file.kinds) {
            kinds[id].merge(kind);
        }
        damaged += file.damaged_bytes;
        damaged_ranges += file.damaged_ranges;
        if (file.has_timing) {
            first_time = timed ? std::min(first_time, file.first_time) : file.first_time;
            last_time = timed ? std::max(last_time, file.last_time) : file.last_time;
            timed = true;
            timed_frames = std::max(timed_frames, file.timed_frames);
        }
    }
    per_file.write(std::cout);
    std::cout << '\n';

    Table per_kind({"kind", "frames", "first", "last"});
    for (const auto& [id, kind] : kinds) {
        per_kind.add({kindName(id), std::to_string(kind.frames), std::to_string(kind.first),
                      std::to_string(kind.last)});
    }
    per_kind.write(std::cout);
    std::cout << '\n';

    // The recording as the reader merges it: every frame number that some file holds.
    const FrameNumbers merged = mergedNumbers(stats);
    std::cout << "frames: " << merged.frames;
    if (merged.frames > 0) {
        std::cout << ", numbers " << merged.lowest << " to " << merged.highest << ", "
                  << merged.gaps << (merged.gaps == 1 ? " gap" : " gaps") << " (" << merged.missing
                  << " missing)";
    }
    std::cout << '\n';
    if (timed) {
        const double duration = last_time - first_time;
        std::cout << "duration: " << fixed(duration, 3) << " s by the timing records";
        if (duration > 0 && timed_frames > 1) {
            std::cout << " (" << fixed(static_cast<double>(timed_frames - 1) / duration, 1)
                      << " frames/s)";
        }
        std::cout << '\n';
    } else {
        std::cout << "duration: unknown (no timing records)\n";
    }
    std::uint64_t unknown = 0;
    for (const FileStats& file : stats) {
        unknown += file.unknown_frames;
    }
    std::cout << "records of unknown kinds: "
              << (unknown == 0 ? std::string("none")
                               : "in " + std::to_string(unknown) +
                                     (unknown == 1 ? " frame" : " frames") + " (skipped when read)")
              << '\n';
    if (damaged == 0) {
        // Merging can fail where every file scans clean: read it as print does.
        const ReaderFailures reader = readThrough(path);
        if (reader.failed) {
            std::cout << "damaged: the library's reader stops " << reader.first << '\n';
            return 1;
        }
    }
    if (damaged > 0) {
        std::cout << "damaged: " << damaged << " bytes in " << damaged_ranges
                  << (damaged_ranges == 1 ? " range" : " ranges") << " (vqlog check " << path
                  << " shows where)\n";
        return 1;
    }
    return 0;
}

}  // namespace

Command addInfo(CLI::App& app) {
    auto path = std::make_shared<std::string>();
    CLI::App* command = app.add_subcommand(
        "info",
        "Per file and per kind: frames, first and last frame number, gaps, bytes; the duration "
        "from the timing records; records of unknown kinds. Exit 1 when a file is damaged");
    command->add_option("path", *path, "A recording directory or a log file")->required();
    return [path] { return info(*path); };
}

}  // namespace vqlog
