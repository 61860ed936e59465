// The eyelid closure record: its 33-byte block, printing and the setters' range checks.
#include "vq/eod/eyeclosureoutputdata.h"

#include <gtest/gtest.h>

#include <cmath>

#include "vqtest/recordchecks.h"

namespace {

using vq::eod::EyeClosureOutputData;

const char* const SOURCE = "src/eod/eyeclosureoutputdata.cpp";

TEST(EyeClosureOutputData, BytesAndPrinting) {
    EyeClosureOutputData closure;
    closure.setEyeClosure(vq::eod::RIGHT_EYE, 0.5f);
    closure.setEyeClosure(vq::eod::LEFT_EYE, 1);
    closure.setEyeClosureConfidence(vq::eod::RIGHT_EYE, 0.25f);
    closure.setEyeClosureCalibStatus(1);
    closure.setBlinking(true);
    closure.setBlinkFrequency(2);
    closure.setAverageBlinkDuration(0.5f);
    closure.setPerclos(0.25f);
    vqtest::expectRoundTrip(closure,
                            "0C 00 23 | 01 | 3F000000 3F800000 | 3E800000 00000000 |"
                            " 3F800000 | 01 | 40000000 | 3F000000 | 3E800000 | 00");
    EXPECT_EQ(vqtest::printedHeader(closure),
              vqtest::columns({"RIGHT_EYE_CLOSE", "LEFT_EYE_CLOSE", "RIGHT_CLOS_CONF",
                               "LEFT_CLOS_CONF", "EYE_CLOSE_CALIB", "BLINKING", "BLINK_FREQ",
                               "BLINK_DURATION", "PERCLOS"}));
    EXPECT_EQ(vqtest::printedLine(closure),
              vqtest::columns({"0.5", "1", "0.25", "0", "1", "1", "2", "0.5", "0.25"}));
}

TEST(EyeClosureOutputData, SettersRefuseAndLeaveTheRecordAlone) {
    EyeClosureOutputData closure;
    closure.setEyeClosure(1, 1.0f);
    closure.setEyeClosureConfidence(0, 0.0f);
    const std::string before = vqtest::hex(vqtest::serialized(closure));
    const char* const eye = "eye_id neither LEFT_EYE nor RIGHT_EYE";
    EXPECT_PRECONDITION(closure.setEyeClosure(1, 1.0001f), SOURCE, "closure outside range 0..1");
    EXPECT_PRECONDITION(closure.setEyeClosure(2, 5), SOURCE, eye);
    EXPECT_PRECONDITION(closure.setEyeClosureConfidence(0, -0.1f), SOURCE,
                        "confidence outside range 0..1");
    EXPECT_PRECONDITION(closure.setEyeClosureCalibStatus(NAN), SOURCE,
                        "calib_status outside range 0..1");
    EXPECT_PRECONDITION(closure.setBlinkFrequency(-1), SOURCE, "frequency less than zero");
    EXPECT_PRECONDITION(closure.setAverageBlinkDuration(NAN), SOURCE, "duration less than zero");
    EXPECT_PRECONDITION(closure.setPerclos(1.5f), SOURCE, "perclos outside range 0..1");
    EXPECT_PRECONDITION(closure.eyeClosureConfidence(-1), SOURCE, eye);
    EXPECT_EQ(vqtest::hex(vqtest::serialized(closure)), before);

    vqtest::expectRandomBlocksRoundTrip(EyeClosureOutputData::THIS_OBJECT_ID, 33, {20});
    vqtest::expectTruncationsRefused(closure);
}

}  // namespace
