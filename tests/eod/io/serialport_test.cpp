// The serial link, with a pseudo-terminal as the device and the test as the far end.
#include "vq/eod/io/serialport.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "vq/eod/io/serialporterror.h"
#include "vqtest/expect.h"
#include "vqtest/hex.h"
#include "vqtest/pty.h"
#include "vqtest/systemcalls.h"

namespace {

using vq::eod::io::SerialPort;
using vq::eod::io::SerialPortError;
using vqtest::bytes;
using vqtest::hex;
using Bytes = std::vector<unsigned char>;

constexpr const char* SOURCE = "src/eod/io/serialport.cpp";
constexpr auto COM1 = SerialPort::COM1;
constexpr auto COM2 = SerialPort::COM2;
constexpr auto BAUD = SerialPort::BAUD_115200;

Bytes operator+(Bytes head, const Bytes& tail) {
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
}

// "code/count/payload" of one receive into a buffer that held EE.
std::string received(const SerialPort& port) {
    Bytes data = bytes("EE");
    int count = -1;
    const unsigned long code = port.receiveDatagramNoThrow(data, false, count);
    return std::to_string(code) + "/" + std::to_string(count) + "/" + hex(data);
}

// The message of the SerialPortError that `call` raises, and " [timeout]" if it is one.
template <typename Call>
std::string failure(Call call) {
    try {
        call();
    } catch (const SerialPortError& error) {
        return std::string(error.what()) + (error.timeout() ? " [timeout]" : "");
    }
    return "no SerialPortError";
}

// COM1 is the slave side of a fresh pseudo-terminal.
class SerialPortTest : public ::testing::Test {
protected:
    SerialPortTest() { SerialPort::setDevicePath(COM1, pty.path()); }
    ~SerialPortTest() override {
        SerialPort::setDevicePath(COM1, "");
        SerialPort::setDevicePath(COM2, "");
    }

