// Recordings as vqlog reads and writes them.
//
// A recording is either one record file of whole frames (single file) or a directory of
// per-kind log files, which the library's reader merges back into frames by frame number. vqlog
// takes a directory for the second and anything else for the first. A single file may also be a
// compressed frame file, recognised by its magic number whatever its name.
//
// A directory is one recording: each kind is kept in one of its files. A directory where two
// files hold the same kind (several single-file sessions side by side, a copy of a log file) is
// refused by every command, naming the two files, since merging them by frame number would put
// two records of one kind into a frame.
#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <boost/shared_ptr.hpp>

#include "vq/corelog.h"

namespace vqlog {

using FramePtr = boost::shared_ptr<vq::eod::EngineOutputData>;

// Which frames and records a command takes.
struct Selection {
    std::vector<char> kinds;  // records of these kinds only; empty: every kind
    unsigned int from = 0;    // first frame number taken
    unsigned int to = std::numeric_limits<unsigned int>::max();       // last frame number taken
    std::uint64_t count = std::numeric_limits<std::uint64_t>::max();  // at most this many frames
    // Frames whose time_s (the timing record's experiment time) is in [start_s, end_s]; when
    // either is finite, frames without a timing record are left out.
    double start_s = -std::numeric_limits<double>::infinity();
    double end_s = std::numeric_limits<double>::infinity();

    bool timeLimited() const;
};

// The kinds of the records a frame holds: its own records, and those held in its face sets
// (which per-kind logs keep as kinds of their own), at every depth. The face set itself and the
// frame are not kinds.
std::set<char> recordKinds(const vq::eod::EngineOutputData& frame);

// Removes every record whose kind is not in `kinds` (looking into face sets, which stay while
// they hold a record left). Returns whether a record is left.
bool keepKinds(vq::eod::EngineOutputData& frame, const std::vector<char>& kinds);

// A library message that reads as another platform's (an error code of a directory listing, the
// socket texts of a refused, reset or timed-out connection) with what it concerns (`subject`: a
// path or HOST:PORT) and what to try added in parentheses; other messages as they are.
std::string explainError(const std::string& message, const std::string& subject);

// Whether `path` names a directory.
bool isDirectory(const std::string& path);
// The log files (names ending in ".vql") of a directory, sorted by name. Other entries with
// such names that are not regular files (FIFOs, devices) are skipped with a note on stderr
// ("vqlog: skipped <path>: it is not a regular file"), as the library's reader skips them.
std::vector<std::string> logFiles(const std::string& directory);
// ToolError when two of the log files of `directory` hold the same kind: "<dir> is not one
// recording: <a> and <b> both hold <Kind> records ...". A file's kinds are those of its first
// intact frame (a per-kind log file holds the same kind in every frame); a file without one
// holds none.
void requireOneRecording(const std::string& directory, const std::vector<std::string>& files);

// The column reader's options for a selection, `batch_rows` rows a batch, after the checks every
// command makes of a recording it reads through the column reader: a directory must be one
// recording (requireOneRecording), a file a regular one (as FrameSource checks).
vq::eod::io::ColumnReaderOptions columnOptions(const std::string& path, const Selection& selection,
                                               std::size_t batch_rows);

// The frames of a recording, merged, in ascending frame number, as the selection has them.
class FrameSource {
public:
    // Opens the recording; the library's errors pass through ("... No logfiles found in ...").
    explicit FrameSource(const std::string& path, Selection selection = Selection());

    bool perKind() const { return _per_kind; }
    bool compressed() const { return _packed != nullptr; }
    // The log files of a directory, or the one file.
    const std::vector<std::string>& files() const { return _files; }

    // The next selected frame, or null at the end. Errors of damaged files pass through.
    FramePtr next();

private:
    vq::eod::io::EngineOutputDataFileReader _reader;
    std::unique_ptr<vq::eod::io::DecompressingFileReader> _packed;  // a compressed file
    Selection _selection;
    bool _per_kind;
    std::vector<std::string> _files;
    std::uint64_t _delivered = 0;
    bool _done = false;
};

// What the selected frames of a recording hold up to its first damage (all of them when it has
// none), read through FrameSource: their number, and their kinds in ascending object ID. For the
// commands that go on to read a damaged recording up to its damage.
vq::eod::io::RecordingSummary framesBeforeDamage(const std::string& path,
                                                 const Selection& selection);

// "-" on the command line: standard output where a command writes, standard input where it reads.
constexpr const char* STANDARD_STREAM = "-";

// Copies standard input into an unnamed temporary file (in $TMPDIR, else /tmp; it is gone when
// vqlog ends, however it ends) and returns a path that reads it, so that every command can scan
// and re-read a recording that arrives through a pipe. ToolError when it cannot.
std::string spoolStandardInput();
// "standard input" for the path spoolStandardInput returned, else `path`.
std::string displayName(const std::string& path);

// Whether `path` names standard output: "-" or /dev/stdout.
bool isStandardOutput(const std::string& path);

// ToolError when `path` is named like a file of another format (.csv, .tsv, .json, .jsonl,
// .txt, .parquet), or like a log file (.vql) where a per-kind directory is to be written, so that
// binary never lands in a file a spreadsheet or pandas would open.
void requireRecordingName(const std::string& path, bool directory);

// Makes `path` ready to take a new recording: a directory that is created when missing (with its
// parents) and may not hold log files yet, or a file that may not exist yet. ToolError names
// the path otherwise, so that nothing is overwritten. Standard output ("-", /dev/stdout) takes a
// single file, unless it appends to a file (a file reopened by name would be cut short).
void prepareOutput(const std::string& path, bool directory);

// A part's length for split and record --split-every: "1000" frames or "10s" seconds (by the
// timing records). UsageError "<option> takes ..." otherwise.
struct Every {
    bool seconds = false;
    double amount = 0;
};
Every parseEvery(const std::string& text, const std::string& option);
// "part-0001.vql", or "part-0001" for a per-kind part.
std::string partName(std::uint64_t part, bool per_kind);

// Writes frames as a recording: whole into one file, or per kind into a directory, where the
// file of a kind is created when its first record comes.
//
// In per-kind mode each kind's file takes the record found in the frame itself or in its first
// face set, as the library's writer does; "-" writes one file to standard output; a frame with a
// second face set loses that face, which facesDropped() counts so that callers can say so.
class RecordingWriter {
public:
    // `buffer_size` bytes of buffer per file. A compression level writes one compressed frame
    // file at that zstd level (single file only).
    static constexpr int PLAIN = -100;
    RecordingWriter(std::string path, bool per_kind, int buffer_size = 65536,
                    int compress_level = PLAIN);
    ~RecordingWriter();
    RecordingWriter(const RecordingWriter&) = delete;
    RecordingWriter& operator=(const RecordingWriter&) = delete;

    void write(const vq::eod::EngineOutputData& frame);
    // Closes every file; raises the library's error when bytes were lost, after closing all.
    void close();

    std::uint64_t framesWritten() const { return _frames; }
    std::uint64_t facesDropped() const { return _faces_dropped; }
    // The files written so far.
    std::vector<std::string> paths() const;

private:
    std::string _path;
    bool _per_kind;
    int _buffer_size;
    vq::eod::io::EngineOutputDataFileWriter _single;
    std::unique_ptr<vq::eod::io::CompressingFileWriter> _packed;
    std::map<char, std::unique_ptr<vq::eod::io::EngineOutputDataFileWriter>,
             vq::eod::object_id::Less>
        _writers;
    std::vector<std::string> _paths;
    std::uint64_t _frames = 0;
    std::uint64_t _faces_dropped = 0;
};

}  // namespace vqlog
