// vqlog print: frames as a table that fits the terminal, or as the library prints them (--raw).
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <iostream>
#include <sstream>

#include "vqlog/commands.h"
#include "vqlog/kinds.h"
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

struct PrintOptions {
    std::string path;
    bool raw = false;
    std::string columns;  // comma-separated; empty: what fits
    SelectionOptions select;
};

// The columns shown by default, in this order, as many as fit and as the recording has kinds for.
const char* const DEFAULT_COLUMNS[] = {"frame_num",
                                       "time_s",
                                       "engine_state",
                                       "head_tracking",
                                       "head_position_x",
                                       "head_position_y",
                                       "head_position_z",
                                       "head_rotation_x_rad",
                                       "head_rotation_y_rad",
                                       "head_rotation_z_rad",
                                       "gaze_right_yaw_rad",
                                       "gaze_right_pitch_rad",
                                       "gaze_left_yaw_rad",
                                       "gaze_left_pitch_rad",
                                       "blinking",
                                       "gaze_target_label"};
constexpr std::size_t REAL_WIDTH = 10;       // -0.0123457
constexpr std::size_t LABEL_WIDTH = 16;      // a label may be longer
constexpr std::size_t TIMESTAMP_WIDTH = 24;  // 2023-11-14T22:13:20.000Z
constexpr std::size_t DEFAULT_LINE = 80;     // when standard output is not a terminal

std::size_t lineWidth() {
    winsize size{};
    if (isatty(STDOUT_FILENO) && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
        return size.ws_col;
    }
    return DEFAULT_LINE;
}

std::size_t columnIndex(const std::string& name) {
    const auto& all = vq::eod::columns(Table::FRAME);
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (all[i].name == name) {
            return i;
        }
    }
    throw UsageError("--columns: unknown column '" + name + "' (`vqlog schema` lists them)");
}

// The width of a column: its name's, and at least that of a typical value.
std::size_t widthOf(const std::string& name) {
    std::size_t value = 0;  // integers: the name is wide enough
    switch (vq::eod::columns(Table::FRAME)[columnIndex(name)].type) {
        case ColumnType::FLOAT32:
        case ColumnType::FLOAT64:
            value = REAL_WIDTH;
            break;
        case ColumnType::STRING:
            value = LABEL_WIDTH;
            break;
        case ColumnType::TIMESTAMP_NS:
            value = TIMESTAMP_WIDTH;
            break;
        default:
            break;
    }
    return std::max(name.size(), value);
}

// The default columns whose kinds the recording holds (all of them when it cannot be scanned),
// as many as fit `width` characters.
std::vector<std::string> defaultColumns(const std::string& path, const ColumnReaderOptions& read,
                                        std::size_t width) {
    std::vector<char> kinds;
    bool known = true;
    try {
        kinds = vq::eod::io::scanRecording(path, read).kinds;
    } catch (const vq::eod::EODError&) {
        known = false;  // the read below meets the damage and says so
    }
    std::vector<std::string> names;
    std::size_t used = 0;
    for (const char* name : DEFAULT_COLUMNS) {
        const std::vector<char>& from = vq::eod::columnKinds(Table::FRAME, columnIndex(name));
        bool present = !known || from.empty();
        for (char id : from) {
            present = present || std::find(kinds.begin(), kinds.end(), id) != kinds.end();
        }
        const std::size_t needed = widthOf(name) + (names.empty() ? 0 : 2);
        if (present && used + needed <= width) {
            names.emplace_back(name);
            used += needed;
        }
    }
    return names;
}

// A cell as print shows it: "-" for no value, numbers to six significant digits (time_s to the
// tenth of a millisecond), labels with control characters and bytes outside UTF-8 as \xNN.
std::string cellText(const Column& column, std::size_t row, bool time) {
    if (!column.valid(row)) {
        return "-";
    }
    char text[64];
    switch (column.type()) {
        case ColumnType::BOOL:
            return column.values<std::uint8_t>()[row] != 0 ? "1" : "0";
        case ColumnType::INT8:
            return std::to_string(column.values<std::int8_t>()[row]);
        case ColumnType::INT32:
            return std::to_string(column.values<std::int32_t>()[row]);
        case ColumnType::UINT32:
            return std::to_string(column.values<std::uint32_t>()[row]);
        case ColumnType::INT64:
            return std::to_string(column.values<std::int64_t>()[row]);
        case ColumnType::FLOAT32:
            std::snprintf(text, sizeof text, "%.6g",
                          static_cast<double>(column.values<float>()[row]));
            return text;
        case ColumnType::FLOAT64:
            std::snprintf(text, sizeof text, time ? "%.4f" : "%.6g", column.values<double>()[row]);
            return text;
        case ColumnType::TIMESTAMP_NS: {
            const std::int64_t ns = column.values<std::int64_t>()[row];
            std::int64_t seconds = ns / 1000000000;
            std::int64_t rest = ns % 1000000000;
            if (rest < 0) {
                rest += 1000000000;
                --seconds;
            }
            const std::time_t t = static_cast<std::time_t>(seconds);
            std::tm utc{};
            gmtime_r(&t, &utc);
            std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ",
                          utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min,
                          utc.tm_sec, static_cast<int>(rest / 1000000));
            return text;
        }
        case ColumnType::STRING: {
            const std::uint32_t* offsets = column.values<std::uint32_t>();
            return escapeLabel(
                std::string_view(column.chars() + offsets[row], offsets[row + 1] - offsets[row]),
                true);
        }
    }
    return "";
}

