#include "vqlog/recording.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <system_error>

#include "vqlog/kinds.h"
#include "vqlog/scanner.h"

namespace vqlog {

namespace fs = std::filesystem;
using vq::eod::EngineOutputData;
using vq::eod::Serializable;
using vq::eod::SerializableComposite;
using vq::eod::io::EngineOutputDataFileReader;
using vq::eod::io::EngineOutputDataFileWriter;
namespace object_id = vq::eod::object_id;

namespace {

void collectKinds(const SerializableComposite& composite, std::set<char>& kinds) {
    for (const auto& record : composite.subObjects()) {
        if (record->objectID() != object_id::FACE_SET_OUTPUT_DATA) {
            kinds.insert(record->objectID());
        }
        if (auto inner = boost::dynamic_pointer_cast<const SerializableComposite>(record)) {
            collectKinds(*inner, kinds);
        }
    }
}

bool selected(const std::vector<char>& kinds, char id) {
    return std::find(kinds.begin(), kinds.end(), id) != kinds.end();
}

}  // namespace

std::set<char> recordKinds(const EngineOutputData& frame) {
    std::set<char> kinds;
    collectKinds(frame, kinds);
    return kinds;
}

bool keepKinds(EngineOutputData& frame, const std::vector<char>& kinds) {
    if (kinds.empty()) {
        return frame.numSubObjects() > 0;
    }
    for (const auto& record : frame.subObjects()) {
        const char id = record->objectID();
        if (selected(kinds, id)) {
            continue;
        }
        auto face = boost::dynamic_pointer_cast<SerializableComposite>(record);
        if (id == object_id::FACE_SET_OUTPUT_DATA && face) {
            for (const auto& inner : face->subObjects()) {
                if (!selected(kinds, inner->objectID())) {
                    face->removeSubObject(*inner);
                }
            }
            if (face->numSubObjects() > 0) {
                continue;
            }
        }
        frame.removeSubObject(*record);
    }
    return frame.numSubObjects() > 0;
}

std::string explainError(const std::string& message, const std::string& subject) {
    for (const char* listing :
         {"FindFirstFile failed with error code ", "FindNextFile failed with error code "}) {
        const std::size_t at = message.find(listing);
        if (at != std::string::npos) {
            const int code = std::atoi(message.c_str() + at + std::strlen(listing));
            return message + " (listing the directory " + subject + ": " + std::strerror(code) +
                   "; check that it is a directory and that you may read it)";
        }
    }
    struct Hint {
        const char* text;  // in the library's message
        const char* hint;  // after the address
    };
    static const Hint hints[] = {
        {"forcibly closed by the remote host",
         " dropped the connection: the tracker or vqlog serve stopped or let this client go "
         "(vqlog record --reconnect keeps recording across drops)"},
        {"forcefully rejected",
         ": nothing listens there; start the tracker or vqlog serve first, or check the port "
         "(vqlog serve prints its address when it starts)"},
        {"timed out", " did not answer: check the address and any firewall between"},
        {"address is already in use",
         ": another program serves on that port; choose another --port, or 0 for a free one"},
        {"host not found", ": the host name does not resolve; try its IP address"},
        {"can't be reached", ": no route to that network; check the address"},
        {"host was unreachable", ": no route to that host; check the address"},
    };
    for (const Hint& h : hints) {
        if (message.find(h.text) != std::string::npos) {
            return message + " (" + subject + h.hint + ")";
        }
    }
    return message;
}

bool isDirectory(const std::string& path) {
    std::error_code error;
    return fs::is_directory(path, error);
}

std::vector<std::string> logFiles(const std::string& directory) {
    std::vector<std::string> files;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(directory, error)) {
        if (entry.path().extension() != ".vql" || entry.is_directory(error)) {
            continue;
        }
        if (entry.is_regular_file(error)) {
            files.push_back(entry.path().string());
        } else {
            // A FIFO would block every reader, a device has no end: the library skips them too.
            std::cerr << "vqlog: skipped " << entry.path().string()
                      << ": it is not a regular file\n";
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

namespace {

// The kinds a per-kind log file keeps of a frame: the frame's own records, and those of its
// first face set in place of the face set, as the library's per-kind writer and reader take them.
std::set<char> fileKinds(const EngineOutputData& frame) {
    std::set<char> kinds;
    for (const auto& record : frame.subObjects()) {
        kinds.insert(record->objectID());
    }
    if (auto face = frame.subObjectAs<SerializableComposite>(object_id::FACE_SET_OUTPUT_DATA)) {
        kinds.erase(object_id::FACE_SET_OUTPUT_DATA);
        for (const auto& record : face->subObjects()) {
            kinds.insert(record->objectID());
        }
    }
    return kinds;
}

}  // namespace

void requireOneRecording(const std::string& directory, const std::vector<std::string>& files) {
    std::map<char, std::string, object_id::Less> holder;  // kind -> the first file holding it
    for (const std::string& file : files) {
        RecordScanner scanner(file);
        RecordScanner::Item item;
        while (scanner.next(item) && item.type != RecordScanner::Item::FRAME) {
        }
        if (!item.frame) {
            continue;
        }
        for (char id : fileKinds(*item.frame)) {
            const auto [other, fresh] = holder.emplace(id, file);
            if (!fresh) {
                throw ToolError(directory + " is not one recording: " + other->second + " and " +
                                file + " both hold " + kindName(id) +
                                " records (a per-kind recording keeps each kind in one file); "
                                "give each file to vqlog on its own");
            }
        }
    }
}

vq::eod::io::ColumnReaderOptions columnOptions(const std::string& path, const Selection& selection,
                                               std::size_t batch_rows) {
    if (isDirectory(path)) {
        requireOneRecording(path, logFiles(path));
    } else {
        FrameSource(path, selection);  // its checks: no device, no FIFO
    }
    vq::eod::io::ColumnReaderOptions read;
    read.batch_rows = batch_rows;
    read.kinds = selection.kinds;
    read.first_frame = selection.from;
    read.last_frame = selection.to;
    read.max_frames = selection.count;
    read.start_s = selection.start_s;
    read.end_s = selection.end_s;
    return read;
}

FrameSource::FrameSource(const std::string& path, Selection selection)
    : _selection(std::move(selection)), _per_kind(isDirectory(path)) {
    if (_per_kind) {
        _files = logFiles(path);
        requireOneRecording(path, _files);
        try {
            _reader.openFiles(path);
        } catch (const vq::eod::EODError& error) {
            throw ToolError(explainError(error.what(), path));
        }
    } else if (vq::eod::io::DecompressingFileReader::isCompressedFrameFile(path)) {
        _files.push_back(path);
        _packed = std::make_unique<vq::eod::io::DecompressingFileReader>();
        _packed->open(path);
        if (_selection.from > 0) {
            _packed->seekFrame(_selection.from);  // through the index
        }
    } else {
        std::error_code error;
        if (fs::exists(path, error) && !fs::is_regular_file(path, error)) {
            // A FIFO would block the reader, a device would never end.
            throw ToolError("cannot open " + path + ": it is not a regular file");
        }
        _files.push_back(path);
        _reader.openFile(path);
    }
}

bool Selection::timeLimited() const {
    return std::isfinite(start_s) || std::isfinite(end_s);
}

namespace {

// Whether the frame's time_s is in the selection's range (as the column reader has it).
bool inTime(const vq::eod::EngineOutputData& frame, const Selection& selection) {
    if (!selection.timeLimited()) {
        return true;
    }
    const auto timing = frame.timingOutputData();
    return timing && timing->experimentTime() >= selection.start_s &&
           timing->experimentTime() <= selection.end_s;
}

}  // namespace

FramePtr FrameSource::next() {
    while (!_done && _delivered < _selection.count) {
        FramePtr frame = _packed ? _packed->readData() : _reader.readData();
        if (!frame) {
            break;
        }
        if (frame->numSubObjects() == 0) {
            continue;  // the reader's stand-in (NO_FRAME) for frames that held nothing selected
        }
        if (frame->frameNum() > _selection.to) {
            _done = true;  // frames come in ascending frame number
            break;
        }
        if (frame->frameNum() < _selection.from || !inTime(*frame, _selection) ||
            !keepKinds(*frame, _selection.kinds)) {
            continue;
        }
        ++_delivered;
        return frame;
    }
    return FramePtr();
}

vq::eod::io::RecordingSummary framesBeforeDamage(const std::string& path,
                                                 const Selection& selection) {
    vq::eod::io::RecordingSummary summary;
    std::set<char, vq::eod::object_id::Less> kinds;
    try {
        FrameSource source(path, selection);
        while (FramePtr frame = source.next()) {
            const std::set<char> more = recordKinds(*frame);
            kinds.insert(more.begin(), more.end());
            ++summary.frames;
        }
    } catch (const std::exception&) {
        // the damage
    }
    summary.kinds.assign(kinds.begin(), kinds.end());
    return summary;
}

namespace {

std::string& spoolPath() {
    static std::string path;
    return path;
}

}  // namespace

std::string spoolStandardInput() {
    if (!spoolPath().empty()) {
        return spoolPath();
    }
    if (::isatty(STDIN_FILENO) == 1) {
        throw ToolError(
            "- reads a recording from standard input, which is a terminal here: pipe "
            "one in (zstd -dc rec.vql.zst | vqlog info -)");
    }
    const char* tmp = std::getenv("TMPDIR");
    std::string name =
        std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/vqlog-stdin-XXXXXX";
    const int fd = ::mkstemp(name.data());
    if (fd < 0) {
        throw ToolError("cannot make a temporary file for standard input in " +
                        name.substr(0, name.find_last_of('/')) + ": " + std::strerror(errno) +
                        " (set TMPDIR to a directory with room)");
    }
    ::unlink(name.c_str());  // the open descriptor keeps it until vqlog ends
    char buffer[1 << 16];
    for (;;) {
        const ssize_t got = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (got == 0) {
            break;
        }
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            throw ToolError(std::string("cannot read standard input: ") + std::strerror(errno));
        }
        for (ssize_t done = 0; done < got;) {
            const ssize_t put = ::write(fd, buffer + done, static_cast<std::size_t>(got - done));
            if (put < 0 && errno != EINTR) {
                throw ToolError("cannot copy standard input to a temporary file in " +
                                name.substr(0, name.find_last_of('/')) + ": " +
                                std::strerror(errno) + " (set TMPDIR to a directory with room)");
            }
            done += put > 0 ? put : 0;
        }
    }
    spoolPath() = "/proc/self/fd/" + std::to_string(fd);
    return spoolPath();
}

std::string displayName(const std::string& path) {
    return !spoolPath().empty() && path == spoolPath() ? "standard input" : path;
}

bool isStandardOutput(const std::string& path) {
    return path == STANDARD_STREAM || path == "/dev/stdout";
}

void requireRecordingName(const std::string& path, bool directory) {
    if (isStandardOutput(path)) {
        return;
    }
    std::string name = path;
    while (name.size() > 1 && name.back() == '/') {
        name.pop_back();
    }
    const std::string extension = fs::path(name).extension().string();
    for (const char* other : {".csv", ".tsv", ".json", ".jsonl", ".txt", ".parquet"}) {
        if (extension == other) {
            throw ToolError(path + " is named like a " + extension.substr(1) +
                            " file, but a recording is binary: name it *.vql (vqlog export "
                            "writes CSV and JSON lines)");
        }
    }
    if (directory && extension == ".vql") {
        throw ToolError(path +
                        " is named like a log file, but a per-kind recording is a "
                        "directory (add --single-file to write one log file)");
    }
}

void prepareOutput(const std::string& path, bool directory) {
    std::error_code error;
    if (isStandardOutput(path)) {
        if (directory) {
            throw ToolError(
                "standard output takes a single file, not a per-kind directory "
                "(add --single-file)");
        }
        struct stat out {};
        const int flags = ::fcntl(STDOUT_FILENO, F_GETFL);
        if (::fstat(STDOUT_FILENO, &out) == 0 && S_ISREG(out.st_mode) && flags >= 0 &&
            (flags & O_APPEND) != 0) {
            throw ToolError(
                "standard output appends to a file; vqlog does not overwrite "
                "recordings (redirect with > to a new file)");
        }
        return;
    }
    if (!directory) {
        if (fs::exists(path, error)) {
            throw ToolError(path + " already exists; vqlog does not overwrite recordings");
        }
        return;
    }
    if (fs::exists(path, error)) {
        if (!fs::is_directory(path, error)) {
            throw ToolError(path + " exists and is not a directory");
        }
        for (const auto& entry : fs::directory_iterator(path, error)) {
            if (entry.path().extension() == ".vql") {
                throw ToolError(path +
                                " already holds log files; vqlog does not overwrite recordings");
            }
        }
        return;
    }
    if (!fs::create_directories(path, error)) {
        throw ToolError("cannot create the directory " + path + ": " + error.message());
    }
}

Every parseEvery(const std::string& text, const std::string& option) {
    Every every;
    std::string number = text;
    if (!number.empty() && number.back() == 's') {
        every.seconds = true;
        number.pop_back();
    }
    std::size_t used = 0;
    try {
        every.amount = std::stod(number, &used);
    } catch (const std::exception&) {
        used = 0;
    }
    const bool whole =
        every.seconds ||
        every.amount == static_cast<double>(static_cast<std::uint64_t>(every.amount));
    if (number.empty() || used != number.size() || !(every.amount > 0) || !whole ||
        every.amount > 1e15) {
        throw UsageError(option + " takes a number of frames (1000) or of seconds (10s), not '" +
                         text + "'");
    }
    return every;
}

std::string partName(std::uint64_t part, bool per_kind) {
    char name[32];
    std::snprintf(name, sizeof name, "part-%04llu", static_cast<unsigned long long>(part));
    return std::string(name) + (per_kind ? "" : ".vql");
}

RecordingWriter::RecordingWriter(std::string path, bool per_kind, int buffer_size,
                                 int compress_level)
    : _path(std::move(path)), _per_kind(per_kind), _buffer_size(buffer_size) {
    while (_per_kind && _path.size() > 1 && _path.back() == '/') {
        _path.pop_back();
    }
    if (compress_level != PLAIN) {
        vq::eod::io::CompressingFileWriter::Options options;
        options.level = compress_level;
        _packed = std::make_unique<vq::eod::io::CompressingFileWriter>();
        // Standard output is written as it comes: the file needs no seeking.
        _packed->newFile(isStandardOutput(_path) ? "/dev/stdout" : _path, options);
        _paths.push_back(_path);
        _per_kind = false;
    } else if (!_per_kind) {
        _single.newFile(isStandardOutput(_path) ? "/dev/stdout" : _path, _buffer_size);
        _paths.push_back(_path);
    }
}

RecordingWriter::~RecordingWriter() = default;

void RecordingWriter::write(const EngineOutputData& frame) {
    if (_packed) {
        _packed->writeData(frame);
        ++_frames;
        return;
    }
    if (!_per_kind) {
        _single.writeData(frame);
        ++_frames;
        return;
    }
    if (frame.numSubObjects(object_id::FACE_SET_OUTPUT_DATA) > 1) {
        ++_faces_dropped;
    }
    // The kinds of the frame itself and of its first face set: those the writer takes.
    for (char id : fileKinds(frame)) {
        auto& writer = _writers[id];
        if (!writer) {
            const std::string name = ensureLogFileName(id);
            const std::string path = _path + "/" + name + ".vql";
            if (std::find(_paths.begin(), _paths.end(), path) != _paths.end()) {
                _writers.erase(id);  // never two writers on one file: one would lose its records
                throw ToolError(kindName(id) + " would share the log file " + path +
                                " with another kind");
            }
            writer = std::make_unique<EngineOutputDataFileWriter>();
            writer->newFiles({id}, _path, std::string(), _buffer_size);
            _paths.push_back(path);
        }
        writer->writeData(frame);
    }
    ++_frames;
}

void RecordingWriter::close() {
    std::exception_ptr first_error;
    auto closeOne = [&first_error](EngineOutputDataFileWriter& writer) {
        try {
            writer.closeFiles();
        } catch (...) {
            if (!first_error) {
                first_error = std::current_exception();
            }
        }
    };
    closeOne(_single);
    if (_packed) {
        try {
            _packed->closeFile();
        } catch (...) {
            if (!first_error) {
                first_error = std::current_exception();
            }
        }
    }
    for (auto& entry : _writers) {
        closeOne(*entry.second);
    }
    if (first_error) {
        std::rethrow_exception(first_error);
    }
}

std::vector<std::string> RecordingWriter::paths() const {
    return _paths;
}

}  // namespace vqlog
