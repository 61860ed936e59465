// What vqlog shows on a terminal while it works, and how it stops on Ctrl-C.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace vqlog {

// Whether standard error is a terminal (progress and counters go there, never into output).
bool stderrIsTerminal();

// A progress bar on standard error, redrawn at most ten times a second; shown only on a
// terminal and only for work of at least `min_total` steps.
class ProgressBar {
public:
    ProgressBar(std::string what, std::uint64_t total, std::uint64_t min_total = 1000);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void update(std::uint64_t done);
    // Clears the bar's line.
    void finish();

private:
    std::string _what;
    std::uint64_t _total;
    bool _shown;
    std::chrono::steady_clock::time_point _last;
};

// Makes SIGINT and SIGTERM set a flag instead of ending the process, so that a command can close
// its files and sockets first. A second signal ends the process at once.
void catchStopSignals();
bool stopRequested();

}  // namespace vqlog
