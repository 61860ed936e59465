#include "eod/io/compressedframeformat_internal.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include <xxhash.h>
#include <zstd.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "vq/eod/objectids.h"
#include "vq/eod/recordheader.h"

namespace vq::eod::io::detail {

namespace {

// Frames are transposed in blocks of this many, so that the rows being read stay in cache.
constexpr std::size_t BLOCK_FRAMES = 32;
// The smallest frame: record header, flag byte, frame number, sub-object count.
constexpr std::size_t MIN_FRAME_BYTES = RecordHeader::SHORT_HEADER_BYTES + 6;

#if defined(__SSE2__)
// out[c * out_stride + r] = in[r * in_stride + c] for a tile of 16 rows and 16 columns: four
// rounds of interleaving, bytes, pairs, quads, then halves.
void transposeTile(const unsigned char* in, std::size_t in_stride, unsigned char* out,
                   std::size_t out_stride) {
    __m128i a[16];
    __m128i b[16];
    for (std::size_t r = 0; r < 16; ++r) {
        a[r] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + r * in_stride));
    }
    for (std::size_t i = 0; i < 8; ++i) {  // rows 2i, 2i + 1: columns 0-7 and 8-15
        b[2 * i] = _mm_unpacklo_epi8(a[2 * i], a[2 * i + 1]);
        b[2 * i + 1] = _mm_unpackhi_epi8(a[2 * i], a[2 * i + 1]);
    }
    for (std::size_t i = 0; i < 4; ++i) {  // rows 4i to 4i + 3: columns 0-3, 4-7, 8-11, 12-15
        a[4 * i] = _mm_unpacklo_epi16(b[4 * i], b[4 * i + 2]);
        a[4 * i + 1] = _mm_unpackhi_epi16(b[4 * i], b[4 * i + 2]);
        a[4 * i + 2] = _mm_unpacklo_epi16(b[4 * i + 1], b[4 * i + 3]);
        a[4 * i + 3] = _mm_unpackhi_epi16(b[4 * i + 1], b[4 * i + 3]);
    }
    for (std::size_t h = 0; h < 2; ++h) {  // rows 8h to 8h + 7: columns in pairs
        for (std::size_t i = 0; i < 4; ++i) {
            b[8 * h + 2 * i] = _mm_unpacklo_epi32(a[8 * h + i], a[8 * h + 4 + i]);
            b[8 * h + 2 * i + 1] = _mm_unpackhi_epi32(a[8 * h + i], a[8 * h + 4 + i]);
        }
    }
    for (std::size_t k = 0; k < 8; ++k) {  // all 16 rows: one column each
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + (2 * k) * out_stride),
                         _mm_unpacklo_epi64(b[k], b[k + 8]));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + (2 * k + 1) * out_stride),
                         _mm_unpackhi_epi64(b[k], b[k + 8]));
    }
}
#endif

// out[c * out_stride + r] = in[r * in_stride + c] for `rows` rows and `columns` columns.
void transpose(const unsigned char* in, std::size_t in_stride, unsigned char* out,
               std::size_t out_stride, std::size_t rows, std::size_t columns) {
    std::size_t done_rows = 0;
    std::size_t done_columns = 0;
#if defined(__SSE2__)
    done_rows = rows - rows % 16;
    done_columns = columns - columns % 16;
    for (std::size_t r = 0; r < done_rows; r += 16) {
        for (std::size_t c = 0; c < done_columns; c += 16) {
            transposeTile(in + r * in_stride + c, in_stride, out + c * out_stride + r, out_stride);
        }
    }
#endif
    for (std::size_t c = 0; c < columns; ++c) {
        // The rows not done in tiles, or all of them in the columns not done in tiles.
        for (std::size_t r = c < done_columns ? done_rows : 0; r < rows; ++r) {
            out[c * out_stride + r] = in[r * in_stride + c];
        }
    }
}

// The second differences of row i of `rows` (rows of `length` bytes), modulo 256.
void secondDifferences(const unsigned char* rows, std::size_t i, std::size_t length,
                       unsigned char* out) {
    const unsigned char* x = rows + i * length;
    if (i == 0) {
        std::memcpy(out, x, length);
    } else if (i == 1) {
        for (std::size_t j = 0; j < length; ++j) {
            out[j] = static_cast<unsigned char>(x[j] - (x - length)[j]);
        }
    } else {
        const unsigned char* x1 = x - length;
        const unsigned char* x2 = x1 - length;
        for (std::size_t j = 0; j < length; ++j) {
            out[j] = static_cast<unsigned char>(x[j] - 2 * x1[j] + x2[j]);
        }
    }
}

// Row i of `rows` from its second differences and the rows before it.
void integrate(unsigned char* rows, std::size_t i, std::size_t length, const unsigned char* d) {
    unsigned char* x = rows + i * length;
    if (i == 0) {
        std::memcpy(x, d, length);
    } else if (i == 1) {
        for (std::size_t j = 0; j < length; ++j) {
            x[j] = static_cast<unsigned char>(d[j] + (x - length)[j]);
        }
    } else {
        const unsigned char* x1 = x - length;
        const unsigned char* x2 = x1 - length;
        for (std::size_t j = 0; j < length; ++j) {
            x[j] = static_cast<unsigned char>(d[j] + 2 * x1[j] - x2[j]);
        }
    }
}

}  // namespace

