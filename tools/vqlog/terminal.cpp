#include "vqlog/terminal.h"

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

namespace vqlog {

namespace {

volatile sig_atomic_t stop_signal = 0;

void onStopSignal(int signal_number) {
    if (stop_signal != 0) {
        ::signal(signal_number, SIG_DFL);
        ::raise(signal_number);
    }
    stop_signal = signal_number;
}

}  // namespace

bool stderrIsTerminal() {
    return ::isatty(STDERR_FILENO) == 1;
}

ProgressBar::ProgressBar(std::string what, std::uint64_t total, std::uint64_t min_total,
                         std::string unit)
    : _what(std::move(what)),
      _unit(std::move(unit)),
      _total(total),
      _shown(stderrIsTerminal() && total >= min_total),
      // The first line is drawn a second from now: quick work shows none.
      _last(std::chrono::steady_clock::now() + std::chrono::milliseconds(900)) {}

ProgressBar::~ProgressBar() {
    finish();
}

void ProgressBar::update(std::uint64_t done) {
    const auto now = std::chrono::steady_clock::now();
    if (!_shown || now - _last < std::chrono::milliseconds(100)) {
        return;
    }
    _last = now;
    _drawn = true;
    if (_total == UNKNOWN) {
        std::fprintf(stderr, "\r%s: %llu %s", _what.c_str(), static_cast<unsigned long long>(done),
                     _unit.c_str());
        std::fflush(stderr);
        return;
    }
    constexpr int WIDTH = 40;
    const int filled = _total == 0 ? WIDTH : static_cast<int>(done * WIDTH / _total);
    std::fprintf(stderr, "\r%s [%.*s%*s] %3d%% %llu/%llu", _what.c_str(), filled,
                 "########################################", WIDTH - filled, "",
                 _total == 0 ? 100 : static_cast<int>(done * 100 / _total),
                 static_cast<unsigned long long>(done), static_cast<unsigned long long>(_total));
    std::fflush(stderr);
}

void ProgressBar::finish() {
    if (_drawn) {
        std::fprintf(stderr, "\r\033[K");
        std::fflush(stderr);
    }
    _drawn = false;
}

void catchStopSignals() {
    struct sigaction action {};
    action.sa_handler = onStopSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0;  // no SA_RESTART: a blocking call returns at once
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
}

bool stopRequested() {
    return stop_signal != 0;
}

}  // namespace vqlog
