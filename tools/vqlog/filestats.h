// What a scan of the log files of a recording finds, for `vqlog info`, `check` and `recover`.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "vqlog/scanner.h"
#include "vqlog/terminal.h"

namespace vqlog {

// Frame numbers in file order, and what is odd about their sequence. Memory does not grow with
// repeats: the numbers are kept as runs of consecutive numbers (one run for a file in order, one
// more per step back or jump), and only the first MAX_LISTED gaps and disorders are described.
struct FrameNumbers {
    struct Run {
        unsigned int first = 0;
        unsigned int last = 0;
    };
    std::vector<Run> runs;     // every intact frame's number, in file order
    std::uint64_t frames = 0;  // intact frames (repeats included)
    unsigned int lowest = 0;   // the lowest and highest number (when frames > 0)
    unsigned int highest = 0;
    std::uint64_t gaps = 0;             // runs of missing numbers between neighbours
    std::uint64_t missing = 0;          // numbers missing in those runs
    std::vector<std::string> gap_list;  // the first MAX_LISTED gaps: "23", "100..104"
    std::vector<std::string> notes;     // the first MAX_LISTED of "duplicate frame 7 at byte 90"
    // Duplicates and frames out of order (which break the merge by frame number).
    std::uint64_t disorder = 0;

    static constexpr std::size_t MAX_LISTED = 5;

    // Takes the next frame's number; `offset` is where the frame starts.
    void add(unsigned int number, std::uint64_t offset);
};

// The frames of one file, or of a whole recording, that hold one kind.
struct KindStats {
    std::uint64_t frames = 0;
    unsigned int first = 0;
    unsigned int last = 0;

    void add(unsigned int number);
    void merge(const KindStats& other);
};

struct FileStats {
    static constexpr std::size_t MAX_DAMAGE_LISTED = 20;

    std::string path;
    std::string name;  // the file name without the directory
    std::uint64_t bytes = 0;
    FrameNumbers frames;
    std::vector<RecordScanner::Item> damage;  // the first MAX_DAMAGE_LISTED damaged ranges
    std::uint64_t damaged_ranges = 0;
    std::uint64_t damaged_bytes = 0;
    std::uint64_t unknown_frames = 0;  // frames that held records of kinds the library lacks
    std::map<char, KindStats, vq::eod::object_id::Less> kinds;  // the frames of each kind
    bool has_timing = false;
    double first_time = 0;  // the earliest and latest experiment time of its timing records
    double last_time = 0;
    std::uint64_t timed_frames = 0;
};

// Scans one file. `on_frame`, when given, sees every intact frame with its byte range.
// `progress`, when given, counts bytes: `done_before` (the files scanned before) plus those of
// this file read so far.
using FrameVisitor = std::function<void(RecordScanner& scanner, const RecordScanner::Item& item)>;
FileStats scanFile(const std::string& path, const FrameVisitor& on_frame = {},
                   ProgressBar* progress = nullptr, std::uint64_t done_before = 0);

// The bytes of these files together (0 for one that cannot be looked at), the total of a
// progress line over them.
std::uint64_t totalBytes(const std::vector<std::string>& files);

// The frame numbers that the files hold together, as the reader merges them.
FrameNumbers mergedNumbers(const std::vector<FileStats>& stats);

// What the library's reader makes of a recording, read through as `vqlog print` reads it. Some
// damage only shows when files are merged (two files giving one kind for the same frame), so
// check and info read a recording that scans clean once more this way.
struct ReaderFailures {
    bool failed = false;
    std::string first;  // where and why it stopped: "after frame 99: <message>"
};
// `on_frame`, when given, sees every merged frame that holds a record; a progress line
// "<what>: N frames" counts them on a terminal.
ReaderFailures readThrough(
    const std::string& path,
    const std::function<void(const vq::eod::EngineOutputData&)>& on_frame = {},
    const std::string& what = "read");

// The files of a recording: a directory's log files (ToolError when there are none, or with
// `one_recording` when two hold the same kind, see requireOneRecording) or the path.
std::vector<std::string> recordingFiles(const std::string& path, bool one_recording = true);

// "7", "7..9".
std::string frameRange(unsigned int first, unsigned int last);

}  // namespace vqlog
