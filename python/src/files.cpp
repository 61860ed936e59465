// Log files through the object path: a reader that hands out frames one by one (the library's
// file reader does the merging of per-kind files) and a writer of frames built or read in
// Python.
#include <algorithm>
#include <optional>
#include <set>
#include <vector>

#include <nanobind/stl/optional.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>

#include "bindings.h"

namespace vqpy {

using namespace vq::eod;
using vq::eod::io::EngineOutputDataFileReader;
using vq::eod::io::EngineOutputDataFileWriter;

namespace {

// Frames of one recording in frame-number order, those outside the selection left out.
class FrameReader {
public:
    FrameReader(const std::string& path, bool directory, std::optional<std::vector<int>> kinds,
                std::optional<unsigned long long> first, std::optional<unsigned long long> last,
                std::optional<double> start, std::optional<double> end)
        : _path(path), _first(first), _last(last), _start(start), _end(end) {
        if (kinds) {
            for (int kind : *kinds) {
                _kinds.push_back(static_cast<char>(kind));
            }
            std::sort(_kinds.begin(), _kinds.end());
        }
        withPath(_path, [&] {
            if (!directory && vq::eod::io::DecompressingFileReader::isCompressedFrameFile(path)) {
                _compressed.emplace();
                _compressed->open(path);
            } else if (!directory) {
                _reader.openFile(path);
            } else if (kinds) {
                _reader.openFiles(_kinds, path);
            } else {
                _reader.openFiles(path);
            }
        });
        _filter_kinds = kinds.has_value() && !directory;
    }

    // The next frame of the selection as a Python object; StopIteration at the end. A damaged
    // file gives the frames before the damage first, then raises its error, then ends. Frames are
    // decoded one at a time in the calling thread, as the loop asks for them: the frame the loop
    // let go of has given its records back to the library's pools, and the next frame is built
    // into them without allocating.
    Frame next() {
        boost::shared_ptr<EngineOutputData> frame;
        if (!_done) {
            try {
                frame = withPath(_path, [&] { return nextSelected(); });
            } catch (...) {
                _done = true;
                throw;
            }
        }
        if (!frame) {
            throw nb::stop_iteration();
        }
        return Frame{std::move(frame)};
    }

private:
    boost::shared_ptr<EngineOutputData> nextSelected() {
        for (;;) {
            boost::shared_ptr<EngineOutputData> frame =
                _compressed ? _compressed->readData() : _reader.readData();
            if (!frame) {
                _done = true;
                return nullptr;
            }
            const unsigned long long num = frame->frameNum();
            if (_last && num > *_last) {
                _done = true;  // frames come in frame-number order
                return nullptr;
            }
            if ((_first && num < *_first) || !inTime(*frame) || !keepKinds(*frame)) {
                continue;
            }
            return frame;
        }
    }

    bool inTime(const EngineOutputData& frame) const {
        if (!_start && !_end) {
            return true;
        }
        auto timing = frame.timingOutputData();
        if (!timing) {
            return false;
        }
        const double t = timing->experimentTime();
        return (!_start || t >= *_start) && (!_end || t <= *_end);
    }

    // In a single file: removes the records of other kinds; false when none is left.
    bool keepKinds(EngineOutputData& frame) const {
        if (!_filter_kinds) {
            return true;
        }
        for (const auto& record : frame.subObjects()) {
            const char id = record->objectID();
            if (!std::binary_search(_kinds.begin(), _kinds.end(), id)) {
                frame.removeSubObject(*record);
            }
        }
        return frame.numSubObjects() > 0;
    }

