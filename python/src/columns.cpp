// Columns of a recording as NumPy arrays, through the library's column reader. Each batch is a
// new ColumnBatch, and the arrays of a batch own it between them (a capsule), so the values are
// never copied: the reader fills the memory that NumPy, pandas and Arrow then use.
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

#include <nanobind/ndarray.h>
#include <nanobind/stl/optional.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>

#include "bindings.h"

namespace vqpy {

using namespace vq::eod;
using vq::eod::io::ColumnBatch;
using vq::eod::io::ColumnReader;
using vq::eod::io::ColumnReaderOptions;

namespace {

using Array = nb::ndarray<nb::numpy, nb::ndim<1>>;

Table tableOf(const std::string& name) {
    Table table = Table::FRAME;
    if (!tableOfName(name, table)) {
        throw nb::value_error(("no table named '" + name +
                               "'; the tables are frame, gaze_intersections and head_intersections")
                                  .c_str());
    }
    return table;
}

}  // namespace

nb::dlpack::dtype dtypeOf(ColumnType type) {
    switch (type) {
        case ColumnType::BOOL:
            return nb::dtype<bool>();
        case ColumnType::INT8:
            return nb::dtype<std::int8_t>();
        case ColumnType::INT32:
            return nb::dtype<std::int32_t>();
        case ColumnType::UINT32:
            return nb::dtype<std::uint32_t>();
        case ColumnType::INT64:
        case ColumnType::TIMESTAMP_NS:
            return nb::dtype<std::int64_t>();
        case ColumnType::FLOAT32:
            return nb::dtype<float>();
        case ColumnType::FLOAT64:
            return nb::dtype<double>();
        case ColumnType::STRING:
            break;
    }
    return nb::dtype<std::uint8_t>();
}

namespace {

template <typename T>
void fillMissing(const vq::eod::io::Column& column, T value) {
    T* values = const_cast<T*>(column.values<T>());
    const std::uint8_t* valid = column.validity();
    for (std::size_t row = 0; row < column.numRows(); ++row) {
        if (valid[row] == 0) {
            values[row] = value;
        }
    }
}

}  // namespace

void markMissing(const vq::eod::io::Column& column) {
    if (column.type() == ColumnType::FLOAT32) {
        fillMissing(column, std::numeric_limits<float>::quiet_NaN());
    } else if (column.type() == ColumnType::FLOAT64) {
        fillMissing(column, std::numeric_limits<double>::quiet_NaN());
    } else if (column.type() == ColumnType::TIMESTAMP_NS) {
        fillMissing(column, std::numeric_limits<std::int64_t>::min());
    }
}

nb::dict batchDict(std::shared_ptr<ColumnBatch> batch) {
    const std::size_t rows = batch->numRows();
    for (std::size_t i = 0; i < batch->numColumns(); ++i) {
        markMissing(batch->column(i));
    }
    nb::list columns;
    for (std::size_t i = 0; i < batch->numColumns(); ++i) {
        // Each column moves out of the batch (which is this function's alone and dropped at its
        // end) into an owner of its own, so that a column's memory goes as soon as Python drops
        // that column's arrays: a concatenation of batches then needs one column's worth of
        // memory beyond the result, not a whole table's.
        auto* holder =
            new vq::eod::io::Column(std::move(const_cast<vq::eod::io::Column&>(batch->column(i))));
        nb::capsule owner(holder,
                          [](void* p) noexcept { delete static_cast<vq::eod::io::Column*>(p); });
        const auto& column = *holder;
        nb::object values;
        if (column.type() == ColumnType::STRING) {
            // Arrow's layout: rows + 1 offsets into the bytes of the texts.
            nb::object offsets = Array(const_cast<void*>(column.data()), {rows + 1}, owner, {},
                                       nb::dtype<std::int32_t>())
                                     .cast();
            nb::object chars = Array(const_cast<char*>(column.chars()), {column.numChars()}, owner,
                                     {}, nb::dtype<std::uint8_t>())
                                   .cast();
            values = nb::make_tuple(offsets, chars);
        } else {
            values =
                Array(const_cast<void*>(column.data()), {rows}, owner, {}, dtypeOf(column.type()))
                    .cast();
        }
        nb::object valid = nb::none();
        if (std::memchr(column.validity(), 0, rows) != nullptr) {
            valid = Array(const_cast<std::uint8_t*>(column.validity()), {rows}, owner, {},
                          nb::dtype<bool>())
                        .cast();
        }
        columns.append(nb::make_tuple(column.info().name, values, valid));
    }
    nb::dict result;
    result["rows"] = rows;
    result["columns"] = columns;
    return result;
}

ColumnReaderOptions optionsOf(const std::string& table,
                              const std::optional<std::vector<int>>& kinds,
                              const std::optional<std::vector<std::string>>& columns,
                              std::optional<std::uint32_t> first, std::optional<std::uint32_t> last,
                              std::optional<double> start, std::optional<double> end,
                              std::size_t batch_rows) {
    ColumnReaderOptions options;
    options.table = tableOf(table);
    if (kinds) {
        for (int kind : *kinds) {
            options.kinds.push_back(static_cast<char>(kind));
        }
    }
    if (columns) {
        for (const std::string& name : *columns) {
            if (columnIndex(options.table, name) < 0) {
                throw nb::value_error(
                    ("no column named '" + name + "' in the table " + table).c_str());
            }
        }
        options.columns = *columns;
    }
    if (first)
        options.first_frame = *first;
    if (last)
        options.last_frame = *last;
    if (start)
        options.start_s = *start;
    if (end)
        options.end_s = *end;
    if (batch_rows == 0) {
        throw nb::value_error("batches hold at least one row");
    }
    options.batch_rows = batch_rows;
    return options;
}

std::unique_ptr<ColumnReader> openColumnReader(const std::string& path, ColumnReaderOptions options,
                                               std::optional<std::uint32_t> first) {
    return withPath(path, [&] {
        nb::gil_scoped_release release;
        if (first && vq::eod::io::DecompressingFileReader::isCompressedFrameFile(path)) {
            // A compressed file's index finds the chunk of the first frame: only that chunk and
            // those after it are read.
            auto source = std::make_unique<vq::eod::io::CompressedFrameSource>(path);
            source->reader().seekFrame(*first);
            std::vector<std::unique_ptr<vq::eod::io::FrameSource>> sources;
            sources.push_back(std::move(source));
            return std::make_unique<ColumnReader>(std::move(sources), std::move(options));
        }
        return std::make_unique<ColumnReader>(path, std::move(options));
    });
}

namespace {

class Reader {
public:
    Reader(const std::string& path, const std::string& table, std::optional<std::vector<int>> kinds,
           std::optional<std::vector<std::string>> columns, std::optional<std::uint32_t> first,
           std::optional<std::uint32_t> last, std::optional<double> start,
           std::optional<double> end, std::size_t batch_rows,
           std::optional<std::uint64_t> max_frames)
        : _path(path) {
        ColumnReaderOptions options =
            optionsOf(table, kinds, columns, first, last, start, end, batch_rows);
        if (max_frames) {
            options.max_frames = *max_frames;
        }
        _max_frames = options.max_frames;
        _batch_rows = batch_rows;
        _frame_table = options.table == Table::FRAME;
        _reader = openColumnReader(_path, std::move(options), first);
    }