std::uint32_t maxStoredBytes() {
    return static_cast<std::uint32_t>(ZSTD_compressBound(MAX_CHUNK_BYTES));
}

void putTime(unsigned char* at, double time) {
    std::uint64_t bits = 0x7FF8000000000000ull;
    if (!std::isnan(time)) {
        std::memcpy(&bits, &time, sizeof bits);
    }
    putU64(at, bits);
}

double getTime(const unsigned char* at) {
    const std::uint64_t bits = getU64(at);
    double time = 0;
    std::memcpy(&time, &bits, sizeof time);
    return time;
}

std::uint64_t checksum(const unsigned char* data, std::size_t size) {
    return XXH3_64bits(data, size);
}

void encodeChunkHeader(const ChunkHeader& header, ByteBuffer& out) {
    const std::size_t start = out.size();
    const std::size_t bytes = CHUNK_FIXED_BYTES + KIND_ENTRY_BYTES * header.kinds.size() + 8;
    out.resize(start + bytes);
    unsigned char* at = out.data() + start;
    std::memcpy(at, CHUNK_SYNC, sizeof CHUNK_SYNC);
    at[8] = METHOD_ZSTD;
    at[9] = LAYOUT_COLUMNS;
    putU16(at + 10, static_cast<std::uint16_t>(header.kinds.size()));
    putU32(at + 12, header.stored_bytes);
    putU32(at + 16, header.raw_bytes);
    putU32(at + 20, header.frames);
    putU32(at + 24, header.first_frame);
    putU32(at + 28, header.last_frame);
    putTime(at + 32, header.first_time);
    putTime(at + 40, header.last_time);
    putU64(at + 48, header.contents_checksum);
    unsigned char* kind = at + CHUNK_FIXED_BYTES;
    for (const KindCount& entry : header.kinds) {
        kind[0] = entry.id;
        putU32(kind + 1, static_cast<std::uint32_t>(entry.count));
        kind += KIND_ENTRY_BYTES;
    }
    putU64(kind, checksum(at, bytes - 8));
}

HeaderStatus decodeChunkHeader(const unsigned char* data, std::size_t available,
                               ChunkHeader& header) {
    if (available < sizeof CHUNK_SYNC) {
        return std::memcmp(data, CHUNK_SYNC, available) == 0 ? HeaderStatus::CUT_SHORT
                                                             : HeaderStatus::NO_SYNC;
    }
    if (std::memcmp(data, CHUNK_SYNC, sizeof CHUNK_SYNC) != 0) {
        return HeaderStatus::NO_SYNC;
    }
    if (available < CHUNK_FIXED_BYTES + 8) {
        return HeaderStatus::CUT_SHORT;
    }
    // The kind count decides where the checksum is; a count out of range is judged only once
    // the checksum over the largest header that could be there has failed.
    const std::size_t kinds = std::min<std::size_t>(getU16(data + 10), MAX_KINDS);
    const std::size_t bytes = CHUNK_FIXED_BYTES + KIND_ENTRY_BYTES * kinds + 8;
    if (available < bytes) {
        return HeaderStatus::CUT_SHORT;
    }
    if (getU64(data + bytes - 8) != checksum(data, bytes - 8)) {
        return HeaderStatus::BAD_CHECKSUM;
    }
    header = ChunkHeader{};
    header.header_bytes = bytes;
    header.stored_bytes = getU32(data + 12);
    header.raw_bytes = getU32(data + 16);
    header.frames = getU32(data + 20);
    header.first_frame = getU32(data + 24);
    header.last_frame = getU32(data + 28);
    header.first_time = getTime(data + 32);
    header.last_time = getTime(data + 40);
    header.contents_checksum = getU64(data + 48);
    header.kinds.resize(kinds);
    for (std::size_t i = 0; i < kinds; ++i) {
        const unsigned char* kind = data + CHUNK_FIXED_BYTES + KIND_ENTRY_BYTES * i;
        header.kinds[i].id = kind[0];
        header.kinds[i].count = getU32(kind + 1);
        if (i > 0 && header.kinds[i - 1].id >= kind[0]) {
            return HeaderStatus::BAD_VALUES;
        }
    }
    const bool valid =
        data[8] == METHOD_ZSTD && data[9] == LAYOUT_COLUMNS && getU16(data + 10) <= MAX_KINDS &&
        header.stored_bytes > 0 && header.stored_bytes <= maxStoredBytes() &&
        header.raw_bytes <= MAX_CHUNK_BYTES &&
        header.raw_bytes >= 4 + 8 + MIN_FRAME_BYTES * header.frames && header.frames > 0;
    return valid ? HeaderStatus::OK : HeaderStatus::BAD_VALUES;
}

