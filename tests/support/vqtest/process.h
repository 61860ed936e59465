// Runs programs for the tests of the command-line tools: their exit code and what they wrote,
// with every wait bounded. A program still running when its time is up is killed.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace vqtest {

struct ProcessResult {
    int exit_code = -1;  // -1 when it was killed or ended by a signal
    std::string out;     // standard output
    std::string err;     // standard error
};

// A program running beside the test, its standard output and error read through pipes.
class ChildProcess {
public:
    // Starts argv[0] (a path) with the other elements as arguments.
    explicit ChildProcess(const std::vector<std::string>& argv);
    // Kills the program if it is still running.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // The next line of standard output without its newline; "" when none came in time.
    std::string readLine(int timeout_millis);
    void signal(int signal_number);
    // Waits for the end, at most `timeout_millis` (then kills), and returns everything the
    // program wrote that readLine did not take.
    ProcessResult wait(int timeout_millis);

private:
    // Reads what is there within `timeout_millis`; false when both pipes are at their end.
    bool pump(int timeout_millis);

    pid_t _pid = -1;
    int _out_fd = -1;
    int _err_fd = -1;
    std::string _out;
    std::string _err;
};

// Runs a program to its end, at most `timeout_millis`.
ProcessResult runProcess(const std::vector<std::string>& argv, int timeout_millis = 30000);

}  // namespace vqtest
