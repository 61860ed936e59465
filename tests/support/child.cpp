#include "vqtest/child.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <thread>

namespace vqtest {

ForkedChild::ForkedChild(const std::function<void(int report)>& body) {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe for a child process");
    }
    _pid = ::fork();
    if (_pid < 0) {
        ::close(fds[0]);
        ::close(fds[1]);
        throw std::runtime_error("no child process");
    }
    if (_pid == 0) {
        ::close(fds[0]);
        int status = 0;
        try {
            body(fds[1]);
        } catch (...) {
            status = 1;
        }
        ::_exit(status);  // no atexit handlers, no test framework teardown in the child
    }
    ::close(fds[1]);
    _report = fds[0];
}

ForkedChild::~ForkedChild() {
    kill();
    if (_report >= 0) {
        ::close(_report);
    }
}

bool ForkedChild::read(std::string& text, std::size_t count, int millis) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(millis);
    std::size_t got = 0;
    while (got < count) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd entry{_report, POLLIN, 0};
        if (left.count() <= 0 || ::poll(&entry, 1, static_cast<int>(left.count())) <= 0) {
            return false;
        }
        char buffer[4096];
        const ssize_t n = ::read(_report, buffer, std::min(sizeof(buffer), count - got));
        if (n <= 0) {
            return false;  // the child closed its end
        }
        text.append(buffer, static_cast<std::size_t>(n));
        got += static_cast<std::size_t>(n);
    }
    return true;
}

void ForkedChild::kill() {
    if (_pid > 0) {
        ::kill(_pid, SIGKILL);
        int status = 0;
        while (::waitpid(_pid, &status, 0) < 0 && errno == EINTR) {
        }
        _pid = -1;
    }
}

int ForkedChild::wait(int millis) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(millis);
    while (_pid > 0) {
        int status = 0;
        const pid_t done = ::waitpid(_pid, &status, WNOHANG);
        if (done == _pid) {
            _pid = -1;
            return status;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            kill();
            return -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return -1;
}

void report(int fd, const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            ::_exit(2);  // the test went away
        }
        done += static_cast<std::size_t>(n);
    }
}

}  // namespace vqtest
