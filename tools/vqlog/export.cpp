// vqlog export: the table of columns of a recording, as CSV or JSON lines, read through the
// library's column reader.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iostream>
#include <limits>

#define FMT_HEADER_ONLY  // only Dragonbox's shortest digits are used, in this file alone
#include <fmt/format.h>

#include "vqlog/commands.h"
#include "vqlog/compressed.h"
#include "vqlog/kinds.h"
#include "vqlog/recording.h"
#include "vqlog/scanner.h"
#include "vqlog/tabletext.h"
#include "vqlog/terminal.h"

namespace vqlog {

namespace {

using vq::eod::ColumnType;
using vq::eod::Table;
using vq::eod::io::Column;
using vq::eod::io::ColumnBatch;
using vq::eod::io::ColumnReader;
using vq::eod::io::ColumnReaderOptions;

struct ExportOptions {
    std::string path;
    std::string format = "csv";
    std::string output;  // empty: standard output
    std::string table = "frame";
    std::string columns;  // comma-separated; empty: those of the kinds the recording holds
    SelectionOptions select;
};

// The text of a batch: appends without a length check per character (room is made per cell).
class TextBuffer {
public:
    static constexpr std::size_t CELL_ROOM = 64;  // the longest number, timestamp or keyword

    void room(std::size_t bytes) {
        if (_bytes.size() - _used < bytes) {
            _bytes.resize(std::max(2 * _bytes.size(), _used + bytes + (1 << 16)));
        }
    }
    char* end() { return _bytes.data() + _used; }
    void advance(char* to) { _used = static_cast<std::size_t>(to - _bytes.data()); }
    TextBuffer& operator+=(char c) {
        room(1);
        _bytes[_used++] = c;
        return *this;
    }
    TextBuffer& operator+=(std::string_view text) {
        if (text.empty()) {
            return *this;  // no copy from or to a null pointer
        }
        room(text.size());
        std::memcpy(end(), text.data(), text.size());
        _used += text.size();
        return *this;
    }
    const char* data() const { return _bytes.data(); }
    std::size_t size() const { return _used; }
    void clear() { _used = 0; }

private:
    std::vector<char> _bytes;
    std::size_t _used = 0;
};

template <typename T>
void appendNumber(TextBuffer& out, T value) {
    out.room(TextBuffer::CELL_ROOM);
    out.advance(std::to_chars(out.end(), out.end() + TextBuffer::CELL_ROOM, value).ptr);
}

// Two digits per table entry.
constexpr char DIGIT_PAIRS[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

constexpr std::uint64_t POW10[20] = {1ull,
                                     10ull,
                                     100ull,
                                     1000ull,
                                     10000ull,
                                     100000ull,
                                     1000000ull,
                                     10000000ull,
                                     100000000ull,
                                     1000000000ull,
                                     10000000000ull,
                                     100000000000ull,
                                     1000000000000ull,
                                     10000000000000ull,
                                     100000000000000ull,
                                     1000000000000000ull,
                                     10000000000000000ull,
                                     100000000000000000ull,
                                     1000000000000000000ull,
                                     10000000000000000000ull};

// The number of decimal digits of v > 0.
inline int digitCount(std::uint64_t v) {
    const int t = ((64 - __builtin_clzll(v | 1)) * 1233) >> 12;
    return t + (v >= POW10[t] ? 1 : 0);
}

// Exactly 8 digits of v < 10^8 at `p`, leading zeros included.
__attribute__((always_inline)) inline void writeEight(char* p, std::uint32_t v) {
    const std::uint32_t high = v / 10000;
    const std::uint32_t low = v % 10000;
    std::memcpy(p, DIGIT_PAIRS + (high / 100) * 2, 2);
    std::memcpy(p + 2, DIGIT_PAIRS + (high % 100) * 2, 2);
    std::memcpy(p + 4, DIGIT_PAIRS + (low / 100) * 2, 2);
    std::memcpy(p + 6, DIGIT_PAIRS + (low % 100) * 2, 2);
}

// The shortest text that reads back as the finite `value`, character for character what
// std::to_chars(first, last, value) writes: the fixed form when it is not longer than the
// scientific one, exponents of at least two digits. The digits come from fmt's Dragonbox and are
// written eight at a time and moved in blocks, in about half the instructions of std::to_chars.
// Needs 64 characters of room at `out`; what it writes beyond the text is garbage.
template <typename T>
char* shortestText(char* out, T value) {
    if (value == 0) {
        *out = '-';
        out += std::signbit(value) ? 1 : 0;
        *out = '0';
        return out + 1;
    }
    const auto dec = fmt::detail::dragonbox::to_decimal(value);
    const std::uint64_t digits = dec.significand;
    const int e = dec.exponent;
    if (e > 0) {
        return std::to_chars(out, out + 32, value).ptr;  // whole numbers ending in zeros: rare
    }
    *out = '-';
    out += value < 0 ? 1 : 0;
    // The digits right-aligned at text + 24, in blocks of eight.
    char text[56];
    writeEight(text + 16, static_cast<std::uint32_t>(digits % 100000000));
    if (digits >= 100000000) {
        const std::uint64_t upper = digits / 100000000;
        if (upper < 100) {  // a float's ninth digit, or a double of at most ten digits
            std::memcpy(text + 14, DIGIT_PAIRS + upper * 2, 2);
        } else {
            writeEight(text + 8, static_cast<std::uint32_t>(upper % 100000000));
            if (upper >= 100000000) {
                writeEight(text, static_cast<std::uint32_t>(upper / 100000000));
            }
        }
    }
    const int n = digitCount(digits);
    const char* first = text + 24 - n;
    const int x = e + n - 1;  // the scientific exponent
    const int ax = x < 0 ? -x : x;
    const int sci = n + (n > 1 ? 1 : 0) + 2 + (ax >= 100 ? 3 : 2);
    const int fixed = e == 0 ? n : (n + e > 0 ? n + 1 : 2 - e);
    if (fixed <= sci) {
        if (e == 0) {
            std::memcpy(out, first, 24);
            return out + n;
        }
        if (n + e > 0) {  // ddd.ddd
            const int whole = n + e;
            std::memcpy(out, first, 24);
            out[whole] = '.';
            std::memcpy(out + whole + 1, first + whole, 24);
            return out + n + 1;
        }
        // 0.000ddd, at most 3 zeros: else the scientific form is shorter
        const int zeros = -(n + e);
        std::memcpy(out, "0.000", 5);
        std::memcpy(out + 2 + zeros, first, 24);
        return out + 2 + zeros + n;
    }
    // d.ddde-XX
    out[0] = first[0];
    out[1] = '.';
    std::memcpy(out + 2, first + 1, 24);
    char* p = out + (n > 1 ? n + 1 : 1);
    p[0] = 'e';
    p[1] = x < 0 ? '-' : '+';
    p += 2;
    if (ax >= 100) {
        *p++ = static_cast<char>('0' + ax / 100);
    }
    std::memcpy(p, DIGIT_PAIRS + (ax % 100) * 2, 2);
    return p + 2;
}

// A float or double at `out` as the shortest text that reads back as it; not finite: "NaN",
// "Inf", "-Inf" in CSV, null in JSON. Needs CELL_ROOM characters of room.
template <typename T>
char* realText(char* out, T value, bool csv) {
    if (std::isfinite(value)) {
        return shortestText(out, value);
    }
    const std::string_view text =
        !csv ? "null" : (std::isnan(value) ? "NaN" : (value > 0 ? "Inf" : "-Inf"));
    std::memcpy(out, text.data(), text.size());
    return out + text.size();
}

// 2023-11-14T22:13:20.000Z; the date and time of the last second met are kept, since
// neighbouring frames share them.
void appendTimestamp(TextBuffer& out, std::int64_t ns) {
    static std::int64_t last_second = std::numeric_limits<std::int64_t>::min();
    static char second_text[48];
    std::int64_t seconds = ns / 1000000000;
    std::int64_t rest = ns % 1000000000;
    if (rest < 0) {
        rest += 1000000000;
        --seconds;
    }
    if (seconds != last_second) {
        const std::time_t t = static_cast<std::time_t>(seconds);
        std::tm utc{};
        gmtime_r(&t, &utc);
        std::snprintf(second_text, sizeof second_text, "%04d-%02d-%02dT%02d:%02d:%02d",
                      utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min,
                      utc.tm_sec);
        last_second = seconds;
    }
    out += std::string_view(second_text);
    const int millis = static_cast<int>(rest / 1000000);
    const char fraction[6] = {'.',
                              static_cast<char>('0' + millis / 100),
                              static_cast<char>('0' + millis / 10 % 10),
                              static_cast<char>('0' + millis % 10),
                              'Z',
                              0};
    out += std::string_view(fraction, 5);
}

// A label in CSV: bytes outside UTF-8 as \xNN, quoted (RFC 4180) when it holds a comma, a quote
// or a line break.
void appendCsvText(TextBuffer& out, std::string_view raw) {
    std::string escaped;
    std::string_view text = raw;
    if (needsEscape(raw, false)) {
        escaped = escapeLabel(raw, false);
        text = escaped;
    }
    if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
        out += text;
        return;
    }
    out += '"';
    for (char c : text) {
        if (c == '"') {
            out += '"';
        }
        out += c;
    }
    out += '"';
}

// A label as a JSON string: bytes outside UTF-8 as \xNN (so "\\xNN" in JSON), control
// characters as \u00NN.
void appendJsonText(TextBuffer& out, std::string_view raw) {
    std::string escaped;
    std::string_view text = raw;
    if (needsEscape(raw, false)) {
        escaped = escapeLabel(raw, false);
        text = escaped;
    }
    out += '"';
    for (char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
            out += std::string_view(escaped);
        } else {
            out += c;
        }
    }
    out += '"';
}

// One cell; nothing (CSV) or null (JSON) when the row has no value.
void appendCell(TextBuffer& out, const Column& column, std::size_t row, bool csv) {
    if (!column.valid(row)) {
        if (!csv) {
            out += "null";
        }
        return;
    }
    switch (column.type()) {
        case ColumnType::BOOL:
            out += column.values<std::uint8_t>()[row] != 0 ? (csv ? "1" : "true")
                                                           : (csv ? "0" : "false");
            break;
        case ColumnType::INT8:
            appendNumber(out, static_cast<int>(column.values<std::int8_t>()[row]));
            break;
        case ColumnType::INT32:
            appendNumber(out, column.values<std::int32_t>()[row]);
            break;
        case ColumnType::UINT32:
            appendNumber(out, column.values<std::uint32_t>()[row]);
            break;
        case ColumnType::INT64:
            appendNumber(out, column.values<std::int64_t>()[row]);
            break;
        case ColumnType::FLOAT32:
            out.room(TextBuffer::CELL_ROOM);
            out.advance(realText(out.end(), column.values<float>()[row], csv));
            break;
        case ColumnType::FLOAT64:
            out.room(TextBuffer::CELL_ROOM);
            out.advance(realText(out.end(), column.values<double>()[row], csv));
            break;
        case ColumnType::TIMESTAMP_NS:
            if (!csv) {
                out += '"';
            }
            appendTimestamp(out, column.values<std::int64_t>()[row]);
            if (!csv) {
                out += '"';
            }
            break;
        case ColumnType::STRING: {
            const std::uint32_t* offsets = column.values<std::uint32_t>();
            const std::string_view text(column.chars() + offsets[row],
                                        offsets[row + 1] - offsets[row]);
            if (csv) {
                appendCsvText(out, text);
            } else {
                appendJsonText(out, text);
            }
            break;
        }
    }
}

// Writes the rows of batches as CSV lines or JSON objects: each column's type and buffers are
// taken once per batch and room is made once per row, so that numbers, the bulk of the text, are
// written in place; timestamps and labels go through appendCell.
class RowWriter {
public:
    RowWriter(const std::vector<std::string>& names, bool csv) : _csv(csv) {
        for (std::size_t i = 0; i < names.size(); ++i) {
            // JSON keys, each with its quotes and colon.
            _keys.push_back(csv ? std::string(i > 0 ? "," : "")
                                : (i > 0 ? ",\"" : "{\"") + names[i] + "\":");
            _row_room += _keys.back().size() + TextBuffer::CELL_ROOM;
        }
        _row_room += 2;
    }

