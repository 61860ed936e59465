// The inertial record: six floats, rates x, y, z, then accelerations x, y, z.
#include "vq/eod/inertiaoutputdata.h"

#include <gtest/gtest.h>

#include "vqtest/recordchecks.h"

namespace {

TEST(InertiaOutputData, BlockAndColumns) {
    vq::eod::InertiaOutputData record;
    record.setAngularRateX(1);
    record.setAngularRateY(2);
    record.setAngularRateZ(3);
    record.setAccelX(4);
    record.setAccelY(5);
    record.setAccelZ(-6);
    vqtest::expectRoundTrip(record,
                            "20 00 1A 01 | 3F 80 00 00 40 00 00 00 40 40 00 00 | "
                            "40 80 00 00 40 A0 00 00 C0 C0 00 00 | 00");
    EXPECT_EQ(vqtest::printedHeader(record),
              "     X_ANG_RATE      Y_ANG_RATE      Z_ANG_RATE         X_ACCEL         Y_ACCEL "
              "        Z_ACCEL ");
    EXPECT_EQ(vqtest::printedLine(record),
              "              1               2               3               4               5 "
              "             -6 ");
    vqtest::expectRandomBlocksRoundTrip(vq::eod::InertiaOutputData::THIS_OBJECT_ID, 24);
}

}  // namespace
