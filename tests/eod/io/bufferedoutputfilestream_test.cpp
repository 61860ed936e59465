// The buffered output stream of the frame log writer.
#include "vq/eod/io/bufferedoutputfilestream.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "vqtest/logfiles.h"

namespace {

using vq::eod::io::BufferedOutputFileStream;

std::string contents(const std::string& path) {
    const vq::eod::ByteBuffer bytes = vqtest::readFile(path);
    return std::string(bytes.begin(), bytes.end());
}

TEST(BufferedOutputFileStream, HoldsBytesUntilFlushedAndResizesWhileOpen) {
    vqtest::TempDir dir;
    const std::string path = dir / "s.bin";
    vqtest::writeFile(path, {'o', 'l', 'd'});
    {
        BufferedOutputFileStream stream(std::filesystem::path(path).wstring(),
                                        std::ios::out | std::ios::binary | std::ios::trunc, 16);
        EXPECT_EQ(stream.bufferSize(), 16);
        stream << "0123456789";
        EXPECT_EQ(contents(path), "");
        stream.setBufferSize(4);  // writes out, then goes on where it stopped
        EXPECT_EQ(contents(path), "0123456789");
        stream << "ab";
    }  // the destructor flushes
    {
        BufferedOutputFileStream stream(path, std::ios::app, 8);
        stream << "c";
        stream.setBufferSize(0);
        stream << "d";
        EXPECT_TRUE(stream.good());
    }
    EXPECT_EQ(contents(path), "0123456789abcd");

    BufferedOutputFileStream missing(dir / "no/such.bin", std::ios::out, 16);
    EXPECT_FALSE(missing.is_open());
    EXPECT_TRUE(missing.fail());
    EXPECT_PRECONDITION(missing.setBufferSize(-1), "src/eod/io/bufferedoutputfilestream.cpp",
                        "buffer_size is negative");
}

}  // namespace
