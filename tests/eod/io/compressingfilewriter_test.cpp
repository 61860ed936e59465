#include "vq/eod/io/compressingfilewriter.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "vq/eod/io/compressedframefileerror.h"
#include "vq/eod/io/decompressingfilereader.h"
#include "vqtest/child.h"
#include "vqtest/compressedfiles.h"
#include "vqtest/expect.h"
#include "vqtest/fulldisk.h"
#include "vqtest/hex.h"
#include "vqtest/logfiles.h"
#include "vqtest/testrecords.h"

namespace {

using vq::eod::io::CompressedFrameFileError;
using vq::eod::io::CompressingFileWriter;
using vq::eod::io::DecompressingFileReader;
using vqtest::readBackTimed;
using vqtest::smallChunks;
using vqtest::timedFrame;

constexpr const char* SOURCE = "src/eod/io/compressingfilewriter.cpp";

class CompressingFileWriterTest : public ::testing::Test {
protected:
    void SetUp() override { vqtest::registerTestLogKinds(); }
    vqtest::TempDir dir;
    CompressingFileWriter writer;
};

TEST_F(CompressingFileWriterTest, FramesComeBackByteForByteWithTheirIndexAndSummary) {
    const std::string path = dir / "a.vqz";
    vqtest::writeTimedFrames(path, 100, smallChunks(1000));
    EXPECT_EQ(readBackTimed(path), "1-100");
    // Magic, version 1, no flags, chunk bytes 1000, age 3600000 ms, level 3, then the checksum.
    EXPECT_EQ(vqtest::hex(vqtest::readFile(path)).substr(0, 24 * 3 - 1),
              "89 56 51 5A 0D 0A 1A 0A 00 01 00 00 00 00 03 E8 00 36 EE 80 00 00 00 03");

    DecompressingFileReader reader;
    reader.open(path);
    EXPECT_TRUE(reader.hasFooter());
    const auto& chunks = reader.chunks();
    ASSERT_GT(chunks.size(), 3u);
    std::uint32_t next = 1;
    for (const auto& chunk : chunks) {  // whole frames, in order, closed at the size
        EXPECT_EQ(chunk.first_frame, next);
        EXPECT_EQ(chunk.last_frame, next + chunk.frames - 1);
        EXPECT_DOUBLE_EQ(chunk.first_time, chunk.first_frame / 100.0);
        EXPECT_DOUBLE_EQ(chunk.last_time, chunk.last_frame / 100.0);
        next += chunk.frames;
    }
    EXPECT_EQ(next, 101u);
    const auto summary = reader.summary();
    EXPECT_EQ(summary.frames, 100u);
    EXPECT_EQ(summary.first_frame, 1u);
    EXPECT_EQ(summary.last_frame, 100u);
    EXPECT_DOUBLE_EQ(summary.first_time, 0.01);
    EXPECT_DOUBLE_EQ(summary.last_time, 1.0);
    using Kinds = std::vector<std::pair<char, std::uint64_t>>;
    EXPECT_EQ(summary.kinds,
              (Kinds{{0x0A, 100}, {vqtest::TEST_RECORD_A, 100}, {vqtest::TEST_RECORD_B, 100}}));
    EXPECT_TRUE(reader.verify().empty());
}

TEST_F(CompressingFileWriterTest, ChunksCloseBySizeByAgeAndOnRequest) {
    struct Case {
        CompressingFileWriter::Options options;
        bool flush_after_third;
        std::size_t chunks;
    };
    CompressingFileWriter::Options by_age;
    by_age.chunk_age = std::chrono::milliseconds(0);
    const Case cases[] = {
        {smallChunks(1), false, 10},       // every frame fills a chunk
        {by_age, false, 10},               // every frame is old at once
        {smallChunks(1 << 20), false, 1},  // all in the chunk closed with the file
        {smallChunks(1 << 20), true, 2},   // flushChunk() after frame 3
    };
    for (const Case& c : cases) {
        const std::string path = dir / "c.vqz";
        writer.newFile(path, c.options);
        for (unsigned int n = 1; n <= 10; ++n) {
            writer.writeData(timedFrame(n));
            if (n == 3 && c.flush_after_third) {
                writer.flushChunk();
            }
        }
        EXPECT_EQ(writer.framesWritten(), 10u);
        writer.closeFile();
        EXPECT_EQ(writer.chunksWritten(), c.chunks);
        DecompressingFileReader reader;
        reader.open(path);
        EXPECT_EQ(reader.chunks().size(), c.chunks);
        EXPECT_EQ(readBackTimed(path), "1-10");
    }
    // Without overlap, the chunk a frame closes is on disk when writeData() returns.
    CompressingFileWriter::Options at_once = smallChunks(1);
    at_once.overlap = false;
    writer.newFile(dir / "d.vqz", at_once);
    for (unsigned int n = 1; n <= 5; ++n) {
        writer.writeData(timedFrame(n));
        EXPECT_EQ(writer.chunksWritten(), n);
    }
    writer.closeFile();
}

TEST_F(CompressingFileWriterTest, MisuseAndFilesThatCannotBeMade) {
    auto options = [](int level, std::size_t bytes, long millis) {
        CompressingFileWriter::Options o;
        o.level = level;
        o.chunk_bytes = bytes;
        o.chunk_age = std::chrono::milliseconds(millis);
        return o;
    };
    const std::string path = dir / "m.vqz";
    const std::pair<CompressingFileWriter::Options, const char*> refused[] = {
        {options(-8, 1, 0), "compression level out of range"},
        {options(20, 1, 0), "compression level out of range"},
        {options(3, 0, 0), "chunk size out of range"},
        {options(3, (64 << 20) + 1, 0), "chunk size out of range"},
        {options(3, 1, -1), "negative chunk age"}};
    for (const auto& [bad, message] : refused) {
        EXPECT_PRECONDITION(writer.newFile(path, bad), SOURCE, message);
    }
    EXPECT_PRECONDITION(writer.writeData(*timedFrame(1)), SOURCE, "no file is open");
    EXPECT_ERROR_MESSAGE(writer.newFile(dir / "missing/m.vqz"), CompressedFrameFileError,
                         "CompressingFileWriter::newFile - could not open file " +
                             (dir / "missing/m.vqz") + ": No such file or directory");
    EXPECT_FALSE(writer.isOpen());
    writer.newFile(path);
    EXPECT_PRECONDITION(writer.newFile(path), SOURCE, "a file is already open");
    EXPECT_PRECONDITION(writer.writeData(boost::shared_ptr<const vq::eod::EngineOutputData>()),
                        SOURCE, "frame is NULL");
    // A file without frames: header and footer, nothing to read.
    writer.closeFile();
    EXPECT_EQ(readBackTimed(path), "");
    EXPECT_EQ(std::filesystem::file_size(path), 32u + 12 + 34 + 8 + 16);
    // A full device refuses the file header already.
    const std::string full =
        "CompressingFileWriter - could not write /dev/full: No space left on device";
    EXPECT_ERROR_MESSAGE(writer.newFile("/dev/full"), CompressedFrameFileError, full);
    EXPECT_ERROR_MESSAGE(writer.writeData(*timedFrame(1)), CompressedFrameFileError, full);
    EXPECT_ERROR_MESSAGE(writer.closeFile(), CompressedFrameFileError, full);
    EXPECT_FALSE(writer.isOpen());
}

// Faults of the writer's process and of its disk: every chunk written before them reads back.
TEST_F(CompressingFileWriterTest, AKilledWriterLosesAtMostTheChunkItWasFillingAndOneClosed) {
    const std::string path = dir / "killed.vqz";
    vqtest::ForkedChild recorder([&](int report) {
        CompressingFileWriter killed;
        killed.newFile(path, smallChunks(2000));
        for (unsigned int n = 1; n <= 10000000; ++n) {
            killed.writeData(*timedFrame(n));
            if (killed.chunksWritten() >= 20) {
                vqtest::report(report, std::to_string(n));
                ::pause();
            }
        }
    });
    std::string taken;
    ASSERT_TRUE(recorder.read(taken, 1, 10000));
    recorder.read(taken, 20, 100);
    recorder.kill();
    DecompressingFileReader reader;
    reader.open(path);
    EXPECT_FALSE(reader.hasFooter());
    // 20 chunks on disk, or 21 when the one closed last was written before the kill.
    ASSERT_GE(reader.chunks().size(), 20u);
    ASSERT_LE(reader.chunks().size(), 21u);
    const std::uint32_t last = reader.chunks().back().last_frame;
    EXPECT_EQ(readBackTimed(path), "1-" + std::to_string(last));
    EXPECT_EQ(reader.summary().frames, last);
    // Lost: the frames of the chunk being filled and of the one closed but not yet written.
    EXPECT_LE(std::stoul(taken) - last, 2u * reader.chunks().front().frames);
}

TEST_F(CompressingFileWriterTest, AFullDiskKeepsEveryChunkBeforeIt) {
    const std::string path = dir / "full.vqz";
    std::uint64_t chunks = 0;
    const vqtest::FullDiskRun run = vqtest::runOnFullDisk(
        dir.path(), 1000000,
        [&](unsigned long n) {
            if (n == 1) {
                writer.newFile(path, smallChunks(4000));
            }
            writer.writeData(*timedFrame(static_cast<unsigned int>(n)));
            chunks = writer.chunksWritten();
        },
        [&] { writer.closeFile(); },
        [&] { return std::to_string(chunks) + "|" + readBackTimed(path); });
    if (!run.skipped.empty()) {
        GTEST_SKIP() << run.skipped;
    }
    const std::string error =
        "CompressingFileWriter - could not write " + path + ": No space left on device";
    EXPECT_EQ(run.failure + "|" + run.again + "|" + run.closing, error + "|" + error + "|" + error);
    EXPECT_GT(std::stoul(run.after), 10u);
    // The file was cut back to its last whole chunk: every frame of those reads back.
    const std::string read_back = run.after.substr(run.after.find('|') + 1);
    EXPECT_EQ(read_back.find('['), std::string::npos) << read_back;
    EXPECT_EQ(read_back.substr(0, 2), "1-");
}

}  // namespace
