// Line rates that termios has no Bxxx constant for (14000 and 128000 bits per second), set
// through the kernel's termios2 interface, which takes the rate itself. This lives in a file of
// its own because the kernel's termios header cannot share a translation unit with <termios.h>.
#pragma once

namespace vq::eod::io::detail {

// The c_cflag speed code that says "the rate is in c_ispeed/c_ospeed" (the kernel's BOTHER).
constexpr unsigned int ARBITRARY_SPEED = 0010000;

// Sets the input and output rate of the tty `handle` to `rate` bits per second. Returns 0, the
// errno of a failing call, or EINVAL when the driver settles on a rate more than 2 % away (a
// UART's tolerance), which is what a driver without arbitrary rates does.
int setArbitrarySpeed(int handle, unsigned int rate);

}  // namespace vq::eod::io::detail