    void write(TextBuffer& out, const ColumnBatch& batch) {
        _cells.resize(batch.numColumns());
        for (std::size_t c = 0; c < _cells.size(); ++c) {
            const Column& column = batch.column(c);
            _cells[c] = Cell{column.type(), column.data(), column.validity(), &column};
        }
        for (std::size_t row = 0; row < batch.numRows(); ++row) {
            out.room(_row_room);
            char* p = out.end();
            for (std::size_t c = 0; c < _cells.size(); ++c) {
                const Cell& cell = _cells[c];
                if (_csv) {
                    *p = ',';
                    p += c > 0 ? 1 : 0;
                } else {
                    std::memcpy(p, _keys[c].data(), _keys[c].size());
                    p += _keys[c].size();
                }
                if (cell.valid[row] == 0) {
                    if (!_csv) {
                        std::memcpy(p, "null", 4);
                        p += 4;
                    }
                    continue;
                }
                switch (cell.type) {
                    case ColumnType::BOOL: {
                        const bool value = static_cast<const std::uint8_t*>(cell.values)[row] != 0;
                        const std::string_view text =
                            _csv ? (value ? "1" : "0") : (value ? "true" : "false");
                        std::memcpy(p, text.data(), text.size());
                        p += text.size();
                        break;
                    }
                    case ColumnType::INT8:
                        p = integerText(p, static_cast<const std::int8_t*>(cell.values)[row]);
                        break;
                    case ColumnType::INT32:
                        p = integerText(p, static_cast<const std::int32_t*>(cell.values)[row]);
                        break;
                    case ColumnType::UINT32:
                        p = integerText(p, static_cast<const std::uint32_t*>(cell.values)[row]);
                        break;
                    case ColumnType::INT64:
                        p = integerText(p, static_cast<const std::int64_t*>(cell.values)[row]);
                        break;
                    case ColumnType::FLOAT32:
                        p = realText(p, static_cast<const float*>(cell.values)[row], _csv);
                        break;
                    case ColumnType::FLOAT64:
                        p = realText(p, static_cast<const double*>(cell.values)[row], _csv);
                        break;
                    case ColumnType::TIMESTAMP_NS:
                    case ColumnType::STRING:
                        out.advance(p);
                        appendCell(out, *cell.column, row, _csv);
                        out.room(_row_room);
                        p = out.end();
                        break;
                }
            }
            const std::string_view end = _csv ? "\n" : "}\n";
            std::memcpy(p, end.data(), end.size());
            out.advance(p + end.size());
        }
    }

private:
    struct Cell {
        ColumnType type;
        const void* values;
        const std::uint8_t* valid;
        const Column* column;
    };
    template <typename T>
    static char* integerText(char* p, T value) {
        return std::to_chars(p, p + TextBuffer::CELL_ROOM, static_cast<std::int64_t>(value)).ptr;
    }

