// Writing whole objects in one pass: applications' subclasses of the library's frame records are
// written through their hooks, inside library records too (that they write the bytes the library's
// classes write: recordreader_test.cpp); announced sizes are those of numDataBytes(), in the short
// and the long header.
#include "vq/eod/serializable.h"

#include <gtest/gtest.h>

#include <boost/make_shared.hpp>

#include "vq/eod/engineoutputdata.h"
#include "vq/eod/eyeoutputdata.h"
#include "vq/eod/pupiloutputdata.h"
#include "vq/eod/serializablefactory.h"
#include "vqtest/recordchecks.h"
#include "vqtest/subclasses.h"
#include "vqtest/testrecords.h"

namespace {

using namespace vq::eod;
using vqtest::hex;
using vqtest::StampedTiming;

ByteBuffer appended(const Serializable& object) {
    ByteBuffer buffer{0xEE};  // written after what is there
    object.serialize(buffer);
    EXPECT_EQ(buffer.at(0), 0xEE);
    return ByteBuffer(buffer.begin() + 1, buffer.end());
}

TEST(RecordWriter, SubclassHooksAreUsedInsideLibraryRecords) {
    auto timing = boost::make_shared<StampedTiming>();
    timing->stamp = 0x01020304;
    auto eye = boost::make_shared<EyeOutputData>();
    eye->addSubObject(boost::make_shared<vqtest::Subclass<PupilOutputData>>());
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
