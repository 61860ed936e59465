// Reading record files: the end of the file, and a file that grows while it is read.
#include "vq/eod/io/filereader.h"

#include <gtest/gtest.h>

#include "vq/eod/gazeintersectionoutputdatav3.h"
#include "vq/eod/io/filewriter.h"
#include "vq/eod/serializableerror.h"
#include "vq/eod/worldoutputdatav2.h"
#include "vqtest/hex.h"
#include "vqtest/logfiles.h"

namespace {

using vq::eod::io::FileReader;
using vqtest::bytes;

TEST(FileReader, ClosedMissingEmptyAndDirectory) {
    vqtest::TempDir dir;
    FileReader reader;
    unsigned int status = 77;
    EXPECT_TRUE(reader.atEnd());
    EXPECT_PRECONDITION(reader.read(status), "src/eod/io/filereader.cpp", "files are not open");
    EXPECT_SERIALIZABLE_ERROR(FileReader(dir / "missing"),
                              "Failed to open file '" + (dir / "missing") + "'.");
    EXPECT_FALSE(reader.open(dir.path()));

    vqtest::writeFile(dir / "empty.vql", {});
    ASSERT_TRUE(reader.open(dir / "empty.vql"));
    EXPECT_PRECONDITION(reader.read(status), "src/eod/io/filereader.cpp",
                        "Cannot reading when atEnd().");
    EXPECT_EQ(status, 77u);
}

TEST(FileReader, FollowsAFileThatIsStillBeingWritten) {
    vqtest::registerTestLogKinds();
    vqtest::TempDir dir;
    vqtest::writeFile(dir / "other.vql", bytes("74 00 01 00"));
    vqtest::writeFile(dir / "growing.vql", bytes("09 00 06 01 00 00 00 01 00"));
    FileReader reader(dir / "other.vql");
    ASSERT_TRUE(reader.open(dir / "growing.vql"));  // closes the other file first
    unsigned int status = 0;
    EXPECT_EQ(vqtest::hex(vqtest::serialized(*reader.read(status))), "09 00 06 01 00 00 00 01 00");
    EXPECT_TRUE(reader.atEnd());

    vqtest::writeFile(dir / "growing.vql", bytes("74 00 01 00"), true);
    EXPECT_FALSE(reader.atEnd());
    EXPECT_TRUE(reader.read(status));
    EXPECT_EQ(reader.position(), 13u);

    // A record that is cut short (not yet complete, or never) gives null and the reason.
    vqtest::writeFile(dir / "growing.vql", bytes("09 00 06 01"), true);
    EXPECT_FALSE(reader.read(status));
    EXPECT_EQ(status, vq::eod::status::INSUFFICIENT_DATA);
    EXPECT_TRUE(reader.atEnd());
}

// Frames holding labelled intersection records, which announce 16 bytes fewer than they hold
// (and so do the world container and the frame around them), read back from a record file
// exactly, each read stopping at its frame's real end.
TEST(FileReader, ReadsFramesWhoseRecordsAnnounceFewerBytes) {
    vqtest::TempDir dir;
    vq::eod::ByteBuffer expected;
    {
        vq::eod::io::FileWriter writer(dir / "undercounted.dat");
        for (unsigned int number = 1; number <= 3; ++number) {
            vq::eod::EngineOutputData frame;
            frame.setFrameNum(number);
            if (number != 2) {
                boost::shared_ptr<vq::eod::GazeIntersectionOutputDataV3> gaze(
                    new vq::eod::GazeIntersectionOutputDataV3);
                for (unsigned int label = 0; label < number; ++label) {
                    gaze->addIntersection(std::to_string(label), {1, 2, 3}, {4, 5}, {6, 7});
                }
                boost::shared_ptr<vq::eod::WorldOutputDataV2> world(new vq::eod::WorldOutputDataV2);
                world->addSubObject(gaze);
                frame.addSubObject(world);
            }
            frame.serialize(expected);
            writer.write(frame);
        }
    }
    EXPECT_EQ(vqtest::hex(vqtest::readFile(dir / "undercounted.dat")), vqtest::hex(expected));

    vq::eod::io::FileReader reader(dir / "undercounted.dat");
    vq::eod::ByteBuffer read_back;
    for (unsigned int number = 1; number <= 3; ++number) {
        unsigned int status = 0;
        boost::shared_ptr<vq::eod::Serializable> object = reader.read(status);
        ASSERT_TRUE(object) << number;
        EXPECT_EQ(status, 0u);
        object->serialize(read_back);
    }
    EXPECT_TRUE(reader.atEnd());
    EXPECT_EQ(vqtest::hex(read_back), vqtest::hex(expected));
}

}  // namespace
