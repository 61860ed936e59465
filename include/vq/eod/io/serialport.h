// SerialPort: a framed, checksummed byte link to a device on a serial line.
//
// The port is a tty opened with fixed line settings: 8 data bits, the parity and stop bits
// given at construction, one of the rates of BaudRate, no flow control, raw bytes (no echo, no
// line editing, no character translation). Besides raw reads and writes it carries datagrams,
// each one frame on the wire:
//
//   AA 55 | payload, stuffed | CRC high, stuffed | CRC low, stuffed | AA 55
//
// where "stuffed" means every 0xAA byte is followed by an inserted 0x00, so that AA 55 never
// occurs inside a frame, and the CRC is CRC-16/XMODEM (polynomial 0x1021, initial value 0, no
// reflection, no final exclusive-or) of the payload as it was before stuffing. A receiver that
// has just read the closing marker of one frame takes the next bytes as the body of the next
// frame, so frames may be sent back to back sharing one marker (AA 55 a.. AA 55 b.. AA 55) or
// each with both markers (AA 55 a.. AA 55 AA 55 b.. AA 55); both arrive whole.
//
// Devices. Ports COM1 to COM10 (IDs 0 to 9) are /dev/ttyS0 to /dev/ttyS9 unless
// setDevicePath() names another device for the ID, such as a USB adapter (/dev/ttyUSB0) or the
// far end of a pseudo-terminal. portName() always returns the "COMn" name.
//
// Exclusive use. A port ID is held by at most one open SerialPort of the process (the table
// _open_ports), and an open port holds an advisory lock (flock) on the device and sets its
// exclusive mode (TIOCEXCL), so other processes that honour either cannot open it meanwhile.
// close() and the destructor give all of it back.
//
// Time-outs, set by open(useTimeouts, millis) for as long as the port stays open:
// - Reads. With useTimeouts false a read waits for its bytes without a time limit. With
//   useTimeouts true a read of n bytes ends with TIMEOUT_ERROR when n * 100 ms have passed in
//   all, or when 2000 ms pass without a byte once the first has arrived. Datagrams are read a
//   byte at a time, so a receive gives up with TIMEOUT_ERROR once the line has been silent for
//   100 ms, before a frame or inside one.
// - Writes. millis bounds every write and datagram sent: a positive value is the time the
//   driver may take to accept all of the bytes, 0 means only what it accepts at once, a
//   negative value means no limit. A write that runs out of time returns TIMEOUT_ERROR; part of
//   its bytes may have gone out. The constructor's openNow opens with no read time-outs and a
//   write limit of 10000 ms.
// A write returns once the driver holds all of the bytes; flush() waits until they have been
// transmitted.
//
// Partial reads. A read that ends early (time-out, error) keeps the bytes that did arrive in
// `data`. A datagram is all or nothing: after any failure `data` holds what it held before the
// call (nothing, unless `append`) and `count` is 0.
//
// Bad input. Bytes before the first frame marker are skipped, but at most the length of the
// longest possible frame; a longer stretch without a marker ends the receive with EBADMSG. A
// frame body is at most MAX_DATAGRAM_BYTES plus the two checksum bytes; a longer one ends the
// receive with EMSGSIZE, without reading on to its end. A frame whose checksum does not match
// returns CRC_ERROR. After each of these the next call resumes at the next frame marker, so the
// next good frame is received.
//
// A device that disappears (unplugged adapter, closed pseudo-terminal master, hung-up line)
// makes reads and writes return EIO. The port stays open until close(); open it again once the
// device is back.
//
// Error codes of the NoThrow forms: 0 success; CRC_ERROR (23) a datagram with a bad checksum
// (from receiveDatagramNoThrow; from openNoThrow, 23 is the system's ENFILE); TIMEOUT_ERROR
// (110, ETIMEDOUT); EIO (5) the device has gone; EBADF (9) the port is not open; EBUSY (16)
// another SerialPort of this process holds the port ID, or another process holds the device;
// EINVAL (22) the device refuses or drops part of the line settings (1.5 stop bits never go with
// 8 data bits; a pseudo-terminal keeps no parity);
// EMSGSIZE (90) a datagram longer than MAX_DATAGRAM_BYTES; EBADMSG (74) noise without a frame
// marker; any other value is the errno of the failing system call. The throwing forms raise
// SerialPortError with the operation, a description and the code, e.g.
// "SerialPort::read() - error: timed out (110)", and timeout() set for TIMEOUT_ERROR.
//
// Thread safety. The port table and the device paths may be used from any thread. One
// SerialPort may be read (read, receiveDatagram) by one thread while another writes to it
// (write, sendDatagram); every other overlap of calls on one object needs the caller's lock.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "vq/eod/export.h"
#include "vq/eod/io/sockethandle.h"

