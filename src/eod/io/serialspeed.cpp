#include "eod/io/serialspeed_internal.h"

#include <asm/termbits.h>
#include <sys/ioctl.h>  // the request codes

#include <cerrno>

#include "eod/io/systemcalls_internal.h"

namespace vq::eod::io::detail {

static_assert(ARBITRARY_SPEED == BOTHER, "the kernel's arbitrary-rate code");

namespace {

int retryIoctl(int handle, unsigned long request, termios2* settings) {
    return retryOnInterrupt([&] { return systemCalls().ioctl(handle, request, settings); });
}

}  // namespace

int setArbitrarySpeed(int handle, unsigned int rate) {
    termios2 settings{};
    if (retryIoctl(handle, TCGETS2, &settings) != 0) {
        return errno;
    }
    // Output rate in the low speed bits, input rate "same as output" in the high ones.
    settings.c_cflag &= ~(CBAUD | (CBAUD << IBSHIFT));
    settings.c_cflag |= BOTHER;
    settings.c_ispeed = rate;
    settings.c_ospeed = rate;
    if (retryIoctl(handle, TCSETS2, &settings) != 0 ||
        retryIoctl(handle, TCGETS2, &settings) != 0) {
        return errno;
    }
    const unsigned int actual = settings.c_ospeed;
    const unsigned int difference = actual > rate ? actual - rate : rate - actual;
    return difference * 50u <= rate ? 0 : EINVAL;
}

}  // namespace vq::eod::io::detail
