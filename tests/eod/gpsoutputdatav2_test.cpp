// The current GPS record: defaults, the 29-byte block with float seconds, speed and course,
// printing.
#include "vq/eod/gpsoutputdatav2.h"

#include <gtest/gtest.h>

#include "vq/eod/gpsoutputdata.h"
#include "vqtest/recordchecks.h"

namespace {

using vqtest::bytes;
using vqtest::hex;
using vqtest::serialized;

TEST(GPSOutputDataV2, DefaultsBlockAndColumns) {
    vq::eod::GPSOutputDataV2 record;
    EXPECT_EQ(hex(serialized(record)),
              hex(bytes("23 00 1F 01 | 00 | 00 00 00 00 | 00 00 00 00 00 00 00 4E | "
                        "00 00 00 00 00 00 00 4E | 00 00 00 00 | 00 00 00 00 | 00")));
    record.setDataValid(true);
    record.setGMTTime(7);
    record.setLatitude(vq::eod::GPSCoordinateV2{51, 30, 26.5f, 'N'});
    record.setLongitude(vq::eod::GPSCoordinateV2{0, 7, 0.25f, 'W'});
    record.setSpeed(88.5f);
    record.setCourse(270.0f);
    vqtest::expectRoundTrip(record,
                            "23 00 1F 01 | 01 | 00 00 00 07 | 00 33 1E 41 D4 00 00 4E | "
                            "00 00 07 3E 80 00 00 57 | 42 B1 00 00 | 43 87 00 00 | 00");
    EXPECT_EQ(vqtest::printedHeader(record),
              vqtest::printedHeader(vq::eod::GPSOutputData()) + "     GPS_COURSE ");
    EXPECT_EQ(vqtest::printedLine(record),
              "              1               7              51              30            26.5 "
              "              N               0               7            0.25               W "
              "           88.5             270 ");
    vqtest::expectRandomBlocksRoundTrip(vq::eod::GPSOutputDataV2::THIS_OBJECT_ID, 29, {0});
}

}  // namespace
