// The system-call seam: the one wait on a descriptor, across signals, failures and deadlines.
#include "eod/io/systemcalls_internal.h"

#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>

#include "vqtest/systemcalls.h"

namespace {

using vq::eod::io::detail::Clock;
using vq::eod::io::detail::deadlineAfter;
using vq::eod::io::detail::realSystemCalls;
using vq::eod::io::detail::SystemCalls;
using vq::eod::io::detail::waitUntil;

// Poll calls so far; the first `interruptions` of them fail with EINTR, later ones with
// `failure` when it is set.
int polls = 0;
int interruptions = 0;
int failure = 0;

int flakyPoll(pollfd* entries, nfds_t count, int timeout_millis) {
    ++polls;
    if (polls <= interruptions || failure != 0) {
        errno = polls <= interruptions ? EINTR : failure;
        return -1;
    }
    return realSystemCalls().poll(entries, count, timeout_millis);
}

TEST(SystemCalls, WaitUntilOutlastsSignalsAndReportsWhatPollSaw) {
    int pipe_ends[2];
    ASSERT_EQ(::pipe(pipe_ends), 0);
    const int reader = pipe_ends[0];
    const int writer = pipe_ends[1];
    const int closed = ::dup(reader);
    ::close(closed);
    SystemCalls calls = realSystemCalls();
    calls.poll = flakyPoll;
    const vqtest::SystemCallsOverride seam(calls);
    struct Case {
        const char* what;
        int fd;
        int millis;
        int interrupted;
        int fails_with;
        int result;
        int polls;
    };
    const Case cases[] = {
        {"silence until the deadline, signals between", reader, 30, 2, 0, 0, 3},
        {"a look without waiting", reader, 0, 0, 0, 0, 1},
        {"data, after signals, without limit", -1, -1, 3, 0, POLLIN, 4},
        {"a descriptor that is not open", closed, -1, 0, 0, POLLNVAL, 1},
        {"a failing poll after a signal", reader, -1, 1, ENOMEM, -1, 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        polls = 0;
        interruptions = c.interrupted;
        failure = c.fails_with;
        if (c.fd < 0) {
            ASSERT_EQ(::write(writer, "x", 1), 1);
        }
        const auto deadline = deadlineAfter(c.millis);
        errno = 0;
        EXPECT_EQ(waitUntil(c.fd < 0 ? reader : c.fd, POLLIN, deadline), c.result);
        EXPECT_EQ(polls, c.polls);
        if (c.result == 0) {
            EXPECT_GE(Clock::now(), *deadline);  // never before the deadline
        }
        if (c.result < 0) {
            EXPECT_EQ(errno, c.fails_with);
        }
    }
    failure = 0;
    ::close(reader);
    ::close(writer);
}

}  // namespace
