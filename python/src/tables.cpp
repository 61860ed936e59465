// A whole table read into NumPy arrays in one call. The column reader fills a few small batches
// in turn, which stay in the processor's caches; a second thread appends each filled batch to
// the table's columns and hands it back, so copying overlaps reading. Each column is anonymous
// memory grown by mremap, which moves pages rather than copying their bytes, and becomes the
// NumPy arrays as it stands: the values are copied once, from a batch into the result.
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <limits>
#include <mutex>
#include <new>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include <nanobind/stl/optional.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>

#include "bindings.h"

namespace vqpy {

using namespace vq::eod;
using vq::eod::io::Column;
using vq::eod::io::ColumnBatch;
using vq::eod::io::ColumnReader;

namespace {

using Array = nb::ndarray<nb::numpy, nb::ndim<1>>;

// Memory that grows at its end: anonymous pages, grown by mremap. A buffer's first mapping
// reserves RESERVE_BYTES of address space (MIN_BYTES where the address space is limited or
// the kernel commits memory strictly), growth maps twice the room; only the pages written to
// take memory. A column that stays within its reservation never moves: a move (mremap's)
// interrupts the reading thread to flush its TLB, and some 400 of them in a table read cost it
// a few per cent. settle() gives back the rest, and moves a small buffer to the heap: each
// mapping is one of the process's memory areas, of which Linux allows some 65,000, and a
// program may hold many small tables.
class Pages {
public:
    static constexpr std::size_t MIN_BYTES = 1 << 16;
    static constexpr std::size_t RESERVE_BYTES = 1 << 24;
    static constexpr std::size_t HEAP_BYTES = 1 << 18;  // settle() moves less to the heap

    Pages() = default;
    Pages(Pages&& other) noexcept
        : _data(std::exchange(other._data, nullptr)),
          _size(std::exchange(other._size, 0)),
          _mapped(std::exchange(other._mapped, 0)) {}
    Pages& operator=(Pages&&) = delete;
    ~Pages() {
        if (_mapped > 0) {
            munmap(_data, _mapped);
        } else {
            std::free(_data);
        }
    }

    unsigned char* data() const { return _data; }
    std::size_t size() const { return _size; }

    // Where `bytes` more go, at the end; the size grows by them. Throws std::bad_alloc.
    unsigned char* extend(std::size_t bytes) {
        if (bytes > _mapped - _size) {
            grow(bytes);
        }
        unsigned char* at = _data + _size;
        _size += bytes;
        return at;
    }

    // Done growing: less than HEAP_BYTES move to the heap, the pages of more stay mapped but for
    // those beyond the size.
    void settle() {
        if (_mapped == 0) {
            return;
        }
        if (_size < HEAP_BYTES) {
            auto* heap = static_cast<unsigned char*>(std::malloc(std::max<std::size_t>(_size, 1)));
            if (heap == nullptr) {
                throw std::bad_alloc();
            }
            std::memcpy(heap, _data, _size);
            munmap(_data, _mapped);
            _data = heap;
            _mapped = 0;
        } else if (roundUp(_size) < _mapped) {
            munmap(_data + roundUp(_size), _mapped - roundUp(_size));
            _mapped = roundUp(_size);
        }
    }

private:
    static std::size_t pageBytes() {
        static const std::size_t bytes = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        return bytes;
    }
    // RESERVE_BYTES, or MIN_BYTES under a limit of the address space (RLIMIT_AS) or strict
    // overcommit (vm.overcommit_memory 2, where a reservation is committed memory).
    static std::size_t firstBytes() {
        static const std::size_t bytes = [] {
            rlimit limit{};
            if (getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur != RLIM_INFINITY) {
                return MIN_BYTES;
            }
            std::FILE* file = std::fopen("/proc/sys/vm/overcommit_memory", "r");
            int mode = 2;
            if (file != nullptr) {
                if (std::fscanf(file, "%d", &mode) != 1) {
                    mode = 2;
                }
                std::fclose(file);
            }
            return mode == 2 ? MIN_BYTES : RESERVE_BYTES;
        }();
        return bytes;
    }
    static std::size_t roundUp(std::size_t bytes) {
        return (bytes + pageBytes() - 1) / pageBytes() * pageBytes();
    }

