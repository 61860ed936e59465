// The system-call seam: the one wait on a descriptor, across signals, failures and deadlines.
#include "eod/io/systemcalls_internal.h"

#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>

#include "vqtest/systemcalls.h"

namespace {

using namespace vq::eod::io::detail;

// Polls so far; the first `interrupted` fail with EINTR, later ones with `failure` if set.
int polls = 0;
int interrupted = 0;
int failure = 0;

TEST(SystemCalls, WaitUntilOutlastsSignalsAndReportsWhatPollSaw) {
    int pipe_ends[2];
    ASSERT_EQ(::pipe(pipe_ends), 0);
    const int silent = pipe_ends[0];
    const int closed = ::dup(silent);
    ::close(closed);
    SystemCalls calls = realSystemCalls();
    calls.poll = [](pollfd* entries, nfds_t count, int millis) {
        ++polls;
        const int error = polls <= interrupted ? EINTR : failure;
        return error != 0 ? (errno = error, -1) : realSystemCalls().poll(entries, count, millis);
    };
    const vqtest::SystemCallsOverride seam(calls);
    const struct {
        int fd, millis, interruptions, fails_with, result, polls;
    } cases[] = {
        {silent, 30, 2, 0, 0, 3},         // silence until the deadline, signals between
        {silent, 0, 0, 0, 0, 1},          // a look without waiting
        {closed, -1, 3, 0, POLLNVAL, 4},  // not open: reported, not waited for
        {silent, -1, 1, ENOMEM, -1, 2},   // a failing poll, after a signal
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        polls = 0;
        interrupted = c.interruptions;
        failure = c.fails_with;
        const Deadline deadline = deadlineAfter(c.millis);
        const int result = waitUntil(c.fd, POLLIN, deadline);
        const int error = result < 0 ? errno : 0;
        EXPECT_EQ(result, c.result);
        EXPECT_EQ(error, c.fails_with);
        EXPECT_EQ(polls, c.polls);
        if (c.result == 0) {
            EXPECT_GE(Clock::now(), *deadline);  // never before the deadline
        }
    }
    ::close(pipe_ends[0]);
    ::close(pipe_ends[1]);
}

}  // namespace