// Numbers right-aligned, labels left-aligned, two blanks apart.
void writeRow(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths,
              const std::vector<bool>& left) {
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        if (i > 0) {
            line += "  ";
        }
        const std::size_t pad = widths[i] > cells[i].size() ? widths[i] - cells[i].size() : 0;
        if (left[i]) {
            line += cells[i];
            line.append(i + 1 < cells.size() ? pad : 0, ' ');
        } else {
            line.append(pad, ' ');
            line += cells[i];
        }
    }
    line += '\n';
    std::cout << line;
    if (!std::cout) {
        throw ToolError("cannot write the output");
    }
}

// A count of the frames printed, on a terminal, when the table goes elsewhere (a file, a pipe).
ProgressBar progressBar() {
    return ProgressBar("print", isatty(STDOUT_FILENO) ? 0 : ProgressBar::UNKNOWN);
}

int printRaw(const PrintOptions& options) {
    FrameSource source(options.path, options.select.selection());
    std::string header;
    std::uint64_t frames = 0;
    ProgressBar progress = progressBar();
    while (FramePtr frame = source.next()) {
        // A new header line whenever the frame's columns change.
        std::ostringstream columns;
        frame->printHeader(columns);
        if (columns.str() != header) {
            header = columns.str();
            std::cout << header << '\n';
        }
        frame->printLine(std::cout);
        std::cout << '\n';
        if (!std::cout) {
            throw ToolError("cannot write the output");
        }
        progress.update(++frames);
    }
    progress.finish();
    if (frames == 0) {
        std::cerr << "vqlog print: no frames selected\n";
    }
    return 0;
}

int print(const PrintOptions& options) {
    if (options.raw) {
        if (!options.columns.empty()) {
            throw UsageError("--columns and --raw exclude each other");
        }
        return printRaw(options);
    }
    const Selection selection = options.select.selection();
    ColumnReaderOptions read = columnOptions(options.path, selection, 1024);
    if (options.columns.empty()) {
        read.columns = defaultColumns(options.path, read, lineWidth());
    } else {
        read.columns = parseColumns(options.columns, Table::FRAME);
    }
    ColumnReader reader(options.path, read);
    std::vector<std::string> names;
    std::vector<std::size_t> widths;
    std::vector<bool> left;
    for (std::size_t index : reader.selectedColumns()) {
        names.emplace_back(vq::eod::columns(Table::FRAME)[index].name);
        widths.push_back(widthOf(names.back()));
        left.push_back(vq::eod::columns(Table::FRAME)[index].type == ColumnType::STRING);
    }
    writeRow(names, widths, left);
    ColumnBatch batch;
    std::vector<std::string> cells(names.size());
    ProgressBar progress = progressBar();
    for (;;) {
        std::exception_ptr failure;  // the error that ended the read
        try {
            if (!reader.next(batch)) {
                break;
            }
        } catch (const vq::eod::EODError&) {
            failure = std::current_exception();  // the batch holds the rows before it
        }
        for (std::size_t row = 0; row < batch.numRows(); ++row) {
            for (std::size_t c = 0; c < batch.numColumns(); ++c) {
                cells[c] = cellText(batch.column(c), row, names[c] == "time_s");
            }
            writeRow(cells, widths, left);
        }
        progress.update(reader.framesTaken());
        if (failure) {
            progress.finish();
            std::cout.flush();
            std::rethrow_exception(failure);
        }
    }
    if (reader.framesTaken() == 0) {
        std::cerr << "vqlog print: no frames selected\n";
    }
    return 0;
}

}  // namespace

Command addPrint(CLI::App& app) {
    auto options = std::make_shared<PrintOptions>();
    CLI::App* command = app.add_subcommand(
        "print",
        "Print frames as a table: a header line, then one line per frame, '-' where a frame has "
        "no value, labels with control characters and bytes outside UTF-8 as \\xNN. By default "
        "frame_num, time_s and the head and gaze columns the recording has, as many as fit the "
        "terminal (80 characters when standard output is not one)");
    command->add_option("path", options->path, "A recording directory or a log file")->required();
    command->add_option("--columns", options->columns,
                        "These columns, comma-separated, by the names `vqlog schema` lists");
    command->add_flag("--raw", options->raw,
                      "As the library prints frames: every column 15 wide, the header repeated "
                      "when the columns change");
    options->select.addTo(*command, true);
    return [options] { return print(*options); };
}

}  // namespace vqlog
