// The progress line: drawn on a terminal from about a second on and cleared at the end; never
// written into a pipe or a file.
#include "vqlog/terminal.h"

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <thread>

#include "vqtest/pty.h"

namespace {

// Runs `work` with standard error on `fd`, then puts standard error back.
template <typename Work>
void withStandardError(int fd, Work work) {
    std::fflush(stderr);
    const int saved = ::dup(STDERR_FILENO);
    ::dup2(fd, STDERR_FILENO);
    work();
    std::fflush(stderr);
    ::dup2(saved, STDERR_FILENO);
    ::close(saved);
}

TEST(ProgressBar, OnATerminalOnlyFromASecondOnAndClearedAtTheEnd) {
    int pipe_ends[2];
    ASSERT_EQ(::pipe2(pipe_ends, O_NONBLOCK), 0);
    std::unique_ptr<vqlog::ProgressBar> piped;
    withStandardError(pipe_ends[1],
                      [&] { piped = std::make_unique<vqlog::ProgressBar>("export", 1000); });

    vqtest::PtyPair pty;
    const int terminal = ::open(pty.path().c_str(), O_WRONLY | O_NOCTTY);
    ASSERT_GE(terminal, 0);
    withStandardError(terminal, [&] {
        vqlog::ProgressBar bar("export", 1000);
        vqlog::ProgressBar count("check", vqlog::ProgressBar::UNKNOWN, 1000, "bytes");
        vqlog::ProgressBar small("print", 999);  // below the 1000 steps that earn a line
        bar.update(100);                         // too early: nothing yet
        std::this_thread::sleep_for(std::chrono::milliseconds(1050));
        for (vqlog::ProgressBar* quiet : {piped.get(), &small}) {
            quiet->update(500);
        }
        bar.update(500);
        bar.finish();
        count.update(12345);
    });
    piped.reset();
    ::close(terminal);

    const std::string expected =
        "\rexport [####################                    ]  50% 500/1000"
        "\r\033[K\rcheck: 12345 bytes\r\033[K";
    const std::vector<unsigned char> drawn = pty.receive(expected.size());
    EXPECT_EQ(std::string(drawn.begin(), drawn.end()), expected);
    char byte;
    EXPECT_EQ(::read(pipe_ends[0], &byte, 1), -1);  // nothing went into the pipe
    ::close(pipe_ends[0]);
    ::close(pipe_ends[1]);
}

}  // namespace