namespace vq::eod::io {

namespace detail {
class SerialFrameDecoder;
}

class VQ_EOD_API SerialPort {
public:
    // The ten ports the class knows, named "COM1" to "COM10".
    enum ComPortID : unsigned char { COM1, COM2, COM3, COM4, COM5, COM6, COM7, COM8, COM9, COM10 };
    static constexpr unsigned int NUM_PORTS = 10;

    // Line rates in bits per second. 14000 is a rate of its own, not 14400; it and 128000
    // have no standard termios speed and are set through the kernel's arbitrary-rate
    // interface, which the device driver must support (open() fails with EINVAL otherwise).
    enum BaudRate : std::uint32_t {
        BAUD_110 = 110,
        BAUD_300 = 300,
        BAUD_600 = 600,
        BAUD_1200 = 1200,
        BAUD_2400 = 2400,
        BAUD_4800 = 4800,
        BAUD_9600 = 9600,
        BAUD_14000 = 14000,
        BAUD_19200 = 19200,
        BAUD_38400 = 38400,
        BAUD_57600 = 57600,
        BAUD_115200 = 115200,
        BAUD_128000 = 128000,
    };

    // Parity.
    static constexpr unsigned char NOPARITY = 0;
    static constexpr unsigned char ODDPARITY = 1;
    static constexpr unsigned char EVENPARITY = 2;
    static constexpr unsigned char MARKPARITY = 3;
    static constexpr unsigned char SPACEPARITY = 4;
    // Stop bits.
    static constexpr unsigned char ONESTOPBIT = 0;
    static constexpr unsigned char ONE5STOPBITS = 1;  // refused by open(): needs 5 data bits
    static constexpr unsigned char TWOSTOPBITS = 2;

    static constexpr unsigned long CRC_ERROR = 23;       // a datagram with a bad checksum
    static constexpr unsigned long TIMEOUT_ERROR = 110;  // ETIMEDOUT
    static constexpr int READ_INTERVAL_TIMEOUT_MS = 2000;
    static constexpr int READ_TIMEOUT_PER_BYTE_MS = 100;
    // The largest payload of one datagram, in bytes, both ways.
    static constexpr std::size_t MAX_DATAGRAM_BYTES = 65535;

    // Raises std::invalid_argument unless port < NUM_PORTS, parity <= SPACEPARITY and
    // stopBits <= TWOSTOPBITS (checked in that order). With openNow, calls open(false, 10000).
    SerialPort(ComPortID port, BaudRate baud, bool openNow, unsigned char parity = NOPARITY,
               unsigned char stopBits = ONESTOPBIT);
    SerialPort(const SerialPort&) = delete;
    SerialPort& operator=(const SerialPort&) = delete;
    virtual ~SerialPort();  // closes the port

    // Opens and configures the device of the port; see the time-outs above for the arguments.
    // Returns 0 at once if this object has the port open already. A baud rate outside
    // BaudRate raises std::invalid_argument ("unknown baud rate"), a programming error; every
    // failure of the system is returned as its code, and the port stays closed.
    unsigned long openNoThrow(bool useTimeouts, int millis);
    // As openNoThrow; raises SerialPortError "SerialPort::open() - Error opening port ...".
    void open(bool useTimeouts, int millis);
    // Closes the port if it is open; never throws. Unread input is dropped.
    void close();
    bool isOpen() const { return _handle.valid(); }
    // Whether some SerialPort of this process has the port open.
    static bool isOpen(ComPortID port);
    std::string portName() const;  // "COM1" to "COM10"

