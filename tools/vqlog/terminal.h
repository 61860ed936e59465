// What vqlog shows on a terminal while it works, and how it stops on Ctrl-C.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace vqlog {

// Whether standard error is a terminal (progress and counters go there, never into output).
bool stderrIsTerminal();

// A progress line on standard error, for work that runs over about a second: drawn first one
// second after construction, then at most ten times a second; shown only when standard error is
// a terminal (so never into a pipe or a file) and only for work of at least `min_total` steps.
// With a known total a bar ("export [#####     ]  50% 500/1000"), with UNKNOWN a count of the
// steps done and their `unit` ("convert: 12345 frames").
class ProgressBar {
public:
    static constexpr std::uint64_t UNKNOWN = ~std::uint64_t{0};

    ProgressBar(std::string what, std::uint64_t total, std::uint64_t min_total = 1000,
                std::string unit = "frames");
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void update(std::uint64_t done);
    // Clears the line (before other output goes to the terminal); a later update draws it
    // again.
    void finish();

private:
    std::string _what;
    std::string _unit;
    std::uint64_t _total;
    bool _shown;
    bool _drawn = false;
    std::chrono::steady_clock::time_point _last;
};

// Makes SIGINT and SIGTERM set a flag instead of ending the process, so that a command can close
// its files and sockets first. A second signal ends the process at once.
void catchStopSignals();
bool stopRequested();

}  // namespace vqlog
