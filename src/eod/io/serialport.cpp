#include "vq/eod/io/serialport.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <system_error>
#include <utility>

#include "eod/io/serialframing_internal.h"
#include "eod/io/serialspeed_internal.h"
#include "eod/io/systemcalls_internal.h"
#include "eod/precondition_internal.h"
#include "vq/eod/io/serialporterror.h"

namespace vq::eod::io {

static_assert(SerialPort::TIMEOUT_ERROR == ETIMEDOUT, "time-outs are reported as ETIMEDOUT");
static_assert(SerialPort::MAX_DATAGRAM_BYTES == detail::MAX_FRAME_PAYLOAD_BYTES,
              "the port sends and receives frames of one maximum size");

std::array<const SerialPort*, SerialPort::NUM_PORTS> SerialPort::_open_ports{};

namespace {

using detail::Clock;
using detail::deadlineAfter;
using detail::retryOnInterrupt;

// Bytes taken from the device per read call.
constexpr std::size_t INPUT_CHUNK_BYTES = 4096;

// Guards SerialPort::_open_ports and the device paths.
std::mutex& tableMutex() {
    static std::mutex mutex;
    return mutex;
}

// Device paths set for the port IDs; empty: the default.
std::array<std::string, SerialPort::NUM_PORTS>& devicePaths() {
    static std::array<std::string, SerialPort::NUM_PORTS> paths;
    return paths;
}

// Waits until `handle` is ready for `events` (or has failed). Returns 0, TIMEOUT_ERROR once the
// deadline has passed, or an errno value.
unsigned long waitFor(int handle, short events, const detail::Deadline& deadline) {
    const int ready = detail::waitUntil(handle, events, deadline);
    if (ready < 0) {
        return static_cast<unsigned long>(errno);
    }
    if (ready == 0) {
        return SerialPort::TIMEOUT_ERROR;
    }
    return (ready & POLLNVAL) != 0 ? EBADF : 0;
}

// "timed out (110)", "Input/output error (5)".
std::string describe(unsigned long error) {
    const std::string text = error == SerialPort::TIMEOUT_ERROR
                                 ? "timed out"
                                 : std::generic_category().message(static_cast<int>(error));
    return text + " (" + std::to_string(error) + ")";
}

[[noreturn]] void fail(const std::string& prefix, unsigned long error) {
    throw SerialPortError(prefix + " " + describe(error), SerialPort::isTimeout(error));
}

}  // namespace

// ---- construction and the port table --------------------------------------------------------

SerialPort::SerialPort(ComPortID port, BaudRate baud, bool openNow, unsigned char parity,
                       unsigned char stopBits)
    : _port(port),
      _baud(baud),
      _parity(parity),
      _stop_bits(stopBits),
      _decoder(std::make_unique<detail::SerialFrameDecoder>()) {
    VQ_REQUIRE(port < NUM_PORTS, "post_id outside the range 0..NUM_PORTS-1");
    VQ_REQUIRE(parity <= SPACEPARITY, "parity outside the range NOPARITY..SPACEPARITY");
    VQ_REQUIRE(stopBits <= TWOSTOPBITS, "stop_bits outside thet range ONESTOPBIT..TWOSTOPBITS");
    if (openNow) {
        open(false, 10000);
    }
}

SerialPort::~SerialPort() {
    close();
}

bool SerialPort::isOpen(ComPortID port) {
    VQ_REQUIRE(port < NUM_PORTS, "post_id outside the range 0..NUM_PORTS-1");
    const std::lock_guard<std::mutex> lock(tableMutex());
    return _open_ports[port] != nullptr;
}

std::string SerialPort::portName() const {
    return "COM" + std::to_string(static_cast<unsigned int>(_port) + 1);
}

void SerialPort::setDevicePath(ComPortID port, const std::string& path) {
    VQ_REQUIRE(port < NUM_PORTS, "post_id outside the range 0..NUM_PORTS-1");
    const std::lock_guard<std::mutex> lock(tableMutex());
    devicePaths()[port] = path;
}

std::string SerialPort::devicePath(ComPortID port) {
    VQ_REQUIRE(port < NUM_PORTS, "post_id outside the range 0..NUM_PORTS-1");
    const std::lock_guard<std::mutex> lock(tableMutex());
    const std::string& path = devicePaths()[port];
    return path.empty() ? "/dev/ttyS" + std::to_string(static_cast<unsigned int>(port)) : path;
}

// ---- opening and closing --------------------------------------------------------------------

unsigned int SerialPort::baudRateFlag(BaudRate baud) {
    switch (baud) {
        case BAUD_110:
            return B110;
        case BAUD_300:
            return B300;
        case BAUD_600:
            return B600;
        case BAUD_1200:
            return B1200;
        case BAUD_2400:
            return B2400;
        case BAUD_4800:
            return B4800;
        case BAUD_9600:
            return B9600;
        case BAUD_14000:
            return detail::ARBITRARY_SPEED;
        case BAUD_19200:
            return B19200;
        case BAUD_38400:
            return B38400;
        case BAUD_57600:
            return B57600;
        case BAUD_115200:
            return B115200;
        case BAUD_128000:
            return detail::ARBITRARY_SPEED;
    }
    VQ_PRECONDITION_FAILED("unknown baud rate");
}

unsigned long SerialPort::openNoThrow(bool useTimeouts, int millis) {
    baudRateFlag(_baud);  // refuses an unknown rate before anything is opened
    const std::string path = devicePath(_port);
    const std::lock_guard<std::mutex> lock(tableMutex());
    if (_open_ports[_port] == this) {
        return 0;
    }
    if (_open_ports[_port] != nullptr) {
        return EBUSY;
    }
    const detail::SystemCalls& calls = detail::systemCalls();
    const int fd = retryOnInterrupt(
        [&] { return calls.open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC); });
    if (fd < 0) {
        return static_cast<unsigned long>(errno);
    }
    SocketHandle handle(static_cast<std::uint64_t>(fd));
    unsigned long error = 0;
    if (retryOnInterrupt([&] { return calls.flock(fd, LOCK_EX | LOCK_NB); }) != 0) {
        error = errno == EWOULDBLOCK ? EBUSY : static_cast<unsigned long>(errno);
    } else if (calls.ioctl(fd, TIOCEXCL, nullptr) != 0) {
        error = static_cast<unsigned long>(errno);
    } else {
        error = configureLine(fd);
    }
    if (error != 0) {
        calls.ioctl(fd, TIOCNXCL, nullptr);
        return error;  // the handle closes the descriptor
    }
    _handle = std::move(handle);
    _use_timeouts = useTimeouts;
    _write_timeout_ms = millis;
    dropInput();
    _open_ports[_port] = this;
    return 0;
}