    vqtest::PtyPair pty;
};

TEST(SerialPort, ConstructorChecksAndAClosedPort) {
    EXPECT_PRECONDITION(SerialPort(static_cast<SerialPort::ComPortID>(10), BAUD, false, 5, 3),
                        SOURCE, "post_id outside the range 0..NUM_PORTS-1");
    EXPECT_PRECONDITION(SerialPort(COM1, BAUD, false, 5, 3), SOURCE,
                        "parity outside the range NOPARITY..SPACEPARITY");
    EXPECT_PRECONDITION(SerialPort(COM1, BAUD, false, 4, 3), SOURCE,
                        "stop_bits outside thet range ONESTOPBIT..TWOSTOPBITS");

    SerialPort port(SerialPort::COM10, BAUD, false);
    EXPECT_EQ(port.portName() + " " + SerialPort::devicePath(SerialPort::COM10),
              "COM10 /dev/ttyS9");
    EXPECT_EQ(received(port), "9/0/");
    EXPECT_EQ(failure([&] { port.read(); }), "SerialPort::read() - error: Bad file descriptor (9)");
    EXPECT_EQ(failure([&] { port.reset(); }), "reset() called on non-open serial port");
    EXPECT_EQ(failure([&] { port.flush(); }), "flush() called on non-open serial port");
    EXPECT_STREQ(SerialPortError("x").className(), "SerialPortError");
}

TEST(SerialPort, Crc16Xmodem) {
    Bytes data = bytes("31 32 33 34 35 36 37 38 39 | 31 C3");  // "123456789" and its CRC
    EXPECT_EQ(SerialPort::crc16(data.data(), 9), 0x31C3);
    EXPECT_TRUE(SerialPort::checkCRC(data));
    data[4] ^= 0x01;
    EXPECT_FALSE(SerialPort::checkCRC(data));
    EXPECT_TRUE(SerialPort::checkCRC(bytes("00 00")));  // the empty payload
    EXPECT_PRECONDITION(SerialPort::checkCRC(bytes("31")), SOURCE,
                        "data should contain at least two checksum bytes");
}

TEST_F(SerialPortTest, AppliesTheLineSettings) {
    const tcflag_t framing = CSIZE | PARENB | PARODD | CMSPAR | CSTOPB | CRTSCTS | CLOCAL | CREAD;
    {
        SerialPort port(COM1, BAUD, false, SerialPort::NOPARITY, SerialPort::TWOSTOPBITS);
        port.open(true, 1000);
        const termios line = pty.settings();
        EXPECT_EQ(cfgetospeed(&line), static_cast<speed_t>(B115200));
        EXPECT_EQ(line.c_cflag & framing, CS8 | CSTOPB | CLOCAL | CREAD);
        EXPECT_EQ(line.c_lflag & (ICANON | ECHO | ISIG | IEXTEN), 0u);
        EXPECT_EQ(line.c_oflag & OPOST, 0u);
        EXPECT_EQ(line.c_iflag & (IXON | ICRNL | ISTRIP | INLCR), 0u);
        EXPECT_EQ(line.c_cc[VMIN], 1);
    }
    for (const auto rate : {SerialPort::BAUD_14000, SerialPort::BAUD_128000}) {
        const SerialPort port(COM1, rate, true);
        EXPECT_EQ(pty.rate(), rate);
        EXPECT_EQ(pty.settings().c_cflag & framing, CS8 | CLOCAL | CREAD);
    }
    // A pseudo-terminal drops parity: the port refuses to run without it.
    SerialPort odd(COM1, BAUD, false, SerialPort::ODDPARITY);
    EXPECT_EQ(odd.openNoThrow(true, 100), static_cast<unsigned long>(EINVAL));
}

TEST_F(SerialPortTest, OpeningAndExclusiveUse) {
    SerialPort unknown_rate(COM1, static_cast<SerialPort::BaudRate>(14400), false);
    EXPECT_PRECONDITION(unknown_rate.openNoThrow(true, 100), SOURCE, "unknown baud rate");
    SerialPort half_stop(COM1, BAUD, false, SerialPort::NOPARITY, SerialPort::ONE5STOPBITS);
    EXPECT_EQ(
        failure([&] { half_stop.open(true, 100); }),
        "SerialPort::open() - Error opening port COM1 (" + pty.path() + "): Invalid argument (22)");
    SerialPort::setDevicePath(COM2, "/nonexistent/tty");
    EXPECT_EQ(failure([] { SerialPort(COM2, BAUD, true); }),
              "SerialPort::open() - Error opening port COM2 (/nonexistent/tty): No such file or "
              "directory (2)");
    EXPECT_FALSE(unknown_rate.isOpen() || half_stop.isOpen() || SerialPort::isOpen(COM1));

    SerialPort first(COM1, BAUD, false);
    EXPECT_EQ(first.openNoThrow(true, 100), 0u);
    EXPECT_EQ(first.openNoThrow(true, 100), 0u);  // already open: nothing happens
    EXPECT_EQ(half_stop.openNoThrow(true, 100), static_cast<unsigned long>(EBUSY));
    SerialPort::setDevicePath(COM2, pty.path());  // another ID, the same device: its lock
    SerialPort same_device(COM2, BAUD, false);
    EXPECT_EQ(same_device.openNoThrow(true, 100), static_cast<unsigned long>(EBUSY));
    EXPECT_FALSE(SerialPort::isOpen(COM2));
    first.close();
    EXPECT_FALSE(SerialPort::isOpen(COM1));
    EXPECT_EQ(same_device.openNoThrow(true, 100), 0u);
    EXPECT_TRUE(SerialPort::isOpen(COM2));
}

TEST_F(SerialPortTest, DatagramsCrossBothWaysUnchanged) {
    SerialPort port(COM1, BAUD, false);
    port.open(true, 1000);
    const std::pair<std::string, std::string> frames[] = {
        {"01 AA 02", "AA 55 01 AA 00 02 E5 C7 AA 55"},
        {"AA 55", "AA 55 AA 00 55 F8 E5 AA 55"},
        {"E4", "AA 55 E4 BD AA 00 AA 55"},  // a stuffed checksum byte
        {"", "AA 55 00 00 AA 55"}};
    for (const auto& [payload, wire] : frames) {
        port.sendDatagram(bytes(payload));
        EXPECT_EQ(hex(pty.receive(bytes(wire).size())), wire);
        ASSERT_TRUE(pty.send(bytes(wire)));
        EXPECT_EQ(received(port), "0/" + std::to_string(bytes(payload).size()) + "/" + payload);
    }
    const Bytes too_long(SerialPort::MAX_DATAGRAM_BYTES + 1);
    EXPECT_EQ(failure([&] { port.sendDatagram(too_long); }),
              "SerialPort::sendDatagram() - error: Message too long (90)");
    EXPECT_EQ(hex(pty.receive(1, 50)), "");
}

TEST_F(SerialPortTest, FindsFramesInBurstsAndSingleBytes) {
    SerialPort port(COM1, BAUD, false);
    port.open(true, 1000);
    // Two frames sharing a marker, then one with markers of its own.
    const std::string frames = "AA 55 07 70 E7 AA 55 10 20 27 11 AA 55 | AA 55 E4 BD AA 00 AA 55";
    ASSERT_TRUE(pty.send(bytes("00 AA 13 AA " + frames)));  // after noise with a false start
    std::thread far_end([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        for (const unsigned char byte : bytes(frames)) {
            pty.send({byte});
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(received(port), "0/1/07");
        EXPECT_EQ(received(port), "0/2/10 20");
        EXPECT_EQ(received(port), "0/1/E4");
    }
    far_end.join();
}

TEST_F(SerialPortTest, RefusesCorruptFramesAndReceivesTheNext) {
    SerialPort port(COM1, BAUD, false);
    port.open(true, 1000);
    // 01 AA 02 with the AA hit, a frame too short for a checksum, then good ones.
    ASSERT_TRUE(
        pty.send(bytes("AA 55 01 AB 00 02 E5 C7 AA 55 | AA 55 07 AA 55 | AA 55 07 70 E7 "
                       "AA 55 | AA 55 03 E5 C7 AA 55")));
    Bytes data = bytes("EE");
    int count = -1;
    EXPECT_EQ(port.receiveDatagramNoThrow(data, true, count), SerialPort::CRC_ERROR);
    EXPECT_EQ(hex(data) + "/" + std::to_string(count), "EE/0");
    EXPECT_EQ(received(port), "23/0/");
    EXPECT_EQ(received(port), "0/1/07");
    EXPECT_EQ(failure([&] { port.receiveDatagram(data); }),
              "SerialPort::receiveDatagram(): bad checksum (23)");
}

TEST_F(SerialPortTest, BoundsEndlessFramesNoiseAndSilence) {
    SerialPort port(COM1, BAUD, false);
    port.open(true, 1000);
    const Bytes good = bytes("AA 55 07 70 E7 AA 55");
    // A frame that never ends, then noise longer than any frame, each followed by a good one.
    Bytes endless = bytes("AA 55") + Bytes(SerialPort::MAX_DATAGRAM_BYTES + 100, 0x01) + good;
    std::thread far_end([&] { pty.send(endless + Bytes(200000, 0x55) + good); });
    EXPECT_EQ(received(port), "90/0/");
    EXPECT_EQ(received(port), "0/1/07");
    // Right after a frame the noise is taken for the next body, until that is too long.
    EXPECT_EQ(received(port), "90/0/");
    EXPECT_EQ(received(port), "74/0/");
    EXPECT_EQ(received(port), "0/1/07");
    far_end.join();

    // A frame that stops in the middle: a time-out after 100 ms, then the next frame.
    ASSERT_TRUE(pty.send(bytes("AA 55 01 02")));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(received(port), "110/0/");
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_TRUE(waited >= std::chrono::milliseconds(100) && waited < std::chrono::seconds(2));
    ASSERT_TRUE(pty.send(good));
    EXPECT_EQ(received(port), "0/1/07");
    Bytes data;
    EXPECT_EQ(failure([&] { port.receiveDatagram(data); }),
              "SerialPort::receiveDatagram(): timed out (110) [timeout]");
}

TEST_F(SerialPortTest, RawReadsAndWrites) {
    SerialPort port(COM1, BAUD, false);
    port.open(true, 50);
    port.write(bytes("00 AA 55 FF 0D 0A"));
    port.flush();
    EXPECT_EQ(hex(pty.receive(6)), "00 AA 55 FF 0D 0A");
    ASSERT_TRUE(pty.send(bytes("41 0D 0A 03")));
    EXPECT_EQ(port.read(), 'A');
    Bytes data = bytes("EE");
    port.read(data, 2, true);
    EXPECT_EQ(hex(data), "EE 0D 0A");
    // Three asked for, one there: a time-out, and the byte that came is kept.
    EXPECT_EQ(port.readNoThrow(data, 3), SerialPort::TIMEOUT_ERROR);
    EXPECT_EQ(hex(data), "03");
    EXPECT_EQ(failure([&] { port.read(); }),
              "SerialPort::read() - error: timed out (110) [timeout]");
    EXPECT_PRECONDITION(port.read(data, -1), SOURCE, "negative byte count");

    ASSERT_TRUE(pty.send(bytes("09")));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    port.reset();  // drops the 09
    unsigned char byte = 0;
    EXPECT_TRUE(SerialPort::isTimeout(port.readNoThrow(byte)));
    // Nobody reads the far end: the write gives up after its 50 ms.
    EXPECT_EQ(failure([&] { port.write(Bytes(1 << 20, 0x11)); }),
              "SerialPort::write() : timed out (110) [timeout]");
}

TEST_F(SerialPortTest, ADeviceThatDisappears) {
    SerialPort port(COM1, BAUD, false);
    port.open(true, 1000);
    std::thread far_end([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        pty.closeMaster();
    });
    std::string outcome = "110/0/";
    for (int tries = 0; tries < 50 && outcome == "110/0/"; ++tries) {
        outcome = received(port);  // times out until the line hangs up
    }
    far_end.join();
    EXPECT_EQ(outcome, "5/0/");
    EXPECT_EQ(failure([&] { port.sendDatagram(bytes("01")); }),
              "SerialPort::sendDatagram() - error: Input/output error (5)");
    EXPECT_TRUE(port.isOpen());
}

TEST_F(SerialPortTest, FailingSystemCallsAreReportedWithTheirErrno) {
    SerialPort port(COM1, BAUD, false);
    auto calls = vq::eod::io::detail::realSystemCalls();
    calls.tcgetattr = [](int, termios*) { return errno = ENOTTY, -1; };
    {
        const vqtest::SystemCallsOverride failing(calls);
        EXPECT_EQ(failure([&] { port.open(false, 50); }),
                  "SerialPort::open() - Error opening port COM1 (" + pty.path() +
                      "): Inappropriate ioctl for device (25)");
        EXPECT_FALSE(port.isOpen());
    }
    port.open(true, 50);  // the failed open let go of the device and its lock
    calls = vq::eod::io::detail::realSystemCalls();
    calls.poll = [](pollfd*, nfds_t, int) { return errno = ENOMEM, -1; };
    calls.tcflush = [](int, int) { return errno = EIO, -1; };
    const vqtest::SystemCallsOverride failing(calls);
    EXPECT_EQ(failure([&] { port.read(); }),
              "SerialPort::read() - error: Cannot allocate memory (12)");
    EXPECT_EQ(failure([&] { port.reset(); }), "SerialPort::reset(): Input/output error (5)");
}

}  // namespace