    EngineOutputDataFileReader _reader;
    std::optional<vq::eod::io::DecompressingFileReader> _compressed;  // a compressed frame file
    std::string _path;
    std::vector<char> _kinds;
    bool _filter_kinds = false;
    std::optional<unsigned long long> _first;
    std::optional<unsigned long long> _last;
    std::optional<double> _start;
    std::optional<double> _end;
    bool _done = false;  // the end reached or an error raised
};

// Writes frames to one log file or to one file per record kind.
class Writer {
public:
    Writer(const std::string& path, bool per_kind, std::optional<std::vector<int>> kinds,
           const std::string& suffix, int buffer_size)
        : _path(path), _per_kind(per_kind), _suffix(suffix), _buffer_size(buffer_size) {
        if (buffer_size <= 0) {
            throw nb::value_error("buffer_size must be positive");
        }
        if (kinds) {
            if (!per_kind) {
                throw nb::value_error("kinds are for per-kind files only");
            }
            for (int kind : *kinds) {
                _kinds.push_back(static_cast<char>(kind));
            }
            open();
        } else if (!per_kind) {
            withPath(_path, [&] { _writer.newFile(_path, _buffer_size); });
        }
    }

    void write(const Frame& frame) {
        if (_closed) {
            throw nb::value_error("the writer is closed");
        }
        if (_per_kind) {
            if (_kinds.empty()) {
                for (const auto& record : frame.data->subObjects()) {
                    _kinds.push_back(record->objectID());
                }
                open();
            }
            for (const auto& record : frame.data->subObjects()) {
                if (_open_kinds.count(record->objectID()) == 0) {
                    throw nb::value_error(("frame " + std::to_string(frame.data->frameNum()) +
                                           " holds a record of kind " +
                                           std::to_string(int(record->objectID())) +
                                           ", which has no file among this writer's kinds")
                                              .c_str());
                }
            }
        }
        withPath(_path, [&] { _writer.writeData(*frame.data); });
    }

    void close() {
        if (_closed) {
            return;
        }
        _closed = true;
        withPath(_path, [&] { _writer.closeFiles(); });
    }

    std::vector<int> kinds() const { return std::vector<int>(_kinds.begin(), _kinds.end()); }

private:
    void open() {
        withPath(_path, [&] {
            for (char id : _kinds) {
                // An unknown kind raises FileError here, before any file is made.
                EngineOutputDataFileWriter::objectIDToFileName(id);
            }
            _writer.newFiles(_kinds, _path, _suffix, _buffer_size);
        });
        _open_kinds.insert(_kinds.begin(), _kinds.end());
    }

    EngineOutputDataFileWriter _writer;
    std::string _path;
    bool _per_kind;
    std::string _suffix;
    int _buffer_size;
    std::vector<char> _kinds;
    std::set<char> _open_kinds;
    bool _closed = false;
};

}  // namespace

void bindFiles(nb::module_& m) {
    nb::class_<FrameReader>(m, "FrameReader", "Frames of a recording, one at a time.")
        .def(nb::init<const std::string&, bool, std::optional<std::vector<int>>,
                      std::optional<unsigned long long>, std::optional<unsigned long long>,
                      std::optional<double>, std::optional<double>>(),
             nb::arg("path"), nb::arg("directory"), nb::arg("kinds").none(),
             nb::arg("first").none(), nb::arg("last").none(), nb::arg("start").none(),
             nb::arg("end").none())
        .def("__iter__", [](nb::handle self) { return self; })
        .def("__next__", &FrameReader::next, "The next frame; StopIteration at the end.");

    nb::class_<Writer>(m, "FrameWriter", "Writes frames to log files.")
        .def(nb::init<const std::string&, bool, std::optional<std::vector<int>>, const std::string&,
                      int>(),
             nb::arg("path"), nb::arg("per_kind"), nb::arg("kinds").none(), nb::arg("suffix"),
             nb::arg("buffer_size"))
        .def("write", &Writer::write, nb::arg("frame"))
        .def("close", &Writer::close)
        .def_prop_ro("kinds", &Writer::kinds);

    m.def(
        "kind_file_name",
        [](int kind) -> std::optional<std::string> {
            try {
                const std::wstring name =
                    EngineOutputDataFileWriter::objectIDToFileName(static_cast<char>(kind));
                return std::string(name.begin(), name.end());
            } catch (const vq::eod::io::EngineOutputDataFileError&) {
                return std::nullopt;
            }
        },
        nb::arg("kind"), "The file base name of a record kind in per-kind recordings, or None.");
}

}  // namespace vqpy
