// The header of one serialised record, parsed from the bytes that are really there.
//
//     offset 0      1 byte   object ID
//     offset 1      2 bytes  data size, big-endian, when the size is below 65535
//                   or 0xFF 0xFF followed by 4 bytes of data size, big-endian
//     offset 3 / 7  size     the data
//
// parseRecordHeader is the one place that decodes this header: it reads nothing beyond the
// `available` bytes it is given, allocates nothing, never throws, and says how many bytes the
// whole record needs, so that stream readers know what to wait for and buffer readers what to
// refuse. It does not judge the size against any limit of the caller (a largest record, the
// signed 32-bit read position of a ByteBuffer): the caller compares totalBytes() with its own.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vq::eod {

struct RecordHeader {
    // The size value that announces the 4-byte size form.
    static constexpr std::uint16_t EXTENDED_SIZE_COOKIE = 0xFFFF;
    static constexpr std::size_t SHORT_HEADER_BYTES = 3;
    static constexpr std::size_t LONG_HEADER_BYTES = 7;

    char object_id = 0;             // the record's class (0 names no class)
    std::uint8_t header_bytes = 0;  // 3 or 7
    std::uint32_t data_size = 0;    // the data size the header announces

    // Header and announced data; at most 2^32 + 6, so never overflows.
    std::uint64_t totalBytes() const {
        return static_cast<std::uint64_t>(header_bytes) + data_size;
    }
};

// How much of a record the bytes hold.
enum class RecordExtent : unsigned char {
    COMPLETE,           // the header and all the data it announces
    DATA_INCOMPLETE,    // the whole header, but fewer data bytes than it announces
    HEADER_INCOMPLETE,  // not even the whole header (fewer than 3 bytes, or 3 to 6 with the
                        // cookie); header.header_bytes tells how many the header needs once
                        // the first 3 are there, and is 0 before that
};

// Parses the header at `data`, of which `available` bytes may be read. Fills `header` as far as
// the bytes reach and returns how much of the record is there.
inline RecordExtent parseRecordHeader(const unsigned char* data, std::size_t available,
                                      RecordHeader& header) noexcept {
    header = RecordHeader{};
    if (available < RecordHeader::SHORT_HEADER_BYTES) {
        if (available >= 1) {
            header.object_id = static_cast<char>(data[0]);
        }
        return RecordExtent::HEADER_INCOMPLETE;
    }
    header.object_id = static_cast<char>(data[0]);
    const std::uint16_t short_size = static_cast<std::uint16_t>((data[1] << 8) | data[2]);
    if (short_size != RecordHeader::EXTENDED_SIZE_COOKIE) {
        header.header_bytes = RecordHeader::SHORT_HEADER_BYTES;
        header.data_size = short_size;
    } else {
        header.header_bytes = RecordHeader::LONG_HEADER_BYTES;
        if (available < RecordHeader::LONG_HEADER_BYTES) {
            return RecordExtent::HEADER_INCOMPLETE;
        }
        header.data_size = (static_cast<std::uint32_t>(data[3]) << 24) |
                           (static_cast<std::uint32_t>(data[4]) << 16) |
                           (static_cast<std::uint32_t>(data[5]) << 8) |
                           static_cast<std::uint32_t>(data[6]);
    }
    return header.totalBytes() <= available ? RecordExtent::COMPLETE
                                            : RecordExtent::DATA_INCOMPLETE;
}

}  // namespace vq::eod
