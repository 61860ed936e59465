// Replacing the library's system calls in a test: the guard puts a table in force and gives the
// one before it back when it goes. Start from the real calls and change the ones to fail:
//
//   vq::eod::io::detail::SystemCalls calls = vq::eod::io::detail::realSystemCalls();
//   calls.readdir = [](DIR*) -> dirent* { return errno = EIO, nullptr; };
//   const vqtest::SystemCallsOverride failing(calls);
//
// Made and destroyed while no other thread is inside a system call of the library.
#pragma once

#include "eod/io/systemcalls_internal.h"

namespace vqtest {

class SystemCallsOverride {
public:
    explicit SystemCallsOverride(const vq::eod::io::detail::SystemCalls& calls)
        : _calls(calls), _previous(vq::eod::io::detail::exchangeSystemCalls(&_calls)) {}
    ~SystemCallsOverride() { vq::eod::io::detail::exchangeSystemCalls(_previous); }
    SystemCallsOverride(const SystemCallsOverride&) = delete;
    SystemCallsOverride& operator=(const SystemCallsOverride&) = delete;

private:
    const vq::eod::io::detail::SystemCalls _calls;
    const vq::eod::io::detail::SystemCalls* const _previous;
};

}  // namespace vqtest
