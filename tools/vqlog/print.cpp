// vqlog print: frames as the library prints them.
#include <iostream>
#include <sstream>

#include "vqlog/commands.h"
#include "vqlog/kinds.h"

namespace vqlog {

namespace {

struct PrintOptions {
    std::string path;
    SelectionOptions select;
};

int print(const PrintOptions& options) {
    FrameSource source(options.path, options.select.selection());
    std::string header;
    std::uint64_t frames = 0;
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
        ++frames;
    }
    if (frames == 0) {
        std::cerr << "vqlog print: no frames selected\n";
    }
    return 0;
}

}  // namespace

Command addPrint(CLI::App& app) {
    auto options = std::make_shared<PrintOptions>();
    CLI::App* command = app.add_subcommand(
        "print",
        "Print frames as the library prints them: a header line, then one value line per frame "
        "(every column 15 wide); the header is repeated when the columns change");
    command->add_option("path", options->path, "A recording directory or a log file")->required();
    options->select.addTo(*command, true);
    return [options] { return print(*options); };
}

}  // namespace vqlog
