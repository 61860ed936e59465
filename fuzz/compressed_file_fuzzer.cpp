// A compressed frame file read through DecompressingFileReader: opened, read frame by frame to
// its end, sought in, and verified.
//
// The checksums would keep almost every mutated file away from the decoders behind them, so the
// first byte picks what the rest of the input is:
//   0: the whole file;
//   1: a chunk's contents before compression (run table and columns), which the target
//      compresses and wraps in a valid file with right checksums and frame numbers;
//   2: a chunk's compressed contents (a zstd frame), wrapped the same way.
// Besides surviving: every read moves on (the loop ends within a read per chunk and frame), a
// chunk reported damaged by reading is reported by verify() too, and the column reader gives
// the same rows taking runs of frames of one shape as taking frames one by one.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <zstd.h>

#include "eod/io/compressedframeformat_internal.h"
#include "fuzz_support.h"

namespace {

using namespace vq::eod::io::detail;
using vq::eod::ByteBuffer;

// A file of the header and one chunk holding `stored` as its compressed contents.
ByteBuffer wrap(const ByteBuffer& stored, std::uint32_t raw_bytes, std::uint32_t frames,
                std::uint32_t first, std::uint32_t last) {
    ByteBuffer file(FILE_HEADER_BYTES);
    std::memcpy(file.data(), FILE_MAGIC, sizeof FILE_MAGIC);
    putU16(file.data() + 8, FORMAT_VERSION);
    putU64(file.data() + 24, checksum(file.data(), 24));
    ChunkHeader header;
    header.stored_bytes = static_cast<std::uint32_t>(stored.size());
    header.raw_bytes = raw_bytes;
    header.frames = frames;
    header.first_frame = first;
    header.last_frame = last;
    header.first_time = 0;
    header.last_time = 1;
    header.contents_checksum = checksum(stored.data(), stored.size());
    header.kinds.push_back({0x0A, frames});
    encodeChunkHeader(header, file);
    file.insert(file.end(), stored.begin(), stored.end());
    return file;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const vqfuzz::ScratchDir scratch;
    if (size == 0) {
        return 0;
    }
    const ByteBuffer rest(data + 1, data + size);
    ByteBuffer file;
    switch (data[0] % 3) {
        case 0:
            file = rest;
            break;
        case 1: {
            // Frame count and numbers as the contents say, so that decoding gets past its checks.
            std::uint32_t frames = 0;
            if (rest.size() >= 4) {
                const std::size_t runs =
                    std::min<std::size_t>(getU32(rest.data()), (rest.size() - 4) / 8);
                for (std::size_t r = 0; r < runs; ++r) {
                    frames += getU32(rest.data() + 8 + 8 * r);
                }
            }
            ByteBuffer frame_bytes;
            std::vector<std::size_t> offsets;
            std::uint32_t first = 0;
            std::uint32_t last = 0;
            if (decodeColumns(rest.data(), rest.size(), frames, frame_bytes, offsets)) {
                frameNumberOf(frame_bytes.data(), offsets[1], first);
                frameNumberOf(frame_bytes.data() + offsets[offsets.size() - 2],
                              offsets.back() - offsets[offsets.size() - 2], last);
            }
            ByteBuffer stored(ZSTD_compressBound(rest.size()));
            stored.resize(ZSTD_compress(stored.data(), stored.size(), rest.data(), rest.size(), 1));
            file = wrap(stored, static_cast<std::uint32_t>(rest.size()), frames == 0 ? 1 : frames,
                        first, last);
            break;
        }
        default: {
            const unsigned long long content = ZSTD_getFrameContentSize(rest.data(), rest.size());
            const std::uint32_t raw = content <= MAX_CHUNK_BYTES
                                          ? static_cast<std::uint32_t>(content)
                                          : static_cast<std::uint32_t>(rest.size());
            file = wrap(rest.empty() ? ByteBuffer{0} : rest, raw < 21 ? 21 : raw, 1, 0, 0);
            break;
        }
    }
    const std::string path = scratch.write("input.vqz", file.data(), file.size());

    vq::eod::io::DecompressingFileReader reader;
    try {
        reader.open(path);
    } catch (const vq::eod::io::CompressedFrameFileError&) {
        return 0;
    }
    // Each read returns a frame, or reports a damaged chunk or a frame that is not one.
    std::uint64_t reads_left = reader.chunks().size() + 1;
    for (const auto& chunk : reader.chunks()) {
        reads_left += chunk.frames;
    }
    for (;;) {
        if (reads_left-- == 0) {
            vqfuzz::fail("more reads than chunks and frames: the reader does not move on");
        }
        try {
            if (!reader.readData()) {
                break;
            }
        } catch (const vq::eod::EODError&) {
        }
    }
    std::size_t damaged_by_reading = 0;
    for (const auto& chunk : reader.chunks()) {
        damaged_by_reading += chunk.damage.empty() ? 0 : 1;
    }
    if (reader.verify().size() < damaged_by_reading) {
        vqfuzz::fail("verify() found less damage than reading");
    }
    vqfuzz::checkRuns(path);
    for (const std::uint32_t target : {0u, 1u, 1000u, 0xFFFFFFFFu}) {
        try {
            reader.seekFrame(target);
            reader.readData();
            reader.seekTime(target / 10.0);
            reader.readData();
        } catch (const vq::eod::EODError&) {
        }
    }
    return 0;
}