    bool _csv;
    std::vector<std::string> _keys;  // what precedes each cell
    std::size_t _row_room = 0;
    std::vector<Cell> _cells;
};

// The frame table's columns for the kinds a recording holds: frame_num, then each column one of
// whose kinds is there.
std::vector<std::string> frameColumns(const std::vector<char>& kinds) {
    std::vector<std::string> names;
    const auto& all = vq::eod::columns(Table::FRAME);
    for (std::size_t i = 0; i < all.size(); ++i) {
        const std::vector<char>& from = vq::eod::columnKinds(Table::FRAME, i);
        bool present = from.empty();
        for (char id : from) {
            present = present || std::find(kinds.begin(), kinds.end(), id) != kinds.end();
        }
        if (present) {
            names.push_back(all[i].name);
        }
    }
    return names;
}

// The kinds whose records have no column in any table.
std::vector<char> uncovered(const std::vector<char>& kinds) {
    std::vector<char> left;
    for (char id : kinds) {
        if (id == vq::eod::object_id::EYE_OUTPUT_DATA ||
            id == vq::eod::object_id::WORLD_OUTPUT_DATA_V2) {
            continue;  // containers: their records have the columns
        }
        bool covered = false;
        for (Table table : {Table::FRAME, Table::GAZE_INTERSECTIONS, Table::HEAD_INTERSECTIONS}) {
            for (std::size_t i = 0; i < vq::eod::columns(table).size() && !covered; ++i) {
                const std::vector<char>& from = vq::eod::columnKinds(table, i);
                covered = std::find(from.begin(), from.end(), id) != from.end();
            }
        }
        if (!covered) {
            left.push_back(id);
        }
    }
    return left;
}

// Where a recording's first damage lies, by the scanner: "<file> is damaged from byte N (what)";
// empty when the scanner finds none (or the file is compressed, which it does not scan).
std::string damageOf(const std::string& path) {
    const std::vector<std::string> files =
        isDirectory(path) ? logFiles(path) : std::vector<std::string>{path};
    for (const std::string& file : files) {
        try {
            if (isCompressedFile(file)) {
                continue;
            }
            RecordScanner scanner(file);
            RecordScanner::Item item;
            while (scanner.next(item)) {
                if (item.type == RecordScanner::Item::DAMAGE) {
                    return displayName(file) + " is damaged from byte " +
                           std::to_string(item.begin) + " (" + item.what + ")";
                }
            }
        } catch (const std::exception&) {
            // a file the scanner cannot read: the library's error says enough
        }
    }
    return "";
}

// What an export reads: the reader's options for the selection, the table and its columns, and
// what a first pass learnt of the recording (the kinds, and so the columns, and the number of
// frames; for a damaged recording, of its frames before the damage). Says on standard error which
// kinds have no columns.
struct ExportPlan {
    ColumnReaderOptions read;
    vq::eod::io::RecordingSummary summary;
};

ExportPlan planExport(const ExportOptions& options, const Selection& selection, Table table) {
    ExportPlan plan;
    // The batch and its text: a few MB whatever the recording's length.
    plan.read = columnOptions(options.path, selection, 4096);
    plan.read.table = table;
    try {
        plan.summary = vq::eod::io::scanRecording(options.path, plan.read);
    } catch (const vq::eod::EODError&) {
        plan.summary = framesBeforeDamage(options.path, selection);
    }
    if (!options.columns.empty()) {
        plan.read.columns = parseColumns(options.columns, table);
    }
    if (table == Table::FRAME) {
        for (char id : uncovered(plan.summary.kinds)) {
            std::cerr << "vqlog export: no columns for " << kindName(id)
                      << ": its records are left out\n";
        }
        if (plan.summary.more_faces > 0) {
            std::cerr << "vqlog export: " << plan.summary.more_faces
                      << " frames hold more than one face: the columns show the first\n";
        }
        if (options.columns.empty()) {
            plan.read.columns = frameColumns(plan.summary.kinds);
        }
    }
    return plan;
}

int exportFrames(const ExportOptions& options) {
    const Selection selection = options.select.selection();
    Table table = Table::FRAME;
    if (!vq::eod::tableOfName(options.table, table)) {
        throw UsageError("--table " + options.table +
                         ": expected frame, gaze_intersections or head_intersections");
    }
    const ExportPlan plan = planExport(options, selection, table);

    std::ofstream file;
    if (!options.output.empty()) {
        prepareOutput(options.output, false);
        file.open(options.output, std::ios::binary);
        if (!file) {
            throw ToolError("cannot create " + options.output);
        }
    }
    std::ostream& out = options.output.empty() ? std::cout : file;
    const bool csv = options.format == "csv";
    ColumnReader reader(options.path, plan.read);
    std::vector<std::string> names;
    for (std::size_t index : reader.selectedColumns()) {
        names.emplace_back(vq::eod::columns(table)[index].name);
    }
    TextBuffer text;
    if (csv) {
        for (std::size_t i = 0; i < names.size(); ++i) {
            text += std::string_view(i > 0 ? "," : "");
            text += names[i];
        }
        text += '\n';
    }
    RowWriter writer(names, csv);
    ProgressBar progress("export", plan.summary.frames);
    ColumnBatch batch;
    std::uint64_t rows = 0;
    std::string failure;  // the error that ended the read
    for (;;) {
        try {
            if (!reader.next(batch)) {
                break;
            }
        } catch (const vq::eod::EODError& error) {
            failure = error.what();  // the batch holds the rows before it
        }
        writer.write(text, batch);
        rows += batch.numRows();
        out.write(text.data(), static_cast<std::streamsize>(text.size()));
        text.clear();
        progress.update(reader.framesTaken());
        if (!failure.empty()) {
            break;
        }
    }
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    progress.finish();
    out.flush();
    if (!out) {
        throw ToolError("cannot write " + (options.output.empty() ? "the output" : options.output));
    }
    if (!failure.empty()) {
        const std::string where = damageOf(options.path);
        throw ToolError(displayName(options.path) + ": " + failure + "; exported the " +
                        std::to_string(reader.framesTaken()) + " frames before it" +
                        (where.empty() ? "" : "; " + where) +
                        "; `vqlog recover` copies every intact frame into a new recording");
    }
    if (!options.output.empty()) {
        std::cerr << "vqlog export: " << rows << (table == Table::FRAME ? " frames, " : " rows, ")
                  << names.size() << " columns to " << options.output << '\n';
    }
    return 0;
}

}  // namespace

