// The current head record: its 114-byte block, the rotation kept consistent, the conversions
// from and to the first version, and the setters' refusals.
#include "vq/eod/headoutputdatav2.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "vq/eod/headoutputdata.h"
#include "vq/eod/serializablefactory.h"
#include "vq/eod/utils/geomutils.h"
#include "vqtest/expect.h"
#include "vqtest/hex.h"
#include "vqtest/recordchecks.h"

namespace {

using vq::eod::HeadOutputData;
using vq::eod::HeadOutputDataV2;
using vq::eod::LEFT_EYE;
using vq::eod::RIGHT_EYE;
using vqtest::bytes;
using vqtest::hex;
using vqtest::serialized;
using Doubles = std::vector<double>;

const char* const SOURCE = "src/eod/headoutputdatav2.cpp";
const double HALF_PI = 1.5707963267948966;

TEST(HeadOutputDataV2, BytesPrintingAndTheDerivedEulerAngles) {
    HeadOutputDataV2 fresh;
    EXPECT_EQ(fresh.headRotationQuaternion(), Doubles({1, 0, 0, 0}));
    EXPECT_EQ(fresh.headRotation(), Doubles({0, 0, 0}));
    vq::eod::ByteBuffer block(114, 0);
    block[25] = 0x3F;  // quaternion w = 1.0
    block[26] = 0xF0;
    EXPECT_EQ(hex(serialized(fresh)), hex(vqtest::engineRecord(0x10, block)));

    HeadOutputDataV2 head;
    head.setTrackingState(true);
    head.setHeadPosition({1, -2, 0.5});
    head.setHeadRotationQuaternion({0.5, 0.5, 0.5, 0.5});
    head.setHeadPositionConfidence(0.25);
    head.setModelQualityLevel(7);
    head.setHeadEyeballPos(RIGHT_EYE, {1, 0, 0});
    head.setHeadEyeballPos(LEFT_EYE, {0, 0, -1});
    const std::string expected = hex(bytes(
        "10 00 74 | 01 | 01 | 3FF0000000000000 C000000000000000 3FE0000000000000 |"
        " 3FE0000000000000 3FE0000000000000 3FE0000000000000 3FE0000000000000 | 3FD0000000000000 |"
        " 07 | 3FF0000000000000 0000000000000000 0000000000000000 |"
        " 0000000000000000 0000000000000000 BFF0000000000000 | 00"));
    EXPECT_EQ(hex(serialized(head)), expected);

    // Read back, the Euler angles come from the quaternion: here the gimbal-lock case.
    int read_pos = 0;
    const auto read = boost::dynamic_pointer_cast<HeadOutputDataV2>(
        vq::eod::SerializableFactory::newObject(bytes(expected), read_pos));
    ASSERT_TRUE(read);
    EXPECT_EQ(hex(serialized(*read)), expected);
    EXPECT_EQ(read->headRotation(), Doubles({0, HALF_PI, HALF_PI}));

    std::ostringstream header, line;
    head.printHeader(header);
    head.printLine(line);
    EXPECT_EQ(
        header.str(),
        vqtest::columns({"TRACK_STATE", "HPOS_FILT_X", "HPOS_FILT_Y", "HPOS_FILT_Z", "HROT_FILT_Q0",
                         "HROT_FILT_Q1", "HROT_FILT_Q2", "HROT_FILT_Q3", "HPOS_CONF", "MODEL_QUAL",
                         "H_EYEBALL_R_X", "H_EYEBALL_R_Y", "H_EYEBALL_R_Z", "H_EYEBALL_L_X",
                         "H_EYEBALL_L_Y", "H_EYEBALL_L_Z"}));
    EXPECT_EQ(line.str(), vqtest::columns({"1", "1", "-2", "0.5", "0.5", "0.5", "0.5", "0.5",
                                           "0.25", "7", "1", "0", "0", "0", "0", "-1"}));
}

TEST(HeadOutputDataV2, EulerAnglesAreStoredInTheirCanonicalForm) {
    HeadOutputDataV2 head;
    head.setHeadRotation({0, 0, 4});
    EXPECT_NEAR(head.headRotation()[2], 4 - 2 * M_PI, 1e-12);
    EXPECT_GE(head.headRotationQuaternion()[0], 0.0);
    EXPECT_EQ(head.headRotationQuaternion(), vq::eod::utils::fromEulerAngles({0, 0, 4}));
}

TEST(HeadOutputDataV2, ConversionsBetweenTheVersions) {
    HeadOutputData v1;
    v1.setTrackingState(3);
    v1.setHeadPosition({1, -2, 0.1f});
    v1.setHeadRotation({0, 0, 4});
    v1.setHeadPositionConfidence(0.75f);
    v1.setModelQualityLevel(-2);
    v1.setHeadEyeballPos(RIGHT_EYE, {1, 2, 3});
    v1.setHeadEyeballPos(LEFT_EYE, {-1, -2, -3});
    v1.setSerializeEnabled(false);

    const HeadOutputDataV2 v2(v1);
    EXPECT_TRUE(v2.isTracking());
    EXPECT_EQ(v2.headPosition(), Doubles({1, -2, 0.1f}));
    EXPECT_EQ(v2.headRotation(), Doubles({0, 0, 4}));  // kept as converted, not canonical
    EXPECT_EQ(v2.headRotationQuaternion(), vq::eod::utils::fromEulerAngles({0, 0, 4}));
    EXPECT_EQ(v2.headPositionConfidence(), 0.75);
    EXPECT_EQ(v2.modelQualityLevel(), -2);
    EXPECT_EQ(v2.headEyeBallPos(RIGHT_EYE), Doubles({1, 2, 3}));
    EXPECT_EQ(v2.headEyeBallPos(LEFT_EYE), Doubles({-1, -2, -3}));
    EXPECT_FALSE(v2.serializeEnabled());

    HeadOutputData back(v2);
    EXPECT_EQ(back.trackingState(), 1);
    EXPECT_FALSE(back.serializeEnabled());
    back.setSerializeEnabled(true);
    v1.setSerializeEnabled(true);
    v1.setTrackingState(1);
    EXPECT_EQ(hex(serialized(back)), hex(serialized(v1)));  // everything else as it was

    // V2 to V1 takes the Euler angles, not the quaternion.
    HeadOutputDataV2 turned;
    turned = v1;
    turned.setTrackingState(false);
    turned.setHeadRotationQuaternion({0.5, 0.5, 0.5, 0.5});
    const HeadOutputData narrowed(turned);
    EXPECT_EQ(narrowed.trackingState(), 0);
    EXPECT_EQ(narrowed.headRotation(),
              std::vector<float>({0, static_cast<float>(HALF_PI), static_cast<float>(HALF_PI)}));
}

TEST(HeadOutputDataV2, SettersRefuseAndLeaveTheRecordAlone) {
    HeadOutputDataV2 head;
    head.setHeadPositionConfidence(0);
    head.setHeadPositionConfidence(1);
    const std::string before = hex(serialized(head));
    for (double bad : {-0.0001, 1.0001, std::nan("")}) {
        EXPECT_PRECONDITION(head.setHeadPositionConfidence(bad), SOURCE,
                            "head_confidencec outside the range 0..1");
    }
    EXPECT_PRECONDITION(head.setHeadPosition({1, 2}), SOURCE, "pos expected to be 3D point");
    EXPECT_PRECONDITION(head.setHeadRotation({1, 2}), SOURCE,
                        "rotation expected to be 3D euler angle");
    EXPECT_PRECONDITION(head.setHeadRotationQuaternion({1, 0, 0}), SOURCE,
                        "rotation expected to be quaternion for 3D space (i.e. 4 dimensions)");
    EXPECT_PRECONDITION(head.headEyeBallPos(vq::eod::BOTH_EYES), SOURCE,
                        "eye_id is neither LEFT_EYE nor RIGHT_EYE");
    // The eye is checked before the length, unlike the first version.
    EXPECT_PRECONDITION(head.setHeadEyeballPos(vq::eod::BOTH_EYES, {1, 2}), SOURCE,
                        "eye_id neither LEFT_EYE nor RIGHT_EYE");
    EXPECT_PRECONDITION(head.setHeadEyeballPos(LEFT_EYE, {1, 2}), SOURCE,
                        "eyeball_pos expected to be 3D point");
    EXPECT_EQ(hex(serialized(head)), before);
}

TEST(HeadOutputDataV2, RandomAndShortenedBlocks) {
    vqtest::expectRandomBlocksRoundTrip(HeadOutputDataV2::THIS_OBJECT_ID, 114, {0});
    vqtest::expectTruncationsRefused(HeadOutputDataV2());
}

}  // namespace
