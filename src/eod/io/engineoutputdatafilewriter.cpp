#include "vq/eod/io/engineoutputdatafilewriter.h"

#include <set>
#include <string>
#include <utility>

#include "eod/io/paths_internal.h"
#include "eod/precondition_internal.h"
#include "eod/recordwriter_internal.h"
#include "vq/eod/io/engineoutputdatafileerror.h"
#include "vq/eod/serializableerror.h"

namespace vq::eod::io {

namespace {

using NameTable = std::map<char, std::wstring, object_id::Less>;

// The kind names of the process, with the log file names of the table of kinds in place on first
// use.
NameTable& nameTable() {
    static NameTable table = [] {
        NameTable defaults;
        for (const object_id::Kind& kind : object_id::KINDS) {
            if (kind.log_file_name != nullptr) {
                defaults.emplace(kind.id, detail::widenPath(kind.log_file_name));
            }
        }
        return defaults;
    }();
    return table;
}

std::wstring logFilePath(const std::wstring& directory, char id, const std::wstring& suffix) {
    std::wstring path = directory;
    if (!path.empty() && path.back() != L'/' && path.back() != L'\\') {
        path += L'/';
    }
    return path + EngineOutputDataFileWriter::objectIDToFileName(id) + suffix +
           EngineOutputData::LOGFILE_EXTENSION();
}

constexpr int OUTPUT_MODE = std::ios::out | std::ios::binary | std::ios::trunc;

}  // namespace

EngineOutputDataFileWriter::EngineOutputDataFileWriter() : _single_file(true) {}

// Each stream closes itself, flushing its buffer.
EngineOutputDataFileWriter::~EngineOutputDataFileWriter() = default;

std::wstring EngineOutputDataFileWriter::objectIDToFileName(char id) {
    const NameTable& table = nameTable();
    const auto entry = table.find(id);
    if (entry == table.end()) {
        throw EngineOutputDataFileError(
            "EngineOutputDataFileWriter::objectIDToFileName - unknown object ID");
    }
    return entry->second;
}

void EngineOutputDataFileWriter::registerObjectIDFileName(char id, std::wstring name) {
    nameTable()[id] = std::move(name);
}

void EngineOutputDataFileWriter::openFile(char id, const std::wstring& path, int buffer_size,
                                          const char* error) {
    auto stream = std::make_unique<BufferedOutputFileStream>(path, OUTPUT_MODE, buffer_size);
    const bool opened = stream->is_open();
    _streams[id] = LogFile{std::move(stream), detail::narrowPath(path)};
    if (!opened) {
        throw EngineOutputDataFileError(error);
    }
}

void EngineOutputDataFileWriter::newFiles(const std::vector<char>& ids,
                                          const std::wstring& directory,
                                          const std::wstring& name_suffix, int buffer_size) {
    VQ_REQUIRE(_streams.empty(), "files already open");
    VQ_REQUIRE(!ids.empty(), "the list of object IDs to log cannot be empty");
    _single_file = false;
    std::set<std::wstring> paths;
    for (char id : ids) {
        if (_streams.count(id) != 0) {
            throw EngineOutputDataFileError(
                "EngineOutputDataFileWriter::newLogFiles: duplicate object IDs");
        }
        const std::wstring path = logFilePath(directory, id, name_suffix);
        // Two kinds registered under one name would truncate and overwrite each other's file.
        if (!paths.insert(path).second) {
            throw EngineOutputDataFileError(
                "EngineOutputDataFileWriter::newLogFiles: two object IDs share the file " +
                detail::narrowPath(path));
        }
        openFile(id, path, buffer_size,
                 "EngineOutputDataFileWriter::newLogFiles: could not open file.");
    }
}

void EngineOutputDataFileWriter::newFiles(const std::vector<char>& ids,
                                          const std::string& directory,
                                          const std::string& name_suffix, int buffer_size) {
    newFiles(ids, detail::widenPath(directory), detail::widenPath(name_suffix), buffer_size);
}

void EngineOutputDataFileWriter::newFile(const std::wstring& path, int buffer_size) {
    VQ_REQUIRE(_streams.empty(), "files already open");
    _single_file = true;
    openFile(Serializable::ERROR_ID, path, buffer_size,
             "EngineOutputDataFileWriter::newFile: could not open file.");
}

void EngineOutputDataFileWriter::newFile(const std::string& path, int buffer_size) {
    newFile(detail::widenPath(path), buffer_size);
}

void EngineOutputDataFileWriter::newFile(char id, const std::wstring& path, int buffer_size) {
    VQ_REQUIRE(_streams.empty(), "files already open");
    _single_file = false;
    openFile(id, path, buffer_size, "EngineOutputDataFileWriter::newFile: could not open file.");
}

void EngineOutputDataFileWriter::newFile(char id, const std::string& path, int buffer_size) {
    newFile(id, detail::widenPath(path), buffer_size);
}

bool EngineOutputDataFileWriter::areFilesOpen() const {
    return !_streams.empty();
}

void EngineOutputDataFileWriter::closeFiles() {
    std::string lost;
    for (auto& entry : _streams) {
        BufferedOutputFileStream& stream = *entry.second.stream;
        if (!stream.is_open()) {
            continue;  // never opened: holds nothing
        }
        const bool closed = stream.rdbuf()->close() != nullptr;
        if (stream.bad() || !closed) {
            lost += (lost.empty() ? "" : ", ") + entry.second.path;
        }
    }
    _streams.clear();
    if (!lost.empty()) {
        throw EngineOutputDataFileError(
            "EngineOutputDataFileWriter::closeFiles - could not write file " + lost);
    }
}

void EngineOutputDataFileWriter::writeData(const boost::shared_ptr<const EngineOutputData>& frame) {
    VQ_REQUIRE(frame, "frame is NULL");
    writeData(*frame);
}

void EngineOutputDataFileWriter::writeData(const EngineOutputData& frame) {
    VQ_REQUIRE(!_streams.empty(), "no files are open");
    if (!frame.serializeEnabled()) {
        return;
    }
    if (_single_file) {
        serializeObject(frame, *_streams.begin()->second.stream);
        return;
    }
    for (auto& entry : _streams) {  // ascending object ID
        writeSubObject(frame, entry.first, entry.second);
    }
}

namespace {

// Hands an object's bytes to the file buffer in one piece; raises when the stream has failed,
// now or before. A stream that failed before is not written again, but still reported. The bytes
// go to the file buffer directly: a file stream has no tied stream to flush and no unit
// buffering, so the stream's write would add nothing but its checks. A short write fails the
// stream as the stream's write would.
void writeBytes(std::ostream& stream, const eod::detail::SerializedBytes& bytes) {
    if (stream.good()) {
        const auto size = static_cast<std::streamsize>(bytes.size);
        if (stream.rdbuf()->sputn(reinterpret_cast<const char*>(bytes.data), size) != size) {
            stream.setstate(std::ios::badbit);
        }
    }
    if (!stream.good()) {
        throw EngineOutputDataFileError("Failed to write to stream.");
    }
}

}  // namespace

void EngineOutputDataFileWriter::writeSubObject(const EngineOutputData& frame, char id,
                                                LogFile& file) {
    boost::shared_ptr<const Serializable> record = frame.subObject(id);
    if (!record) {
        // Face records are kept inside a face set.
        const auto face_set =
            frame.subObjectAs<SerializableComposite>(object_id::FACE_SET_OUTPUT_DATA);
        if (face_set) {
            record = face_set->subObject(id);
        }
    }
    if (!record || !record->serializeEnabled()) {
        return;
    }
    // A frame takes only engine records. The classes of a kind's records seldom change, so the
    // last class found to be one is remembered instead of casting every record.
    const Serializable& object = *record;
    const std::type_info& record_class = typeid(object);
    if (file.engine_class == nullptr || *file.engine_class != record_class) {
        if (dynamic_cast<const EngineOutputBase*>(record.get()) == nullptr) {
            throw SerializableError(
                "EngineOutputBase::addSubObject - object not derived from EngineOutputBase");
        }
        file.engine_class = &record_class;
    }
    // The bytes of a new frame holding only the record, without making that frame.
    std::ostream& stream = *file.stream;
    writeBytes(stream, stream.good()
                           ? eod::detail::RecordWriter::viewInNewFrame(frame.frameNum(), *record)
                           : eod::detail::SerializedBytes{nullptr, 0});
}

void EngineOutputDataFileWriter::serializeObject(const Serializable& object, std::ostream& stream) {
    if (!object.serializeEnabled()) {
        return;
    }
    writeBytes(stream, stream.good() ? eod::detail::RecordWriter::view(object)
                                     : eod::detail::SerializedBytes{nullptr, 0});
}

}  // namespace vq::eod::io
