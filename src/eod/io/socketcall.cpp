#include "eod/io/socketcall_internal.h"

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>

#include "vq/eod/io/netinitialiser.h"
#include "vq/eod/io/socketerror.h"

namespace vq::eod::io::detail {

namespace {

thread_local int last_socket_error = 0;

// errno values onto the codes of the error table. EPIPE (the peer went away while we sent)
// reads as a connection the remote host closed.
int socketErrorFromErrno(int errnum) {
    switch (errnum) {
        case EINTR:
            return 10004;
        case EBADF:
            return 10009;
        case EFAULT:
            return 10014;
        case EINVAL:
            return 10022;
        case EMFILE:
        case ENFILE:
            return 10024;
        case EWOULDBLOCK:
            return 10035;
        case EINPROGRESS:
        case EALREADY:
            return 10036;
        case ENOTSOCK:
            return 10038;
        case EMSGSIZE:
            return 10040;
        case EPROTOTYPE:
            return 10041;
        case EPROTONOSUPPORT:
            return 10043;
        case ESOCKTNOSUPPORT:
            return 10044;
        case EAFNOSUPPORT:
            return 10047;
        case EADDRINUSE:
            return 10048;
        case EADDRNOTAVAIL:
            return 10049;
        case ENETDOWN:
            return 10050;
        case ENETUNREACH:
            return 10051;
        case ECONNRESET:
        case EPIPE:
            return 10054;
        case ENOBUFS:
        case ENOMEM:
            return 10055;
        case EISCONN:
            return 10056;
        case ETIMEDOUT:
            return 10060;
        case ECONNREFUSED:
            return 10061;
        case EHOSTUNREACH:
            return 10065;
        default:
            return errnum;
    }
}

}  // namespace

void setLastSocketError(int code) noexcept {
    last_socket_error = code;
}

int takeLastSocketError() noexcept {
    const int code = last_socket_error;
    last_socket_error = 0;
    return code;
}

void recordErrno() noexcept {
    setLastSocketError(socketErrorFromErrno(errno));
}

void recordResolverError(int gai_error) noexcept {
    switch (gai_error) {
        case EAI_NONAME:
            setLastSocketError(NET_ERROR_HOST_NOT_FOUND);
            break;
        case EAI_AGAIN:
            setLastSocketError(NET_ERROR_TRY_AGAIN);
            break;
        case EAI_NODATA:
        case EAI_ADDRFAMILY:
            setLastSocketError(NET_ERROR_NO_DATA);
            break;
        case EAI_SYSTEM:
            recordErrno();
            break;
        default:
            setLastSocketError(NET_ERROR_NO_RECOVERY);
            break;
    }
}

void throwSocketError(const std::string& message) {
    throw SocketError(netLibErrorString(message));
}

int waitForEvents(int fd, short events, int timeout_millis) {
    const int ready = waitUntil(fd, events, deadlineAfter(timeout_millis));
    if (ready < 0) {
        recordErrno();
        return -1;
    }
    return ready > 0 ? 1 : 0;
}

bool waitReady(int fd, short events, int timeout_millis) {
    const int ready = waitForEvents(fd, events, timeout_millis);
    if (ready < 0) {
        throwSocketError("Socket Error while waiting for data");
    }
    return ready > 0;
}

int connectTo(int fd, const sockaddr_in& address) {
    if (systemCalls().connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) ==
        0) {
        return 0;
    }
    if (errno != EINTR) {
        recordErrno();
        return -1;
    }
    // Interrupted: the connection goes on in the background; wait for it and fetch its result.
    if (waitForEvents(fd, POLLOUT, -1) < 0) {
        return -1;
    }
    int error = 0;
    if (getIntOption(fd, SOL_SOCKET, SO_ERROR, error) < 0) {
        return -1;
    }
    if (error != 0) {
        errno = error;
        recordErrno();
        return -1;
    }
    return 0;
}

int bindTo(int fd, const sockaddr_in& address) {
    return retrySocketCall([&] {
        return systemCalls().bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    });
}

int setIntOption(int fd, int level, int option, int value) {
    return retrySocketCall(
        [&] { return systemCalls().setsockopt(fd, level, option, &value, sizeof(value)); });
}

int getIntOption(int fd, int level, int option, int& value) {
    socklen_t length = sizeof(value);
    return retrySocketCall(
        [&] { return systemCalls().getsockopt(fd, level, option, &value, &length); });
}

}  // namespace vq::eod::io::detail
