// Start-up of the socket layer and the texts of socket errors.
//
// initNetLib() makes sure the socket layer is started; every address and socket calls it, so
// applications need not. Linux has nothing to start, but the one-time start-up stays, so that the
// order of start-up is the same on every platform.
//
// Every socket call of the library that fails records its error for the calling thread. The
// socket classes turn it into text with netLibErrorString, which also clears it: a second call
// without a failure in between reads "no error" and gives the fallback text.
#pragma once

#include <string>

#include "vq/eod/export.h"

namespace vq::eod::io {

// Starts the socket layer when constructed and stops it when destroyed. One instance exists per
// process, made by initNetLib(); construct no other.
class VQ_EOD_API NetInitialiser {
public:
    // Raises SocketError "Could not find a useable windows sockets dll.: ..." when the socket
    // layer cannot be started (never on Linux).
    NetInitialiser();
    ~NetInitialiser();
    NetInitialiser(const NetInitialiser&) = delete;
    NetInitialiser& operator=(const NetInitialiser&) = delete;

private:
    void init();
};

// Starts the socket layer on the first call, from any thread (thread-safe), and stops it at
// process exit; later calls do nothing.
VQ_EOD_API void initNetLib();

// `message` + ": " + the text of the calling thread's last socket error, which is then cleared.
// Errors without a text of their own (and "no error") give "No error message is defined for this
// exception.". Examples: "Could not connect TCP socket to address.: The attempt to connect was
// forcefully rejected.", "Failed to send data.: The connection was forcibly closed by the remote
// host." (also for a peer that went away: EPIPE).
VQ_EOD_API std::string netLibErrorString(const std::string& message);

}  // namespace vq::eod::io
