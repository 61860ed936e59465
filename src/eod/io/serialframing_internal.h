// The datagram framing of the serial link, apart from any device: building one frame, and a
// decoder that is fed the line's bytes one at a time and reports each frame it finds.
//
// A frame on the wire:
//
//   AA 55 | payload, stuffed | CRC high, stuffed | CRC low, stuffed | AA 55
//
// "Stuffed": every 0xAA is followed by an inserted byte (0x00 when sent; the receiver drops
// whatever byte follows an 0xAA unless it is 0x55), so AA 55 never occurs inside a frame. The CRC
// is CRC-16/XMODEM of the payload before stuffing.
//
// SerialPort reads bytes from its device and hands them to a SerialFrameDecoder; this file holds
// every decision about what the bytes mean, so it can be tested and fuzzed without a device.
// The decoder is exported for those tests only; it is not part of the installed interface.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "vq/eod/export.h"

namespace vq::eod::io::detail {

constexpr unsigned char FRAME_MARKER_FIRST = 0xAA;
constexpr unsigned char FRAME_MARKER_SECOND = 0x55;
constexpr unsigned char FRAME_STUFFING = 0x00;
// The largest payload of one frame, in bytes (SerialPort::MAX_DATAGRAM_BYTES).
constexpr std::size_t MAX_FRAME_PAYLOAD_BYTES = 65535;
// The longest frame on the wire: both markers, every payload and checksum byte stuffed. A
// receiver that has skipped this many bytes without finding a marker is reading noise.
constexpr std::size_t MAX_FRAME_WIRE_BYTES = 2 + 2 * (MAX_FRAME_PAYLOAD_BYTES + 2) + 2;

// CRC-16/XMODEM (polynomial 0x1021, initial value 0, no reflection, no final exclusive-or).
VQ_EOD_API std::uint16_t crc16Xmodem(const unsigned char* data, std::size_t size);

// Whether the last two of `size` (>= 2) bytes, high byte first, are the CRC of those before them.
VQ_EOD_API bool checksumMatches(const unsigned char* body, std::size_t size);

// Appends the whole frame of `payload` (any length; the caller enforces the maximum) to `wire`.
VQ_EOD_API void appendFrame(std::vector<unsigned char>& wire, const unsigned char* payload,
                            std::size_t size);

// Finds frames in a byte stream. State between bytes:
// - hunting: looking for a frame marker. Bytes are skipped, MAX_FRAME_WIRE_BYTES at most; then
//   NOISE is reported and the count starts again.
// - in a body: the last bytes consumed were a marker (or the body that follows one). The bytes up
//   to the next marker are the body: payload and checksum. An empty body (AA 55 AA 55) is taken
//   as the closing marker of one frame and the opening marker of the next, once per datagram:
//   a second empty body in a row is a frame too short for its checksum (CRC_ERROR). A body that
//   grows past MAX_FRAME_PAYLOAD_BYTES + 2 is reported as OVERSIZE at once, and the decoder goes
//   back to hunting. After a PAYLOAD or a CRC_ERROR the decoder is in the next body already, so
//   frames may share their markers.
// Memory: the body, at most MAX_FRAME_PAYLOAD_BYTES + 2 bytes. Not thread-safe.
class VQ_EOD_API SerialFrameDecoder {
public:
    enum class Event {
        NONE,       // the byte was taken; nothing complete yet
        PAYLOAD,    // a frame with a good checksum ended: payload() holds it
        CRC_ERROR,  // a frame ended whose checksum does not match, or too short to hold one
        OVERSIZE,   // a body longer than the longest frame: dropped, hunting again
        NOISE,      // MAX_FRAME_WIRE_BYTES skipped without a marker, hunting again
    };

    // Takes the next byte of the line.
    Event push(unsigned char byte);
    // The payload of the last PAYLOAD event, valid until the next call of any other operation.
    const unsigned char* payload() const { return _body.data(); }
    std::size_t payloadSize() const { return _frame_done ? _body.size() - 2 : 0; }

    // Forgets everything: the next byte is hunted for a marker (after opening the device, a
    // reset of the line, or raw reads that took bytes from the stream).
    void reset();
    // A datagram could not be completed (the line failed or went silent): the partial body is
    // dropped. When no byte has been taken since the last marker, the next byte still starts a
    // body; otherwise the decoder hunts for the next marker.
    void interrupt();
    // Whether the last byte taken completed a marker, so the next one starts a body.
    bool atFrameStart() const {
        return _in_body && !_after_first && (_frame_done || _body.empty());
    }

private:
    Event hunt(unsigned char byte);
    Event endOfBody();
    Event takeBodyByte(unsigned char byte);
    void startBody();

    bool _in_body = false;             // false: hunting for a marker
    bool _after_first = false;         // the last byte taken was an unpaired 0xAA
    bool _had_empty_body = false;      // this datagram already met one empty body
    bool _frame_done = false;          // _body holds the frame of the last PAYLOAD event
    std::size_t _skipped = 0;          // bytes skipped while hunting
    std::vector<unsigned char> _body;  // body bytes after unstuffing, checksum included
};

}  // namespace vq::eod::io::detail