void encodeColumns(const ByteBuffer& frames, const std::vector<std::uint32_t>& lengths,
                   ByteBuffer& out) {
    // The run table.
    std::vector<std::pair<std::uint32_t, std::uint32_t>> runs;
    for (const std::uint32_t length : lengths) {
        if (runs.empty() || runs.back().first != length) {
            runs.emplace_back(length, 0);
        }
        ++runs.back().second;
    }
    const std::size_t start = out.size();
    out.resize(start + 4 + 8 * runs.size() + frames.size());
    unsigned char* at = out.data() + start;
    putU32(at, static_cast<std::uint32_t>(runs.size()));
    at += 4;
    for (const auto& run : runs) {
        putU32(at, run.first);
        putU32(at + 4, run.second);
        at += 8;
    }
    // Each run: column j holds byte j of every frame, as second differences down the run. The
    // differences of a block of frames are made row by row, then the block is transposed.
    const unsigned char* row = frames.data();
    ByteBuffer block;
    for (const auto& run : runs) {
        const std::size_t length = run.first;
        const std::size_t count = run.second;
        block.resize(BLOCK_FRAMES * length);
        for (std::size_t first = 0; first < count; first += BLOCK_FRAMES) {
            const std::size_t rows = std::min(count - first, BLOCK_FRAMES);
            for (std::size_t b = 0; b < rows; ++b) {
                secondDifferences(row, first + b, length, block.data() + b * length);
            }
            transpose(block.data(), length, at + first, count, rows, length);
        }
        row += length * count;
        at += length * count;
    }
}

bool decodeColumns(const unsigned char* data, std::size_t size, std::uint32_t expected_frames,
                   ByteBuffer& frames, std::vector<std::size_t>& offsets) {
    if (size < 4) {
        return false;
    }
    const std::uint64_t run_count = getU32(data);
    if (run_count == 0 || run_count > (size - 4) / 8) {
        return false;
    }
    std::uint64_t total_frames = 0;
    std::uint64_t total_bytes = 0;
    for (std::uint64_t r = 0; r < run_count; ++r) {
        const std::uint64_t length = getU32(data + 4 + 8 * r);
        const std::uint64_t count = getU32(data + 8 + 8 * r);
        if (length < MIN_FRAME_BYTES || length > size || count == 0 || count > size) {
            return false;
        }
        total_frames += count;
        total_bytes += length * count;
        if (total_bytes > size) {
            return false;
        }
    }
    const std::size_t table = 4 + 8 * run_count;
    if (total_frames != expected_frames || table + total_bytes != size) {
        return false;
    }
    frames.resize(total_bytes);
    offsets.clear();
    offsets.reserve(total_frames + 1);
    const unsigned char* in = data + table;
    unsigned char* row = frames.data();
    std::size_t offset = 0;
    ByteBuffer block;
    for (std::uint64_t r = 0; r < run_count; ++r) {
        const std::size_t length = getU32(data + 4 + 8 * r);
        const std::size_t count = getU32(data + 8 + 8 * r);
        for (std::size_t i = 0; i < count; ++i) {
            offsets.push_back(offset);
            offset += length;
        }
        block.resize(BLOCK_FRAMES * length);
        for (std::size_t first = 0; first < count; first += BLOCK_FRAMES) {
            const std::size_t rows = std::min(count - first, BLOCK_FRAMES);
            transpose(in + first, count, block.data(), length, length, rows);
            for (std::size_t b = 0; b < rows; ++b) {
                integrate(row, first + b, length, block.data() + b * length);
            }
        }
        row += length * count;
        in += length * count;
    }
    offsets.push_back(offset);
    return true;
}

bool frameNumberOf(const unsigned char* frame, std::size_t size, std::uint32_t& number) {
    RecordHeader header;
    parseRecordHeader(frame, size, header);
    if (header.header_bytes == 0 || header.object_id != object_id::ENGINE_OUTPUT_DATA ||
        size < header.header_bytes + 5u) {
        return false;
    }
    number = getU32(frame + header.header_bytes + 1);
    return true;
}

bool frameTimeOf(const unsigned char* frame, std::size_t size, double& time) {
    RecordHeader header;
    parseRecordHeader(frame, size, header);
    std::size_t pos = header.header_bytes + 6u;  // flag, frame number, sub-object count
    if (header.header_bytes == 0 || size < pos) {
        return false;
    }
    // Sub-objects come in ascending (signed) object ID: the timing record's place is before
    // every larger ID, and nothing before it is a record whose header undercounts its size.
    for (unsigned int n = frame[pos - 1]; n > 0; --n) {
        RecordHeader sub;
        if (parseRecordHeader(frame + pos, size - pos, sub) != RecordExtent::COMPLETE) {
            return false;
        }
        if (sub.object_id == object_id::TIMING_OUTPUT_DATA) {
            if (sub.data_size < 9) {
                return false;
            }
            time = getTime(frame + pos + sub.header_bytes + 1);
            return true;
        }
        if (sub.object_id > object_id::TIMING_OUTPUT_DATA) {
            return false;
        }
        pos += sub.totalBytes();
    }
    return false;
}

}  // namespace vq::eod::io::detail
