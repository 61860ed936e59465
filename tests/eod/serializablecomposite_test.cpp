// Composites: order, duplicates, the 255 limit, disabled and unknown sub-objects, copies.
#include "vq/eod/serializablecomposite.h"

#include <gtest/gtest.h>

#include <sstream>

#include "vq/eod/engineoutputdata.h"
#include "vq/eod/serializableerror.h"
#include "vq/eod/serializablefactory.h"
#include "vqtest/expect.h"
#include "vqtest/hex.h"
#include "vqtest/testrecords.h"

namespace {

using vq::eod::ByteBuffer;
using vq::eod::EngineOutputData;
using vq::eod::Serializable;
using vq::eod::SerializableFactory;
using vqtest::bytes;
using vqtest::hex;
using vqtest::serialized;
using vqtest::TestContainer;
using vqtest::testRecord;
using vqtest::TestRecord;

class SerializableComposite : public ::testing::Test {
protected:
    void SetUp() override { vqtest::registerTestRecords(); }
};

TEST_F(SerializableComposite, SubObjectsAreWrittenInSignedIdOrder) {
    TestContainer container;
    EXPECT_EQ(container.numDataBytes(), 1u);  // empty: the count byte alone
    EXPECT_EQ(hex(serialized(container)), "75 00 01 00");
    container.addSubObject(testRecord(vqtest::TEST_RECORD_C, 3));
    container.addSubObject(testRecord(vqtest::TEST_RECORD_A, 1));
    container.addSubObject(testRecord(vqtest::TEST_NEGATIVE, -1));
    container.addSubObject(testRecord(vqtest::TEST_RECORD_B, 2));
    // Each test record: ID, 00 06, flag 01, value, count 00.
    EXPECT_EQ(hex(serialized(container)),
              hex(bytes("75 00 25 04 | 90 00 06 01 FF FF FF FF 00 | 70 00 06 01 00 00 00 01 00 | "
                        "71 00 06 01 00 00 00 02 00 | 72 00 06 01 00 00 00 03 00")));
    std::vector<char> ids;
    for (const auto& object : container.subObjects()) {
        ids.push_back(object->objectID());
    }
    EXPECT_EQ(ids, (std::vector<char>{vqtest::TEST_NEGATIVE, 0x70, 0x71, 0x72}));

    // Equal IDs keep insertion order, in the map, the bytes and the index lookups.
    container.clearSubObjects();
    for (int value : {5, 6, 7}) {
        container.addSubObject(testRecord(vqtest::TEST_REPEATABLE, value));
    }
    EXPECT_EQ(boost::static_pointer_cast<TestRecord>(
                  container.subObjectAtIndex(vqtest::TEST_REPEATABLE, 1))
                  ->value(),
              6);
    int pos = 0;
    TestContainer copy;
    ASSERT_TRUE(copy.unSerialize(serialized(container), pos));
    auto values = copy.subObjects(vqtest::TEST_REPEATABLE);
    ASSERT_EQ(values.size(), 3u);
    EXPECT_EQ(boost::static_pointer_cast<TestRecord>(values[2])->value(), 7);
}

TEST_F(SerializableComposite, DuplicateRule) {
    EngineOutputData frame;
    frame.addSubObject(testRecord(vqtest::TEST_RECORD_A));
    EXPECT_SERIALIZABLE_ERROR(
        frame.addSubObject(testRecord(vqtest::TEST_RECORD_A)),
        "SerializableComposite::addSubObject - Sub-object already exists in this composite");
    EXPECT_EQ(frame.numSubObjects(), 1);
    // Classes that may repeat: frames and the repeatable test record.
    frame.addSubObject(boost::shared_ptr<EngineOutputData>(new EngineOutputData));
    frame.addSubObject(boost::shared_ptr<EngineOutputData>(new EngineOutputData));
    frame.addSubObject(testRecord(vqtest::TEST_REPEATABLE));
    frame.addSubObject(testRecord(vqtest::TEST_REPEATABLE));
    EXPECT_EQ(frame.numSubObjects(vq::eod::object_id::ENGINE_OUTPUT_DATA), 2);
    EXPECT_EQ(frame.numSubObjects(), 5);

    // A composite that allows no duplicates refuses even those.
    TestContainer unique(true);
    unique.addSubObject(boost::shared_ptr<EngineOutputData>(new EngineOutputData));
    EXPECT_SERIALIZABLE_ERROR(
        unique.addSubObject(boost::shared_ptr<EngineOutputData>(new EngineOutputData)),
        "SerializableComposite::addSubObject - Sub-object already exists in this composite");

    // Bytes holding two objects of a class that forbids duplicates are refused on reading.
    const ByteBuffer doubled =
        bytes("75 00 13 02 | 70 00 06 01 00 00 00 01 00 | 70 00 06 01 00 00 00 02 00");
    int pos = 0;
    TestContainer read;
    EXPECT_SERIALIZABLE_ERROR(
        read.unSerialize(doubled, pos),
        "SerializableComposite::addSubObject - Sub-object already exists in this composite");
}

TEST_F(SerializableComposite, AtMost255SubObjects) {
    EngineOutputData frame;
    for (int i = 0; i < 255; ++i) {
        frame.addSubObject(boost::shared_ptr<EngineOutputData>(new EngineOutputData));
    }
    EXPECT_SERIALIZABLE_ERROR(
        frame.addSubObject(boost::shared_ptr<EngineOutputData>(new EngineOutputData)),
        "SerializableComposite::addSubObject - Too many sub-objects");
    EXPECT_EQ(frame.numSubObjects(), 255);
    const ByteBuffer buffer = serialized(frame);
    EXPECT_EQ(buffer.size(), 3u + 1 + 4 + 1 + 255 * 9);
    EXPECT_EQ(buffer[8], 0xFF);  // the count byte
}

TEST_F(SerializableComposite, InsertionFailuresLeaveTheCompositeUnchanged) {
    boost::shared_ptr<EngineOutputData> frame(new EngineOutputData);
    frame->addSubObject(boost::shared_ptr<Serializable>());  // ignored
    EXPECT_EQ(frame->numSubObjects(), 0);
    EXPECT_SERIALIZABLE_ERROR(frame->addSubObject(frame),
                              "SerializableComposite::addSubObject - Attempted to add a "
                              "SerializableComposite object to itself");
    EXPECT_EQ(frame->numSubObjects(), 0);
    TestRecord stranger;
    EXPECT_SERIALIZABLE_ERROR(frame->removeSubObject(static_cast<const Serializable&>(stranger)),
                              "SerializableComposite::removeSubObject - Sub object not present");
}

TEST_F(SerializableComposite, DisabledSubObjectsAreKeptButNotWritten) {
    EngineOutputData frame;
    frame.setFrameNum(1);
    auto enabled = testRecord(vqtest::TEST_RECORD_A, 1);
    auto disabled = testRecord(vqtest::TEST_RECORD_B, 2);
    disabled->setSerializeEnabled(false);
    frame.addSubObject(enabled);
    frame.addSubObject(disabled);
    EXPECT_EQ(frame.numSubObjects(), 2);
    EXPECT_EQ(frame.numValidSubObjects(), 1);
    EXPECT_EQ(frame.subObject(vqtest::TEST_RECORD_B), disabled);
    EXPECT_EQ(hex(serialized(frame)),
              hex(bytes("09 00 0F 01 00 00 00 01 01 | 70 00 06 01 00 00 00 01 00")));
    std::ostringstream header, line;
    frame.printHeader(header);
    frame.printLine(line);
    EXPECT_EQ(header.str(), "      FRAME_NUM      TEST_VALUE ");
    EXPECT_EQ(line.str(), "              1               1 ");

    // A record that arrives disabled (flag 0) is dropped by the composite that reads it.
    const ByteBuffer with_disabled =
        bytes("09 00 0F 01 00 00 00 01 01 | 70 00 06 00 00 00 00 01 00");
    int pos = 0;
    EngineOutputData read;
    ASSERT_TRUE(read.unSerialize(with_disabled, pos));
    EXPECT_EQ(read.numSubObjects(), 0);
}

TEST_F(SerializableComposite, UnknownSubObjectsAreSkipped) {
    // A frame holding an unknown 0x7E object between two known records, then one more byte.
    const ByteBuffer buffer = bytes(
        "09 00 1D 01 00 00 00 05 03 | 70 00 06 01 00 00 00 01 00 | 7E 00 02 AA BB | "
        "71 00 06 01 00 00 00 02 00 | EE");
    int pos = 0;
    boost::shared_ptr<Serializable> object = SerializableFactory::newObject(buffer, pos);
    auto frame = boost::dynamic_pointer_cast<EngineOutputData>(object);
    ASSERT_TRUE(frame);
    EXPECT_EQ(pos, static_cast<int>(buffer.size()) - 1);
    EXPECT_EQ(frame->numSubObjects(), 2);
    EXPECT_TRUE(frame->hasSubObjectID(vqtest::TEST_RECORD_A));
    EXPECT_TRUE(frame->hasSubObjectID(vqtest::TEST_RECORD_B));

    unsigned int status = 0;
    pos = 0;
    EXPECT_TRUE(SerializableFactory::newObjectWithStatus(buffer, pos, status));
    EXPECT_EQ(status, vq::eod::status::UNKNOWN_OBJECT_ID);
}

TEST_F(SerializableComposite, ReadingWithStatusReportsAMissingCountByte) {
    // A container whose header announces no data: there is no byte for the count.
    unsigned int status = 0;
    int pos = 0;
    EXPECT_FALSE(SerializableFactory::newObjectWithStatus(bytes("75 00 00"), pos, status));
    EXPECT_EQ(status, vq::eod::status::SIZE_MISMATCH);
    pos = 0;
    TestContainer container;
    EXPECT_SERIALIZABLE_ERROR(container.unSerialize(bytes("75 00 00"), pos),
                              "SerializableComposite::readFromBuffer() - data_size in header "
                              "wrong, too much data read.");
}

TEST_F(SerializableComposite, IndexedAccessAndRemoval) {
    EngineOutputData frame;
    auto first = testRecord(vqtest::TEST_REPEATABLE, 1);
    auto second = testRecord(vqtest::TEST_REPEATABLE, 2);
    frame.addSubObject(first);
    frame.addSubObject(second);
    EXPECT_FALSE(frame.subObjectAtIndex(vqtest::TEST_REPEATABLE, 2));
    EXPECT_FALSE(frame.removeSubObjectAtIndex(vqtest::TEST_REPEATABLE, 2));
    EXPECT_EQ(frame.numSubObjects(), 2);
    EXPECT_EQ(frame.removeSubObjectAtIndex(vqtest::TEST_REPEATABLE, 1), second);
    frame.addSubObject(second);
    frame.removeSubObject(static_cast<const Serializable&>(*first));
    EXPECT_EQ(frame.subObject(vqtest::TEST_REPEATABLE), second);
    EXPECT_EQ(frame.removeSubObject(vqtest::TEST_REPEATABLE), second);
    EXPECT_FALSE(frame.removeSubObject(vqtest::TEST_REPEATABLE));

    // The typed lookup refuses a sub-object of another class under the expected ID.
    frame.addSubObject(testRecord(vqtest::TEST_RECORD_A));
    EXPECT_TRUE(frame.subObjectAs<TestRecord>(vqtest::TEST_RECORD_A));
    EXPECT_FALSE(frame.subObjectAs<TestRecord>(vqtest::TEST_RECORD_B));
    EXPECT_SERIALIZABLE_ERROR(
        frame.subObjectAs<EngineOutputData>(vqtest::TEST_RECORD_A),
        "SerializableComposite::subObject() - programming error. ID does not match object type");
}

TEST_F(SerializableComposite, CopiesAreDeep) {
    EngineOutputData source;
    source.addSubObject(testRecord(vqtest::TEST_RECORD_A, 1));
    EngineOutputData copy(source);
    boost::static_pointer_cast<TestRecord>(copy.subObject(vqtest::TEST_RECORD_A))->setValue(9);
    EXPECT_EQ(
        boost::static_pointer_cast<TestRecord>(source.subObject(vqtest::TEST_RECORD_A))->value(),
        1);
    EngineOutputData assigned;
    assigned.addSubObject(testRecord(vqtest::TEST_RECORD_B));
    assigned = source;
    EXPECT_FALSE(assigned.hasSubObjectID(vqtest::TEST_RECORD_B));
    EXPECT_NE(assigned.subObject(vqtest::TEST_RECORD_A), source.subObject(vqtest::TEST_RECORD_A));
    assigned = assigned;
    EXPECT_EQ(assigned.numSubObjects(), 1);
}

}  // namespace
