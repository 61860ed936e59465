#include "vq/eod/io/netinitialiser.h"

#include "eod/io/socketcall_internal.h"

namespace vq::eod::io {

namespace {

struct ErrorText {
    int code;
    const char* text;
};

// The codes and texts of socket errors. Two texts (10009 and 10022) describe other situations
// than their codes usually mean; applications match on them, so they stay as they are.
constexpr ErrorText ERROR_TEXTS[] = {
    {10004, "The (blocking) call was canceled via WSACancelBlockingCall()"},
    {10009, "For Windows CE AF_IRDA sockets only: the shared serial port is busy."},
    {10014, "The namelen argument is incorrect."},
    {10022, "The socket is not already bound to an address."},
    {10024, "No more socket descriptors are available."},
    {10035,
     "The socket is marked as non-blocking and the connection cannot be completed manually."},
    {10036,
     "A blocking Windows Sockets 1.1 call is in progress, or the service provider is still "
     "processing a callback function."},
    {10038, "The descriptor is not a socket."},
    {10040, "The message was too large to fit in the buffer provided and was truncated"},
    {10041, "The specified protocol is the wrong type for this socket."},
    {10043, "The specified protocol is not supported."},
    {10044, "The specified socket type is not supported in this address family."},
    {10047, "The specified address family is not supported."},
    {10048, "The specified address is already in use."},
    {10049, "The specified address is not available from the local machine."},
    {10050, "The network subsystem or the associated service provider has failed."},
    {10051, "The network can't be reached from this host at this time."},
    {10054, "The connection was forcibly closed by the remote host."},
    {10055, "No buffer space is available. The socket cannot be created."},
    {10056, "The socket is already connected."},
    {10060, "Attempt to connect timed out without establishing a connection"},
    {10061, "The attempt to connect was forcefully rejected."},
    {10065, "The host was unreachable."},
    {10093, "A successful WSAStartup call must occur before using this function."},
    {11001, "Authoritative answer host not found."},
    {11002, "Nonauthoritative host not found, or server failed."},
    {11003, "A nonrecoverable error occurred."},
    {11004, "Valid name, no data record of requested type."},
};

}  // namespace

namespace detail {

const char* socketErrorText(int code) noexcept {
    for (const ErrorText& entry : ERROR_TEXTS) {
        if (entry.code == code) {
            return entry.text;
        }
    }
    return "No error message is defined for this exception.";
}

}  // namespace detail

NetInitialiser::NetInitialiser() {
    init();
}

// Nothing to stop: Linux sockets need no library start-up.
NetInitialiser::~NetInitialiser() = default;

// Nothing to start on Linux; SIGPIPE is avoided per call (MSG_NOSIGNAL), not process-wide, so
// that the application's own signal handling is left alone.
void NetInitialiser::init() {}

void initNetLib() {
    static NetInitialiser initialiser;
    (void)initialiser;
}

std::string netLibErrorString(const std::string& message) {
    return message + ": " + detail::socketErrorText(detail::takeLastSocketError());
}

}  // namespace vq::eod::io
