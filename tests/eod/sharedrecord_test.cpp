// Records made for readers (sharedrecord_internal.h): the frame's records are recycled whole,
// and come back as new ones.
#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <boost/weak_ptr.hpp>

#include "vq/eod/engineoutputdata.h"
#include "vq/eod/headoutputdatav2.h"
#include "vq/eod/serializablefactory.h"
#include "vqtest/hex.h"

namespace {

using namespace vq::eod;
using vqtest::hex;
using vqtest::serialized;

TEST(SharedRecord, ReleasedFrameRecordsComeBackAsNewRecords) {
    EngineOutputData frame;
    frame.setFrameNum(9);
    auto head = boost::make_shared<HeadOutputDataV2>();
    head->setHeadPosition({1.0, 2.0, 3.0});
    head->setTrackingState(true);
    frame.addSubObject(head);
    const ByteBuffer bytes = serialized(frame);

    int pos = 0;
    boost::shared_ptr<Serializable> read = SerializableFactory::newObject(bytes, pos);
    ASSERT_TRUE(read);
    const Serializable* const read_frame = read.get();
    boost::weak_ptr<Serializable> read_head =
        boost::dynamic_pointer_cast<EngineOutputData>(read)->subObject(
            HeadOutputDataV2::THIS_OBJECT_ID);
    const Serializable* const read_head_address = read_head.lock().get();
    read.reset();
    // The frame released its records when it went back.
    EXPECT_TRUE(read_head.expired());

    // The next records of the classes are the ones given back, with a new record's values.
    const auto next_frame = boost::dynamic_pointer_cast<EngineOutputData>(
        SerializableFactory::newObject(EngineOutputData::THIS_OBJECT_ID));
    const auto next_head = SerializableFactory::newObject(HeadOutputDataV2::THIS_OBJECT_ID);
    ASSERT_TRUE(next_frame);
    EXPECT_EQ(next_frame.get(), read_frame);
    EXPECT_EQ(next_head.get(), read_head_address);
    EXPECT_EQ(next_frame->numSubObjects(), 0);
    EXPECT_EQ(hex(serialized(*next_frame)), hex(serialized(EngineOutputData())));
    EXPECT_EQ(hex(serialized(*next_head)), hex(serialized(HeadOutputDataV2())));

    // Read again, they hold what was read.
    pos = 0;
    ASSERT_TRUE(next_frame->unSerialize(bytes, pos));
    EXPECT_EQ(hex(serialized(*next_frame)), hex(bytes));
}

}  // namespace
