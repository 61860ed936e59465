// The per-eye labelled gaze record: the eye byte before the labelled block, one record per eye
// in a parent, eye bytes that are no eye.
#include "vq/eod/gazeintersectionoutputdatav4.h"

#include <gtest/gtest.h>

#include "vq/eod/serializableerror.h"
#include "vq/eod/worldoutputdatav2.h"
#include "vqtest/recordchecks.h"

namespace {

using vq::eod::GazeIntersectionOutputDataV4;

TEST(GazeIntersectionOutputDataV4, OneRecordPerEyeAndNoOtherEyes) {
    EXPECT_EQ(GazeIntersectionOutputDataV4().eyeId(), vq::eod::BOTH_EYES);
    boost::shared_ptr<GazeIntersectionOutputDataV4> right(new GazeIntersectionOutputDataV4);
    boost::shared_ptr<GazeIntersectionOutputDataV4> left(new GazeIntersectionOutputDataV4);
    right->setEyeId(vq::eod::RIGHT_EYE);
    left->setEyeId(vq::eod::LEFT_EYE);
    vq::eod::WorldOutputDataV2 world;
    world.addSubObject(right);
    world.addSubObject(left);
    EXPECT_EQ(world.numSubObjects(GazeIntersectionOutputDataV4::THIS_OBJECT_ID), 2);
    EXPECT_EQ(vqtest::printedHeader(*left).substr(0, 32), "         EYE_ID       ITEM_NAME ");
    EXPECT_EQ(vqtest::printedLine(*left), "              1         Nothing ");

    // The eye byte 3 is damage, not a value to keep (the bytes of a V4 record with a label:
    // worldoutputdatav2_test.cpp).
    vq::eod::ByteBuffer bad = vqtest::serialized(*left);
    bad[4] = 0x03;
    int pos = 0;
    EXPECT_SERIALIZABLE_ERROR(
        GazeIntersectionOutputDataV4().unSerialize(bad, pos),
        "GazeIntersectionOutputDataV4::readEngineSpecificData - eye_id out of range");
    EXPECT_EQ(pos, 0);
    EXPECT_PRECONDITION(left->setEyeId(static_cast<vq::eod::EyeId>(3)),
                        "src/eod/gazeintersectionoutputdatav4.cpp",
                        "eye_id should be either LEFT_EYE, RIGHT_EYE or BOTH_EYES");
    EXPECT_EQ(left->eyeId(), vq::eod::LEFT_EYE);
}

}  // namespace