    void grow(std::size_t bytes) {
        if (bytes > std::numeric_limits<std::size_t>::max() / 4 - _size) {
            throw std::bad_alloc();
        }
        std::size_t mapped = roundUp(std::max(_size + bytes, 2 * _mapped));
        void* data = MAP_FAILED;
        if (_data != nullptr) {
            data = mremap(_data, _mapped, mapped, MREMAP_MAYMOVE);
        } else {
            for (std::size_t first : {firstBytes(), MIN_BYTES}) {
                mapped = roundUp(std::max(_size + bytes, first));
                data = mmap(nullptr, mapped, PROT_READ | PROT_WRITE,
                            MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
                if (data != MAP_FAILED) {
                    break;
                }
            }
        }
        if (data == MAP_FAILED) {
            throw std::bad_alloc();
        }
        _data = static_cast<unsigned char*>(data);
        _mapped = mapped;
    }

    unsigned char* _data = nullptr;
    std::size_t _size = 0;
    std::size_t _mapped = 0;
};

// One column of the table: its values (for text the rows + 1 offsets), its validity bytes once
// a row lacks a value (before that every row had one) and for text the bytes of the texts.
struct TableColumn {
    const ColumnInfo* info = nullptr;
    bool masked = true;  // keeps validity; false for floats and times, whose NaN and NaT tell
    bool gaps = false;   // some row lacks a value: `valid` holds one byte for each row
    std::size_t rows = 0;
    Pages values;
    Pages valid;
    Pages chars;

    // Appends the rows of a batch's column, setting NaN and NaT in it first.
    void append(const Column& column) {
        const std::size_t n = column.numRows();
        markMissing(column);
        if (info->type == ColumnType::STRING) {
            appendText(column);
        } else {
            const std::size_t bytes = n * columnTypeSize(info->type);
            std::memcpy(values.extend(bytes), column.data(), bytes);
        }
        if (masked) {
            if (!gaps && std::memchr(column.validity(), 0, n) != nullptr) {
                gaps = true;
                std::memset(valid.extend(rows), 1, rows);
            }
            if (gaps) {
                std::memcpy(valid.extend(n), column.validity(), n);
            }
        }
        rows += n;
    }

    // A batch's text offsets count from the start of its bytes, the table's from the start of
    // the table's; NumPy and Arrow read them as int32, so a column holds less than 2 GiB of text.
    void appendText(const Column& column) {
        const std::size_t n = column.numRows();
        const auto* offsets = column.values<std::uint32_t>();
        const std::size_t base = chars.size();
        if (base + column.numChars() > static_cast<std::size_t>(INT32_MAX)) {
            throw std::overflow_error("more than 2 GiB of text in one column");
        }
        auto* out = reinterpret_cast<std::uint32_t*>(values.extend(n * sizeof(std::uint32_t)));
        for (std::size_t row = 0; row < n; ++row) {
            out[row] = static_cast<std::uint32_t>(offsets[row + 1] + base);
        }
        std::memcpy(chars.extend(column.numChars()), column.chars(), column.numChars());
    }
};

// Reads the table: the calling thread fills batches, a copier thread appends them. The copier
// starts with the second batch, so a table of one batch is copied by the calling thread alone.
class TableRead {
public:
    // Rows of a batch: a frame table's batch of 1024 rows (about 480 KB) stays in a core's
    // cache while the reader fills it; batches of 4096 rows read about a fifth slower.
    static constexpr std::size_t BATCH_ROWS = 1024;
    static constexpr std::size_t BATCHES = 3;
    // Batches between two looks for a signal (Ctrl-C) to the interpreter.
    static constexpr std::size_t SIGNAL_BATCHES = 64;

    TableRead(ColumnReader& reader, std::vector<TableColumn>& columns, const std::string& path)
        : _reader(reader), _columns(columns), _path(path) {
        for (auto& batch : _batches) {
            _free.push_back(&batch);
        }
    }

    // Runs with the GIL released; the reader's, the copier's or the interpreter's error (a
    // signal) passes through once both threads have stopped.
    void run() {
        std::thread copier;
        std::exception_ptr error;
        ColumnBatch* first = nullptr;
        try {
            for (std::size_t count = 1;; ++count) {
                ColumnBatch* batch = takeFree();
                if (batch == nullptr || !withPath(_path, [&] { return _reader.next(*batch); })) {
                    break;
                }
                if (first == nullptr) {
                    first = batch;
                    continue;
                }
                if (!copier.joinable()) {
                    copier = std::thread([this] { copy(); });
                    hand(first);
                }
                hand(batch);
                if (count % SIGNAL_BATCHES == 0) {
                    nb::gil_scoped_acquire acquire;
                    if (PyErr_CheckSignals() != 0) {
                        throw nb::python_error();
                    }
                }
            }
            if (first != nullptr && !copier.joinable()) {
                appendBatch(*first);
            }
        } catch (...) {
            error = std::current_exception();
        }
        {
            std::lock_guard<std::mutex> lock(_mutex);
            _ended = true;
        }
        _wake.notify_all();
        if (copier.joinable()) {
            copier.join();
        }
        if (!error) {
            error = _copyError;
        }
        if (error) {
            std::rethrow_exception(error);
        }
    }

private:
    // A batch to fill, or nullptr once the copier has failed.
    ColumnBatch* takeFree() {
        std::unique_lock<std::mutex> lock(_mutex);
        _wake.wait(lock, [&] { return !_free.empty() || _copyError; });
        if (_copyError) {
            return nullptr;
        }
        ColumnBatch* batch = _free.back();
        _free.pop_back();
        return batch;
    }

