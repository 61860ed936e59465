// The pupil record: its 32-byte block, printing and the setters' refusals.
#include "vq/eod/pupiloutputdata.h"

#include <gtest/gtest.h>

#include <cmath>

#include "vqtest/recordchecks.h"

namespace {

using vq::eod::PupilOutputData;

const char* const SOURCE = "src/eod/pupiloutputdata.cpp";

TEST(PupilOutputData, BytesAndPrinting) {
    PupilOutputData pupil;
    pupil.setPupilPosition(vq::eod::RIGHT_EYE, {1, 2, 3});
    pupil.setPupilDiameter(vq::eod::RIGHT_EYE, 0.5f);
    pupil.setPupilPosition(vq::eod::LEFT_EYE, {-1, -2, -3});
    pupil.setPupilDiameter(vq::eod::LEFT_EYE, 0.25f);
    vqtest::expectRoundTrip(pupil,
                            "0E 00 22 | 01 | 3F800000 40000000 40400000 3F000000 |"
                            " BF800000 C0000000 C0400000 3E800000 | 00");
    EXPECT_EQ(vqtest::printedHeader(pupil),
              vqtest::columns({"PUPIL_R_X", "PUPIL_R_Y", "PUPIL_R_Z", "PUPIL_R_DIAM", "PUPIL_L_X",
                               "PUPIL_L_Y", "PUPIL_L_Z", "PUPIL_L_DIAM"}));
    EXPECT_EQ(vqtest::printedLine(pupil),
              vqtest::columns({"1", "2", "3", "0.5", "-1", "-2", "-3", "0.25"}));
}

TEST(PupilOutputData, SettersRefuseButReadsDoNotCheck) {
    PupilOutputData pupil;
    pupil.setPupilDiameter(0, 0.0f);
    const std::string before = vqtest::hex(vqtest::serialized(pupil));
    const char* const eye = "eye_id neither LEFT_EYE nor RIGHT_EYE";
    for (float bad : {-0.01f, NAN}) {
        EXPECT_PRECONDITION(pupil.setPupilDiameter(0, bad), SOURCE,
                            "pupil_diameter less than zero");
    }
    // The eye is checked before the value.
    EXPECT_PRECONDITION(pupil.setPupilDiameter(2, -1), SOURCE, eye);
    EXPECT_PRECONDITION(pupil.setPupilPosition(2, {1, 2, 3}), SOURCE, eye);
    EXPECT_PRECONDITION(pupil.setPupilPosition(0, {1, 2}), SOURCE,
                        "pupil_position 3D point expected");
    EXPECT_PRECONDITION(pupil.pupilDiameter(-1), SOURCE, eye);
    EXPECT_EQ(vqtest::hex(vqtest::serialized(pupil)), before);

    // A negative diameter read from bytes is kept.
    int read_pos = 0;
    ASSERT_TRUE(pupil.unSerialize(vqtest::engineRecord(0x0E, vqtest::bytes("00000000 00000000"
                                                                           " 00000000 BF800000"
                                                                           " 00000000 00000000"
                                                                           " 00000000 00000000")),
                                  read_pos));
    EXPECT_EQ(pupil.pupilDiameter(vq::eod::RIGHT_EYE), -1.0f);

    vqtest::expectRandomBlocksRoundTrip(PupilOutputData::THIS_OBJECT_ID, 32);
    vqtest::expectTruncationsRefused(pupil);
}

}  // namespace
