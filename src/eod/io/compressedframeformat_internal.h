// The byte layout of compressed frame files, shared by their writer and reader (the format is
// described for other readers in docs/compressed-format.md).
//
// Every integer is big-endian, high byte first; a time is the IEEE-754 bit pattern of a double,
// big-endian, and a quiet NaN (7FF8000000000000) stands for "no time".
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "vq/eod/serializable.h"

namespace vq::eod::io::detail {

// The file header: magic, version, flags, the writer's chunk limits, checksum.
constexpr unsigned char FILE_MAGIC[8] = {0x89, 'V', 'Q', 'Z', 0x0D, 0x0A, 0x1A, 0x0A};
constexpr std::uint16_t FORMAT_VERSION = 1;
constexpr std::size_t FILE_HEADER_BYTES = 32;

// Before every chunk, and before the footer.
constexpr unsigned char CHUNK_SYNC[8] = {0xE6, 'V', 'Q', 'c', 'h', 'u', 'n', 'k'};
constexpr unsigned char FOOTER_SYNC[8] = {0xE6, 'V', 'Q', 'f', 'o', 'o', 't', 'r'};
// The last 8 bytes of a closed file, after the footer's offset.
constexpr unsigned char END_MAGIC[8] = {'V', 'Q', 'Z', 'E', 'N', 'D', 0x0D, 0x0A};
constexpr std::size_t TRAILER_BYTES = 16;

constexpr unsigned char METHOD_ZSTD = 1;
constexpr unsigned char LAYOUT_COLUMNS = 1;
// Fixed part of a chunk header (sync included), then 5 bytes per kind, then 8 of checksum.
constexpr std::size_t CHUNK_FIXED_BYTES = 56;
constexpr std::size_t KIND_ENTRY_BYTES = 5;
constexpr std::size_t MAX_KINDS = 256;
constexpr std::size_t CHUNK_HEADER_MAX_BYTES = CHUNK_FIXED_BYTES + KIND_ENTRY_BYTES * MAX_KINDS + 8;
// The most bytes a chunk's contents may take before and after compression.
constexpr std::uint32_t MAX_CHUNK_BYTES = 64u << 20;
std::uint32_t maxStoredBytes();

// Footer: sync, chunk count, index entries, summary, checksum.
constexpr std::size_t INDEX_ENTRY_BYTES = 40;
constexpr std::size_t FOOTER_SUMMARY_FIXED_BYTES = 8 + 4 + 4 + 8 + 8 + 2;
constexpr std::size_t SUMMARY_KIND_BYTES = 9;

inline void putU16(unsigned char* at, std::uint16_t value) {
    at[0] = static_cast<unsigned char>(value >> 8);
    at[1] = static_cast<unsigned char>(value);
}
inline void putU32(unsigned char* at, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) {
        at[i] = static_cast<unsigned char>(value >> (24 - 8 * i));
    }
}
inline void putU64(unsigned char* at, std::uint64_t value) {
    for (int i = 0; i < 8; ++i) {
        at[i] = static_cast<unsigned char>(value >> (56 - 8 * i));
    }
}
inline std::uint16_t getU16(const unsigned char* at) {
    return static_cast<std::uint16_t>((at[0] << 8) | at[1]);
}
inline std::uint32_t getU32(const unsigned char* at) {
    return (static_cast<std::uint32_t>(at[0]) << 24) | (static_cast<std::uint32_t>(at[1]) << 16) |
           (static_cast<std::uint32_t>(at[2]) << 8) | at[3];
}
inline std::uint64_t getU64(const unsigned char* at) {
    return (static_cast<std::uint64_t>(getU32(at)) << 32) | getU32(at + 4);
}
void putTime(unsigned char* at, double time);
double getTime(const unsigned char* at);

// XXH3, 64 bits, of the bytes.
std::uint64_t checksum(const unsigned char* data, std::size_t size);

// One kind's record count.
struct KindCount {
    unsigned char id = 0;
    std::uint64_t count = 0;
};

// A chunk header as decoded (sizes, frames, times, kinds); the offset is the sync marker's.
struct ChunkHeader {
    std::uint32_t stored_bytes = 0;
    std::uint32_t raw_bytes = 0;
    std::uint32_t frames = 0;
    std::uint32_t first_frame = 0;
    std::uint32_t last_frame = 0;
    double first_time = 0;
    double last_time = 0;
    std::uint64_t contents_checksum = 0;
    std::vector<KindCount> kinds;  // ascending unsigned ID, counts below 2^32
    std::size_t header_bytes = 0;  // sync to checksum, inclusive
};

// Appends the chunk header's bytes (sync and checksum included).
void encodeChunkHeader(const ChunkHeader& header, ByteBuffer& out);

enum class HeaderStatus : unsigned char {
    OK,
    NO_SYNC,       // the bytes do not start with the sync marker
    CUT_SHORT,     // fewer bytes than the header needs
    BAD_CHECKSUM,  // the header's checksum does not match
    BAD_VALUES,    // checksum right, but a value out of range (method, layout, sizes, counts)
};
// Decodes the chunk header at `data` (of which `available` bytes may be read).
HeaderStatus decodeChunkHeader(const unsigned char* data, std::size_t available,
                               ChunkHeader& header);

// A chunk's contents before compression: a run table (runs of frames of one length), then each
// run's bytes in column form (byte j of all its frames together, as second differences).
// `frames` holds the frames back to back, `lengths` their lengths. Appends to `out`.
void encodeColumns(const ByteBuffer& frames, const std::vector<std::uint32_t>& lengths,
                   ByteBuffer& out);
// The inverse. Fills `frames` and `offsets` (frame i is [offsets[i], offsets[i+1])); false when
// the contents are not a valid column form of exactly `expected_frames` frames.
bool decodeColumns(const unsigned char* data, std::size_t size, std::uint32_t expected_frames,
                   ByteBuffer& frames, std::vector<std::size_t>& offsets);

// The frame number of serialised frame bytes (false: too short, not a frame).
bool frameNumberOf(const unsigned char* frame, std::size_t size, std::uint32_t& number);
// The experiment time of the frame's timing record, if it holds one directly.
bool frameTimeOf(const unsigned char* frame, std::size_t size, double& time);

}  // namespace vq::eod::io::detail
