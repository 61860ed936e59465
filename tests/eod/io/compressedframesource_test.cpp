#include "vq/eod/io/compressedframesource.h"

#include <gtest/gtest.h>

#include "vq/eod/io/columnreader.h"
#include "vq/eod/io/compressedframefileerror.h"
#include "vq/eod/io/engineoutputdatafilewriter.h"
#include "vqtest/compressedfiles.h"
#include "vqtest/logfiles.h"

namespace {

using namespace vq::eod;
using namespace vq::eod::io;

// Every batch of a reader as text: per row the frame number and time, "-" for no value.
std::string readColumns(ColumnReader& reader) {
    std::string text;
    ColumnBatch batch;
    while (reader.next(batch)) {
        const Column& frame = batch.column(static_cast<std::size_t>(batch.find("frame_num")));
        const Column& time = batch.column(static_cast<std::size_t>(batch.find("time_s")));
        for (std::size_t row = 0; row < batch.numRows(); ++row) {
            text += std::to_string(frame.values<std::uint32_t>()[row]) + "@" +
                    (time.valid(row) ? std::to_string(time.values<double>()[row]) : "-") + " ";
        }
    }
    return text;
}

TEST(CompressedFrameSource, TheColumnReaderReadsACompressedFileAsTheLogOfTheSameFrames) {
    vqtest::registerTestLogKinds();
    vqtest::TempDir dir;
    const std::string packed = dir / "a.vqz";
    const std::string plain = dir / "a.vql";
    vqtest::writeTimedFrames(packed, 300, vqtest::smallChunks(2000));
    EngineOutputDataFileWriter writer;
    writer.newFile(plain, 4096);
    for (unsigned int n = 1; n <= 300; ++n) {
        writer.writeData(*vqtest::timedFrame(n));
    }
    writer.closeFiles();

    ColumnReaderOptions options;
    options.batch_rows = 64;
    ColumnReader from_log(plain, options);
    std::vector<std::unique_ptr<FrameSource>> sources;
    sources.push_back(std::make_unique<CompressedFrameSource>(packed));
    EXPECT_EQ(sources.front()->name(), packed);
    ColumnReader from_packed(std::move(sources), options);
    const std::string expected = readColumns(from_log);
    EXPECT_EQ(expected.substr(0, 24), "1@0.010000 2@0.020000 3@");
    EXPECT_EQ(readColumns(from_packed), expected);

    // A damaged chunk ends the read with its error, after the frames before it.
    ByteBuffer bytes = vqtest::readFile(packed);
    DecompressingFileReader index;
    index.open(packed);
    const auto chunk = index.chunks()[1];
    bytes[chunk.offset + chunk.bytes - 1] ^= 1;
    vqtest::writeFile(packed, bytes);
    sources.clear();
    sources.push_back(std::make_unique<CompressedFrameSource>(packed));
    ColumnReader damaged(std::move(sources), options);
    ColumnBatch batch;
    std::size_t rows = 0;
    try {
        while (damaged.next(batch)) {
            rows += batch.numRows();
        }
        ADD_FAILURE() << "no error";
    } catch (const CompressedFrameFileError& error) {
        EXPECT_NE(std::string(error.what()).find("contents checksum mismatch"), std::string::npos);
    }
    EXPECT_LE(rows, index.chunks()[0].frames);
}

}  // namespace
