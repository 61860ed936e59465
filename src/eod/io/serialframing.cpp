#include "eod/io/serialframing_internal.h"

#include <array>

namespace vq::eod::io::detail {

namespace {

constexpr std::array<std::uint16_t, 256> makeCrcTable() {
    std::array<std::uint16_t, 256> table{};
    for (unsigned int i = 0; i < 256; ++i) {
        unsigned int crc = i << 8;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 0x8000u) != 0 ? (crc << 1) ^ 0x1021u : crc << 1;
        }
        table[i] = static_cast<std::uint16_t>(crc);
    }
    return table;
}

constexpr std::array<std::uint16_t, 256> CRC_TABLE = makeCrcTable();

void appendStuffed(std::vector<unsigned char>& wire, unsigned char byte) {
    wire.push_back(byte);
    if (byte == FRAME_MARKER_FIRST) {
        wire.push_back(FRAME_STUFFING);
    }
}

}  // namespace

std::uint16_t crc16Xmodem(const unsigned char* data, std::size_t size) {
    unsigned int crc = 0;
    for (std::size_t i = 0; i < size; ++i) {
        crc = (crc << 8) ^ CRC_TABLE[((crc >> 8) ^ data[i]) & 0xFFu];
    }
    return static_cast<std::uint16_t>(crc);
}

bool checksumMatches(const unsigned char* body, std::size_t size) {
    const unsigned int expected = (static_cast<unsigned int>(body[size - 2]) << 8) | body[size - 1];
    return crc16Xmodem(body, size - 2) == expected;
}

void appendFrame(std::vector<unsigned char>& wire, const unsigned char* payload, std::size_t size) {
    wire.reserve(wire.size() + 2 * (size + 2) + 4);
    wire.push_back(FRAME_MARKER_FIRST);
    wire.push_back(FRAME_MARKER_SECOND);
    for (std::size_t i = 0; i < size; ++i) {
        appendStuffed(wire, payload[i]);
    }
    const std::uint16_t crc = crc16Xmodem(payload, size);
    appendStuffed(wire, static_cast<unsigned char>(crc >> 8));
    appendStuffed(wire, static_cast<unsigned char>(crc & 0xFFu));
    wire.push_back(FRAME_MARKER_FIRST);
    wire.push_back(FRAME_MARKER_SECOND);
}

SerialFrameDecoder::Event SerialFrameDecoder::push(unsigned char byte) {
    if (_frame_done) {
        _body.clear();
        _frame_done = false;
    }
    if (!_in_body) {
        return hunt(byte);
    }
    if (_after_first) {
        _after_first = false;
        if (byte == FRAME_MARKER_SECOND) {
            return endOfBody();
        }
        return takeBodyByte(FRAME_MARKER_FIRST);  // `byte` was stuffing: dropped
    }
    if (byte == FRAME_MARKER_FIRST) {
        _after_first = true;
        return Event::NONE;
    }
    return takeBodyByte(byte);
}

// Skips up to and including the next AA 55, at most a longest frame's worth of bytes.
SerialFrameDecoder::Event SerialFrameDecoder::hunt(unsigned char byte) {
    ++_skipped;
    if (_after_first && byte == FRAME_MARKER_SECOND) {
        startBody();
        return Event::NONE;
    }
    _after_first = byte == FRAME_MARKER_FIRST;
    if (_skipped == MAX_FRAME_WIRE_BYTES) {
        reset();
        return Event::NOISE;
    }
    return Event::NONE;
}

SerialFrameDecoder::Event SerialFrameDecoder::takeBodyByte(unsigned char byte) {
    if (_body.size() == MAX_FRAME_PAYLOAD_BYTES + 2) {
        reset();  // never reads on to the end of a frame this long
        return Event::OVERSIZE;
    }
    _body.push_back(byte);
    return Event::NONE;
}

SerialFrameDecoder::Event SerialFrameDecoder::endOfBody() {
    if (_body.empty() && !_had_empty_body) {
        // That marker closed one frame and this one opens the next.
        _had_empty_body = true;
        return Event::NONE;
    }
    _had_empty_body = false;
    if (_body.size() < 2 || !checksumMatches(_body.data(), _body.size())) {
        _body.clear();
        return Event::CRC_ERROR;
    }
    _frame_done = true;
    return Event::PAYLOAD;
}

void SerialFrameDecoder::startBody() {
    _in_body = true;
    _after_first = false;
    _had_empty_body = false;
    _frame_done = false;
    _skipped = 0;
    _body.clear();
}

void SerialFrameDecoder::reset() {
    startBody();
    _in_body = false;
}

void SerialFrameDecoder::interrupt() {
    if (atFrameStart()) {
        startBody();
    } else {
        reset();
    }
}

}  // namespace vq::eod::io::detail
