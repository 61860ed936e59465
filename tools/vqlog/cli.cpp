#include <iostream>
#include <utility>
#include <vector>

#include "vqlog/commands.h"
#include "vqlog/kinds.h"

namespace vqlog {

void SelectionOptions::addTo(CLI::App& command, bool with_count) {
    command.add_option("--kinds", kinds,
                       "Only these record kinds, comma-separated: log file names (HeadV2, Eye, "
                       "Timing, ...), class names or object IDs (0x10)");
    command.add_option("--from", from, "First frame number taken");
    command.add_option("--to", to, "Last frame number taken");
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
    result.from = from;
    result.to = to;
    result.count = count;
    return result;
}

int runVqlog(int argc, char** argv) {
    CLI::App app{
        "vqlog: looks into, exports, converts, checks, replays and records the recordings of a "
        "head- and eye-tracking engine.\nStart with `vqlog demo`.",
        "vqlog"};
    app.require_subcommand(1);
    app.fallthrough(false);
    std::vector<std::pair<CLI::App*, Command>> commands;
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
    add(addServe);
    add(addRecord);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    for (auto& [subcommand, command] : commands) {
        if (!subcommand->parsed()) {
            continue;
        }
        const std::string prefix = "vqlog " + subcommand->get_name() + ": ";
        try {
            return command();
        } catch (const UsageError& error) {
            std::cerr << prefix << error.what() << "\nRun with --help for more information.\n";
            return 2;
        } catch (const std::exception& error) {
            std::cout.flush();
            std::cerr << prefix << error.what() << '\n';
            return 1;
        }
    }
    return 2;
}

}  // namespace vqlog
