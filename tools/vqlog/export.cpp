// vqlog export: one row per frame, as CSV or JSON lines.
#include <fstream>
#include <iostream>

#include "vqlog/commands.h"
#include "vqlog/flatframe.h"
#include "vqlog/kinds.h"
#include "vqlog/terminal.h"

namespace vqlog {

namespace {

struct ExportOptions {
    std::string path;
    std::string format = "csv";
    std::string output;  // empty: standard output
    SelectionOptions select;
};

void appendRow(std::string& line, const std::vector<std::string>& names,
               const std::vector<Cell>& cells, bool csv) {
    line.clear();
    if (csv) {
        for (std::size_t i = 0; i < cells.size(); ++i) {
            if (i > 0) {
                line += ',';
            }
            appendCsv(line, cells[i]);
        }
    } else {
        line += '{';
        for (std::size_t i = 0; i < cells.size(); ++i) {
            line += i > 0 ? ",\"" : "\"";
            line += names[i];
            line += "\":";
            appendJson(line, cells[i]);
        }
        line += '}';
    }
    line += '\n';
}

int exportFrames(const ExportOptions& options) {
    const Selection selection = options.select.selection();
    // A first pass learns the kinds, and so the columns, and the number of frames.
    std::set<char> kinds;
    std::uint64_t total = 0;
    std::uint64_t more_faces = 0;
    {
        FrameSource source(options.path, selection);
        while (FramePtr frame = source.next()) {
            const std::set<char> frame_kinds = recordKinds(*frame);
            kinds.insert(frame_kinds.begin(), frame_kinds.end());
            more_faces +=
                frame->numSubObjects(vq::eod::object_id::FACE_SET_OUTPUT_DATA) > 1 ? 1 : 0;
            ++total;
        }
    }
    for (char id : FlatLayout::uncovered(kinds)) {
        std::cerr << "vqlog export: no columns for " << kindName(id)
                  << ": its records are left out\n";
    }
    if (more_faces > 0) {
        std::cerr << "vqlog export: " << more_faces
                  << " frames hold more than one face: the columns show the first\n";
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
    const FlatLayout layout(kinds);
    std::string line;
    if (csv) {
        for (std::size_t i = 0; i < layout.names().size(); ++i) {
            line += (i > 0 ? "," : "") + layout.names()[i];
        }
        out << line << '\n';
    }
    ProgressBar progress("export", total);
    FrameSource source(options.path, selection);
    std::uint64_t done = 0;
    while (FramePtr frame = source.next()) {
        appendRow(line, layout.names(), layout.row(*frame), csv);
        out << line;
        progress.update(++done);
    }
    progress.finish();
    out.flush();
    if (!out) {
        throw ToolError("cannot write " + (options.output.empty() ? "the output" : options.output));
    }
    if (!options.output.empty()) {
        std::cerr << "vqlog export: " << done << " frames, " << layout.names().size()
                  << " columns to " << options.output << '\n';
    }
    return 0;
}

}  // namespace

Command addExport(CLI::App& app) {
    auto options = std::make_shared<ExportOptions>();
    CLI::App* command = app.add_subcommand(
        "export",
        "One row per frame with flat, self-explaining column names (frame_num, head_position_x, "
        "gaze_right_yaw_rad, blinking, ...), empty where a frame lacks a record; for pandas, R "
        "or a spreadsheet. A progress bar shows on a terminal");
    command->add_option("path", options->path, "A recording directory or a log file")->required();
    command
        ->add_option("--format", options->format,
                     "csv (a header row) or jsonl (one JSON "
                     "object per line)")
        ->check(CLI::IsMember({"csv", "jsonl"}));
    command->add_option("-o,--output", options->output,
                        "Write to this new file instead of standard output");
    options->select.addTo(*command, true);
    return [options] { return exportFrames(*options); };
}

}  // namespace vqlog
