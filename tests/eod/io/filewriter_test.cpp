// Record files: exact bytes, sizes, paths, and what a caller sees when writing fails.
#include "vq/eod/io/filewriter.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "vq/eod/io/fileerrors.h"
#include "vq/eod/io/filereader.h"
#include "vq/eod/serializableerror.h"
#include "vqtest/hex.h"
#include "vqtest/logfiles.h"
#include "vqtest/testrecords.h"

namespace {

using vq::eod::io::FileReader;
using vq::eod::io::FileWriter;
using vqtest::PlainRecord;

TEST(FileWriter, RecordsBackToBackThenReadBack) {
    vqtest::registerTestRecords();
    vqtest::TempDir dir;
    const auto frame = vqtest::testFrame(7, {vqtest::TEST_RECORD_A});
    auto disabled = vqtest::testRecord(vqtest::TEST_RECORD_B);
    disabled->setSerializeEnabled(false);

    FileWriter writer(std::filesystem::path(dir / "a.rec").wstring());
    writer.write(*frame);
    EXPECT_TRUE(writer.writeNoThrow(*disabled));
    EXPECT_EQ(writer.size(), frame->numTotalBytes());
    writer.write(PlainRecord("log"));
    writer.close();
    EXPECT_EQ(vqtest::hex(vqtest::readFile(dir / "a.rec")),
              vqtest::hexOf({frame}) + " 74 00 04 6C 6F 67 00");

    FileReader reader(dir / "a.rec");  // the narrow path names the same file
    unsigned int status = 99;
    EXPECT_EQ(vqtest::hex(vqtest::serialized(*reader.read(status))), vqtest::hexOf({frame}));
    EXPECT_EQ(status, 0u);
    EXPECT_EQ(reader.position(), frame->numTotalBytes());
    EXPECT_EQ(dynamic_cast<PlainRecord&>(*reader.read(status)).text(), "log");
    EXPECT_TRUE(reader.atEnd());
}

TEST(FileWriter, OpeningPathsAndMisuse) {
    vqtest::TempDir dir;
    FileWriter writer;
    EXPECT_PRECONDITION(writer.write(PlainRecord()), "src/eod/io/filewriter.cpp",
                        "files are not open");
    const std::string missing = dir / "no/such.rec";
    EXPECT_FALSE(writer.open(missing));
    EXPECT_EQ(writer.filePath(), std::filesystem::path(missing).wstring());
    EXPECT_SERIALIZABLE_ERROR(FileWriter{missing}, "Failed to open file '" + missing + "'.");
    EXPECT_FALSE(writer.open(std::string("a\0b", 3)));  // would silently name the file "a"

    // Wide paths are UTF-8 names; a narrow byte that is not UTF-8 comes back the same.
    EXPECT_SERIALIZABLE_ERROR(vq::eod::io::throwFileWriteError(L"d/\u00e4\u20ac"),
                              "Failed to write to file 'd/\xc3\xa4\xe2\x82\xac'.");
    FileWriter latin1(dir / "\xe4.rec");
    EXPECT_EQ(latin1.filePath(), std::filesystem::path(dir.path()).wstring() + L"/\xDCE4.rec");
    FileWriter again(latin1.filePath());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);

    // A second open is refused; the first file stays open but counts as failed.
    ASSERT_TRUE(writer.open(dir / "first.rec"));
    EXPECT_FALSE(writer.open(dir / "second.rec"));
    EXPECT_TRUE(writer.isOpen());
    EXPECT_EQ(writer.filePath(), std::filesystem::path(dir / "second.rec").wstring());
    EXPECT_FALSE(writer.writeNoThrow(PlainRecord("x")));
    EXPECT_FALSE(writer.isOpen());
}

TEST(FileWriter, AFullDiskIsReportedNotDropped) {
    FileWriter writer("/dev/full");
    EXPECT_TRUE(writer.writeNoThrow(PlainRecord("fits the buffer")));
    EXPECT_SERIALIZABLE_ERROR(writer.close(), "Failed to write to file '/dev/full'.");
    EXPECT_FALSE(writer.isOpen());

    // A record larger than the buffer reaches the device at once.
    const PlainRecord large(std::string(FileWriter::BUFFER_SIZE + 10, 'x'));
    ASSERT_TRUE(writer.open("/dev/full"));
    EXPECT_SERIALIZABLE_ERROR(writer.write(large), "Failed to write to file ''.");
    EXPECT_FALSE(writer.isOpen());
    ASSERT_TRUE(writer.open("/dev/full"));
    EXPECT_FALSE(writer.writeNoThrow(large));
    EXPECT_TRUE(writer.closeNoThrow());
}

}  // namespace
