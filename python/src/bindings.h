// Shared pieces of the extension module vq_corelog._core: the frame wrapper, errors that carry
// a path, and the functions that add each group of bindings to the module.
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <nanobind/nanobind.h>
#include <nanobind/ndarray.h>

#include "vq/corelog.h"

namespace vqpy {

namespace nb = nanobind;

// A frame held by Python. The frame is shared with every record object taken from it.
struct Frame {
    boost::shared_ptr<vq::eod::EngineOutputData> data;
};

// A library error raised while working on a file or a host: the library's class name, its
// message and the path (or "host:port") that Python reports with it.
struct PathError : std::exception {
    PathError(std::string class_name_, std::string message_, std::string path_)
        : class_name(std::move(class_name_)),
          message(std::move(message_)),
          path(std::move(path_)) {}
    std::string class_name;
    std::string message;
    std::string path;
    const char* what() const noexcept override { return message.c_str(); }
};

// Runs `work`, turning the library's errors into PathError for `path`.
template <class Work>
auto withPath(const std::string& path, Work&& work) -> decltype(work()) {
    try {
        return std::forward<Work>(work)();
    } catch (const vq::eod::EODError& error) {
        throw PathError(error.className(), error.what(), path);
    }
}

// A column batch as {"rows": n, "columns": [(name, values, valid), ...]}: values a NumPy array
// on the batch's own memory (for text a pair of arrays: rows + 1 int32 offsets and the bytes
// they point into), valid a NumPy bool array (True: the row has a value) or None when every row
// has one. Missing floats become NaN and missing timestamps NaT in place.
nb::dict batchDict(std::shared_ptr<vq::eod::io::ColumnBatch> batch);

// Rows the frame lacks hold NaN in floating columns, and the smallest int64 (NumPy's NaT) in
// timestamps, so that those columns need no mask: sets them in the column, in place.
void markMissing(const vq::eod::io::Column& column);

// The NumPy dtype of a column type's values (for STRING: its bytes).
nb::dlpack::dtype dtypeOf(vq::eod::ColumnType type);

// The reader's options from the arguments the bindings take (None: no bound).
vq::eod::io::ColumnReaderOptions optionsOf(const std::string& table,
                                           const std::optional<std::vector<int>>& kinds,
                                           const std::optional<std::vector<std::string>>& columns,
                                           std::optional<std::uint32_t> first,
                                           std::optional<std::uint32_t> last,
                                           std::optional<double> start, std::optional<double> end,
                                           std::size_t batch_rows);

// A column reader of a recording; with a first frame, a compressed file is read from the chunk
// that holds it. The library's errors become PathError. Releases the GIL while opening.
std::unique_ptr<vq::eod::io::ColumnReader> openColumnReader(
    const std::string& path, vq::eod::io::ColumnReaderOptions options,
    std::optional<std::uint32_t> first);

void bindErrors(nb::module_& m);
void bindFrames(nb::module_& m);
void bindFiles(nb::module_& m);
void bindLive(nb::module_& m);
void bindColumns(nb::module_& m);
void bindTables(nb::module_& m);

}  // namespace vqpy
