// The opaque compressed block: its length-prefixed payload in both header forms, reading that
// appends, lengths that the data does not hold, and that it never joins a frame.
#include "vq/eod/compressedserializable.h"

#include <gtest/gtest.h>

#include "vq/eod/engineoutputdata.h"
#include "vq/eod/serializableerror.h"
#include "vq/eod/serializablefactory.h"
#include "vqtest/recordchecks.h"
#include "vqtest/records.h"

namespace {

using vq::eod::ByteBuffer;
using vq::eod::CompressedSerializable;
using vq::eod::SerializableFactory;
using vqtest::bytes;
using vqtest::hex;

ByteBuffer payloadOf(const CompressedSerializable& block) {
    return ByteBuffer(block.begin(), block.end());
}

TEST(CompressedSerializable, EmptyAndLargePayloads) {
    const CompressedSerializable empty;
    EXPECT_EQ(hex(vqtest::serialized(empty)), "5F 00 04 00 00 00 00");
    EXPECT_EQ(vqtest::printedHeader(empty) + vqtest::printedLine(empty),
              "      DATA_SIZE               0 ");

    ByteBuffer payload(70000);
    for (std::size_t i = 0; i < payload.size(); ++i) {
        payload[i] = static_cast<unsigned char>(i * 7);
    }
    const ByteBuffer written = vqtest::serialized(vqtest::TestCompressed(payload));
    ASSERT_EQ(written.size(), 7u + 4u + 70000u);
    EXPECT_EQ(hex(ByteBuffer(written.begin(), written.begin() + 11)),
              "5F FF FF 00 01 11 74 00 01 11 70");
    auto in = vqtest::streamOf(written);
    auto read =
        boost::dynamic_pointer_cast<CompressedSerializable>(SerializableFactory::newObject(in));
    ASSERT_TRUE(read);
    EXPECT_TRUE(payloadOf(*read) == payload);
    EXPECT_EQ(vqtest::printedLine(*read), "          70000 ");
}

TEST(CompressedSerializable, ReadingAppendsAndStopsAtTheObjectsEnd) {
    vqtest::TestCompressed block(bytes("01 02"));
    int pos = 0;
    ASSERT_TRUE(block.unSerialize(bytes("5F 00 06 | 00 00 00 02 | AA BB"), pos));
    EXPECT_EQ(hex(payloadOf(block)), "01 02 AA BB");

    // 2 payload bytes asked for where 1 remains in the object; the byte after it does not count.
    pos = 0;
    CompressedSerializable fresh;
    EXPECT_SERIALIZABLE_ERROR(fresh.unSerialize(bytes("5F 00 05 | 00 00 00 02 | AA | BB"), pos),
                              "data_size in header exceeds amount of data in buffer");
    EXPECT_SERIALIZABLE_ERROR(
        SerializableFactory::newObject(bytes("5F 00 05 | FF FF FF FF | AA"), pos),
        "data_size in header exceeds amount of data in buffer");
    EXPECT_EQ(pos, 0);
    // A header announcing more than the buffer holds: incomplete.
    EXPECT_FALSE(fresh.unSerialize(bytes("5F 00 09 | 00 00 00 05 | AA"), pos));

    vq::eod::EngineOutputData frame;
    EXPECT_SERIALIZABLE_ERROR(
        frame.addSubObject(boost::shared_ptr<CompressedSerializable>(new CompressedSerializable)),
        "EngineOutputBase::addSubObject - object not derived from EngineOutputBase");
    EXPECT_EQ(frame.numSubObjects(), 0);
}

}  // namespace
