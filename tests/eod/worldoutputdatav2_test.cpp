// A frame whose world container holds labelled intersection records: every header on the way
// announces 16 bytes fewer per labelled record than follow, and the frame still reads back byte
// for byte from a buffer and from a stream, without touching what comes after it.
#include "vq/eod/worldoutputdatav2.h"

#include <gtest/gtest.h>

#include "vq/eod/engineoutputdata.h"
#include "vq/eod/gazeintersectionoutputdatav3.h"
#include "vq/eod/gazeintersectionoutputdatav4.h"
#include "vq/eod/headintersectionoutputdatav2.h"
#include "vq/eod/serializablefactory.h"
#include "vqtest/recordchecks.h"

namespace {

using vq::eod::ByteBuffer;
using vq::eod::SerializableFactory;
using vqtest::bytes;
using vqtest::hex;
using vqtest::serialized;

// The frame announces 0x91 data bytes and holds 0x91 + 48; the world 0x88 + 48; the records
// 0x29, 0x42 and 0x12, each + 16.
const char* const FRAME_3 =
    "09 00 91 | 01 | 00 00 00 03 | 01 | "
    "2B 00 88 | 01 | 03 | "
    "27 00 29 | 01 | 01 | 00 00 00 00 00 00 00 01 | 61 00 | 00 00 00 00 | "
    "00 00 00 00 00 00 00 01 | 00 00 00 00 | 3F 80 00 00 40 00 00 00 40 40 00 00 | "
    "00 00 00 00 00 00 00 00 | 00 00 00 00 00 00 00 00 | 00 | "
    "2C 00 42 | 01 | 00 00 00 00 00 00 00 01 | 73 63 72 00 | 00 00 00 00 | "
    "00 00 00 00 00 00 00 01 | 00 00 00 00 | 00 00 00 00 00 00 00 00 BF 80 00 00 | "
    "00 00 00 00 00 00 00 01 | 00 00 00 00 | 3F 00 00 00 3E 80 00 00 | "
    "00 00 00 00 00 00 00 01 | 00 00 00 00 | 00 00 02 80 00 00 01 E0 | 00 | "
    "2D 00 12 | 01 | 00 00 00 00 00 00 00 00 | 00 00 00 00 00 00 00 00 | "
    "00 00 00 00 00 00 00 00 | 00 00 00 00 00 00 00 00 | 00";

ByteBuffer frameWithIntersections(unsigned int number) {
    boost::shared_ptr<vq::eod::GazeIntersectionOutputDataV4> v4(
        new vq::eod::GazeIntersectionOutputDataV4);
    v4->setEyeId(vq::eod::LEFT_EYE);
    v4->addIntersection("a", {1, 2, 3});
    boost::shared_ptr<vq::eod::GazeIntersectionOutputDataV3> v3(
        new vq::eod::GazeIntersectionOutputDataV3);
    v3->addIntersection("scr", {0, 0, -1}, {0.5f, 0.25f}, {640, 480});
    boost::shared_ptr<vq::eod::WorldOutputDataV2> world(new vq::eod::WorldOutputDataV2);
    world->addSubObject(v3);
    world->addSubObject(boost::shared_ptr<vq::eod::HeadIntersectionOutputDataV2>(
        new vq::eod::HeadIntersectionOutputDataV2));
    world->addSubObject(v4);
    vq::eod::EngineOutputData frame;
    frame.setFrameNum(number);
    frame.addSubObject(world);
    EXPECT_EQ(frame.numTotalBytes() + 48, serialized(frame).size());
    return serialized(frame);
}

TEST(WorldOutputDataV2, LabelledRecordsInAFrameReadBackFromABufferAndAStream) {
    ASSERT_EQ(hex(frameWithIntersections(3)), hex(bytes(FRAME_3)));
    ByteBuffer buffer = bytes(FRAME_3);
    buffer.push_back(0x7F);  // the next object is not touched
    int pos = 0;
    auto frame = SerializableFactory::newObject(buffer, pos);
    ASSERT_TRUE(frame);
    EXPECT_EQ(pos, static_cast<int>(buffer.size()) - 1);
    EXPECT_EQ(hex(serialized(*frame)), hex(bytes(FRAME_3)));

    // Two such frames back to back, then an ordinary frame.
    ByteBuffer all = bytes(FRAME_3);
    for (const ByteBuffer& next :
         {frameWithIntersections(4), bytes("09 00 06 01 00 00 00 05 00")}) {
        all.insert(all.end(), next.begin(), next.end());
    }
    auto in = vqtest::streamOf(all);
    ByteBuffer again;
    unsigned int status = 0;
    for (int i = 0; i < 3; ++i) {
        auto read = i == 1 ? SerializableFactory::newObjectWithStatus(in, status)
                           : SerializableFactory::newObject(in);
        ASSERT_TRUE(read) << i;
        read->serialize(again);
    }
    EXPECT_EQ(status, 0u);
    EXPECT_EQ(hex(again), hex(all));
    EXPECT_EQ(in.peek(), std::char_traits<char>::eof());

    // The container itself has no block and prints nothing.
    vq::eod::WorldOutputDataV2 empty;
    EXPECT_EQ(hex(serialized(empty)), "2B 00 02 01 00");
    EXPECT_EQ(vqtest::printedHeader(empty) + vqtest::printedLine(empty), "");
}

}  // namespace
