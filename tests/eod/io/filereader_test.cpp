// Reading record files: the end of the file, a file that grows while read, damaged records.
#include "vq/eod/io/filereader.h"

#include <gtest/gtest.h>

#include "vq/eod/engineoutputdata.h"
#include "vq/eod/serializableerror.h"
#include "vqtest/expect.h"
#include "vqtest/hex.h"
#include "vqtest/logfiles.h"
#include "vqtest/testrecords.h"

namespace {

using vq::eod::io::FileReader;
using vqtest::bytes;
namespace status = vq::eod::status;

constexpr const char* SOURCE = "src/eod/io/filereader.cpp";

class FileReaderTest : public ::testing::Test {
protected:
    void SetUp() override { vqtest::registerTestRecords(); }
    vqtest::TempDir dir;
};

TEST_F(FileReaderTest, ClosedMissingEmptyAndDirectory) {
    FileReader reader;
    unsigned int status = 77;
    EXPECT_TRUE(reader.atEnd());
    EXPECT_PRECONDITION(reader.read(status), SOURCE, "files are not open");
    EXPECT_FALSE(reader.open(dir / "missing.vql"));
    EXPECT_SERIALIZABLE_ERROR(FileReader(dir / "missing.vql"),
                              "Failed to open file '" + (dir / "missing.vql") + "'.");
    EXPECT_FALSE(reader.open(dir.path()));
    EXPECT_FALSE(reader.isOpen());

    vqtest::writeFile(dir / "empty.vql", {});
    ASSERT_TRUE(reader.open(dir / "empty.vql"));
    EXPECT_TRUE(reader.atEnd());
    EXPECT_PRECONDITION(reader.read(status), SOURCE, "Cannot reading when atEnd().");
    EXPECT_EQ(status, 77u);
}

TEST_F(FileReaderTest, FollowsAFileThatIsStillBeingWritten) {
    const std::string path = dir / "growing.vql";
    vqtest::writeFile(path, bytes("09 00 06 01 00 00 00 01 00"));
    vqtest::writeFile(dir / "other.vql", bytes("09 00 06 01 00 00 00 09 00"));
    FileReader reader(dir / "other.vql");
    ASSERT_TRUE(reader.open(path));  // closes the other file first
    unsigned int status = 0;
    auto frame = boost::dynamic_pointer_cast<vq::eod::EngineOutputData>(reader.read(status));
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->frameNum(), 1u);
    EXPECT_TRUE(reader.atEnd());
    EXPECT_EQ(reader.position(), 9u);

    vqtest::writeFile(path, bytes("09 00 06 01 00 00 00 02 00"), true);
    EXPECT_FALSE(reader.atEnd());
    frame = boost::dynamic_pointer_cast<vq::eod::EngineOutputData>(reader.read(status));
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->frameNum(), 2u);
    EXPECT_EQ(reader.position(), 18u);
}

TEST_F(FileReaderTest, DamagedRecordsGiveNullAndTheReason) {
    struct Case {
        const char* bytes;
        unsigned int status;
        unsigned long long position;
    };
    const Case cases[] = {
        {"7F 00 02 AA BB | 74 00 01 00", status::UNKNOWN_OBJECT_ID, 5},  // skipped
        {"09 00 06 01 00 00", status::INSUFFICIENT_DATA, 6},             // cut short
        {"09 FF FF FF FF FF F0 01 02", status::INSUFFICIENT_DATA, 9},    // ~4 GiB announced
        {"09 00 07 01 00 00 00 01 00 00", status::SIZE_MISMATCH, 10},    // one byte too many
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bytes);
        vqtest::writeFile(dir / "bad.vql", bytes(c.bytes));
        FileReader reader(dir / "bad.vql");
        unsigned int status = 0;
        EXPECT_FALSE(reader.read(status));
        EXPECT_EQ(status, c.status);
        EXPECT_EQ(reader.position(), c.position);
    }
}

}  // namespace
