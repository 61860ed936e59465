// Record files: exact bytes, sizes, paths, and what a caller sees when writing fails.
#include "vq/eod/io/filewriter.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "vq/eod/io/fileerrors.h"
#include "vq/eod/io/filereader.h"
#include "vq/eod/serializableerror.h"
#include "vqtest/expect.h"
#include "vqtest/hex.h"
#include "vqtest/logfiles.h"
#include "vqtest/testrecords.h"

namespace {

using vq::eod::io::FileReader;
using vq::eod::io::FileWriter;
using vqtest::serialized;

constexpr const char* SOURCE = "src/eod/io/filewriter.cpp";

class FileWriterTest : public ::testing::Test {
protected:
    void SetUp() override { vqtest::registerTestRecords(); }
    vqtest::TempDir dir;
};

TEST_F(FileWriterTest, RecordsBackToBackAndReadBack) {
    const auto frame = vqtest::testFrame(7, {vqtest::TEST_RECORD_A});
    const vqtest::PlainRecord plain("log");
    auto disabled = vqtest::testRecord(vqtest::TEST_RECORD_B);
    disabled->setSerializeEnabled(false);

    FileWriter writer(std::filesystem::path(dir / "a.rec").wstring());
    writer.write(*frame);
    EXPECT_EQ(writer.size(), frame->numTotalBytes());
    EXPECT_TRUE(writer.writeNoThrow(*disabled));
    writer.write(plain);
    EXPECT_EQ(writer.size(), frame->numTotalBytes() + plain.numTotalBytes());
    writer.close();
    EXPECT_FALSE(writer.isOpen());
    EXPECT_EQ(writer.filePath(), L"");

    vq::eod::ByteBuffer expected = serialized(*frame);
    const vq::eod::ByteBuffer plain_bytes = serialized(plain);
    expected.insert(expected.end(), plain_bytes.begin(), plain_bytes.end());
    EXPECT_EQ(vqtest::hex(vqtest::readFile(dir / "a.rec")), vqtest::hex(expected));

    FileReader reader(dir / "a.rec");  // the narrow path names the same file
    unsigned int status = 99;
    EXPECT_EQ(vqtest::hex(serialized(*reader.read(status))), vqtest::hex(serialized(*frame)));
    EXPECT_EQ(status, 0u);
    EXPECT_EQ(reader.position(), frame->numTotalBytes());
    EXPECT_EQ(vqtest::hex(serialized(*reader.read(status))), vqtest::hex(plain_bytes));
    EXPECT_TRUE(reader.atEnd());
}

TEST_F(FileWriterTest, OpeningAndMisuse) {
    FileWriter writer;
    EXPECT_PRECONDITION(writer.write(vqtest::PlainRecord()), SOURCE, "files are not open");
    EXPECT_NO_THROW(writer.close());

    const std::string missing = dir / "no/such.rec";
    EXPECT_FALSE(writer.open(missing));
    EXPECT_EQ(writer.filePath(), std::wstring(missing.begin(), missing.end()));
    EXPECT_SERIALIZABLE_ERROR(FileWriter{missing}, "Failed to open file '" + missing + "'.");
    EXPECT_SERIALIZABLE_ERROR(vq::eod::io::throwFileWriteError(L"d/\u00e4\u20ac"),
                              "Failed to write to file 'd/\xc3\xa4\xe2\x82\xac'.");
    EXPECT_FALSE(writer.open(std::string("a\0b", 3)));  // would silently name the file "a"

    // A second open is refused; the first file stays open but counts as failed.
    ASSERT_TRUE(writer.open(dir / "first.rec"));
    EXPECT_FALSE(writer.open(dir / "second.rec"));
    EXPECT_TRUE(writer.isOpen());
    EXPECT_EQ(writer.filePath(), std::filesystem::path(dir / "second.rec").wstring());
    EXPECT_FALSE(writer.writeNoThrow(vqtest::PlainRecord("x")));
    EXPECT_FALSE(writer.isOpen());
    EXPECT_FALSE(std::filesystem::exists(dir / "second.rec"));
}

TEST_F(FileWriterTest, FileNamesAreUtf8AndNarrowNamesSurviveAsTheyAre) {
    FileWriter wide(std::filesystem::path(dir.path()).wstring() + L"/\u00e4\u20ac.rec");
    EXPECT_TRUE(std::filesystem::exists(dir / "\xc3\xa4\xe2\x82\xac.rec"));
    // A byte that is not UTF-8 widens to an escape and narrows back to the same byte.
    const std::string latin1 = dir / "\xe4.rec";
    FileWriter narrow(latin1);
    EXPECT_EQ(narrow.filePath(), std::filesystem::path(dir.path()).wstring() + L"/\xDCE4.rec");
    FileWriter again(narrow.filePath());
    EXPECT_TRUE(std::filesystem::exists(latin1));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 2);
}

TEST_F(FileWriterTest, AFullDiskIsReportedWhenTheBufferIsFlushed) {
    FileWriter writer("/dev/full");
    EXPECT_TRUE(writer.writeNoThrow(vqtest::PlainRecord("fits the buffer")));
    EXPECT_SERIALIZABLE_ERROR(writer.close(), "Failed to write to file '/dev/full'.");
    EXPECT_FALSE(writer.isOpen());

    // A record larger than the buffer reaches the device at once.
    const vqtest::PlainRecord large(std::string(FileWriter::BUFFER_SIZE + 10, 'x'));
    ASSERT_TRUE(writer.open("/dev/full"));
    EXPECT_SERIALIZABLE_ERROR(writer.write(large), "Failed to write to file ''.");
    EXPECT_FALSE(writer.isOpen());
    ASSERT_TRUE(writer.open("/dev/full"));
    EXPECT_FALSE(writer.writeNoThrow(large));
    EXPECT_EQ(writer.filePath(), L"");
    EXPECT_TRUE(writer.closeNoThrow());
}

}  // namespace
