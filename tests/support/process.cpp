#include "vqtest/process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <stdexcept>

namespace vqtest {

namespace {

using Clock = std::chrono::steady_clock;

int millisLeft(Clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& argv) {
    int out[2];
    int err[2];
    if (::pipe2(out, O_CLOEXEC) != 0 || ::pipe2(err, O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe failed");
    }
    std::vector<char*> args;
    for (const std::string& arg : argv) {
        args.push_back(const_cast<char*>(arg.c_str()));
    }
    args.push_back(nullptr);
    _pid = ::fork();
    if (_pid == 0) {
        ::dup2(out[1], STDOUT_FILENO);
        ::dup2(err[1], STDERR_FILENO);
        ::execv(args[0], args.data());
        ::_exit(127);
    }
    ::close(out[1]);
    ::close(err[1]);
    _out_fd = out[0];
    _err_fd = err[0];
}

ChildProcess::~ChildProcess() {
    if (_pid > 0) {
        ::kill(_pid, SIGKILL);
        ::waitpid(_pid, nullptr, 0);
    }
    for (int fd : {_out_fd, _err_fd}) {
        if (fd >= 0) {
            ::close(fd);
        }
    }
}

bool ChildProcess::pump(int timeout_millis) {
    pollfd fds[2] = {{_out_fd, POLLIN, 0}, {_err_fd, POLLIN, 0}};
    if (_out_fd < 0 && _err_fd < 0) {
        return false;
    }
    if (::poll(fds, 2, timeout_millis) <= 0) {
        return true;
    }
    int* fd_of[2] = {&_out_fd, &_err_fd};
    std::string* text_of[2] = {&_out, &_err};
    for (int i = 0; i < 2; ++i) {
        if (fds[i].revents == 0) {
            continue;
        }
        char buffer[4096];
        const ssize_t got = ::read(*fd_of[i], buffer, sizeof buffer);
        if (got > 0) {
            text_of[i]->append(buffer, static_cast<std::size_t>(got));
        } else if (got == 0 || errno != EINTR) {
            ::close(*fd_of[i]);
            *fd_of[i] = -1;
        }
    }
    return _out_fd >= 0 || _err_fd >= 0;
}

std::string ChildProcess::readLine(int timeout_millis) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeout_millis);
    while (_out.find('\n') == std::string::npos && millisLeft(deadline) > 0 &&
           pump(millisLeft(deadline))) {
    }
    const std::size_t newline = _out.find('\n');
    if (newline == std::string::npos) {
        return std::string();
    }
    std::string line = _out.substr(0, newline);
    _out.erase(0, newline + 1);
    return line;
}

void ChildProcess::signal(int signal_number) {
    if (_pid > 0) {
        ::kill(_pid, signal_number);
    }
}

ProcessResult ChildProcess::wait(int timeout_millis) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeout_millis);
    while (millisLeft(deadline) > 0 && pump(millisLeft(deadline))) {
    }
    ProcessResult result;
    int status = 0;
    if (_pid > 0) {
        // The pipes close when the program ends (or it closed them itself): allow what is left.
        while (::waitpid(_pid, &status, WNOHANG) == 0) {
            if (millisLeft(deadline) == 0) {
                ::kill(_pid, SIGKILL);
                ::waitpid(_pid, &status, 0);
                break;
            }
            ::usleep(10000);
        }
        _pid = -1;
    }
    result.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.out = std::move(_out);
    result.err = std::move(_err);
    return result;
}

ProcessResult runProcess(const std::vector<std::string>& argv, int timeout_millis) {
    ChildProcess child(argv);
    return child.wait(timeout_millis);
}

}  // namespace vqtest
