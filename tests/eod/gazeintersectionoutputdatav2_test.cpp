// The one-object gaze record with the gaze object point: its 53-byte block, and the conversions
// between the gaze versions 1, 2 and 3.
#include "vq/eod/gazeintersectionoutputdatav2.h"

#include <gtest/gtest.h>

#include "vq/eod/gazeintersectionoutputdatav1.h"
#include "vq/eod/gazeintersectionoutputdatav3.h"
#include "vqtest/recordchecks.h"

namespace {

using vq::eod::GazeIntersectionOutputDataV1;
using vq::eod::GazeIntersectionOutputDataV2;
using vq::eod::GazeIntersectionOutputDataV3;
using vq::eod::ObjectIntersection;

TEST(GazeIntersectionOutputDataV2, TheOneObjectBlockThenTheGazeObjectPoint) {
    GazeIntersectionOutputDataV2 record;
    record.setIntersectionObjectIndex(1);
    record.setIntersectionObjectName("dash");
    record.setGazeObjectIntersection({1, 2, 3});
    EXPECT_EQ(vqtest::hex(vqtest::serialized(record)),
              vqtest::hex(vqtest::bytes(
                  "1D 00 37 01 | 00 00 00 01 | 64 61 73 68 20 20 20 00 | 00 | "
                  "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                  "00 00 00 00 00 00 00 00 | 3F 80 00 00 40 00 00 00 40 40 00 00 | 00")));
    EXPECT_PRECONDITION(record.setGazeObjectIntersection({1, 2}),
                        "src/eod/gazeintersectionoutputdatav2.cpp",
                        "gaze_object_intersection not a 3D coordinate");
    EXPECT_EQ(record.gazeObjectIntersection(), (std::vector<float>{1, 2, 3}));
    EXPECT_EQ(vqtest::printedHeader(record).substr(160),
              "          GOI_X           GOI_Y           GOI_Z ");
    EXPECT_EQ(vqtest::printedLine(record).substr(160),
              "              1               2               3 ");
}

TEST(GazeIntersectionOutputDataV2, ConversionsBetweenTheGazeVersions) {
    GazeIntersectionOutputDataV2 v2;
    v2.setIntersectionObjectIndex(4);
    v2.setIntersectionObjectName("screen");
    v2.setIntersectsScreen(true);
    v2.setScreenIntersectionScreenCoordinates({0.5f, 0.25f});
    v2.setScreenIntersectionPixelCoordinates({640, 480});
    v2.setGazeObjectIntersection({7, 8, 9});
    v2.setSerializeEnabled(false);
    // Version 1 keeps the object and the flag; the gaze object point does not come back.
    const GazeIntersectionOutputDataV1 v1(v2);
    EXPECT_EQ(v1.objectIntersection(), v2.objectIntersection());
    EXPECT_FALSE(v1.serializeEnabled());
    EXPECT_EQ(GazeIntersectionOutputDataV2(v1).gazeObjectIntersection(),
              (std::vector<float>{0, 0, 0}));
    // Version 3 numbers its labels itself: the object index becomes 0.
    const GazeIntersectionOutputDataV3 v3(v2);
    EXPECT_EQ(v3.labels(), std::vector<std::string>{"screen"});
    EXPECT_EQ(v3.plane("screen"), (std::vector<float>{0.5f, 0.25f}));
    ObjectIntersection expected = v2.objectIntersection();
    expected.object_index = 0;
    EXPECT_EQ(GazeIntersectionOutputDataV1(v3).objectIntersection(), expected);
    EXPECT_EQ(GazeIntersectionOutputDataV2(v3).objectIntersection(), expected);
    // Not intersecting: no label. Several labels: the first added, zeros where it has no
    // points. None: no object.
    v2.setIntersectsScreen(false);
    EXPECT_TRUE(GazeIntersectionOutputDataV3(v2).labels().empty());
    GazeIntersectionOutputDataV3 many;
    many.addIntersection("z", {1, 1, 1});
    many.addIntersection("a", {2, 2, 2}, {3, 3}, {4, 4});
    const ObjectIntersection first{0, "z", true, {1, 1, 1}, {0, 0}, {0, 0}};
    EXPECT_EQ(GazeIntersectionOutputDataV1(many).objectIntersection(), first);
    EXPECT_EQ(GazeIntersectionOutputDataV1(GazeIntersectionOutputDataV3()).objectIntersection(),
              ObjectIntersection());
}

}  // namespace
