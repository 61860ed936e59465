#include "vq/eod/io/sockethandle.h"

#include "eod/io/systemcalls_internal.h"

namespace vq::eod::io {

SocketHandle::SocketHandle(SocketHandle&& other) noexcept : _handle(other.release()) {}

SocketHandle& SocketHandle::operator=(SocketHandle&& other) noexcept {
    if (this != &other) {
        reset(other.release());
    }
    return *this;
}

SocketHandle::~SocketHandle() {
    reset();
}

void SocketHandle::reset(std::uint64_t handle) noexcept {
    if (valid()) {
        // Never retried: on Linux the descriptor is released even when close reports EINTR, and
        // a retry could close a descriptor that another thread has opened meanwhile.
        detail::systemCalls().close(fd());
    }
    _handle = handle;
}

std::uint64_t SocketHandle::release() noexcept {
    const std::uint64_t handle = _handle;
    _handle = INVALID_SOCKET;
    return handle;
}

}  // namespace vq::eod::io