// Raw 8-bit line without flow control, parity and stop bits from the fields, the rate of
// _baud. Reads never block the process: the handle is non-blocking and waits go through poll.
unsigned long SerialPort::configureLine(int handle) const {
    if (_stop_bits == ONE5STOPBITS) {
        return EINVAL;  // 1.5 stop bits exist only for 5 data bits
    }
    const detail::SystemCalls& calls = detail::systemCalls();
    termios settings{};
    if (calls.tcgetattr(handle, &settings) != 0) {
        return static_cast<unsigned long>(errno);
    }
    settings.c_iflag &= ~static_cast<tcflag_t>(IGNBRK | BRKINT | PARMRK | ISTRIP | INLCR | IGNCR |
                                               ICRNL | IXON | IXOFF | IXANY | INPCK);
    settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);
    settings.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL | ICANON | ISIG | IEXTEN);
    const tcflag_t framing = CSIZE | PARENB | PARODD | CMSPAR | CSTOPB;
    tcflag_t wanted = CS8;
    switch (_parity) {
        case ODDPARITY:
            wanted |= PARENB | PARODD;
            break;
        case EVENPARITY:
            wanted |= PARENB;
            break;
        case MARKPARITY:
            wanted |= PARENB | CMSPAR | PARODD;
            break;
        case SPACEPARITY:
            wanted |= PARENB | CMSPAR;
            break;
        default:
            break;
    }
    if (_stop_bits == TWOSTOPBITS) {
        wanted |= CSTOPB;
    }
    settings.c_cflag &= ~static_cast<tcflag_t>(framing | CRTSCTS);
    settings.c_cflag |= wanted | CREAD | CLOCAL;
    // One byte satisfies a read; with VMIN 0 an empty non-blocking read would look like a
    // hang-up.
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
    const unsigned int speed = baudRateFlag(_baud);
    const bool arbitrary = speed == detail::ARBITRARY_SPEED;
    // An arbitrary rate goes on afterwards; until then the line runs at a standard one.
    const speed_t standard = arbitrary ? B38400 : static_cast<speed_t>(speed);
    if (::cfsetispeed(&settings, standard) != 0 || ::cfsetospeed(&settings, standard) != 0 ||
        retryOnInterrupt([&] { return calls.tcsetattr(handle, TCSANOW, &settings); }) != 0) {
        return static_cast<unsigned long>(errno);
    }
    // tcsetattr succeeds when any of the changes took; a driver may ignore the rest.
    termios applied{};
    if (calls.tcgetattr(handle, &applied) != 0) {
        return static_cast<unsigned long>(errno);
    }
    if ((applied.c_cflag & framing) != wanted || ::cfgetospeed(&applied) != standard) {
        return EINVAL;
    }
    return arbitrary ? static_cast<unsigned long>(detail::setArbitrarySpeed(handle, _baud)) : 0;
}