    // The device opened for `port`; an empty path restores the default /dev/ttyS<port>. A new
    // path takes effect at the next open of the port.
    static void setDevicePath(ComPortID port, const std::string& path);
    static std::string devicePath(ComPortID port);

    // Discards the bytes received but not read and those written but not yet sent.
    void reset();
    // Waits until every byte written has been transmitted.
    void flush();

    // Raw reads. read(data, n, append) reads n bytes (n >= 0), after emptying `data` unless
    // `append`; a read that ends early keeps the bytes that arrived.
    char read() const;
    void read(std::vector<unsigned char>& data, int n, bool append = false) const;
    unsigned long readNoThrow(unsigned char& byte) const;
    unsigned long readNoThrow(std::vector<unsigned char>& data, int n, bool append = false) const;

    // Raw writes of every byte of `data`.
    void write(const std::vector<unsigned char>& data) const;
    unsigned long writeNoThrow(const std::vector<unsigned char>& data) const;

    // Sends `data` (at most MAX_DATAGRAM_BYTES) as one frame.
    void sendDatagram(const std::vector<unsigned char>& data) const;
    unsigned long sendDatagramNoThrow(const std::vector<unsigned char>& data) const;

    // Receives the payload of the next frame into `data` (emptied first unless `append`) and
    // sets `count` to its length. The throwing form returns the count.
    int receiveDatagram(std::vector<unsigned char>& data, bool append = false) const;
    unsigned long receiveDatagramNoThrow(std::vector<unsigned char>& data, bool append,
                                         int& count) const;

    // Whether a code returned by a NoThrow form is TIMEOUT_ERROR.
    static bool isTimeout(unsigned long error) { return error == TIMEOUT_ERROR; }

    // CRC-16/XMODEM of `size` bytes; 0x31C3 for the text "123456789".
    static std::uint16_t crc16(const unsigned char* data, std::size_t size);
    // Whether the last two bytes of `data`, high byte first, are the CRC of the bytes before
    // them. `data` must hold at least the two checksum bytes.
    static bool checkCRC(const std::vector<unsigned char>& data);

private:
    // The termios speed code of `baud`; raises std::invalid_argument for any other value.
    static unsigned int baudRateFlag(BaudRate baud);
    // A point in time after which a wait ends with TIMEOUT_ERROR; none: no limit.
    using Deadline = std::optional<std::chrono::steady_clock::time_point>;

    unsigned long configureLine(int handle) const;
    unsigned long fillInput(const Deadline& deadline) const;
    unsigned long nextByte(unsigned char& byte) const;
    unsigned long writeAll(const unsigned char* data, std::size_t size) const;
    void dropInput() const;

    ComPortID _port;             // 0 to 9
    BaudRate _baud;              // bits per second
    unsigned char _parity;       // NOPARITY to SPACEPARITY
    unsigned char _stop_bits;    // ONESTOPBIT to TWOSTOPBITS
    SocketHandle _handle;        // the open tty; none while closed
    bool _use_timeouts = false;  // read time-outs on (set by open)
    int _write_timeout_ms = -1;  // write limit in ms, negative: none (set by open)

    // Bytes read from the device but not yet handed out, from _input_pos on.
    mutable std::vector<unsigned char> _input;
    mutable std::size_t _input_pos = 0;
    // Finds the frames in the bytes that receiveDatagram takes; raw reads restart its search.
    std::unique_ptr<detail::SerialFrameDecoder> _decoder;

    // The object that has each port ID open, or null; guarded by a lock of the source file.
    static std::array<const SerialPort*, NUM_PORTS> _open_ports;
};

}  // namespace vq::eod::io
