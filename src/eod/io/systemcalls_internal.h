// The one seam between the library and the system calls of its sockets, its serial port and its
// directory listing, and the one loop that repeats them across signals and waits on a
// descriptor.
//
// Every such call goes through the table systemCalls() returns: the C library's functions
// unless a test has put a table of its own in force (exchangeSystemCalls, through the guard
// vqtest::SystemCallsOverride), so that a test can make any call fail with any errno. A call
// that a signal can interrupt is repeated by retryOnInterrupt; a wait for a descriptor goes
// through waitUntil, which repeats poll across signals without extending the wait.
#pragma once

#include <dirent.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/types.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <optional>

#include "vq/eod/export.h"

struct termios;

namespace vq::eod::io::detail {

// The system calls, one field a call, each with the C library's parameters and results (-1 or
// null with errno set on failure). open and ioctl take their one optional argument always.
struct SystemCalls {
    // Sockets and names.
    int (*socket)(int domain, int type, int protocol);
    int (*bind)(int fd, const sockaddr* address, socklen_t length);
    int (*listen)(int fd, int backlog);
    int (*accept4)(int fd, sockaddr* address, socklen_t* length, int flags);
    int (*connect)(int fd, const sockaddr* address, socklen_t length);
    ssize_t (*send)(int fd, const void* data, std::size_t size, int flags);
    ssize_t (*recv)(int fd, void* data, std::size_t size, int flags);
    ssize_t (*sendto)(int fd, const void* data, std::size_t size, int flags, const sockaddr* to,
                      socklen_t length);
    ssize_t (*recvfrom)(int fd, void* data, std::size_t size, int flags, sockaddr* from,
                        socklen_t* length);
    int (*getsockname)(int fd, sockaddr* address, socklen_t* length);
    int (*setsockopt)(int fd, int level, int option, const void* value, socklen_t length);
    int (*getsockopt)(int fd, int level, int option, void* value, socklen_t* length);
    int (*gethostname)(char* name, std::size_t length);
    // Descriptors and the serial line.
    int (*open)(const char* path, int flags);
    int (*close)(int fd);
    ssize_t (*read)(int fd, void* data, std::size_t size);
    ssize_t (*write)(int fd, const void* data, std::size_t size);
    int (*poll)(pollfd* entries, nfds_t count, int timeout_millis);
    int (*flock)(int fd, int operation);
    int (*ioctl)(int fd, unsigned long request, void* argument);
    int (*tcgetattr)(int fd, termios* settings);
    int (*tcsetattr)(int fd, int when, const termios* settings);
    int (*tcflush)(int fd, int queue);
    int (*tcdrain)(int fd);
    // Directory listing.
    DIR* (*opendir)(const char* path);
    dirent* (*readdir)(DIR* directory);
    int (*closedir)(DIR* directory);
};

// The C library's calls.
VQ_EOD_API const SystemCalls& realSystemCalls() noexcept;

// The table in force: the real calls unless a test has put another in force.
VQ_EOD_API const SystemCalls& systemCalls() noexcept;

// For tests: puts `calls` in force for the whole process (null: the real calls again) and
// returns the table that was in force. `calls` must outlive its time in force, and no other
// thread may be inside a call while the table changes.
VQ_EOD_API const SystemCalls* exchangeSystemCalls(const SystemCalls* calls) noexcept;

// Runs `call` again while a signal interrupts it (a result of -1 with errno EINTR); errno stays
// that of the last run.
template <typename Call>
auto retryOnInterrupt(Call&& call) -> decltype(call()) {
    for (;;) {
        const auto result = call();
        if (result != -1 || errno != EINTR) {
            return result;
        }
    }
}

using Clock = std::chrono::steady_clock;
// When a wait ends; none: it waits without limit.
using Deadline = std::optional<Clock::time_point>;

// The deadline `millis` from now (0: now); none for a negative value.
VQ_EOD_API Deadline deadlineAfter(int millis);

// Waits until `fd` reports one of `events` (POLLIN, POLLOUT), an error or a hang-up, or until
// the deadline has passed; never returns before it. A signal neither ends nor extends the wait.
// Returns the events poll reported (> 0, POLLNVAL among them for a descriptor that is not
// open), 0 once the deadline has passed, or -1 when poll failed (errno says why).
VQ_EOD_API int waitUntil(int fd, short events, const Deadline& deadline);

}  // namespace vq::eod::io::detail
