// The gaze record: its 44-byte block, quality levels, and the vergence columns it prints.
#include "vq/eod/gazeoutputdata.h"

#include <gtest/gtest.h>

#include <cmath>
#include <iterator>
#include <sstream>

#include "vqtest/recordchecks.h"

namespace {

using vq::eod::GazeOutputData;
using vq::eod::IR_GAZE;
using vq::eod::LEFT_EYE;
using vq::eod::RIGHT_EYE;
using vqtest::columns;
using vqtest::printedLine;

const char* const SOURCE = "src/eod/gazeoutputdata.cpp";
const char* const GQL_RANGE = "gql not in the range NO_TRACKING..NUM_GAZE_QUALITY_LEVELS-1";

// The last five printed values: vergence point x, y, z, distance, angle.
std::vector<double> vergence(const GazeOutputData& gaze) {
    std::istringstream line(printedLine(gaze));
    std::vector<double> values{std::istream_iterator<double>(line), {}};
    return std::vector<double>(values.end() - 5, values.end());
}

// Eyeballs 2 apart on the x axis, each turned by `yaw` towards the nose (negative: outwards).
GazeOutputData eyes(vq::eod::GazeQualityLevel right, vq::eod::GazeQualityLevel left, float yaw) {
    GazeOutputData gaze;
    gaze.setGazeQualityLevel(RIGHT_EYE, right);
    gaze.setGazeQualityLevel(LEFT_EYE, left);
    gaze.setEyeballCentre(RIGHT_EYE, {-1, 0, 0});
    gaze.setEyeballCentre(LEFT_EYE, {1, 0, 0});
    gaze.setGazeRotationPitchYaw(RIGHT_EYE, {0, -yaw});
    gaze.setGazeRotationPitchYaw(LEFT_EYE, {0, yaw});
    return gaze;
}

TEST(GazeOutputData, BytesAndPrinting) {
    GazeOutputData gaze;
    gaze.setGazeQualityLevel(RIGHT_EYE, IR_GAZE);
    gaze.setEyeballCentre(RIGHT_EYE, {1, 2, 3});
    gaze.setGazeRotationPitchYaw(RIGHT_EYE, {0.5f, -0.25f});
    gaze.setGazeQualityLevel(LEFT_EYE, vq::eod::MEDIUM_GAZE_QUALITY);
    gaze.setEyeballCentre(LEFT_EYE, {-1, 0, 0.5f});
    gaze.setGazeRotationPitchYaw(LEFT_EYE, {0, 1});
    gaze.setGazeCalibrated(true);
    vqtest::expectRoundTrip(gaze,
                            "0D 00 2E | 01 | 03 3F800000 40000000 40400000 3F000000 BE800000"
                            " | 02 BF800000 00000000 3F000000 00000000 3F800000 | 01 00 | 00");
    EXPECT_EQ(vqtest::printedHeader(gaze),
              columns({"GAZE_QUAL_R", "EYEBALL_R_X", "EYEBALL_R_Y", "EYEBALL_R_Z", "GAZE_ROT_R_X",
                       "GAZE_ROT_R_Y", "GAZE_QUAL_L", "EYEBALL_L_X", "EYEBALL_L_Y", "EYEBALL_L_Z",
                       "GAZE_ROT_L_X", "GAZE_ROT_L_Y", "GAZE_CALIB", "SACCADE", "VERGE_PNT_X",
                       "VERGE_PNT_Y", "VERGE_PNT_Z", "VERGE_DIST", "VERGE_ANGLE"}));
    EXPECT_EQ(printedLine(gaze), columns({"3", "1", "2", "3", "0.5", "-0.25", "2", "-1", "0", "0.5",
                                          "0", "1", "1", "0", "0", "0", "0", "0", "0"}));
}

TEST(GazeOutputData, VergenceNeedsInfraredGazeOnBothEyes) {
    const float quarter = static_cast<float>(M_PI / 4);
    // Both rays meet 1 in front of the midpoint, at a right angle.
    const std::vector<double> met = vergence(eyes(IR_GAZE, IR_GAZE, quarter));
    const std::vector<double> expected = {0, 0, -1, 1, M_PI / 2};
    for (int i = 0; i < 5; ++i) {
        EXPECT_NEAR(met[i], expected[i], 1e-5) << "column " << i;
    }
    const std::vector<double> none(5, 0.0);
    EXPECT_EQ(vergence(eyes(IR_GAZE, vq::eod::MEDIUM_GAZE_QUALITY, quarter)), none);
    // Diverging gaze has no vergence point, but still an angle.
    const std::vector<double> apart = vergence(eyes(IR_GAZE, IR_GAZE, -quarter));
    EXPECT_EQ(std::vector<double>(apart.begin(), apart.end() - 1), std::vector<double>(4, 0.0));
    EXPECT_NEAR(apart[4], M_PI / 2, 1e-5);

    // A quality byte that no setter accepts is kept, printed, and gives no vergence either.
    const vq::eod::ByteBuffer whole = vqtest::serialized(eyes(IR_GAZE, IR_GAZE, quarter));
    vq::eod::ByteBuffer block(whole.begin() + 4, whole.end() - 1);  // no header, flag, count
    block[0] = 7;
    int read_pos = 0;
    GazeOutputData odd;
    ASSERT_TRUE(odd.unSerialize(vqtest::engineRecord(0x0D, block), read_pos));
    EXPECT_EQ(printedLine(odd).substr(0, 16), columns({"7"}));
    EXPECT_EQ(vergence(odd), none);
    EXPECT_PRECONDITION(GazeOutputData::gazeQualityLevelName(odd.gazeQualityLevel(RIGHT_EYE)),
                        SOURCE, GQL_RANGE);
}

TEST(GazeOutputData, QualityNamesAndRefusals) {
    EXPECT_EQ(GazeOutputData::gazeQualityLevelName(vq::eod::NO_TRACKING), "GQL 0");
    EXPECT_EQ(GazeOutputData::gazeQualityLevelName(vq::eod::LOW_GAZE_QUALITY), "GQL 1");
    EXPECT_EQ(GazeOutputData::gazeQualityLevelName(vq::eod::MEDIUM_GAZE_QUALITY), "GQL 2");
    EXPECT_EQ(GazeOutputData::gazeQualityLevelName(IR_GAZE), "GQL 3");

    GazeOutputData gaze = eyes(IR_GAZE, IR_GAZE, 0.5f);
    const std::string before = vqtest::hex(vqtest::serialized(gaze));
    const char* const eye = "eye_id neither LEFT_EYE nor RIGHT_EYE";
    EXPECT_PRECONDITION(gaze.setGazeQualityLevel(0, vq::eod::NUM_GAZE_QUALITY_LEVELS), SOURCE,
                        GQL_RANGE);
    EXPECT_PRECONDITION(gaze.setGazeQualityLevel(2, IR_GAZE), SOURCE, eye);
    EXPECT_PRECONDITION(gaze.setEyeballCentre(-1, {1, 2}), SOURCE, eye);
    EXPECT_PRECONDITION(gaze.setEyeballCentre(1, {1, 2}), SOURCE,
                        "eyeball_centre 3D point expected");
    EXPECT_PRECONDITION(gaze.setGazeRotationPitchYaw(1, {0.1f, 0.2f, 0.3f}), SOURCE,
                        "gaze_rot 2D rotation vector expected");
    EXPECT_PRECONDITION(gaze.gazeRotation(2), SOURCE, eye);
    EXPECT_EQ(vqtest::hex(vqtest::serialized(gaze)), before);

    vqtest::expectRandomBlocksRoundTrip(GazeOutputData::THIS_OBJECT_ID, 44, {42, 43});
    vqtest::expectTruncationsRefused(gaze);
}

}  // namespace
