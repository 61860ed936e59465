// vqlog info: what a recording holds, per file and per kind, and its timing: each kind's rate
// and gaps in time, the start in UTC, the delay's percentiles.
#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>
#include <iostream>
#include <map>
#include <memory>

#include "vqlog/commands.h"
#include "vqlog/compressed.h"
#include "vqlog/distribution.h"
#include "vqlog/filestats.h"
#include "vqlog/kinds.h"
#include "vqlog/table.h"
#include "vqlog/terminal.h"

namespace vqlog {

namespace {

// Durations in seconds.
using Durations = Distribution;

// An interval longer than this many times the median interval of a kind is a gap in time.
constexpr double GAP_FACTOR = 1.5;

// What the timing records tell of a recording read through: per kind the intervals between the
// frames that hold it, the recording's start in UTC and the delays.
struct Timeline {
    struct Kind {
        bool timed = false;
        double last_time = 0;
        std::unique_ptr<Durations> intervals = std::make_unique<Durations>();
    };
    std::map<char, Kind, vq::eod::object_id::Less> kinds;
    bool started = false;
    double start_time = 0;       // the earliest experiment time
    long long start_millis = 0;  // its frame time, milliseconds since 1970 UTC
    Durations delays;

    void add(const vq::eod::EngineOutputData& frame) {
        const auto timing = frame.timingOutputData();
        if (!timing) {
            return;
        }
        const double time = timing->experimentTime();
        if (!started || time < start_time) {
            started = true;
            start_time = time;
            start_millis =
                static_cast<long long>(timing->frameTimeSecs()) * 1000 + timing->frameTimeMSecs();
        }
        if (timing->approxDelay() >= 0) {
            delays.add(timing->approxDelay());
        }
        for (char id : recordKinds(frame)) {
            Kind& kind = kinds[id];
            if (kind.timed && time > kind.last_time) {
                kind.intervals->add(time - kind.last_time);
            }
            kind.timed = true;
            kind.last_time = time;
        }
    }

    // "360.0" and "1 (2.800 s)" for a kind, "-" where it has fewer than two timed frames.
    std::pair<std::string, std::string> rateAndGaps(char id) const {
        const auto found = kinds.find(id);
        if (found == kinds.end() || found->second.intervals->count() == 0) {
            return {"-", "-"};
        }
        const Durations& intervals = *found->second.intervals;
        const double median = intervals.quantile(0.5);
        const auto [gaps, gap_time] = intervals.above(GAP_FACTOR * median);
        return {fixed(1.0 / median, 1),
                gaps == 0 ? std::string("0")
                          : std::to_string(gaps) + " (" +
                                fixed(gap_time - static_cast<double>(gaps) * median, 3) + " s)"};
    }
};

// "2023-11-14 22:13:20.000 UTC".
std::string utc(long long millis) {
    const auto seconds = static_cast<std::time_t>(millis / 1000 - (millis % 1000 < 0 ? 1 : 0));
    std::tm parts{};
    char text[40] = "?";
    if (gmtime_r(&seconds, &parts) != nullptr) {
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
    }
    const long long rest = ((millis % 1000) + 1000) % 1000;
    std::string ms = std::to_string(rest);
    return std::string(text) + "." + std::string(3 - ms.size(), '0') + ms + " UTC";
}

// What the files of a recording hold together.
struct Totals {
    std::map<char, KindStats, vq::eod::object_id::Less> kinds;
    std::uint64_t damaged = 0;
    std::uint64_t damaged_ranges = 0;
    std::uint64_t unknown = 0;  // frames with records of unknown kinds
    bool timed = false;
    double first_time = 0;
    double last_time = 0;
    std::uint64_t timed_frames = 0;

