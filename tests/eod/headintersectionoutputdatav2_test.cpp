// The head intersection records: version 1 titles and checks, conversion between the versions.
#include "vq/eod/headintersectionoutputdatav2.h"

#include <gtest/gtest.h>

#include "vq/eod/headintersectionoutputdatav1.h"
#include "vqtest/recordchecks.h"

namespace {

TEST(HeadIntersectionOutputData, VersionOneTitlesChecksAndConversion) {
    vq::eod::HeadIntersectionOutputDataV1 v1;
    EXPECT_EQ(vqtest::printedHeader(v1),
              " HEAD_OBJ_INDEX   HEAD_OBJ_NAME CYC_SCR_INTSECT     CSI_WORLD_X     CSI_WORLD_Y "
              "    CSI_WORLD_Z    CSI_SCREEN_X    CSI_SCREEN_Y     CSI_PIXEL_X     CSI_PIXEL_Y ");
    EXPECT_PRECONDITION(v1.setScreenIntersectionScreenCoordinates({}),
                        "src/eod/headintersectionoutputdatav1.cpp",
                        "screen_intersection not a 2D coordinate");
    v1.setIntersectionObjectIndex(9);
    v1.setIntersectionObjectName("mirror");
    v1.setIntersectsScreen(true);
    v1.setScreenIntersectionPixelCoordinates({6, 7});
    const vq::eod::HeadIntersectionOutputDataV2 v2(v1);
    EXPECT_EQ(v2.labels(), std::vector<std::string>{"mirror"});
    EXPECT_EQ(v2.pixel("mirror"), (std::vector<int>{6, 7}));
    vq::eod::ObjectIntersection expected = v1.objectIntersection();
    expected.object_index = 0;  // labels are numbered by the labelled record
    EXPECT_EQ(vq::eod::HeadIntersectionOutputDataV1(v2).objectIntersection(), expected);
}

}  // namespace
