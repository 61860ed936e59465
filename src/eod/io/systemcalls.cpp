#include "eod/io/systemcalls_internal.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdint>

namespace vq::eod::io::detail {

namespace {

const SystemCalls REAL_CALLS = {
    [](int domain, int type, int protocol) { return ::socket(domain, type, protocol); },
    [](int fd, const sockaddr* address, socklen_t length) { return ::bind(fd, address, length); },
    [](int fd, int backlog) { return ::listen(fd, backlog); },
    [](int fd, sockaddr* address, socklen_t* length, int flags) {
        return ::accept4(fd, address, length, flags);
    },
    [](int fd, const sockaddr* address, socklen_t length) {
        return ::connect(fd, address, length);
    },
    [](int fd, const void* data, std::size_t size, int flags) {
        return ::send(fd, data, size, flags);
    },
    [](int fd, void* data, std::size_t size, int flags) { return ::recv(fd, data, size, flags); },
    [](int fd, const void* data, std::size_t size, int flags, const sockaddr* to,
       socklen_t length) { return ::sendto(fd, data, size, flags, to, length); },
    [](int fd, void* data, std::size_t size, int flags, sockaddr* from, socklen_t* length) {
        return ::recvfrom(fd, data, size, flags, from, length);
    },
    [](int fd, sockaddr* address, socklen_t* length) { return ::getsockname(fd, address, length); },
    [](int fd, int level, int option, const void* value, socklen_t length) {
        return ::setsockopt(fd, level, option, value, length);
    },
    [](int fd, int level, int option, void* value, socklen_t* length) {
        return ::getsockopt(fd, level, option, value, length);
    },
    [](char* name, std::size_t length) { return ::gethostname(name, length); },
    [](const char* path, int flags) { return ::open(path, flags); },
    [](int fd) { return ::close(fd); },
    [](int fd, void* data, std::size_t size) { return ::read(fd, data, size); },
    [](int fd, const void* data, std::size_t size) { return ::write(fd, data, size); },
    [](pollfd* entries, nfds_t count, int timeout_millis) {
        return ::poll(entries, count, timeout_millis);
    },
    [](int fd, int operation) { return ::flock(fd, operation); },
    [](int fd, unsigned long request, void* argument) { return ::ioctl(fd, request, argument); },
    [](int fd, termios* settings) { return ::tcgetattr(fd, settings); },
    [](int fd, int when, const termios* settings) { return ::tcsetattr(fd, when, settings); },
    [](int fd, int queue) { return ::tcflush(fd, queue); },
    [](int fd) { return ::tcdrain(fd); },
    [](const char* path) { return ::opendir(path); },
    [](DIR* directory) { return ::readdir(directory); },
    [](DIR* directory) { return ::closedir(directory); },
};

std::atomic<const SystemCalls*> calls_in_force{&REAL_CALLS};

}  // namespace

const SystemCalls& realSystemCalls() noexcept {
    return REAL_CALLS;
}

const SystemCalls& systemCalls() noexcept {
    return *calls_in_force.load(std::memory_order_acquire);
}

const SystemCalls* exchangeSystemCalls(const SystemCalls* calls) noexcept {
    return calls_in_force.exchange(calls != nullptr ? calls : &REAL_CALLS,
                                   std::memory_order_acq_rel);
}

Deadline deadlineAfter(int millis) {
    if (millis < 0) {
        return std::nullopt;
    }
    return Clock::now() + std::chrono::milliseconds(millis);
}

int waitUntil(int fd, short events, const Deadline& deadline) {
    for (;;) {
        int wait_millis = -1;
        if (deadline) {
            // Rounded up, so that the wait never ends before the deadline.
            const auto left =
                std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now()).count();
            wait_millis = static_cast<int>(std::clamp<std::int64_t>(left, 0, INT_MAX));
        }
        pollfd entry{fd, events, 0};
        const int ready = systemCalls().poll(&entry, 1, wait_millis);
        if (ready > 0) {
            return entry.revents;
        }
        if (ready < 0 && errno != EINTR) {
            return -1;
        }
        if (ready == 0 && deadline && Clock::now() >= *deadline) {
            return 0;
        }
    }
}

}  // namespace vq::eod::io::detail
