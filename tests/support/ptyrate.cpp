// PtyPair::rate() reads the kernel's termios2, whose header cannot meet <termios.h>.
#include <asm/termbits.h>
#include <sys/ioctl.h>

namespace vqtest {

unsigned int slaveRate(int fd) {
    termios2 settings{};
    return ::ioctl(fd, TCGETS2, &settings) == 0 ? settings.c_ospeed : 0;
}

}  // namespace vqtest
