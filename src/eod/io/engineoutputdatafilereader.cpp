#include "vq/eod/io/engineoutputdatafilereader.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <typeinfo>
#include <utility>

#include "eod/engineoutputbase_internal.h"
#include "eod/io/paths_internal.h"
#include "eod/io/systemcalls_internal.h"
#include "eod/precondition_internal.h"
#include "eod/recordreader_internal.h"
#include "eod/sharedrecord_internal.h"
#include "vq/eod/io/engineoutputdatafileerror.h"
#include "vq/eod/io/filereader.h"

namespace vq::eod::io {

// One log file and the frame read from it and not yet consumed.
class EngineOutputDataFileReader::EngineOutputDataStream {
public:
    bool open(const std::wstring& path) { return _file.open(path); }

    bool atEnd() const { return !_look_ahead && _file.atEnd(); }

    // The look-ahead frame, read from the file when none is held; null at the end of the file.
    const boost::shared_ptr<EngineOutputData>& peek() {
        if (!_look_ahead && !_file.atEnd()) {
            unsigned int status = 0;
            _look_ahead = asFrame(_file.read(status));
            if (!_look_ahead) {
                throw EngineOutputDataFileError(
                    "EngineOutputDataFileReader::readData() - corrupt or invalid logfile");
            }
        }
        return _look_ahead;
    }

    // Hands out the look-ahead frame and forgets it.
    boost::shared_ptr<EngineOutputData> take() {
        boost::shared_ptr<EngineOutputData> frame;
        frame.swap(_look_ahead);
        return frame;
    }

private:
    // The record as a frame, or null when it is not one. Records of exactly the frame's class,
    // the usual case, are recognised without a dynamic cast.
    static boost::shared_ptr<EngineOutputData> asFrame(boost::shared_ptr<Serializable> record) {
        const Serializable* const object = record.get();
        if (object != nullptr && typeid(*object) == typeid(EngineOutputData)) {
            return boost::static_pointer_cast<EngineOutputData>(std::move(record));
        }
        return boost::dynamic_pointer_cast<EngineOutputData>(record);
    }