    // The next batch, or None at the end. A damaged file gives the rows before the damage
    // first and its error on the next call.
    std::optional<nb::dict> next() {
        if (_error) {
            std::exception_ptr error = _error;
            _error = nullptr;
            _done = true;
            std::rethrow_exception(error);
        }
        // Each call sizes a new batch for batch_rows rows, so no call is made once the end is
        // known: a frame table's batch that came back short, or the frames wanted all taken.
        if (_done || _reader->framesTaken() >= _max_frames) {
            _done = true;
            return std::nullopt;
        }
        auto batch = std::make_shared<ColumnBatch>();
        bool more = false;
        {
            nb::gil_scoped_release release;
            try {
                withPath(_path, [&] { more = _reader->next(*batch); });
            } catch (...) {
                _error = std::current_exception();
                more = batch->numRows() > 0;
            }
        }
        if (!more) {
            _done = true;
            if (_error) {
                return next();
            }
            return std::nullopt;
        }
        _done = _frame_table && !_error && batch->numRows() < _batch_rows;
        return batchDict(std::move(batch));
    }

private:
    std::string _path;
    std::unique_ptr<ColumnReader> _reader;
    std::exception_ptr _error;
    std::uint64_t _max_frames = 0;
    std::size_t _batch_rows = 0;
    bool _frame_table = true;
    bool _done = false;
};

nb::list columnTable(const std::string& table) {
    nb::list list;
    for (const ColumnInfo& info : columns(tableOf(table))) {
        nb::dict column;
        column["name"] = info.name;
        column["type"] = columnTypeName(info.type);
        column["unit"] = info.unit;
        column["frame"] = info.frame;
        column["kind"] = info.kind;
        column["description"] = info.description;
        column["legend"] = info.legend;
        list.append(column);
    }
    return list;
}

}  // namespace

void bindColumns(nb::module_& m) {
    nb::class_<Reader>(m, "ColumnReader", "Column batches of a recording.")
        .def(nb::init<const std::string&, const std::string&, std::optional<std::vector<int>>,
                      std::optional<std::vector<std::string>>, std::optional<std::uint32_t>,
                      std::optional<std::uint32_t>, std::optional<double>, std::optional<double>,
                      std::size_t, std::optional<std::uint64_t>>(),
             nb::arg("path"), nb::arg("table"), nb::arg("kinds").none(), nb::arg("columns").none(),
             nb::arg("first").none(), nb::arg("last").none(), nb::arg("start").none(),
             nb::arg("end").none(), nb::arg("batch_rows"),
             nb::arg("max_frames").none() = nb::none())
        .def("next", &Reader::next, "The next batch, or None at the end.");

    m.def("columns", &columnTable, nb::arg("table"),
          "The table of columns: name, type, unit, frame, kind, description and legend.");
    m.def(
        "scan",
        [](const std::string& path, std::optional<std::vector<int>> kinds,
           std::optional<std::uint32_t> first, std::optional<std::uint32_t> last,
           std::optional<double> start, std::optional<double> end) {
            ColumnReaderOptions options =
                optionsOf("frame", kinds, std::nullopt, first, last, start, end, 4096);
            vq::eod::io::RecordingSummary summary = withPath(path, [&] {
                nb::gil_scoped_release release;
                return vq::eod::io::scanRecording(path, options);
            });
            std::vector<int> found;
            for (char kind : summary.kinds) {
                found.push_back(static_cast<unsigned char>(kind));
            }
            return nb::make_tuple(summary.frames, found, summary.more_faces);
        },
        nb::arg("path"), nb::arg("kinds").none(), nb::arg("first").none(), nb::arg("last").none(),
        nb::arg("start").none(), nb::arg("end").none(),
        "(frames, kinds, frames with more than one face set) of the selected frames.");
    m.def(
        "chunk_index",
        [](const std::string& path) -> std::optional<nb::list> {
            if (!vq::eod::io::DecompressingFileReader::isCompressedFrameFile(path)) {
                return std::nullopt;
            }
            std::vector<vq::eod::io::DecompressingFileReader::Chunk> chunks;
            withPath(path, [&] {
                nb::gil_scoped_release release;
                vq::eod::io::DecompressingFileReader reader;
                reader.open(path);
                chunks = reader.chunks();
            });
            nb::list list;
            for (const auto& chunk : chunks) {
                if (chunk.frames > 0 && chunk.damage.empty()) {
                    list.append(nb::make_tuple(chunk.first_frame, chunk.last_frame, chunk.frames,
                                               chunk.first_time, chunk.last_time));
                }
            }
            return list;
        },
        nb::arg("path"),
        "The intact chunks of a compressed frame file as (first frame number, last frame "
        "number, frames, first time_s, last time_s), times NaN where no frame is timed; None "
        "for any other file.");
}

}  // namespace vqpy