Command addExport(CLI::App& app) {
    auto options = std::make_shared<ExportOptions>();
    CLI::App* command = app.add_subcommand(
        "export",
        "One row per frame with flat, self-explaining column names (frame_num, time_s, "
        "head_position_x, gaze_right_yaw_rad, blinking, ...), empty where a frame lacks a record; "
        "for pandas, R or a spreadsheet. `vqlog schema` lists the columns. A progress bar shows "
        "on a terminal");
    command->add_option("path", options->path, "A recording directory or a log file")->required();
    command
        ->add_option("--format", options->format,
                     "csv (a header row) or jsonl (one JSON "
                     "object per line)")
        ->check(CLI::IsMember({"csv", "jsonl"}));
    command
        ->add_option("--table", options->table,
                     "frame (one row per frame), gaze_intersections or head_intersections (one "
                     "row per intersection, keyed by frame_num)")
        ->check(CLI::IsMember({"frame", "gaze_intersections", "head_intersections"}));
    command->add_option("--columns", options->columns,
                        "Only these columns of the table, comma-separated, in this order, by the "
                        "names `vqlog schema` lists");
    command->add_option("-o,--output", options->output,
                        "Write to this new file instead of standard output");
    options->select.addTo(*command, true);
    return [options] { return exportFrames(*options); };
}

}  // namespace vqlog
