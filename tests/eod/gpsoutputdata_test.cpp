// The first GPS record: defaults (no speed, hemispheres 'N'), the 17-byte block, printing.
#include "vq/eod/gpsoutputdata.h"

#include <gtest/gtest.h>

#include "vqtest/recordchecks.h"

namespace {

using vq::eod::GPSCoordinateV1;
using vq::eod::GPSOutputData;
using vqtest::bytes;
using vqtest::hex;
using vqtest::serialized;

TEST(GPSOutputData, DefaultsBlockAndColumns) {
    GPSOutputData record;
    EXPECT_EQ(hex(serialized(record)),
              hex(bytes("22 00 13 01 | 00 | 00 00 00 00 | 00 00 00 00 4E | 00 00 00 00 4E | "
                        "FF FF | 00")));
    record.setDataValid(true);
    record.setGMTTime(0x01020304);
    record.setLatitude(GPSCoordinateV1{51, 30, 26, 'N'});
    record.setLongitude(GPSCoordinateV1{-1, 7, -39, 'W'});
    record.setSpeed(88);
    vqtest::expectRoundTrip(
        record, "22 00 13 01 | 01 | 01 02 03 04 | 00 33 1E 1A 4E | FF FF 07 D9 57 | 00 58 | 00");
    EXPECT_EQ(vqtest::printedHeader(record),
              "      GPS_VALID    GPS_GMT_TIME GPS_LATITUDE_DEG GPS_LATITUDE_MIN GPS_LATITUDE_SEC "
              "GPS_LATITUDE_HEM GPS_LONGITUDE_DEG GPS_LONGITUDE_MIN GPS_LONGITUDE_SEC "
              "GPS_LONGITUDE_HEM  GPS_SPEED_KM_H ");
    EXPECT_EQ(vqtest::printedLine(record),
              "              1        16909060              51              30              26 "
              "              N              -1               7             -39               W "
              "             88 ");
    vqtest::expectRandomBlocksRoundTrip(GPSOutputData::THIS_OBJECT_ID, 17, {0});
}

}  // namespace
