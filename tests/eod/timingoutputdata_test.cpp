// The timing record: its packed 22-byte block and printing.
#include "vq/eod/timingoutputdata.h"

#include <gtest/gtest.h>

#include <sstream>

#include "vqtest/hex.h"
#include "vqtest/recordchecks.h"

namespace {

using vq::eod::TimingOutputData;
using vqtest::hex;
using vqtest::serialized;

TEST(TimingOutputData, BytesAndPrinting) {
    TimingOutputData timing;
    EXPECT_EQ(hex(serialized(timing)),
              hex(vqtest::bytes("0A 00 18 | 01 | 0000000000000000 00000000 0000 00000000"
                                " FFFFFFFF | 00")));
    timing.setExperimentTime(1.5);
    timing.setFrameTimeSeconds(-2);
    timing.setFrameTimeMilliseconds(65535);
    timing.setApproxDelay(0.25f);
    timing.setAnnotationLabelID(7);
    EXPECT_EQ(hex(serialized(timing)),
              hex(vqtest::bytes("0A 00 18 | 01 | 3FF8000000000000 FFFFFFFE FFFF 3E800000"
                                " 00000007 | 00")));
    std::ostringstream header, line;
    timing.printHeader(header);
    timing.printLine(line);
    EXPECT_EQ(header.str(),
              vqtest::columns({"EXPERIMENT_TIME", "GMT_S", "GMT_MS", "DELAY", "ANNOTATION_ID"}));
    EXPECT_EQ(line.str(), vqtest::columns({"1.5", "-2", "65535", "0.25", "7"}));
}

TEST(TimingOutputData, RandomAndShortenedBlocks) {
    vqtest::expectRandomBlocksRoundTrip(TimingOutputData::THIS_OBJECT_ID, 22);
    vqtest::expectTruncationsRefused(TimingOutputData());
}

}  // namespace
