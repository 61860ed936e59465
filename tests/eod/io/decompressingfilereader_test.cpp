#include "vq/eod/io/decompressingfilereader.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include <xxhash.h>

#include "vq/eod/io/compressedframefileerror.h"
#include "vqtest/compressedfiles.h"
#include "vqtest/expect.h"
#include "vqtest/logfiles.h"

namespace {

using vq::eod::ByteBuffer;
using vq::eod::io::CompressedFrameFileError;
using vq::eod::io::DecompressingFileReader;
using vqtest::readBackTimed;

constexpr const char* SOURCE = "src/eod/io/decompressingfilereader.cpp";

class DecompressingFileReaderTest : public ::testing::Test {
protected:
    void SetUp() override {
        vqtest::registerTestLogKinds();
        vqtest::writeTimedFrames(path, 100, vqtest::smallChunks(1000));
        bytes = vqtest::readFile(path);
        reader.open(path);
        chunks = reader.chunks();
        reader.close();
        ASSERT_GE(chunks.size(), 4u);
    }
    // The read-back of the file's bytes changed by `change`, written to another file.
    std::string readBackChanged(const std::function<void(ByteBuffer&)>& change) {
        ByteBuffer changed = bytes;
        change(changed);
        vqtest::writeFile(damaged, changed);
        return readBackTimed(damaged);
    }
    std::string range(std::size_t first_chunk, std::size_t last_chunk) const {
        return std::to_string(chunks[first_chunk].first_frame) + "-" +
               std::to_string(chunks[last_chunk].last_frame);
    }
    std::string damage(std::size_t chunk, const std::string& frames, const std::string& reason,
                       std::uint64_t end = 0) const {
        const auto& c = chunks[chunk];
        return "[DecompressingFileReader - damaged chunk at bytes " + std::to_string(c.offset) +
               "-" + std::to_string((end != 0 ? end : c.offset + c.bytes) - 1) + " (" + frames +
               "): " + reason + "]";
    }
    std::string frames(std::size_t chunk) const { return "frames " + range(chunk, chunk); }

