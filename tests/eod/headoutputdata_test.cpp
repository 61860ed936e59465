// The first head record: its 54-byte block, printing, the setters' refusals and partial reads.
#include "vq/eod/headoutputdata.h"

#include <gtest/gtest.h>

#include <cmath>

#include "vq/eod/serializableerror.h"
#include "vqtest/recordchecks.h"

namespace {

using vq::eod::HeadOutputData;
using vqtest::columns;
using vqtest::hex;
using vqtest::serialized;

const char* const SOURCE = "src/eod/headoutputdata.cpp";

HeadOutputData sample() {
    HeadOutputData head;
    head.setTrackingState(3);
    head.setHeadPosition({1, -2, 0.5f});
    head.setHeadRotation({0.25f, 0, -1});
    head.setHeadPositionConfidence(0.75f);
    head.setModelQualityLevel(-2);
    head.setHeadEyeballPos(vq::eod::RIGHT_EYE, {1, 2, 3});
    head.setHeadEyeballPos(vq::eod::LEFT_EYE, {-1, -2, -3});
    return head;
}

TEST(HeadOutputData, BytesAndPrinting) {
    const HeadOutputData head = sample();
    vqtest::expectRoundTrip(
        head,
        "0B 00 38 | 01 | 03 | 3F800000 C0000000 3F000000 | 3E800000 00000000 BF800000 |"
        " 3F400000 | FE | 3F800000 40000000 40400000 | BF800000 C0000000 C0400000 | 00");
    EXPECT_EQ(vqtest::printedHeader(head),
              columns({"TRACK_STATE", "HPOS_FILT_X", "HPOS_FILT_Y", "HPOS_FILT_Z", "HROT_FILT_X",
                       "HROT_FILT_Y", "HROT_FILT_Z", "HPOS_CONF", "MODEL_QUAL", "H_EYEBALL_R_X",
                       "H_EYEBALL_R_Y", "H_EYEBALL_R_Z", "H_EYEBALL_L_X", "H_EYEBALL_L_Y",
                       "H_EYEBALL_L_Z"}));
    EXPECT_EQ(vqtest::printedLine(head), columns({"3", "1", "-2", "0.5", "0.25", "0", "-1", "0.75",
                                                  "-2", "1", "2", "3", "-1", "-2", "-3"}));
}

TEST(HeadOutputData, SettersRefuseAndLeaveTheRecordAlone) {
    HeadOutputData head = sample();
    head.setHeadPositionConfidence(0);
    head.setHeadPositionConfidence(1);
    const std::string before = hex(serialized(head));
    for (float bad : {-0.0001f, 1.0001f, NAN}) {
        EXPECT_PRECONDITION(head.setHeadPositionConfidence(bad), SOURCE,
                            "head_confidence not in the range 0..1");
    }
    EXPECT_PRECONDITION(head.setHeadPosition({1, 2}), SOURCE, "expected 3D vector");
    EXPECT_PRECONDITION(head.setHeadRotation({1, 2, 3, 4}), SOURCE, "3D vector expected");
    EXPECT_PRECONDITION(head.headEyeBallPos(-1), SOURCE, "eye_id is either LEFT_EYE or RIGHT_EYE");
    // The length is checked before the eye.
    EXPECT_PRECONDITION(head.setHeadEyeballPos(5, {1, 2}), SOURCE,
                        "eyeball_pos is expected to be a 3D point");
    EXPECT_PRECONDITION(head.setHeadEyeballPos(5, {1, 2, 3}), SOURCE,
                        "eye_id is neither LEFT_EYE nor RIGHT_EYE");
    EXPECT_EQ(hex(serialized(head)), before);
}

TEST(HeadOutputData, ReadsKeepWhatWasReadBeforeAFailure) {
    // The header announces 20 bytes and the buffer ends there, halfway through rotation y.
    HeadOutputData head;
    head.setHeadRotation({9, 9, 9});
    int read_pos = 0;
    EXPECT_SERIALIZABLE_ERROR(
        head.unSerialize(vqtest::bytes("0B 00 14 | 01 | 03 | 3F800000 C0000000 3F000000 |"
                                       " 3E800000 | 3F80"),
                         read_pos),
        "Serializable::checkReadPos() - Attempt to read past end of buffer.");
    EXPECT_EQ(read_pos, 0);
    EXPECT_EQ(head.trackingState(), 3);
    EXPECT_EQ(head.headPosition(), std::vector<float>({1, -2, 0.5f}));
    EXPECT_EQ(head.headRotation(), std::vector<float>({0.25f, 9, 9}));

    vqtest::expectRandomBlocksRoundTrip(HeadOutputData::THIS_OBJECT_ID, 54);
    vqtest::expectTruncationsRefused(sample());
}

}  // namespace