    void hand(ColumnBatch* batch) {
        {
            std::lock_guard<std::mutex> lock(_mutex);
            _full.push_back(batch);
        }
        _wake.notify_all();
    }

    void appendBatch(const ColumnBatch& batch) {
        for (std::size_t i = 0; i < batch.numColumns(); ++i) {
            _columns[i].append(batch.column(i));
        }
    }

    void copy() {
        std::unique_lock<std::mutex> lock(_mutex);
        for (;;) {
            _wake.wait(lock, [&] { return !_full.empty() || _ended; });
            if (_full.empty()) {
                return;
            }
            ColumnBatch* batch = _full.front();
            _full.pop_front();
            lock.unlock();
            try {
                appendBatch(*batch);
            } catch (...) {
                lock.lock();
                _copyError = std::current_exception();
                _wake.notify_all();
                return;
            }
            lock.lock();
            _free.push_back(batch);
            _wake.notify_all();
        }
    }

    ColumnReader& _reader;
    std::vector<TableColumn>& _columns;
    const std::string& _path;
    ColumnBatch _batches[BATCHES];
    std::mutex _mutex;
    std::condition_variable _wake;
    std::vector<ColumnBatch*> _free;
    std::deque<ColumnBatch*> _full;
    bool _ended = false;
    std::exception_ptr _copyError;
};

// The arrays of a column; they own its memory between them.
nb::tuple columnArrays(TableColumn& column) {
    column.values.settle();
    column.valid.settle();
    column.chars.settle();
    const std::size_t rows = column.rows;
    const bool gaps = column.gaps;
    const ColumnType type = column.info->type;
    const std::string& name = column.info->name;
    auto* holder = new TableColumn(std::move(column));
    nb::capsule owner(holder, [](void* p) noexcept { delete static_cast<TableColumn*>(p); });
    nb::object values;
    if (type == ColumnType::STRING) {
        nb::object offsets =
            Array(holder->values.data(), {rows + 1}, owner, {}, nb::dtype<std::int32_t>()).cast();
        nb::object chars = Array(holder->chars.data(), {holder->chars.size()}, owner, {},
                                 nb::dtype<std::uint8_t>())
                               .cast();
        values = nb::make_tuple(offsets, chars);
    } else {
        values = Array(holder->values.data(), {rows}, owner, {}, dtypeOf(type)).cast();
    }
    nb::object valid = nb::none();
    if (gaps) {
        valid = Array(holder->valid.data(), {rows}, owner, {}, nb::dtype<bool>()).cast();
    }
    return nb::make_tuple(name, values, valid);
}

nb::dict readTable(const std::string& path, const std::string& table,
                   std::optional<std::vector<int>> kinds,
                   std::optional<std::vector<std::string>> columns,
                   std::optional<std::uint32_t> first, std::optional<std::uint32_t> last,
                   std::optional<double> start, std::optional<double> end, bool float_masks,
                   std::size_t batch_rows) {
    auto options = optionsOf(table, kinds, columns, first, last, start, end, batch_rows);
    const auto& infos = vq::eod::columns(options.table);
    auto reader = openColumnReader(path, std::move(options), first);
    std::vector<TableColumn> result(reader->selectedColumns().size());
    for (std::size_t i = 0; i < result.size(); ++i) {
        TableColumn& column = result[i];
        column.info = &infos[reader->selectedColumns()[i]];
        const ColumnType type = column.info->type;
        column.masked =
            float_masks || !(type == ColumnType::FLOAT32 || type == ColumnType::FLOAT64 ||
                             type == ColumnType::TIMESTAMP_NS);
        if (type == ColumnType::STRING) {
            *reinterpret_cast<std::uint32_t*>(column.values.extend(sizeof(std::uint32_t))) = 0;
        }
    }
    {
        nb::gil_scoped_release release;
        TableRead(*reader, result, path).run();
    }
    nb::list list;
    for (TableColumn& column : result) {
        list.append(columnArrays(column));
    }
    nb::dict dict;
    dict["rows"] = result.empty() ? 0 : result.front().rows;
    dict["columns"] = list;
    return dict;
}

}  // namespace

void bindTables(nb::module_& m) {
    m.def("read_table", &readTable, nb::arg("path"), nb::arg("table"), nb::arg("kinds").none(),
          nb::arg("columns").none(), nb::arg("first").none(), nb::arg("last").none(),
          nb::arg("start").none(), nb::arg("end").none(), nb::arg("float_masks"),
          nb::arg("batch_rows") = TableRead::BATCH_ROWS,
          "Every selected row as one batch (the form of ColumnReader.next()). float_masks: "
          "validity for float and timestamp columns too (otherwise None; NaN and NaT tell).");
}

}  // namespace vqpy
