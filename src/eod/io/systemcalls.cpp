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

// Through the C library's own entry points; open and ioctl take variable arguments.
const SystemCalls REAL_CALLS = {
    ::socket,
    ::bind,
    ::listen,
    ::accept4,
    ::connect,
    ::send,
    ::recv,
    ::sendto,
    ::recvfrom,
    ::getsockname,
    ::setsockopt,
    ::getsockopt,
    ::gethostname,
    [](const char* path, int flags) { return ::open(path, flags); },
    ::close,
    ::read,
    ::write,
    ::poll,
    ::flock,
    [](int fd, unsigned long request, void* argument) { return ::ioctl(fd, request, argument); },
    ::tcgetattr,
    ::tcsetattr,
    ::tcflush,
    ::tcdrain,
    ::opendir,
    ::readdir,
    ::closedir,
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
