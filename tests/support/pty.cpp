#include "vqtest/pty.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <stdexcept>

namespace vqtest {

namespace {

using Clock = std::chrono::steady_clock;

// Waits for `events` on `fd` until `deadline`; false when the time is up or the end failed.
bool waitUntil(int fd, short events, Clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    pollfd entry{fd, events, 0};
    return left > 0 && ::poll(&entry, 1, static_cast<int>(left)) > 0 &&
           (entry.revents & events) != 0;
}

}  // namespace

unsigned int slaveRate(int fd);  // in ptyrate.cpp

PtyPair::PtyPair() {
    char name[128] = {};
    if (::openpty(&_master, &_slave, name, nullptr, nullptr) != 0) {
        throw std::runtime_error("openpty failed");
    }
    ::fcntl(_master, F_SETFL, ::fcntl(_master, F_GETFL) | O_NONBLOCK);
    _path = name;
}

PtyPair::~PtyPair() {
    closeMaster();
    ::close(_slave);
}

bool PtyPair::send(const std::vector<unsigned char>& bytes) const {
    const auto deadline = Clock::now() + std::chrono::seconds(5);
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t written = ::write(_master, bytes.data() + done, bytes.size() - done);
        if (written > 0) {
            done += static_cast<std::size_t>(written);
        } else if ((written < 0 && errno != EAGAIN && errno != EINTR) ||
                   !waitUntil(_master, POLLOUT, deadline)) {
            return false;
        }
    }
    return true;
}

std::vector<unsigned char> PtyPair::receive(std::size_t count, int millis) const {
    const auto deadline = Clock::now() + std::chrono::milliseconds(millis);
    std::vector<unsigned char> bytes(count);
    std::size_t done = 0;
    while (done < count && waitUntil(_master, POLLIN, deadline)) {
        const ssize_t got = ::read(_master, bytes.data() + done, count - done);
        if (got <= 0 && errno != EAGAIN && errno != EINTR) {
            break;
        }
        done += got > 0 ? static_cast<std::size_t>(got) : 0;
    }
    bytes.resize(done);
    return bytes;
}

void PtyPair::closeMaster() {
    if (_master >= 0) {
        ::close(_master);
        _master = -1;
    }
}

termios PtyPair::settings() const {
    termios settings{};
    ::tcgetattr(_slave, &settings);
    return settings;
}

unsigned int PtyPair::rate() const {
    return slaveRate(_slave);
}

}  // namespace vqtest
