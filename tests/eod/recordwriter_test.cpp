// Writing whole objects in one pass: the library's frame records are written without their hooks,
// applications' subclasses of them through their hooks, and both write the same bytes; announced
// sizes are those of numDataBytes(), in the short and the long header.
#include "vq/eod/serializable.h"

#include <gtest/gtest.h>

#include <random>

#include <boost/make_shared.hpp>

#include "vq/eod/engineoutputdata.h"
#include "vq/eod/enginestateoutputdata.h"
#include "vq/eod/eyeclosureoutputdata.h"
#include "vq/eod/eyeoutputdata.h"
#include "vq/eod/gazeoutputdata.h"
#include "vq/eod/headoutputdatav2.h"
#include "vq/eod/pupiloutputdata.h"
#include "vq/eod/serializablefactory.h"
#include "vq/eod/timingoutputdata.h"
#include "vqtest/recordchecks.h"
#include "vqtest/subclasses.h"
#include "vqtest/testrecords.h"

namespace {

using namespace vq::eod;
using vqtest::hex;
using vqtest::StampedTiming;
using vqtest::Subclass;

ByteBuffer appended(const Serializable& object) {
    ByteBuffer buffer{0xEE};  // written after what is there
    object.serialize(buffer);
    EXPECT_EQ(buffer.at(0), 0xEE);
    return ByteBuffer(buffer.begin() + 1, buffer.end());
}

// A record of class T read from a random block of `block_size` bytes (those at `bools` made 0 or
// 1): the library's class and a subclass of it write back the bytes it was read from.
template <typename T>
void expectHooksWriteTheSame(std::mt19937& random, std::size_t block_size,
                             const std::vector<std::size_t>& bools = {}) {
    SCOPED_TRACE(static_cast<int>(T::THIS_OBJECT_ID));
    ByteBuffer block(block_size);
    for (unsigned char& byte : block) {
        byte = static_cast<unsigned char>(random());
    }
    for (std::size_t at : bools) {
        block[at] &= 1;
    }
    const ByteBuffer bytes = vqtest::engineRecord(T::THIS_OBJECT_ID, block);
    int pos = 0;
    const boost::shared_ptr<Serializable> library = SerializableFactory::newObject(bytes, pos);
    ASSERT_TRUE(library);
    const Serializable& made = *library;
    EXPECT_EQ(typeid(made), typeid(T));
    EXPECT_EQ(hex(appended(*library)), hex(bytes));
    Subclass<T> own;
    pos = 0;
    ASSERT_TRUE(own.unSerialize(bytes, pos));
    EXPECT_EQ(hex(appended(own)), hex(bytes));
}

TEST(RecordWriter, LibraryClassesAndSubclassesWriteTheSameBytes) {
    std::mt19937 random(21);
    expectHooksWriteTheSame<TimingOutputData>(random, 22);
    expectHooksWriteTheSame<HeadOutputDataV2>(random, 114, {0});
    expectHooksWriteTheSame<PupilOutputData>(random, 32);
    expectHooksWriteTheSame<EyeClosureOutputData>(random, 33, {20});
    expectHooksWriteTheSame<GazeOutputData>(random, 44, {42, 43});
    expectHooksWriteTheSame<EngineStateOutputData>(random, 4);
    expectHooksWriteTheSame<EyeOutputData>(random, 0);
    expectHooksWriteTheSame<EngineOutputData>(random, 4);
}

TEST(RecordWriter, SubclassHooksAreUsedInsideLibraryRecords) {
    auto timing = boost::make_shared<StampedTiming>();
    timing->stamp = 0x01020304;
    auto eye = boost::make_shared<EyeOutputData>();
    eye->addSubObject(boost::make_shared<Subclass<PupilOutputData>>());
    EngineOutputData frame;
    frame.addSubObject(timing);
    frame.addSubObject(eye);
    const ByteBuffer bytes = appended(frame);
    EXPECT_EQ(bytes.size(), frame.numTotalBytes());
    // The timing record carries its subclass's stamp after its own 22 bytes.
    const ByteBuffer timing_bytes = appended(*timing);
    ASSERT_EQ(timing_bytes.size(), 3u + 1 + 22 + 4 + 1);
    EXPECT_EQ(hex(ByteBuffer(timing_bytes.end() - 5, timing_bytes.end())), "01 02 03 04 00");
    EXPECT_NE(hex(bytes).find(hex(timing_bytes)), std::string::npos);
    // (Read back through the hooks, inside a frame: recordreader_test.cpp.)
}

TEST(RecordWriter, AnnouncedSizesInBothHeaderForms) {
    vqtest::registerTestRecords();
    struct Case {
        std::size_t values;        // of the undercounted record inside
        unsigned int header_size;  // of the outer object
    };
    for (const Case& c : {Case{1, 3}, Case{20000, 7}}) {
        SCOPED_TRACE(c.values);
        auto inner = boost::make_shared<vqtest::UndercountedRecord>(
            std::vector<std::int32_t>(c.values, 0x0A0B0C0D));
        EngineOutputData frame;  // written without hooks, its sub-object through them
        frame.addSubObject(inner);
        vqtest::TestContainer container;  // written through the hooks
        container.addSubObject(inner);
        for (const Serializable* object : {static_cast<const Serializable*>(&frame),
                                           static_cast<const Serializable*>(&container)}) {
            const ByteBuffer bytes = appended(*object);
            ByteBuffer header;
            Serializable::writeHeader(header, object->objectID(), object->numDataBytes());
            ASSERT_EQ(header.size(), c.header_size);
            EXPECT_EQ(hex(ByteBuffer(bytes.begin(), bytes.begin() + c.header_size)), hex(header));
            EXPECT_EQ(bytes.size(), object->numTotalBytes() + 16);
            int pos = 0;
            EXPECT_TRUE(SerializableFactory::newObject(bytes, pos));
            EXPECT_EQ(pos, static_cast<int>(bytes.size()));
        }
    }
}

}  // namespace
