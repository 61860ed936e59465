// The labelled intersection block: labels and indices, the checks of addIntersection, the size
// that falls 16 short, printing. Shown on GazeIntersectionOutputDataV3, which adds nothing to it
// (its bytes with every kind of entry: worldoutputdatav2_test.cpp).
#include "vq/eod/intersectionoutputbasev2.h"

#include <gtest/gtest.h>

#include "vq/eod/gazeintersectionoutputdatav3.h"
#include "vqtest/recordchecks.h"

namespace {

using vq::eod::GazeIntersectionOutputDataV3;

TEST(IntersectionOutputBaseV2, LabelsKeepTheIndexTheyWereFirstGiven) {
    GazeIntersectionOutputDataV3 record;
    record.addIntersection("screen", {1, 2, 3}, {0.5f, 0.25f}, {640, 480});
    record.addIntersection("mirror", {4, 5, 6});
    record.addIntersection("screen", {7, 8, 9});
    EXPECT_EQ(record.labelIndex("screen"), 0);
    EXPECT_EQ(record.labelIndex("mirror"), 1);
    EXPECT_EQ(record.labelIndex("window"), -1);
    EXPECT_EQ(record.labels(), (std::vector<std::string>{"mirror", "screen"}));
    EXPECT_EQ(record.combinedLabelSize(), 14u);
    // The second screen replaced the world point; its plane point and pixel stay.
    EXPECT_EQ(record.world("screen"), (std::vector<float>{7, 8, 9}));
    EXPECT_EQ(record.pixel("screen"), (std::vector<int>{640, 480}));
    // Missing points, and unknown labels, give zeros of their length.
    EXPECT_FALSE(record.hasPlane("mirror"));
    EXPECT_EQ(record.plane("mirror"), (std::vector<float>{0, 0}));
    EXPECT_EQ(record.pixel("mirror"), (std::vector<int>{0, 0}));
    EXPECT_FALSE(record.hasWorld("window"));
    EXPECT_EQ(record.world("window"), (std::vector<float>{0, 0, 0}));
    record.clearAllData();
    EXPECT_TRUE(record.labels().empty());
    EXPECT_FALSE(record.hasWorld("screen"));
}

TEST(IntersectionOutputBaseV2, AddIntersectionChecksInOrderAndChangesNothingWhenItRefuses) {
    const char* const source = "src/eod/intersectionoutputbasev2.cpp";
    GazeIntersectionOutputDataV3 record;
    EXPECT_PRECONDITION(record.addIntersection("a", {1, 2}, {1}, {1}), source,
                        "world expected to be 3D point");
    EXPECT_PRECONDITION(record.addIntersection("a", {1, 2, 3}, {1, 2, 3}, {1}), source,
                        "plane expected to be 2D point");
    EXPECT_PRECONDITION(record.addIntersection("a", {1, 2, 3}, {1, 2}, {1, 2, 3}), source,
                        "pixel expected to be 3D point");
    EXPECT_TRUE(record.labels().empty());
}

TEST(IntersectionOutputBaseV2, LabelsInLabelOrderAndSixteenBytesUnannounced) {
    GazeIntersectionOutputDataV3 record;
    record.addIntersection("b", {0, 0, 0});
    record.addIntersection("a", {0, 0, 0});
    // 4 label bytes + 4 x (2 + 4 x 2 + 4) = 60 announced for the block, 76 written.
    EXPECT_EQ(record.numDataBytes(), 62u);
    EXPECT_EQ(record.numUnannouncedDataBytes(), 16u);
    EXPECT_EQ(
        vqtest::hex(vqtest::serialized(record)),
        vqtest::hex(vqtest::bytes("2C 00 3E | 01 | 00 00 00 00 00 00 00 02 | 61 00 00 00 00 01 | "
                                  "62 00 00 00 00 00 | 00 00 00 00 00 00 00 02 | 00 00 00 00 | "
                                  "00 00 00 00 00 00 00 00 00 00 00 00 | 00 00 00 01 | "
                                  "00 00 00 00 00 00 00 00 00 00 00 00 | 00 00 00 00 00 00 00 00 | "
                                  "00 00 00 00 00 00 00 00 | 00")));
}

TEST(IntersectionOutputBaseV2, PrintsTheFirstEntryOfEachMap) {
    GazeIntersectionOutputDataV3 record;
    EXPECT_EQ(vqtest::printedHeader(record),
              "      ITEM_NAME         WORLD_X         WORLD_Y         WORLD_Z         PLANE_X "
              "        PLANE_Y         PIXEL_X         PIXEL_Y ");
    EXPECT_EQ(vqtest::printedLine(record), "        Nothing ");
    record.addIntersection("b", {1, 2, 3}, {4, 5});
    record.addIntersection("a", {8, 9, 10});
    // The first label, the first points in index order; no pixels, no pixel columns.
    EXPECT_EQ(vqtest::printedLine(record),
              "              a               1               2               3               4 "
              "              5 ");
}

}  // namespace