    vqtest::TempDir dir;
    const std::string path = dir / "a.vqz";
    const std::string damaged = dir / "damaged.vqz";
    ByteBuffer bytes;
    std::vector<DecompressingFileReader::Chunk> chunks;
    DecompressingFileReader reader;
};

TEST_F(DecompressingFileReaderTest, AFileCutAnywhereKeepsEveryWholeChunkBeforeTheCut) {
    const std::size_t last = chunks.size() - 1;
    const std::uint64_t footer = chunks[last].offset + chunks[last].bytes;
    struct Case {
        std::uint64_t size;
        std::string expected;
    };
    std::vector<Case> cases = {
        {footer, "1-100"},            // the footer cut away whole
        {footer + 20, "1-100"},       // inside the footer
        {bytes.size() - 1, "1-100"},  // inside the trailer
        {32, ""},                     // the header alone
    };
    for (std::size_t i = 1; i <= last; ++i) {
        const std::uint64_t at = chunks[i].offset;
        const std::string before = range(0, i - 1);
        cases.push_back({at, before});  // at the boundary
        for (const std::uint64_t inside : {at + 5, at + 40, at + chunks[i].bytes - 1}) {
            cases.push_back({inside, before + " " +
                                         damage(i, inside >= at + 64 ? frames(i) : "frames unknown",
                                                "cut short by the end of the file", inside)});
        }
    }
    for (const Case& c : cases) {
        EXPECT_EQ(readBackChanged([&](ByteBuffer& b) { b.resize(c.size); }), c.expected)
            << "cut at " << c.size;
    }
}

TEST_F(DecompressingFileReaderTest, AFlippedByteInAnyRegionLosesOnlyItsChunk) {
    const auto& c = chunks[2];
    const std::string before = range(0, 1);
    const std::string after = range(3, chunks.size() - 1);
    const std::string lost = " " + damage(2, frames(2), "");
    struct Case {
        std::uint64_t at;
        std::string reason;
    };
    // The footer indexes the chunk, so every damage is found by reading it.
    const Case with_footer[] = {
        {c.offset, "no chunk header"},                         // sync marker
        {c.offset + 13, "header checksum mismatch"},           // stored size
        {c.offset + 25, "header checksum mismatch"},           // first frame number
        {c.offset + 57, "header checksum mismatch"},           // the kinds
        {c.offset + 56 + 15 + 3, "header checksum mismatch"},  // the header's checksum
        {c.offset + 80, "contents checksum mismatch"},         // compressed contents
        {c.offset + c.bytes - 1, "contents checksum mismatch"},
    };
    for (const Case& f : with_footer) {
        const std::string text = before + lost.substr(0, lost.size() - 1) + f.reason + "] " + after;
        EXPECT_EQ(readBackChanged([&](ByteBuffer& b) { b[f.at] ^= 0x40; }), text) << f.at;
    }
    // Without the footer a damaged header hides the chunk's frames: its neighbours tell them.
    const std::uint64_t footer = chunks.back().offset + chunks.back().bytes;
    for (const auto& [at, told] :
         {std::pair{c.offset + 25, damage(2, "frames " + range(2, 2) + " by its neighbours",
                                          "header checksum mismatch")},
          std::pair{c.offset + 80, damage(2, frames(2), "contents checksum mismatch")}}) {
        EXPECT_EQ(readBackChanged([&](ByteBuffer& b) {
                      b.resize(footer);
                      b[at] ^= 1;
                  }),
                  before + " " + told + " " + after);
    }
    // File header and footer: reported, every frame still read.
    for (const std::uint64_t at :
         {std::uint64_t{9}, std::uint64_t{30}, footer + 9, std::uint64_t{bytes.size() - 20}}) {
        EXPECT_EQ(readBackChanged([&](ByteBuffer& b) { b[at] ^= 1; }), "1-100") << at;
    }
    ByteBuffer flipped = bytes;
    flipped[30] ^= 1;
    flipped[footer + 9] ^= 1;
    vqtest::writeFile(damaged, flipped);
    reader.open(damaged);
    EXPECT_FALSE(reader.hasFooter());
    EXPECT_EQ(reader.verify(),
              (std::vector<std::string>{
                  "DecompressingFileReader - damaged file header at bytes 0-31",
                  "DecompressingFileReader - damaged footer at bytes " + std::to_string(footer) +
                      "-" + std::to_string(bytes.size() - 1)}));
}

TEST_F(DecompressingFileReaderTest, ChunksDecodedOnEitherThreadComeInOrderWithTheirDamage) {
    // Read through, the caller decodes chunks too while the reader's thread decodes the one it
    // needs: which thread decodes which chunk varies from read to read, what the reads give does
    // not. It is what readChunk() gives chunk by chunk on the calling thread alone.
    vqtest::writeTimedFrames(damaged, 3000, vqtest::smallChunks(1000));
    ByteBuffer file = vqtest::readFile(damaged);
    reader.open(damaged);
    for (std::size_t i = 3; i < reader.chunks().size(); i += 7) {
        file[reader.chunks()[i].offset + (i % 2 == 0 ? 25 : 80)] ^= 1;
    }
    reader.close();
    vqtest::writeFile(damaged, file);
    reader.open(damaged);
    std::string expected;
    ByteBuffer frames;
    std::vector<std::size_t> offsets;
    for (std::size_t i = 0; i < reader.chunks().size(); ++i) {
        try {
            reader.readChunk(i, frames, offsets);
            expected.append(frames.begin(), frames.end());
        } catch (const CompressedFrameFileError& error) {
            expected += std::string("[") + error.what() + "]";
        }
    }
    ASSERT_GT(reader.chunks().size(), 100u);
    reader.close();
    for (int round = 0; round < 20; ++round) {
        reader.open(damaged);
        std::string read;
        const unsigned char* data = nullptr;
        std::size_t size = 0;
        for (;;) {
            try {
                if (!reader.readFrameBytes(data, size)) {
                    break;
                }
                read.append(data, data + size);
            } catch (const CompressedFrameFileError& error) {
                read += std::string("[") + error.what() + "]";
            }
        }
        ASSERT_TRUE(read == expected) << round;
        reader.close();
    }
}

TEST_F(DecompressingFileReaderTest, SeeksFindTheFrameThroughTheIndex) {
    const std::uint64_t footer = chunks.back().offset + chunks.back().bytes;
    ByteBuffer no_footer(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(footer));
    vqtest::writeFile(damaged, no_footer);
    struct Case {
        bool by_time;
        double target;
        long expected;  // the frame read next, 0: none
    };
    const long boundary = chunks[2].first_frame;
    const Case cases[] = {
        {false, 0, 1},
        {false, 1, 1},
        {false, 57, 57},
        {false, double(boundary), boundary},
        {false, 100, 100},
        {false, 101, 0},
        {true, 0.0, 1},
        {true, 0.565, 57},
        {true, boundary / 100.0, boundary},
        {true, 1.0, 100},
        {true, 1.005, 0},
    };
    for (const std::string& file : {path, damaged}) {
        reader.open(file);
        for (const Case& c : cases) {
            if (c.by_time) {
                reader.seekTime(c.target);
            } else {
                reader.seekFrame(static_cast<std::uint32_t>(c.target));
            }
            const auto frame = reader.readData();
            EXPECT_EQ(frame ? static_cast<long>(frame->frameNum()) : 0L, c.expected)
                << file << " " << c.target;
            if (frame && frame->frameNum() < 100) {
                EXPECT_EQ(reader.readData()->frameNum(), frame->frameNum() + 1);
            }
        }
        reader.rewind();
        EXPECT_EQ(reader.readData()->frameNum(), 1u);
        reader.close();
    }
}

TEST_F(DecompressingFileReaderTest, OpeningRecognisesTheFileByItsMagicNumber) {
    EXPECT_TRUE(DecompressingFileReader::isCompressedFrameFile(path));
    ByteBuffer plain = {0x09, 0x00, 0x06, 1, 0, 0, 0, 1, 0};
    vqtest::writeFile(damaged, plain);
    EXPECT_FALSE(DecompressingFileReader::isCompressedFrameFile(damaged));
    EXPECT_FALSE(DecompressingFileReader::isCompressedFrameFile(dir / "none"));
    EXPECT_ERROR_MESSAGE(reader.open(damaged), CompressedFrameFileError,
                         "DecompressingFileReader::open - not a compressed frame file: " + damaged);
    EXPECT_ERROR_MESSAGE(reader.open(dir / "none"), CompressedFrameFileError,
                         "DecompressingFileReader::open - could not open file: " + dir / "none");
    // A version of the future, with a right checksum.
    ByteBuffer future(bytes.begin(), bytes.begin() + 32);
    future[9] = 2;
    const std::uint64_t sum = XXH3_64bits(future.data(), 24);
    for (int i = 0; i < 8; ++i) {
        future[24 + i] = static_cast<unsigned char>(sum >> (56 - 8 * i));
    }
    vqtest::writeFile(damaged, future);
    EXPECT_ERROR_MESSAGE(reader.open(damaged), CompressedFrameFileError,
                         "DecompressingFileReader::open - unsupported version 2.0: " + damaged);
    EXPECT_FALSE(reader.isOpen());
    EXPECT_PRECONDITION(reader.readData(), SOURCE, "no file is open");
    reader.open(path);
    EXPECT_PRECONDITION(reader.open(path), SOURCE, "a file is already open");
    ByteBuffer frames;
    std::vector<std::size_t> offsets;
    reader.readChunk(1, frames, offsets);
    EXPECT_EQ(offsets.size(), chunks[1].frames + 1u);
    EXPECT_EQ(offsets.back(), frames.size());
}

}  // namespace
