// Shared checks of the fuzz targets.
#pragma once

#include <unistd.h>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <string>
#include <system_error>

#include "vq/corelog.h"

namespace vqfuzz {

// Fails the run loudly: libFuzzer and the replay program both report an abort as a finding.
[[noreturn]] inline void fail(const char* what) {
    std::fprintf(stderr, "invariant broken: %s\n", what);
    std::abort();
}

// The bytes of an object, also of one that is disabled (which serialize() refuses), so that
// two objects can be compared.
inline vq::eod::ByteBuffer serialized(const vq::eod::Serializable& object) {
    vq::eod::ByteBuffer bytes;
    if (object.serializeEnabled()) {
        object.serialize(bytes);
        return bytes;
    }
    std::unique_ptr<vq::eod::Serializable> copy(object.clone());
    if (auto* record = dynamic_cast<vq::eod::EngineOutputBase*>(copy.get())) {
        record->setSerializeEnabled(true);
        record->serialize(bytes);
    }
    bytes.insert(bytes.begin(), 0);  // tells it apart from the enabled object
    return bytes;
}

// The cells of the rows of a read that `keep` keeps, row by row (those a read gave before its
// error too: they stay in the batch), then the error.
template <typename Keep>
inline std::string readCells(const std::string& path,
                             const vq::eod::io::ColumnReaderOptions& options, Keep keep) {
    using namespace vq::eod::io;
    std::string out;
    ColumnBatch batch;
    auto take = [&out, &batch, &keep] {
        for (std::size_t row = 0; row < batch.numRows(); ++row) {
            if (!keep(batch, row)) {
                continue;
            }
            for (std::size_t i = 0; i < batch.numColumns(); ++i) {
                const Column& c = batch.column(i);
                out += static_cast<char>(c.valid(row));
                const std::size_t width = vq::eod::columnTypeSize(c.type());
                if (width == 0) {
                    const auto* offsets = c.values<std::uint32_t>();
                    out.append(c.chars() + offsets[row], offsets[row + 1] - offsets[row]);
                } else {
                    out.append(static_cast<const char*>(c.data()) + row * width, width);
                }
            }
        }
    };
    try {
        ColumnReader reader(path, options);
        while (reader.next(batch)) {
            take();
        }
    } catch (const vq::eod::EODError& error) {
        take();
        out += "error: ";
        out += error.what();
    }
    return out;
}

// The rows of the frame table of a recording that a time range taking every time takes.
inline std::string timedRows(const std::string& path, bool one_by_one) {
    vq::eod::io::ColumnReaderOptions options;
    options.batch_rows = 5;
    if (one_by_one) {
        options.start_s = std::numeric_limits<double>::lowest();
    }
    return readCells(path, options, [](const vq::eod::io::ColumnBatch& batch, std::size_t row) {
        const int time = batch.find("time_s");
        if (time < 0) {
            return false;
        }
        const vq::eod::io::Column& t = batch.column(static_cast<std::size_t>(time));
        return t.valid(row) && t.values<double>()[row] >= std::numeric_limits<double>::lowest();
    });
}

// Every row of a long table. `one_by_one` selects every record kind, which keeps every record
// and frame as no selection does, but reads frame by frame.
inline std::string longRows(const std::string& path, vq::eod::Table table, bool one_by_one) {
    vq::eod::io::ColumnReaderOptions options;
    options.table = table;
    options.batch_rows = 5;
    for (int kind = -128; one_by_one && kind < 128; ++kind) {
        options.kinds.push_back(static_cast<char>(kind));
    }
    return readCells(path, options,
                     [](const vq::eod::io::ColumnBatch&, std::size_t) { return true; });
}

// The column reader gives the same rows and error whether it takes frames of repeated shapes a
// run at a time or one by one: the frame table under a time range that takes every frame with a
// timing record, the long tables with every kind selected.
inline void checkRuns(const std::string& path) {
    if (timedRows(path, false) != timedRows(path, true)) {
        fail("the column reader's runs give other rows than frames read one by one");
    }
    for (vq::eod::Table table :
         {vq::eod::Table::GAZE_INTERSECTIONS, vq::eod::Table::HEAD_INTERSECTIONS}) {
        if (longRows(path, table, false) != longRows(path, table, true)) {
            fail("the column reader's runs give other long-table rows than frames one by one");
        }
    }
}

// Whatever decodes re-encodes to bytes that decode again to the same bytes: the first encoding
// may normalise what it read (a bool byte of 7 becomes 1), but from then on nothing changes.
inline void checkReencodes(const vq::eod::Serializable& object) {
    if (!object.serializeEnabled()) {
        return;  // a disabled record is never written on its own
    }
    vq::eod::ByteBuffer first;
    object.serialize(first);
    int pos = 0;
    boost::shared_ptr<vq::eod::Serializable> again =
        vq::eod::SerializableFactory::newObject(first, pos);
    if (!again || pos != static_cast<int>(first.size())) {
        fail("a re-encoded object does not decode whole");
    }
    vq::eod::ByteBuffer second;
    again->serialize(second);
    if (second != first) {
        fail("a re-encoded object encodes differently the second time");
    }
}

// A directory of the process's own for the files a target writes, on a memory file system when
// there is one (fast, and nothing reaches a disk); removed with its contents at exit.
class ScratchDir {
public:
    ScratchDir() {
        std::error_code error;
        const std::filesystem::path shm = "/dev/shm";
        const std::filesystem::path base = std::filesystem::is_directory(shm, error)
                                               ? shm
                                               : std::filesystem::temp_directory_path();
        _path = (base / ("vq_fuzz_" + std::to_string(::getpid()))).string();
        std::filesystem::remove_all(_path, error);
        if (!std::filesystem::create_directories(_path, error)) {
            fail("cannot make a scratch directory");
        }
    }
    ~ScratchDir() {
        std::error_code error;
        std::filesystem::remove_all(_path, error);
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    const std::string& path() const { return _path; }
    // Writes a file of the directory anew and returns its path.
    std::string write(const std::string& name, const std::uint8_t* data, std::size_t size) const {
        const std::string file = _path + "/" + name;
        std::ofstream out(file, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
        if (!out.flush()) {
            fail("cannot write a scratch file");
        }
        return file;
    }
    // Removes every file of the directory.
    void clear() const {
        std::error_code error;
        for (const auto& entry : std::filesystem::directory_iterator(_path, error)) {
            std::filesystem::remove_all(entry.path(), error);
        }
    }

private:
    std::string _path;
};

}  // namespace vqfuzz