void SerialPort::open(bool useTimeouts, int millis) {
    const unsigned long error = openNoThrow(useTimeouts, millis);
    if (error != 0) {
        fail("SerialPort::open() - Error opening port " + portName() + " (" + devicePath(_port) +
                 "):",
             error);
    }
}

void SerialPort::close() {
    const std::lock_guard<std::mutex> lock(tableMutex());
    if (!_handle.valid()) {
        return;
    }
    detail::systemCalls().ioctl(_handle.fd(), TIOCNXCL, nullptr);
    _handle.reset();  // the lock goes with the descriptor
    _open_ports[_port] = nullptr;
    dropInput();
}

void SerialPort::reset() {
    if (!isOpen()) {
        throw SerialPortError("reset() called on non-open serial port");
    }
    if (detail::systemCalls().tcflush(_handle.fd(), TCIOFLUSH) != 0) {
        fail("SerialPort::reset():", static_cast<unsigned long>(errno));
    }
    dropInput();
}

void SerialPort::flush() {
    if (!isOpen()) {
        throw SerialPortError("flush() called on non-open serial port");
    }
    if (retryOnInterrupt([&] { return detail::systemCalls().tcdrain(_handle.fd()); }) != 0) {
        fail("SerialPort::flush():", static_cast<unsigned long>(errno));
    }
}

// ---- raw reads ------------------------------------------------------------------------------

void SerialPort::dropInput() const {
    _input.clear();
    _input_pos = 0;
    _decoder->reset();
}

// Reads what the device has (at least one byte) into the empty input buffer.
unsigned long SerialPort::fillInput(const Deadline& deadline) const {
    _input.clear();
    _input_pos = 0;
    for (;;) {
        const unsigned long error = waitFor(_handle.fd(), POLLIN, deadline);
        if (error != 0) {
            return error;
        }
        _input.resize(INPUT_CHUNK_BYTES);
        const ssize_t got = retryOnInterrupt(
            [&] { return detail::systemCalls().read(_handle.fd(), _input.data(), _input.size()); });
        _input.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
        if (got > 0) {
            return 0;
        }
        if (got == 0) {
            return EIO;  // end of input on a tty: the line has hung up
        }
        if (errno != EAGAIN && errno != EWOULDBLOCK) {
            return static_cast<unsigned long>(errno);
        }
    }
}

// The next byte, waiting at most READ_TIMEOUT_PER_BYTE_MS for it when time-outs are on.
unsigned long SerialPort::nextByte(unsigned char& byte) const {
    if (_input_pos == _input.size()) {
        const unsigned long error =
            fillInput(deadlineAfter(_use_timeouts ? READ_TIMEOUT_PER_BYTE_MS : -1));
        if (error != 0) {
            return error;
        }
    }
    byte = _input[_input_pos++];
    return 0;
}

unsigned long SerialPort::readNoThrow(unsigned char& byte) const {
    if (!isOpen()) {
        return EBADF;
    }
    const unsigned long error = nextByte(byte);
    if (error == 0) {
        _decoder->reset();
    }
    return error;
}

unsigned long SerialPort::readNoThrow(std::vector<unsigned char>& data, int n, bool append) const {
    VQ_REQUIRE(n >= 0, "negative byte count");
    if (!append) {
        data.clear();
    }
    if (!isOpen()) {
        return EBADF;
    }
    using std::chrono::milliseconds;
    const auto start = Clock::now();
    const auto total_deadline = start + milliseconds(std::int64_t{READ_TIMEOUT_PER_BYTE_MS} * n);
    auto last_arrival = start;
    bool arrived = false;
    auto wanted = static_cast<std::size_t>(n);
    while (wanted > 0) {
        if (_input_pos == _input.size()) {
            Deadline deadline;
            if (_use_timeouts) {
                deadline = arrived ? std::min(total_deadline,
                                              last_arrival + milliseconds(READ_INTERVAL_TIMEOUT_MS))
                                   : total_deadline;
            }
            const unsigned long error = fillInput(deadline);
            if (error != 0) {
                return error;
            }
            last_arrival = _use_timeouts ? Clock::now() : start;
        }
        const std::size_t take = std::min(wanted, _input.size() - _input_pos);
        const auto from = _input.begin() + static_cast<std::ptrdiff_t>(_input_pos);
        data.insert(data.end(), from, from + static_cast<std::ptrdiff_t>(take));
        _input_pos += take;
        wanted -= take;
        arrived = true;
        _decoder->reset();
    }
    return 0;
}

