// The timing record: its packed 22-byte block and printing.
#include "vq/eod/timingoutputdata.h"

#include <gtest/gtest.h>

#include "vqtest/recordchecks.h"

namespace {

using vq::eod::TimingOutputData;

TEST(TimingOutputData, BytesAndPrinting) {
    TimingOutputData timing;
    vqtest::expectRoundTrip(timing,
                            "0A 00 18 | 01 | 0000000000000000 00000000 0000 00000000"
                            " FFFFFFFF | 00");
    timing.setExperimentTime(1.5);
    timing.setFrameTimeSeconds(-2);
    timing.setFrameTimeMilliseconds(65535);
    timing.setApproxDelay(0.25f);
    timing.setAnnotationLabelID(7);
    vqtest::expectRoundTrip(timing,
                            "0A 00 18 | 01 | 3FF8000000000000 FFFFFFFE FFFF 3E800000"
                            " 00000007 | 00");
    EXPECT_EQ(vqtest::printedHeader(timing),
              vqtest::columns({"EXPERIMENT_TIME", "GMT_S", "GMT_MS", "DELAY", "ANNOTATION_ID"}));
    EXPECT_EQ(vqtest::printedLine(timing), vqtest::columns({"1.5", "-2", "65535", "0.25", "7"}));

    vqtest::expectRandomBlocksRoundTrip(TimingOutputData::THIS_OBJECT_ID, 22);
    vqtest::expectTruncationsRefused(timing);
}

}  // namespace
