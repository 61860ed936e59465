// The error table of the socket classes and their calls on top of the system-call seam.
//
// Every socket call goes through retrySocketCall, which repeats a call interrupted by a signal
// and records the error of a call that failed for the calling thread, as a code of the error
// table that netLibErrorString reads (and clears). Waits use poll, never busy loops.
#pragma once

#include <netinet/in.h>

#include <string>

#include "eod/io/systemcalls_internal.h"

namespace vq::eod::io::detail {

// Codes of the error table that have no errno of their own: resolver failures.
constexpr int NET_ERROR_HOST_NOT_FOUND = 11001;
constexpr int NET_ERROR_TRY_AGAIN = 11002;
constexpr int NET_ERROR_NO_RECOVERY = 11003;
constexpr int NET_ERROR_NO_DATA = 11004;

// The calling thread's last socket error (0: none).
void setLastSocketError(int code) noexcept;
int takeLastSocketError() noexcept;
// Records errno, mapped onto the error table (an errno without an entry stays as it is and so
// reads as the fallback text).
void recordErrno() noexcept;
// Records a getaddrinfo / getnameinfo result code.
void recordResolverError(int gai_error) noexcept;
// The text of a code of the error table, or the fallback text.
const char* socketErrorText(int code) noexcept;

// Calls `call` until it is not interrupted by a signal; a result of -1 records errno.
template <typename Call>
auto retrySocketCall(Call&& call) -> decltype(call()) {
    const auto result = retryOnInterrupt(call);
    if (result == -1) {
        recordErrno();
    }
    return result;
}

// Raises SocketError with netLibErrorString(message).
[[noreturn]] void throwSocketError(const std::string& message);

// Waits until `fd` reports one of `events` (POLLIN, POLLOUT), an error or a hang-up. A negative
// time limit waits without limit, 0 only looks. Returns 1 when ready, 0 at the time limit and -1
// when poll failed (error recorded). A signal does not extend the wait.
int waitForEvents(int fd, short events, int timeout_millis);

// waitForEvents that raises SocketError "Socket Error while waiting for data: ..." when poll
// fails; true when ready.
bool waitReady(int fd, short events, int timeout_millis);

// connect() that survives a signal: the connection under way is awaited and its result
// reported. Returns 0 or -1 (error recorded).
int connectTo(int fd, const sockaddr_in& address);

// bind() to an IPv4 address. Returns 0 or -1 (error recorded).
int bindTo(int fd, const sockaddr_in& address);

// Integer socket options; -1 on failure (error recorded).
int setIntOption(int fd, int level, int option, int value);
int getIntOption(int fd, int level, int option, int& value);

}  // namespace vq::eod::io::detail