char SerialPort::read() const {
    unsigned char byte = 0;
    const unsigned long error = readNoThrow(byte);
    if (error != 0) {
        fail("SerialPort::read() - error:", error);
    }
    return static_cast<char>(byte);
}

void SerialPort::read(std::vector<unsigned char>& data, int n, bool append) const {
    const unsigned long error = readNoThrow(data, n, append);
    if (error != 0) {
        fail("SerialPort::read() - error:", error);
    }
}

// ---- raw writes -----------------------------------------------------------------------------

unsigned long SerialPort::writeAll(const unsigned char* data, std::size_t size) const {
    const Deadline deadline = deadlineAfter(_write_timeout_ms);
    std::size_t done = 0;
    while (done < size) {
        const ssize_t written = retryOnInterrupt(
            [&] { return detail::systemCalls().write(_handle.fd(), data + done, size - done); });
        if (written > 0) {
            done += static_cast<std::size_t>(written);
            continue;
        }
        if (written < 0 && errno != EAGAIN && errno != EWOULDBLOCK) {
            return static_cast<unsigned long>(errno);
        }
        const unsigned long error = waitFor(_handle.fd(), POLLOUT, deadline);
        if (error != 0) {
            return error;
        }
    }
    return 0;
}

unsigned long SerialPort::writeNoThrow(const std::vector<unsigned char>& data) const {
    if (!isOpen()) {
        return EBADF;
    }
    return writeAll(data.data(), data.size());
}

void SerialPort::write(const std::vector<unsigned char>& data) const {
    const unsigned long error = writeNoThrow(data);
    if (error != 0) {
        fail("SerialPort::write() :", error);
    }
}

// ---- datagrams ------------------------------------------------------------------------------

std::uint16_t SerialPort::crc16(const unsigned char* data, std::size_t size) {
    return detail::crc16Xmodem(data, size);
}

bool SerialPort::checkCRC(const std::vector<unsigned char>& data) {
    VQ_REQUIRE(data.size() >= 2, "data should contain at least two checksum bytes");
    return detail::checksumMatches(data.data(), data.size());
}

unsigned long SerialPort::sendDatagramNoThrow(const std::vector<unsigned char>& data) const {
    if (data.size() > MAX_DATAGRAM_BYTES) {
        return EMSGSIZE;
    }
    if (!isOpen()) {
        return EBADF;
    }
    std::vector<unsigned char> frame;
    detail::appendFrame(frame, data.data(), data.size());
    return writeAll(frame.data(), frame.size());
}

void SerialPort::sendDatagram(const std::vector<unsigned char>& data) const {
    const unsigned long error = sendDatagramNoThrow(data);
    if (error != 0) {
        fail("SerialPort::sendDatagram() - error:", error);
    }
}

unsigned long SerialPort::receiveDatagramNoThrow(std::vector<unsigned char>& data, bool append,
                                                 int& count) const {
    using Event = detail::SerialFrameDecoder::Event;
    count = 0;
    if (!append) {
        data.clear();
    }
    if (!isOpen()) {
        return EBADF;
    }
    for (;;) {
        unsigned char byte = 0;
        const unsigned long error = nextByte(byte);
        if (error != 0) {
            _decoder->interrupt();
            return error;
        }
        switch (_decoder->push(byte)) {
            case Event::NONE:
                break;
            case Event::PAYLOAD:
                data.insert(data.end(), _decoder->payload(),
                            _decoder->payload() + _decoder->payloadSize());
                count = static_cast<int>(_decoder->payloadSize());
                return 0;
            case Event::CRC_ERROR:
                return CRC_ERROR;
            case Event::OVERSIZE:
                return EMSGSIZE;
            case Event::NOISE:
                return EBADMSG;
        }
    }
}

int SerialPort::receiveDatagram(std::vector<unsigned char>& data, bool append) const {
    int count = 0;
    const unsigned long error = receiveDatagramNoThrow(data, append, count);
    if (error == CRC_ERROR) {
        throw SerialPortError("SerialPort::receiveDatagram(): bad checksum (23)");
    }
    if (error != 0) {
        fail("SerialPort::receiveDatagram():", error);
    }
    return count;
}

}  // namespace vq::eod::io