    FileReader _file;
    boost::shared_ptr<EngineOutputData> _look_ahead;
};

namespace {

[[noreturn]] void throwListingError(const std::string& text) {
    throw EngineOutputDataFileError("EngineOutputDataFileReader::logFilesInDir - " + text);
}

// Closes a directory stream on every way out.
struct DirectoryCloser {
    void operator()(DIR* dir) const { detail::systemCalls().closedir(dir); }
};

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool isRegularFile(const std::string& directory, const dirent& entry) {
    if (entry.d_type == DT_REG) {
        return true;
    }
    if (entry.d_type != DT_LNK && entry.d_type != DT_UNKNOWN) {
        return false;  // a directory, a FIFO, a device, a socket
    }
    // Links and file systems that do not tell the type: ask for the file itself. A name that
    // leads nowhere is listed, and opening it reports it.
    struct stat info {};
    const std::string path = (directory.empty() ? "." : directory) + "/" + entry.d_name;
    return stat(path.c_str(), &info) != 0 || S_ISREG(info.st_mode);
}

}  // namespace

EngineOutputDataFileReader::EngineOutputDataFileReader() = default;
EngineOutputDataFileReader::EngineOutputDataFileReader(const EngineOutputDataFileReader& other) =
    default;
EngineOutputDataFileReader& EngineOutputDataFileReader::operator=(
    const EngineOutputDataFileReader& other) = default;
EngineOutputDataFileReader::~EngineOutputDataFileReader() = default;

std::vector<std::wstring> EngineOutputDataFileReader::logFilesInDir(const std::wstring& directory) {
    const std::string name = detail::narrowPath(directory);
    if (!detail::isNativePath(name)) {
        throwListingError("not a valid directory: " + name);
    }
    std::unique_ptr<DIR, DirectoryCloser> dir(
        detail::systemCalls().opendir(name.empty() ? "." : name.c_str()));
    if (!dir) {
        if (errno == ENOENT) {
            throwListingError("No logfiles found in " + name);
        }
        throwListingError(" FindFirstFile failed with error code " + std::to_string(errno));
    }
    // Always a '/', even after a trailing separator: both forms name the same files.
    const std::wstring prefix = directory.empty() ? directory : directory + L'/';
    const std::string extension = detail::narrowPath(EngineOutputData::LOGFILE_EXTENSION());
    std::vector<std::wstring> paths;
    bool any_log_name = false;
    for (;;) {
        errno = 0;
        const dirent* entry = detail::systemCalls().readdir(dir.get());
        if (entry == nullptr) {
            if (errno != 0) {
                throwListingError("FindNextFile failed with error code " + std::to_string(errno));
            }
            break;
        }
        if (!endsWith(entry->d_name, extension)) {
            continue;
        }
        any_log_name = true;
        if (isRegularFile(name, *entry)) {
            paths.push_back(prefix + detail::widenPath(entry->d_name));
        }
    }
    if (!any_log_name) {
        throwListingError("No logfiles found in " + name);
    }
    return paths;
}

void EngineOutputDataFileReader::addStream(const std::wstring& path) {
    auto stream = std::make_shared<EngineOutputDataStream>();
    if (!stream->open(path)) {
        throw EngineOutputDataFileError(
            "EngineOutputDataFileReader::openFiles - could not open file " +
            detail::narrowPath(path));
    }
    _streams.push_back(std::move(stream));
}

void EngineOutputDataFileReader::openFiles(const std::wstring& directory) {
    VQ_REQUIRE(_streams.empty(), "files already open");
    const std::vector<std::wstring> paths = logFilesInDir(directory);
    if (paths.empty()) {
        throw EngineOutputDataFileError(
            "EngineOutputDataFileReader::openFiles - no logfiles found in " +
            detail::narrowPath(directory));
    }
    for (const std::wstring& path : paths) {
        addStream(path);
    }
}

void EngineOutputDataFileReader::openFiles(const std::string& directory) {
    openFiles(detail::widenPath(directory));
}

void EngineOutputDataFileReader::openFiles(const std::vector<char>& ids,
                                           const std::wstring& directory) {
    openFiles(directory);
    _merge_ids = ids;
    std::sort(_merge_ids.begin(), _merge_ids.end(), object_id::Less());
}

void EngineOutputDataFileReader::openFiles(const std::vector<char>& ids,
                                           const std::string& directory) {
    openFiles(ids, detail::widenPath(directory));
}

void EngineOutputDataFileReader::openFile(const std::wstring& path) {
    VQ_REQUIRE(_streams.empty(), "files already open");
    addStream(path);
}

void EngineOutputDataFileReader::openFile(const std::string& path) {
    openFile(detail::widenPath(path));
}

bool EngineOutputDataFileReader::areFilesOpen() const {
    return !_streams.empty();
}

void EngineOutputDataFileReader::closeFiles() {
    _streams.clear();
}

bool EngineOutputDataFileReader::endOfData() const {
    return std::all_of(_streams.begin(), _streams.end(),
                       [](const auto& stream) { return stream->atEnd(); });
}

bool EngineOutputDataFileReader::isMerged(char id) const {
    return _merge_ids.empty() ||
           std::binary_search(_merge_ids.begin(), _merge_ids.end(), id, object_id::Less());
}

bool EngineOutputDataFileReader::hasMergableSubObject(const EngineOutputData& frame) const {
    if (frame.numSubObjects() == 0) {
        return false;
    }
    return _merge_ids.empty() ||
           std::any_of(_merge_ids.begin(), _merge_ids.end(),
                       [&frame](char id) { return frame.hasSubObjectID(id); });
}

void EngineOutputDataFileReader::skipNonMergable(EngineOutputDataStream& stream) const {
    while (stream.peek() && !hasMergableSubObject(*stream.peek())) {
        stream.take();
    }
}

unsigned int EngineOutputDataFileReader::nextMergableFrameNum() {
    unsigned int frame_num = NO_FRAME;
    for (const auto& stream : _streams) {
        skipNonMergable(*stream);
        if (stream->peek()) {
            frame_num = std::min(frame_num, stream->peek()->frameNum());
        }
    }
    return frame_num;
}

void EngineOutputDataFileReader::mergeSubObjects(const EngineOutputData& source,
                                                 EngineOutputData& destination) const {
    // The source frame is dropped after merging, so its records move by sharing them.
    for (const auto& entry : eod::detail::RecordReader::subObjectsOf(source)) {
        const boost::shared_ptr<Serializable>& object = entry.second;
        if (!isMerged(object->objectID())) {
            continue;
        }
        if (!object || !eod::detail::isEngineRecord(*object)) {
            throw EngineOutputDataFileError(
                "EngineOutputDataFileReader::readData() - invalid sub-object");
        }
        destination.addSubObject(object);
    }
}

boost::shared_ptr<EngineOutputData> EngineOutputDataFileReader::readData() {
    VQ_REQUIRE(!_streams.empty(), "files are not open");
    if (endOfData()) {
        return boost::shared_ptr<EngineOutputData>();
    }
    const unsigned int frame_num = nextMergableFrameNum();
    boost::shared_ptr<EngineOutputData> frame = eod::detail::makeSharedRecord<EngineOutputData>();
    frame->setFrameNum(frame_num);
    // Every part leaves its file before any is merged: a frame that cannot be merged is dropped
    // whole, and the next call goes on with the frame after it.
    _parts.clear();
    for (const auto& stream : _streams) {
        if (stream->peek() && stream->peek()->frameNum() == frame_num) {
            _parts.push_back(stream->take());
        }
    }
    for (const auto& part : _parts) {
        mergeSubObjects(*part, *frame);
    }
    _parts.clear();  // the parts go back to their pool now
    return frame;
}

}  // namespace vq::eod::io
