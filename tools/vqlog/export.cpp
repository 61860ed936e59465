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
#include <set>

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

// A float or double as the shortest text that reads back as it; not finite: "NaN", "Inf",
// "-Inf" in CSV, null in JSON.
template <typename T>
void appendReal(TextBuffer& out, T value, bool csv) {
    if (std::isfinite(value)) {
        appendNumber(out, value);
    } else if (!csv) {
        out += "null";
    } else if (std::isnan(value)) {
        out += "NaN";
    } else {
        out += value > 0 ? "Inf" : "-Inf";
    }
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
            appendReal(out, column.values<float>()[row], csv);
            break;
        case ColumnType::FLOAT64:
            appendReal(out, column.values<double>()[row], csv);
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

// What a first pass learns from a damaged recording: the kinds and number of the frames before
// the damage, read through the record objects.
vq::eod::io::RecordingSummary summaryBeforeDamage(const std::string& path,
                                                  const Selection& selection) {
    vq::eod::io::RecordingSummary summary;
    std::set<char> kinds;
    try {
        FrameSource source(path, selection);
        while (FramePtr frame = source.next()) {
            const std::set<char> more = recordKinds(*frame);
            kinds.insert(more.begin(), more.end());
            ++summary.frames;
        }
    } catch (const std::exception&) {
        // the damage: the frames before it are those the export writes
    }
    summary.kinds.assign(kinds.begin(), kinds.end());
    std::sort(summary.kinds.begin(), summary.kinds.end());
    return summary;
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

int exportFrames(const ExportOptions& options) {
    const Selection selection = options.select.selection();
    Table table = Table::FRAME;
    if (!vq::eod::tableOfName(options.table, table)) {
        throw UsageError("--table " + options.table +
                         ": expected frame, gaze_intersections or head_intersections");
    }
    // The batch and its text: a few MB whatever the recording's length.
    ColumnReaderOptions read = columnOptions(options.path, selection, 4096);
    read.table = table;
    // A first pass learns the kinds, and so the columns, and the number of frames.
    // A damaged recording: its frames before the damage (the rows the reader gives before its
    // error).
    vq::eod::io::RecordingSummary summary;
    try {
        summary = vq::eod::io::scanRecording(options.path, read);
    } catch (const vq::eod::EODError&) {
        summary = summaryBeforeDamage(options.path, selection);
    }
    if (!options.columns.empty()) {
        read.columns = parseColumns(options.columns, table);
    }
    if (table == Table::FRAME) {
        for (char id : uncovered(summary.kinds)) {
            std::cerr << "vqlog export: no columns for " << kindName(id)
                      << ": its records are left out\n";
        }
        if (summary.more_faces > 0) {
            std::cerr << "vqlog export: " << summary.more_faces
                      << " frames hold more than one face: the columns show the first\n";
        }
        if (options.columns.empty()) {
            read.columns = frameColumns(summary.kinds);
        }
    }

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
    ColumnReader reader(options.path, read);
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
    // JSON keys, each with its quotes and colon.
    std::vector<std::string> keys;
    for (std::size_t i = 0; i < names.size(); ++i) {
        keys.push_back((i > 0 ? ",\"" : "{\"") + names[i] + "\":");
    }
    ProgressBar progress("export", summary.frames);
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
        for (std::size_t row = 0; row < batch.numRows(); ++row) {
            for (std::size_t c = 0; c < batch.numColumns(); ++c) {
                if (csv) {
                    if (c > 0) {
                        text += ',';
                    }
                } else {
                    text += keys[c];
                }
                appendCell(text, batch.column(c), row, csv);
            }
            text += std::string_view(csv ? "\n" : "}\n");
        }
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
