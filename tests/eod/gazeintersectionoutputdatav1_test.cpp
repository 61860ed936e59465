// The one-object gaze record: its 41-byte block with the name cut and padded to 7 characters,
// the coordinate checks, the version 2 operations it refuses, printing.
#include "vq/eod/gazeintersectionoutputdatav1.h"

#include <gtest/gtest.h>

#include "vqtest/recordchecks.h"

namespace {

using vq::eod::ByteBuffer;
using vq::eod::GazeIntersectionOutputDataV1;
using vqtest::bytes;
using vqtest::hex;
using vqtest::serialized;

GazeIntersectionOutputDataV1 windscreen(const std::string& name) {
    GazeIntersectionOutputDataV1 record;
    record.setIntersectionObjectIndex(5);
    record.setIntersectionObjectName(name);
    record.setIntersectsScreen(true);
    record.setScreenIntersectionWorldCoordinates({1, 2, 3});
    record.setScreenIntersectionScreenCoordinates({0.5f, 0.25f});
    record.setScreenIntersectionPixelCoordinates({640, 480});
    return record;
}

TEST(GazeIntersectionOutputDataV1, NameIsCutOrPaddedToSevenCharacters) {
    const std::string tail =
        " | 01 | 3F 80 00 00 40 00 00 00 40 40 00 00 | 3F 00 00 00 3E 80 00 00 | "
        "00 00 02 80 00 00 01 E0 | 00";
    const ByteBuffer cut = serialized(windscreen("windscreen"));
    EXPECT_EQ(hex(cut), hex(bytes("12 00 2B 01 00 00 00 05 | 77 69 6E 64 73 63 72 00" + tail)));
    const ByteBuffer padded = serialized(windscreen("abc"));
    EXPECT_EQ(hex(padded), hex(bytes("12 00 2B 01 00 00 00 05 | 61 62 63 20 20 20 20 00" + tail)));
    // Read back without the padding; written again, the same bytes.
    int pos = 0;
    GazeIntersectionOutputDataV1 read;
    ASSERT_TRUE(read.unSerialize(padded, pos));
    EXPECT_EQ(read.objectIntersection(), windscreen("abc").objectIntersection());
    EXPECT_EQ(hex(serialized(read)), hex(padded));
    pos = 0;
    ASSERT_TRUE(read.unSerialize(cut, pos));
    EXPECT_EQ(read.intersectionObjectName(), "windscr");
    // A new record has no object.
    EXPECT_EQ(hex(serialized(GazeIntersectionOutputDataV1())),
              hex(bytes("12 00 2B 01 | FF FF FF FF | 20 20 20 20 20 20 20 00 | 00 | "
                        "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                        "00 00 00 00 00 00 00 00 | 00")));
}

TEST(GazeIntersectionOutputDataV1, RefusalsKeepTheRecordAndPrinting) {
    const char* const source = "src/eod/gazeintersectionoutputdatav1.cpp";
    GazeIntersectionOutputDataV1 record = windscreen("w");
    EXPECT_PRECONDITION(record.setScreenIntersectionWorldCoordinates({1, 2}), source,
                        "screen_intersection not a 3D coordinate");
    EXPECT_PRECONDITION(record.setScreenIntersectionPixelCoordinates({1}), source,
                        "screen_intersection not a 2D coordinate");
    EXPECT_PRECONDITION(record.setGazeObjectIntersection({1, 2, 3}),
                        "src/eod/gazeintersectionoutputdatabase.cpp",
                        "setGazeObjectIntersection is not valid on this version of "
                        "GazeIntersectionOutputDataBase");
    EXPECT_EQ(record.objectIntersection(), windscreen("w").objectIntersection());
    EXPECT_EQ(vqtest::printedHeader(windscreen("windscreen")),
              " GAZE_OBJ_INDEX   GAZE_OBJ_NAME GAZ_SCR_INTSECT     GSI_WORLD_X     GSI_WORLD_Y "
              "    GSI_WORLD_Z    GSI_SCREEN_X    GSI_SCREEN_Y     GSI_PIXEL_X     GSI_PIXEL_Y ");
    EXPECT_EQ(vqtest::printedLine(windscreen("windscreen")),
              "              5         windscr               1               1               2 "
              "              3             0.5            0.25             640             480 ");
}

}  // namespace
