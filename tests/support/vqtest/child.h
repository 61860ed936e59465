// A child process for fault tests: fork() alone, the child runs a function and reports to the
// test through a pipe. Every wait here is bounded, and a child still running when its object
// goes is killed and reaped.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

namespace vqtest {

class ForkedChild {
public:
    // Forks; the child calls `body` with the write end of the report pipe and then exits (0, or
    // 1 when body raised), never returning into the test. Raises std::runtime_error when no
    // process can be made.
    explicit ForkedChild(const std::function<void(int report)>& body);
    ~ForkedChild();
    ForkedChild(const ForkedChild&) = delete;
    ForkedChild& operator=(const ForkedChild&) = delete;

    // Appends to `text` what the child reported until `count` bytes are there in all, the child
    // closed its end, or `millis` passed; false when fewer than `count` bytes are there.
    bool read(std::string& text, std::size_t count, int millis);
    // Kills the child with SIGKILL (if it still runs) and reaps it.
    void kill();
    // Waits at most `millis` for the child to end and returns its wait status (-1: it did not
    // end, and it is then killed).
    int wait(int millis);

private:
    pid_t _pid = -1;
    int _report = -1;  // the read end of the report pipe
};

// Writes all of `text` to the report pipe (in a child).
void report(int fd, const std::string& text);

}  // namespace vqtest
