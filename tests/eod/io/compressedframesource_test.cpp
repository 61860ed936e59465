// The frames of a compressed file as a source of the column reader. That they read as the log
// of the same frames is checked by the column reader's test of runs (a single file, per-kind
// files and a compressed file give the same tables); here a damaged chunk.
#include "vq/eod/io/compressedframesource.h"

#include <gtest/gtest.h>

#include "vq/eod/io/columnreader.h"
#include "vq/eod/io/compressedframefileerror.h"
#include "vqtest/compressedfiles.h"
#include "vqtest/logfiles.h"

namespace {

using namespace vq::eod;
using namespace vq::eod::io;

TEST(CompressedFrameSource, ADamagedChunkEndsTheReadWithItsErrorAfterTheFramesBeforeIt) {
    vqtest::registerTestLogKinds();
    vqtest::TempDir dir;
    const std::string packed = dir / "a.vqz";
    vqtest::writeTimedFrames(packed, 300, vqtest::smallChunks(2000));
    ByteBuffer bytes = vqtest::readFile(packed);
    DecompressingFileReader index;
    index.open(packed);
    const auto chunk = index.chunks()[1];
    bytes[chunk.offset + chunk.bytes - 1] ^= 1;
    vqtest::writeFile(packed, bytes);

    std::vector<std::unique_ptr<FrameSource>> sources;
    sources.push_back(std::make_unique<CompressedFrameSource>(packed));
    EXPECT_EQ(sources.front()->name(), packed);
    ColumnReaderOptions options;
    options.batch_rows = 64;
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
