// The subcommands of vqlog. Each add... function adds its subcommand, with its options and
// help, to the application and returns what runs it once the command line is parsed; that
// returns the exit code (0 fine, 1 damaged data) or raises: UsageError (exit 2), anything else
// (exit 1).
#pragma once

#include <functional>
#include <string>

#include <CLI/CLI.hpp>

#include "vqlog/recording.h"

namespace vqlog {

using Command = std::function<int()>;

Command addDemo(CLI::App& app);
Command addPrint(CLI::App& app);
Command addInfo(CLI::App& app);
Command addExport(CLI::App& app);
Command addSchema(CLI::App& app);
Command addConvert(CLI::App& app);
Command addCheck(CLI::App& app);
Command addRecover(CLI::App& app);
Command addMerge(CLI::App& app);
Command addSplit(CLI::App& app);
Command addStats(CLI::App& app);
Command addServe(CLI::App& app);
Command addRecord(CLI::App& app);

// The options that choose frames and kinds: --kinds, --from, --to, --start, --end, --count.
struct SelectionOptions {
    std::string kinds;
    unsigned int from = 0;
    unsigned int to = Selection().to;
    double start = Selection().start_s;
    double end = Selection().end_s;
    std::uint64_t count = Selection().count;

    void addTo(CLI::App& command, bool with_count);
    // UsageError for unknown kinds or an empty range of numbers or times.
    Selection selection() const;
};

// How the shell that started this vqlog runs it again (set from argv[0] by runVqlog): the path
// it was started by, or its name when the PATH finds this very program, else its absolute path.
void setInvocation(const std::string& argv0);
const std::string& invocation();

// Runs vqlog with these arguments and returns its exit code; messages go to standard error,
// prefixed with "vqlog <command>: ".
int runVqlog(int argc, char** argv);

}  // namespace vqlog
