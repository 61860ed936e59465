// The current head record: its 114-byte block, the rotation kept consistent, the conversions
// from and to the first version, and the setters' refusals.
#include "vq/eod/headoutputdatav2.h"

#include <gtest/gtest.h>

#include <cmath>

#include "vq/eod/headoutputdata.h"
#include "vq/eod/utils/geomutils.h"
#include "vqtest/recordchecks.h"

namespace {

using vq::eod::HeadOutputData;
using vq::eod::HeadOutputDataV2;
using vq::eod::LEFT_EYE;
using vq::eod::RIGHT_EYE;
using vq::eod::utils::fromEulerAngles;
using vqtest::hex;
using vqtest::serialized;
using Doubles = std::vector<double>;

const char* const SOURCE = "src/eod/headoutputdatav2.cpp";
const double HALF_PI = 1.5707963267948966;

TEST(HeadOutputDataV2, BytesPrintingAndTheDerivedEulerAngles) {
    // A new record holds the identity quaternion, written at byte 29.
    EXPECT_EQ(hex(serialized(HeadOutputDataV2())).substr(3 * 29, 23), "3F F0 00 00 00 00 00 00");
    HeadOutputDataV2 head;
    head.setTrackingState(true);
    head.setHeadPosition({1, -2, 0.5});
    head.setHeadRotationQuaternion({0.5, 0.5, 0.5, 0.5});
    head.setHeadPositionConfidence(0.25);
    head.setModelQualityLevel(7);
    head.setHeadEyeballPos(LEFT_EYE, {0, 0, -1});
    const auto read = vqtest::expectRoundTrip(
        head,
        "10 00 74 | 01 | 01 | 3FF0000000000000 C000000000000000 3FE0000000000000 |"
        " 3FE0000000000000 3FE0000000000000 3FE0000000000000 3FE0000000000000 |"
        " 3FD0000000000000 | 07 | 0000000000000000 0000000000000000 0000000000000000 |"
        " 0000000000000000 0000000000000000 BFF0000000000000 | 00");
    // Read back, the Euler angles come from the quaternion: here the gimbal-lock case.
    ASSERT_TRUE(read);
    EXPECT_EQ(read->headRotation(), Doubles({0, HALF_PI, HALF_PI}));
    EXPECT_EQ(
        vqtest::printedHeader(head),
        vqtest::columns({"TRACK_STATE", "HPOS_FILT_X", "HPOS_FILT_Y", "HPOS_FILT_Z", "HROT_FILT_Q0",
                         "HROT_FILT_Q1", "HROT_FILT_Q2", "HROT_FILT_Q3", "HPOS_CONF", "MODEL_QUAL",
                         "H_EYEBALL_R_X", "H_EYEBALL_R_Y", "H_EYEBALL_R_Z", "H_EYEBALL_L_X",
                         "H_EYEBALL_L_Y", "H_EYEBALL_L_Z"}));
    EXPECT_EQ(vqtest::printedLine(head),
              vqtest::columns({"1", "1", "-2", "0.5", "0.5", "0.5", "0.5", "0.5", "0.25", "7", "0",
                               "0", "0", "0", "0", "-1"}));

    // Euler angles set are stored in their canonical form: 4 rad about z is 4 - 2 pi.
    head.setHeadRotation({0, 0, 4});
    EXPECT_NEAR(head.headRotation()[2], 4 - 2 * M_PI, 1e-12);
    EXPECT_EQ(head.headRotationQuaternion(), fromEulerAngles({0, 0, 4}));
}

TEST(HeadOutputDataV2, ConversionsBetweenTheVersions) {
    HeadOutputData v1;
    v1.setTrackingState(3);
    v1.setHeadPosition({1, -2, 0.1f});
    v1.setHeadRotation({0, 0, 4});
    v1.setHeadPositionConfidence(0.75f);
    v1.setModelQualityLevel(-2);
    v1.setHeadEyeballPos(LEFT_EYE, {-1, -2, -3});
    v1.setSerializeEnabled(false);

    const HeadOutputDataV2 v2(v1);
    EXPECT_TRUE(v2.isTracking());
    EXPECT_EQ(v2.headRotation(), Doubles({0, 0, 4}));  // kept as converted, not canonical
    EXPECT_EQ(v2.headRotationQuaternion(), fromEulerAngles({0, 0, 4}));
    EXPECT_EQ(v2.headEyeBallPos(LEFT_EYE), Doubles({-1, -2, -3}));
    EXPECT_FALSE(v2.serializeEnabled());

    HeadOutputData back(v2);
    EXPECT_EQ(back.trackingState(), 1);
    back.setSerializeEnabled(true);
    v1.setSerializeEnabled(true);
    v1.setTrackingState(1);
    EXPECT_EQ(hex(serialized(back)), hex(serialized(v1)));  // all else went there and back

    // V2 to V1 takes the Euler angles, not the quaternion.
    HeadOutputDataV2 turned;
    turned = v1;
    turned.setTrackingState(false);
    turned.setHeadRotationQuaternion({0.5, 0.5, 0.5, 0.5});
    const HeadOutputData narrowed(turned);
    EXPECT_EQ(narrowed.trackingState(), 0);
    const float half_pi = static_cast<float>(HALF_PI);
    EXPECT_EQ(narrowed.headRotation(), std::vector<float>({0, half_pi, half_pi}));
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
    EXPECT_PRECONDITION(head.setHeadEyeballPos(RIGHT_EYE, {1, 2}), SOURCE,
                        "eyeball_pos expected to be 3D point");
    EXPECT_EQ(hex(serialized(head)), before);

    vqtest::expectRandomBlocksRoundTrip(HeadOutputDataV2::THIS_OBJECT_ID, 114, {0});
    vqtest::expectTruncationsRefused(head);
}

}  // namespace
