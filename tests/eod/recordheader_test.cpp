#include "vq/eod/recordheader.h"

#include <gtest/gtest.h>

#include <vector>

namespace vq::eod {
namespace {

struct HeaderCase {
    std::vector<unsigned char> bytes;
    RecordExtent extent;
    char object_id;
    unsigned header_bytes;
    std::uint32_t data_size;
};

TEST(RecordHeader, ParsesBothFormsAgainstTheBytesThatAreThere) {
    const HeaderCase cases[] = {
        {{}, RecordExtent::HEADER_INCOMPLETE, 0, 0, 0},
        {{0x09, 0x00}, RecordExtent::HEADER_INCOMPLETE, 0x09, 0, 0},
        {{0x09, 0x00, 0x00}, RecordExtent::COMPLETE, 0x09, 3, 0},
        {{0x0A, 0x00, 0x02, 0x01}, RecordExtent::DATA_INCOMPLETE, 0x0A, 3, 2},
        {{0x0A, 0x00, 0x02, 0x01, 0x02, 0x03}, RecordExtent::COMPLETE, 0x0A, 3, 2},
        {{0x09, 0xFF, 0xFF, 0x00, 0x01}, RecordExtent::HEADER_INCOMPLETE, 0x09, 7, 0},
        {{0x09, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x01, 0x00}, RecordExtent::COMPLETE, 0x09, 7, 1},
        {{0x09, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
         RecordExtent::DATA_INCOMPLETE,
         0x09,
         7,
         0xFFFFFFFFu},
    };
    for (const HeaderCase& c : cases) {
        RecordHeader header;
        EXPECT_EQ(parseRecordHeader(c.bytes.data(), c.bytes.size(), header), c.extent)
            << c.bytes.size() << " bytes";
        EXPECT_EQ(header.object_id, c.object_id);
        EXPECT_EQ(header.header_bytes, c.header_bytes);
        EXPECT_EQ(header.data_size, c.data_size);
    }
    RecordHeader largest;
    parseRecordHeader(cases[7].bytes.data(), cases[7].bytes.size(), largest);
    EXPECT_EQ(largest.totalBytes(), 0xFFFFFFFFull + 7);
}

}  // namespace
}  // namespace vq::eod
