// Records that announce fewer bytes than they hold: read back exactly from buffers, streams and
// buffers that arrive in pieces, without loosening the size check of any other record.
#include "eod/bufferrefill_internal.h"

#include <gtest/gtest.h>

#include <string>

#include "vq/eod/engineoutputdata.h"
#include "vq/eod/serializableerror.h"
#include "vq/eod/serializablefactory.h"
#include "vqtest/expect.h"
#include "vqtest/hex.h"
#include "vqtest/logfiles.h"
#include "vqtest/testrecords.h"

namespace {

using vq::eod::ByteBuffer;
using vq::eod::EngineOutputData;
using vq::eod::Serializable;
using vq::eod::SerializableFactory;
using vqtest::bytes;
using vqtest::hex;
using vqtest::serialized;
using vqtest::streamOf;
using vqtest::UndercountedRecord;

// Frame 5 holding one under-counted record with the value 7: the frame announces 31 data bytes
// (0x1F) and the record 22 (0x16); 16 more bytes follow in each.
const char* const FRAME_5 =
    "09 00 1F | 01 00 00 00 05 01 | 76 00 16 | 01 | 00 00 00 00 00 00 00 01 | "
    "00 00 00 00 00 00 00 00 | 00 00 00 00 00 00 00 00 | 00 00 00 00 00 00 00 00 | "
    "00 00 00 07 | 00";

boost::shared_ptr<EngineOutputData> frameWith(unsigned int number,
                                              std::vector<std::int32_t> values) {
    boost::shared_ptr<EngineOutputData> frame(new EngineOutputData);
    frame->setFrameNum(number);
    frame->addSubObject(boost::shared_ptr<UndercountedRecord>(new UndercountedRecord(values)));
    return frame;
}

class UnannouncedBytes : public ::testing::Test {
protected:
    void SetUp() override { vqtest::registerTestRecords(); }
};

TEST_F(UnannouncedBytes, WrittenAsTheSizeFormulaSaysAndReadBackFromABuffer) {
    ByteBuffer buffer = bytes(FRAME_5);
    EXPECT_EQ(hex(serialized(*frameWith(5, {7}))), hex(buffer));
    EXPECT_EQ(frameWith(5, {7})->numTotalBytes() + 16, buffer.size());
    buffer.push_back(0xEE);  // whatever follows is not touched
    int pos = 0;
    auto read =
        boost::dynamic_pointer_cast<EngineOutputData>(SerializableFactory::newObject(buffer, pos));
    ASSERT_TRUE(read);
    EXPECT_EQ(pos, static_cast<int>(buffer.size()) - 1);
    EXPECT_EQ(read->subObjectAs<UndercountedRecord>(vqtest::TEST_UNDERCOUNTED)->values(),
              std::vector<std::int32_t>{7});

    // A frame whose header is off by one beside the 16 unannounced bytes is refused.
    buffer[2] = 0x20;  // announces 32 data bytes; 31 + 16 follow
    buffer.back() = 0x00;
    pos = 0;
    unsigned int status = 0;
    EXPECT_FALSE(SerializableFactory::newObjectWithStatus(buffer, pos, status));
    EXPECT_NE(status & vq::eod::status::SIZE_MISMATCH, 0u);
}

TEST_F(UnannouncedBytes, StreamsAreReadUpToTheRealEndAndNoFurther) {
    // Cut inside the unannounced bytes: the same error as any truncated record.
    const ByteBuffer full = bytes(FRAME_5);
    const ByteBuffer cut(full.begin(), full.begin() + 45);
    auto truncated = streamOf(cut);
    EXPECT_SERIALIZABLE_ERROR(SerializableFactory::newObject(truncated),
                              "An error occurred when trying to read object data from the stream");
    auto truncated_again = streamOf(cut);
    unsigned int status = 0;
    EXPECT_FALSE(SerializableFactory::newObjectWithStatus(truncated_again, status));
    EXPECT_EQ(status, vq::eod::status::INSUFFICIENT_DATA);

    // A test record whose header announces 5 data bytes although it reads 6.
    auto in = streamOf(bytes("70 00 05 01 00 00 00 07 | 00 EE"));
    EXPECT_SERIALIZABLE_ERROR(SerializableFactory::newObject(in),
                              "SerializableComposite::readFromBuffer() - data_size in header "
                              "wrong, too much data read.");
    EXPECT_EQ(in.get(), 0x00);  // the stream stands right after the announced data
    EXPECT_EQ(in.get(), 0xEE);
}

TEST_F(UnannouncedBytes, PiecesTellIncompleteFromDamaged) {
    const ByteBuffer full = bytes(FRAME_5);
    for (std::size_t length = 0; length < full.size(); ++length) {
        const ByteBuffer piece(full.begin(), full.begin() + static_cast<long>(length));
        int pos = 0;
        bool incomplete = false;
        EXPECT_FALSE(vq::eod::detail::newObjectIfComplete(piece, pos, incomplete)) << length;
        EXPECT_TRUE(incomplete) << length;
        EXPECT_EQ(pos, 0);
    }
    int pos = 0;
    bool incomplete = true;
    EXPECT_TRUE(vq::eod::detail::newObjectIfComplete(full, pos, incomplete));
    EXPECT_FALSE(incomplete);
    EXPECT_EQ(pos, static_cast<int>(full.size()));

    // A count that asks for far more bytes than the record may hold is damage, not a wait.
    ByteBuffer damaged = full;
    damaged[19] = 0x10;  // low byte of the value count: 16 values instead of 1
    pos = 0;
    EXPECT_THROW(vq::eod::detail::newObjectIfComplete(damaged, pos, incomplete),
                 vq::eod::SerializableError);
}

TEST_F(UnannouncedBytes, WhatFollowsARecordNeverChangesHowItReads) {
    // A frame announcing 8 data bytes whose record header runs past them, followed by the start
    // of the next frame. However much of that has arrived, the frame is the same damage; it once
    // read as damage of another kind, or as incomplete, depending on where the bytes stopped.
    const ByteBuffer stream = bytes(
        "09 00 08 | 01 | 00 00 00 07 | 01 | 70 00 05 01 00 00 00 07 | "
        "00 | 09 00 06 01 00 00 00 08 00");
    for (std::size_t length = 11; length <= stream.size(); ++length) {
        SCOPED_TRACE(length);
        const ByteBuffer arrived(stream.begin(), stream.begin() + static_cast<long>(length));
        int pos = 0;
        bool incomplete = false;
        EXPECT_SERIALIZABLE_ERROR(vq::eod::detail::newObjectIfComplete(arrived, pos, incomplete),
                                  "SerializableFactory::newObject - insufficient data in buffer");
        EXPECT_FALSE(incomplete);
        EXPECT_EQ(pos, 0);
    }
}

TEST_F(UnannouncedBytes, ATailArrivingInPiecesIsNotDecodedAgainForEachPiece) {
    // 255 frames with an under-counted record each, in one frame: 4080 bytes follow its
    // announced end. They arrive 16 bytes at a time; the frame client decodes again only once
    // the bytes that the last attempt found missing are there.
    EngineOutputData outer;
    for (unsigned int i = 0; i < 255; ++i) {
        outer.addSubObject(frameWith(i, {static_cast<std::int32_t>(i)}));
    }
    const ByteBuffer stream = serialized(outer);
    const std::size_t announced = outer.numTotalBytes();
    ASSERT_EQ(stream.size(), announced + 255 * 16);
    int attempts = 0;
    std::size_t wait_for = 0;
    bool incomplete = true;
    boost::shared_ptr<Serializable> object;
    for (std::size_t length = announced; incomplete && length <= stream.size(); length += 16) {
        if (length < wait_for) {
            continue;
        }
        const ByteBuffer arrived(stream.begin(), stream.begin() + static_cast<long>(length));
        int pos = 0;
        ++attempts;
        object = vq::eod::detail::newObjectIfComplete(arrived, pos, incomplete, &wait_for);
    }
    ASSERT_TRUE(object);
    EXPECT_EQ(boost::static_pointer_cast<EngineOutputData>(object)->numSubObjects(), 255);
    EXPECT_LE(attempts, 8) << "one per piece would be 256";
}

TEST_F(UnannouncedBytes, ARecordReadInPiecesGetsTheVerdictOfTheWholeStream) {
    // A stream the frame client's fuzz target found (input: a byte giving the number of piece
    // sizes, the sizes, the stream): a damaged frame holding labelled records, one of whose
    // sub-objects announces more than the frame around it holds. Until the frame's announced bytes
    // are all there it is incomplete; from then on it is damaged, however many bytes follow,
    // because no sub-object may reach beyond the data of the object that holds it.
    const ByteBuffer input = vqtest::readFile(
        std::string(VQ_FUZZ_REGRESSIONS) + "/tcp_client/read_stops_at_missing_bytes_then_overruns");
    ASSERT_GT(input.size(), 13u);
    const ByteBuffer stream(input.begin() + 1 + (input[0] & 0x0F), input.end());
    const std::size_t frame_end = 9 + 3 + 0x01cc;
    for (std::size_t length = 9; length <= stream.size(); ++length) {
        const ByteBuffer arrived(stream.begin(), stream.begin() + static_cast<long>(length));
        int pos = 9;  // three empty records of ID 0 come first
        bool incomplete = false;
        if (length < frame_end) {
            EXPECT_NO_THROW(vq::eod::detail::newObjectIfComplete(arrived, pos, incomplete))
                << length;
            EXPECT_TRUE(incomplete) << length;
        } else {
            EXPECT_SERIALIZABLE_ERROR(
                vq::eod::detail::newObjectIfComplete(arrived, pos, incomplete),
                "SerializableFactory::newObject - insufficient data in buffer");
            EXPECT_FALSE(incomplete) << length;
        }
        EXPECT_EQ(pos, 9) << length;
    }
}

}  // namespace
