// A pseudo-terminal pair for the serial-link tests: the library opens the slave side as its
// device, the test plays the device on the master side.
#pragma once

#include <termios.h>

#include <string>
#include <vector>

namespace vqtest {

class PtyPair {
public:
    PtyPair();  // raises std::runtime_error when no pseudo-terminal can be had
    ~PtyPair();
    PtyPair(const PtyPair&) = delete;
    PtyPair& operator=(const PtyPair&) = delete;

    // The device path of the slave side ("/dev/pts/3").
    const std::string& path() const { return _path; }
    // Writes every byte to the port, waiting at most 5 s in all; false if they did not all go.
    bool send(const std::vector<unsigned char>& bytes) const;
    // What the port sent: reads until `count` bytes came or `millis` passed.
    std::vector<unsigned char> receive(std::size_t count, int millis = 2000) const;
    // The far end goes away: the port's line hangs up.
    void closeMaster();
    // The line settings of the slave side, as the port left them.
    termios settings() const;
    // The slave's output rate in bits per second, including rates without a termios constant.
    unsigned int rate() const;

private:
    int _master = -1;
    int _slave = -1;  // held open so the line stays up while the port is closed
    std::string _path;
};

}  // namespace vqtest