    void add(const FileStats& file) {
        for (const auto& [id, kind] : file.kinds) {
            kinds[id].merge(kind);
        }
        damaged += file.damaged_bytes;
        damaged_ranges += file.damaged_ranges;
        unknown += file.unknown_frames;
        if (file.has_timing) {
            first_time = timed ? std::min(first_time, file.first_time) : file.first_time;
            last_time = timed ? std::max(last_time, file.last_time) : file.last_time;
            timed = true;
            timed_frames = std::max(timed_frames, file.timed_frames);
        }
    }
};

// The table of files. A per-kind file's steps in frame numbers are its kind's sampling (a 1 Hz
// GPS in a 360 Hz recording), not frames lost: the recording's gaps and each kind's gaps in
// time follow.
void writeFiles(const std::vector<FileStats>& stats, bool per_kind_files) {
    Table per_file(per_kind_files ? std::vector<std::string>{"file", "bytes", "frames", "first",
                                                             "last", "unknown"}
                                  : std::vector<std::string>{"file", "bytes", "frames", "first",
                                                             "last", "gaps", "missing", "unknown"});
    for (const FileStats& file : stats) {
        const FrameNumbers& n = file.frames;
        const bool any = n.frames > 0;
        std::vector<std::string> row{file.name, std::to_string(file.bytes),
                                     std::to_string(n.frames), any ? std::to_string(n.lowest) : "-",
                                     any ? std::to_string(n.highest) : "-"};
        if (!per_kind_files) {
            row.push_back(std::to_string(n.gaps));
            row.push_back(std::to_string(n.missing));
        }
        row.push_back(std::to_string(file.unknown_frames));
        per_file.add(row);
    }
    per_file.write(std::cout);
    std::cout << '\n';
}

// The table of kinds, with their rates and gaps in time when the timeline has them.
void writeKinds(const Totals& totals, const Timeline* timeline) {
    Table per_kind(
        timeline != nullptr
            ? std::vector<std::string>{"kind", "frames", "first", "last", "rate/s", "gaps in time"}
            : std::vector<std::string>{"kind", "frames", "first", "last"});
    for (const auto& [id, kind] : totals.kinds) {
        std::vector<std::string> row{kindName(id), std::to_string(kind.frames),
                                     std::to_string(kind.first), std::to_string(kind.last)};
        if (timeline != nullptr) {
            const auto [rate, gaps] = timeline->rateAndGaps(id);
            row.push_back(rate);
            row.push_back(gaps);
        }
        per_kind.add(row);
    }
    per_kind.write(std::cout);
    std::cout << '\n';
}

// Duration, start, rate and delay; `timeline` is null when the recording could not be read
// through.
void writeTiming(const Totals& totals, const Timeline* timeline) {
    if (!totals.timed) {
        std::cout << "duration: unknown (no timing records)\n";
        return;
    }
    const double duration = totals.last_time - totals.first_time;
    std::cout << "duration: " << fixed(duration, 3) << " s by the timing records";
    if (timeline != nullptr) {
        std::cout << ", from " << utc(timeline->start_millis);
    }
    std::cout << '\n';
    if (timeline == nullptr) {
        return;
    }
    const auto timing = timeline->kinds.find(vq::eod::object_id::TIMING_OUTPUT_DATA);
    if (timing != timeline->kinds.end() && timing->second.intervals->count() > 0) {
        // The rate between holes, then what the holes make of it.
        std::cout << "rate: " << timeline->rateAndGaps(timing->first).first
                  << " frames/s (the median interval)";
        if (duration > 0 && totals.timed_frames > 1) {
            std::cout << ", " << fixed(static_cast<double>(totals.timed_frames - 1) / duration, 1)
                      << " on average";
        }
        std::cout << '\n';
    }
    if (timeline->delays.count() > 0) {
        const Durations& delays = timeline->delays;
        std::cout << "delay: p50 " << fixed(delays.quantile(0.5) * 1000, 1) << " ms, p99 "
                  << fixed(delays.quantile(0.99) * 1000, 1) << " ms, max "
                  << fixed(delays.max() * 1000, 1) << " ms\n";
    }
}

int info(const std::string& path) {
    if (isCompressedFile(path)) {
        return infoCompressed(path);
    }
    const std::vector<std::string> files = recordingFiles(path);
    std::vector<FileStats> stats;
    std::uint64_t bytes = 0;
    {
        ProgressBar progress("info", totalBytes(files), 1 << 20, "bytes");
        for (const std::string& file : files) {
            stats.push_back(scanFile(file, {}, &progress, bytes));
            bytes += stats.back().bytes;
        }
    }
    std::cout << displayName(path) << ": "
              << (isDirectory(path) ? "per-kind recording, " + std::to_string(files.size()) +
                                          (files.size() == 1 ? " log file, " : " log files, ")
                                    : std::string("single file, "))
              << bytes << " bytes\n\n";
    writeFiles(stats, isDirectory(path));
    Totals totals;
    for (const FileStats& file : stats) {
        totals.add(file);
    }

    // Merging can fail where every file scans clean: read it as print does, and take the
    // timing records' story on the way.
    Timeline timeline;
    ReaderFailures reader;
    if (totals.damaged == 0) {
        reader = readThrough(
            path, [&timeline](const vq::eod::EngineOutputData& frame) { timeline.add(frame); },
            "info");
    }
    const Timeline* timed = !reader.failed && timeline.started ? &timeline : nullptr;
    writeKinds(totals, timed);

    // The recording as the reader merges it: every frame number that some file holds.
    const FrameNumbers merged = mergedNumbers(stats);
    std::cout << "frames: " << merged.frames;
    if (merged.frames > 0) {
        std::cout << ", numbers " << merged.lowest << " to " << merged.highest << ", "
                  << merged.gaps << (merged.gaps == 1 ? " gap" : " gaps") << " (" << merged.missing
                  << " missing)";
    }
    std::cout << '\n';
    writeTiming(totals, timed);
    std::cout << "records of unknown kinds: "
              << (totals.unknown == 0
                      ? std::string("none")
                      : "in " + std::to_string(totals.unknown) +
                            (totals.unknown == 1 ? " frame" : " frames") + " (skipped when read)")
              << '\n';
    if (reader.failed) {
        std::cout << "damaged: the library's reader stops " << reader.first << '\n';
        return 1;
    }
    if (totals.damaged > 0) {
        std::cout << "damaged: " << totals.damaged << " bytes in " << totals.damaged_ranges
                  << (totals.damaged_ranges == 1 ? " range" : " ranges") << " (vqlog check " << path
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
        "Per file and per kind: frames, first and last frame number, gaps, bytes; per kind its "
        "rate and gaps in time; the duration, start (UTC), rate and delay (p50, p99, max) from "
        "the timing records; records of unknown kinds. Exit 1 when a file is damaged");
    command->add_option("path", *path, "A recording directory or a log file")->required();
    return [path] { return info(*path); };
}

}  // namespace vqlog
