// SocketHandle: the one owner of a descriptor, used by every socket class and the serial port.
//
// Handles are unsigned 64-bit values; INVALID_SOCKET (all ones) means "no socket". A handle owns
// its descriptor: it closes it when destroyed, reset or assigned over, and never throws while
// doing so. It moves but does not copy. Not locked: one thread uses a handle at a time.
#pragma once

#include <cstdint>

#include "vq/eod/export.h"

namespace vq::eod::io {

// The handle value that names no socket.
constexpr std::uint64_t INVALID_SOCKET = ~std::uint64_t{0};

class VQ_EOD_API SocketHandle {
public:
    SocketHandle() noexcept = default;
    // Takes ownership of an open descriptor (or INVALID_SOCKET).
    explicit SocketHandle(std::uint64_t handle) noexcept : _handle(handle) {}
    SocketHandle(SocketHandle&& other) noexcept;
    SocketHandle& operator=(SocketHandle&& other) noexcept;
    SocketHandle(const SocketHandle&) = delete;
    SocketHandle& operator=(const SocketHandle&) = delete;
    ~SocketHandle();

    std::uint64_t get() const noexcept { return _handle; }
    // The descriptor for system calls; -1 when there is none.
    int fd() const noexcept { return valid() ? static_cast<int>(_handle) : -1; }
    bool valid() const noexcept { return _handle != INVALID_SOCKET; }

    // Closes the descriptor held (if any) and takes `handle` instead.
    void reset(std::uint64_t handle = INVALID_SOCKET) noexcept;
    // Gives up ownership without closing; the handle is then INVALID_SOCKET.
    std::uint64_t release() noexcept;

private:
    std::uint64_t _handle = INVALID_SOCKET;
};

}  // namespace vq::eod::io
