#include <cmath>
#include <iostream>
#include <utility>
#include <vector>

#include "vqlog/commands.h"
#include "vqlog/kinds.h"
#include "vqlog/table.h"

namespace vqlog {

void SelectionOptions::addTo(CLI::App& command, bool with_count) {
    command.add_option("--kinds", kinds,
                       "Only these record kinds, comma-separated: log file names (HeadV2, Eye, "
                       "Timing, ...), class names or object IDs (0x10)");
    command.add_option("--from", from, "First frame number taken");
    command.add_option("--to", to, "Last frame number taken");
    command.add_option("--start", start,
                       "Frames whose time_s (the timing record's experiment time) is at least "
                       "this many seconds; frames without a timing record are then left out");
    command.add_option("--end", end, "Frames whose time_s is at most this");
    if (with_count) {
        command.add_option("--count", count, "At most this many frames");
    }
}

Selection SelectionOptions::selection() const {
    Selection result;
    if (!kinds.empty()) {
        result.kinds = parseKinds(kinds);
    }
    if (from > to) {
        throw UsageError("--from " + std::to_string(from) + " is beyond --to " +
                         std::to_string(to));
    }
    if (std::isnan(start) || std::isnan(end)) {
        throw UsageError("--start and --end take numbers of seconds");
    }
    if (start > end) {
        throw UsageError("--start " + fixed(start, 3) + " is beyond --end " + fixed(end, 3));
    }
    result.start_s = start;
    result.end_s = end;
    result.from = from;
    result.to = to;
    result.count = count;
    return result;
}

namespace {

using Commands = std::vector<std::pair<CLI::App*, Command>>;

// "-": a recording read from standard input, copied to a temporary file first (the scans and
// the merge read it more than once); and standard output for export's -o.
void acceptStandardStreams(CLI::App& app, const Commands& commands) {
    for (const auto& entry : commands) {
        for (const char* name : {"path", "input"}) {
            if (CLI::Option* input = entry.first->get_option_no_throw(name)) {
                input->transform(
                    [](std::string value) {
                        return value == STANDARD_STREAM ? spoolStandardInput() : value;
                    },
                    "", "");
            }
        }
    }
    if (CLI::Option* output = app.get_subcommand("export")->get_option_no_throw("--output")) {
        output->transform(
            [](std::string value) {
                return value == STANDARD_STREAM ? std::string("/dev/stdout") : value;
            },
            "", "");
    }
}

// Whether `name` is a command; if not, says so on standard error with the commands there are.
bool knownCommand(const std::string& name, const Commands& commands) {
    std::string names;
    for (const auto& entry : commands) {
        if (entry.first->get_name() == name) {
            return true;
        }
        names += (names.empty() ? "" : ", ") + entry.first->get_name();
    }
    std::cerr << "vqlog: unknown command '" << name << "'; the commands are " << names
              << "\nRun with --help for more information.\n";
    return false;
}

// Runs a parsed command and gives its exit code; its errors go to standard error.
int runCommand(const std::string& name, const Command& command) {
    const std::string prefix = "vqlog " + name + ": ";
    try {
        const int code = command();
        // Output that did not arrive (a full disk, a closed pipe) is a failure.
        std::cout.flush();
        if (!std::cout) {
            std::cerr << prefix << "cannot write the output\n";
            return 1;
        }
        return code;
    } catch (const UsageError& error) {
        std::cerr << prefix << error.what() << "\nRun with --help for more information.\n";
        return 2;
    } catch (const std::exception& error) {
        std::cout.flush();
        std::cerr << prefix << error.what() << '\n';
        return 1;
    }
}

}  // namespace

int runVqlog(int argc, char** argv) {
    CLI::App app{
        "vqlog: looks into, exports, converts, checks, replays and records the recordings of a "
        "head- and eye-tracking engine.\nStart with `vqlog demo`.",
        "vqlog"};
    app.require_subcommand(1);
    app.fallthrough(false);
    app.set_version_flag("--version", "vqlog " VQ_CORELOG_VERSION,
                         "Print the version of vqlog and its library, and exit");
    Commands commands;
    auto add = [&app, &commands](Command (*adder)(CLI::App&)) {
        Command command = adder(app);
        commands.emplace_back(app.get_subcommands({}).back(), std::move(command));
    };
    add(addDemo);
    add(addPrint);
    add(addInfo);
    add(addExport);
    add(addSchema);
    add(addConvert);
    add(addCheck);
    add(addRecover);
    add(addMerge);
    add(addSplit);
    add(addStats);
    add(addServe);
    add(addRecord);
    acceptStandardStreams(app, commands);
    setInvocation(argc > 0 ? argv[0] : "vqlog");
    if (argc > 1 && argv[1][0] != '-' && !knownCommand(argv[1], commands)) {
        return 2;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    } catch (const std::exception& error) {  // standard input could not be read
        std::cerr << "vqlog: " << error.what() << '\n';
        return 1;
    }
    for (auto& [subcommand, command] : commands) {
        if (subcommand->parsed()) {
            return runCommand(subcommand->get_name(), command);
        }
    }
    return 2;
}

}  // namespace vqlog
