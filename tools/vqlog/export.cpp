// vqlog export: the table of columns of a recording, as CSV or JSON lines, read through the
// library's column reader.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iostream>
#include <limits>
#include <thread>

#include "vqlog/commands.h"
#include "vqlog/compressed.h"
#include "vqlog/kinds.h"
#include "vqlog/recording.h"
#include "vqlog/rowpipeline.h"
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

// Room for one cell written in place: the longest number, timestamp or keyword.
constexpr std::size_t CELL_ROOM = NUMBER_ROOM;
// JSON keys up to this long are copied in one fixed-size move.
constexpr std::size_t KEY_ROOM = 48;

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

// The text of the last second a timestamp fell in, kept since neighbouring frames share it.
struct SecondText {
    std::int64_t second = std::numeric_limits<std::int64_t>::min();
    char text[48] = {};
    std::size_t size = 0;
};

// 2023-11-14T22:13:20.000Z at `out`; needs CELL_ROOM characters of room.
char* timestampText(char* out, std::int64_t ns, SecondText& last) {
    std::int64_t seconds = ns / 1000000000;
    std::int64_t rest = ns % 1000000000;
    if (rest < 0) {
        rest += 1000000000;
        --seconds;
    }
    if (seconds != last.second) {
        const std::time_t t = static_cast<std::time_t>(seconds);
        std::tm utc{};
        gmtime_r(&t, &utc);
        const int size = std::snprintf(last.text, sizeof last.text, "%04d-%02d-%02dT%02d:%02d:%02d",
                                       utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday, utc.tm_hour,
                                       utc.tm_min, utc.tm_sec);
        last.size = std::min(static_cast<std::size_t>(std::max(size, 0)), sizeof last.text - 1);
        last.second = seconds;
    }
    std::memcpy(out, last.text, last.size);
    out += last.size;
    const int millis = static_cast<int>(rest / 1000000);
    out[0] = '.';
    out[1] = static_cast<char>('0' + millis / 100);
    out[2] = static_cast<char>('0' + millis / 10 % 10);
    out[3] = static_cast<char>('0' + millis % 10);
    out[4] = 'Z';
    return out + 5;
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

// Writes rows of batches as CSV lines or JSON objects. Each column's type and buffers are taken
// once per batch (prepare); room is made once per row, so that numbers, booleans and timestamps
// are written in place, and labels, of any length, through the TextBuffer. Rows of the batches
// prepared may be written from RowPipeline::SLOTS threads at once, each with its own `thread`.
class RowWriter {
public:
    static constexpr std::size_t THREADS = 2;

    RowWriter(const std::vector<std::string>& names, bool csv) : _csv(csv) {
        for (const std::string& name : names) {
            // JSON keys, each with its quotes and colon; a comma after each CSV cell.
            Key key;
            key.text = (_keys.empty() ? "{\"" : ",\"") + name + "\":";
            key.size = key.text.size();
            key.fits = key.size <= KEY_ROOM;
            key.text.resize(std::max(key.size, KEY_ROOM));
            _row_room += (csv ? 1 : std::max(key.size, KEY_ROOM)) + CELL_ROOM;
            _keys.push_back(std::move(key));
        }
        _row_room += 2;
    }

    void prepare(std::size_t slot, const ColumnBatch& batch) {
        std::vector<Cell>& cells = _cells[slot];
        cells.resize(batch.numColumns());
        for (std::size_t c = 0; c < cells.size(); ++c) {
            const Column& column = batch.column(c);
            cells[c] = Cell{column.type(), column.data(), column.validity(), &column};
        }
    }

    void write(TextBuffer& out, std::size_t thread, std::size_t slot, std::size_t first,
               std::size_t end) {
        if (_csv) {
            writeRows<true>(out, _seconds[thread], _cells[slot], first, end);
        } else {
            writeRows<false>(out, _seconds[thread], _cells[slot], first, end);
        }
    }

private:
    struct Cell {
        ColumnType type;
        const void* values;
        const std::uint8_t* valid;
        const Column* column;
    };
    struct Key {
        std::string text;  // at least KEY_ROOM characters, padded
        std::size_t size = 0;
        bool fits = true;  // size <= KEY_ROOM
    };

    template <bool CSV>
    void writeRows(TextBuffer& out, SecondText& second, const std::vector<Cell>& cells,
                   std::size_t first, std::size_t end) {
        for (std::size_t row = first; row < end; ++row) {
            out.room(_row_room);
            char* p = out.end();
            if (CSV && cells.empty()) {
                *p++ = ',';  // replaced by the line break
            }
            for (std::size_t c = 0; c < cells.size(); ++c) {
                const Cell& cell = cells[c];
                if (!CSV) {
                    const Key& key = _keys[c];
                    std::memcpy(p, key.text.data(), key.fits ? KEY_ROOM : key.size);
                    p += key.size;
                }
                if (cell.valid[row] == 0) {
                    if (!CSV) {
                        std::memcpy(p, "null", 4);
                        p += 4;
                    }
                } else {
                    switch (cell.type) {
                        case ColumnType::BOOL: {
                            const bool value =
                                static_cast<const std::uint8_t*>(cell.values)[row] != 0;
                            if (CSV) {
                                *p++ = value ? '1' : '0';
                            } else {
                                std::memcpy(p, value ? "true " : "false", 5);
                                p += value ? 4 : 5;
                            }
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
                            p = realText(p, static_cast<const float*>(cell.values)[row], CSV);
                            break;
                        case ColumnType::FLOAT64:
                            p = realText(p, static_cast<const double*>(cell.values)[row], CSV);
                            break;
                        case ColumnType::TIMESTAMP_NS:
                            *p = '"';
                            p += CSV ? 0 : 1;
                            p = timestampText(p, static_cast<const std::int64_t*>(cell.values)[row],
                                              second);
                            *p = '"';
                            p += CSV ? 0 : 1;
                            break;
                        case ColumnType::STRING: {
                            const std::uint32_t* offsets = cell.column->values<std::uint32_t>();
                            const std::string_view text(cell.column->chars() + offsets[row],
                                                        offsets[row + 1] - offsets[row]);
                            out.advance(p);
                            if (CSV) {
                                appendCsvText(out, text);
                            } else {
                                appendJsonText(out, text);
                            }
                            out.room(_row_room);
                            p = out.end();
                            break;
                        }
                    }
                }
                if (CSV) {
                    *p++ = ',';
                }
            }
            if (CSV) {
                p[-1] = '\n';
            } else {
                std::memcpy(p, "}\n", 2);
                p += 2;
            }
            out.advance(p);
        }
    }

    bool _csv;
    std::vector<Key> _keys;
    std::size_t _row_room = 0;
    std::array<std::vector<Cell>, RowPipeline::SLOTS> _cells;
    std::array<SecondText, THREADS> _seconds;
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

// Rows a batch holds: its columns (about 330 KB for the 80 of the frame table) and their text stay
// in a core's cache between the read and the formatting, which 4096 rows (2.6 MB) did not.
constexpr std::size_t BATCH_ROWS = 512;
// Rows a thread formats at a time: a batch is 8 chunks, so that neither thread waits long for the
// other at its end.
constexpr std::size_t CHUNK_ROWS = 64;

// The processors this process may run on (at least 1).
std::size_t processors() {
    return std::max<std::size_t>(std::thread::hardware_concurrency(), 1);
}

ExportPlan planExport(const ExportOptions& options, const Selection& selection, Table table) {
    ExportPlan plan;
    // Two batches and their text: bounded whatever the recording's length.
    plan.read = columnOptions(options.path, selection, BATCH_ROWS);
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
    if (csv) {
        std::string header;
        for (std::size_t i = 0; i < names.size(); ++i) {
            header += (i > 0 ? "," : "") + names[i];
        }
        header += '\n';
        out.write(header.data(), static_cast<std::streamsize>(header.size()));
    }
    // The reader fills one batch while the other is formatted on both cores; the text goes out
    // in the order of the rows.
    RowWriter writer(names, csv);
    ProgressBar progress("export", plan.summary.frames);
    std::array<ColumnBatch, RowPipeline::SLOTS> batches;
    std::array<std::uint64_t, RowPipeline::SLOTS> taken{};  // frames read up to each batch
    std::uint64_t rows = 0;
    std::string failure;  // the error that ended the read
    RowPipeline::Steps steps;
    steps.read = [&](std::size_t slot, bool& last) -> std::size_t {
        ColumnBatch& batch = batches[slot];
        try {
            if (!reader.next(batch)) {
                last = true;
                return 0;
            }
        } catch (const vq::eod::EODError& error) {
            failure = error.what();  // the batch holds the rows before it
            last = true;
        }
        taken[slot] = reader.framesTaken();
        writer.prepare(slot, batch);
        rows += batch.numRows();
        return batch.numRows();
    };
    steps.format = [&](std::size_t thread, std::size_t slot, std::size_t first, std::size_t end,
                       TextBuffer& text) { writer.write(text, thread, slot, first, end); };
    steps.write = [&](std::size_t slot, const TextBuffer* chunks, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            out.write(chunks[i].data(), static_cast<std::streamsize>(chunks[i].size()));
        }
        progress.update(taken[slot]);
        return static_cast<bool>(out);  // a failed output ends the export
    };
    RowPipeline(CHUNK_ROWS, std::min<std::size_t>(RowWriter::THREADS, processors())).run(steps);
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
