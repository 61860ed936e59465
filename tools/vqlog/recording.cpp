#include "vqlog/recording.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <system_error>

#include "vqlog/kinds.h"

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

FrameSource::FrameSource(const std::string& path, Selection selection)
    : _selection(std::move(selection)), _per_kind(isDirectory(path)) {
    if (_per_kind) {
        _reader.openFiles(path);
        _files = logFiles(path);
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
        if (frame->frameNum() < _selection.from || !keepKinds(*frame, _selection.kinds)) {
            continue;
        }
        ++_delivered;
        return frame;
    }
    return FramePtr();
}

void prepareOutput(const std::string& path, bool directory) {
    std::error_code error;
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
        _packed->newFile(_path, options);
        _paths.push_back(_path);
        _per_kind = false;
    } else if (!_per_kind) {
        _single.newFile(_path, _buffer_size);
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
    for (char id : kinds) {
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
