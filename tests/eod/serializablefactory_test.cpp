// The factory: registration rules, reading from buffers and streams, status words.
#include "vq/eod/serializablefactory.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include <boost/make_shared.hpp>

#include "eod/bufferrefill_internal.h"
#include "vq/eod/engineoutputdata.h"
#include "vq/eod/eyeclosureoutputdata.h"
#include "vq/eod/eyeoutputdata.h"
#include "vq/eod/gazeoutputdata.h"
#include "vq/eod/pupiloutputdata.h"
#include "vq/eod/serializableerror.h"
#include "vq/eod/timingoutputdata.h"
#include "vqtest/expect.h"
#include "vqtest/hex.h"
#include "vqtest/testrecords.h"

namespace {

using vq::eod::ByteBuffer;
using vq::eod::EngineOutputData;
using vq::eod::Serializable;
using vq::eod::SerializableFactory;
using vqtest::bytes;
using vqtest::streamOf;
using vqtest::TestRecord;
namespace status = vq::eod::status;

boost::shared_ptr<Serializable> createFrame() {
    return boost::shared_ptr<Serializable>(new EngineOutputData);
}
template <char ID>
boost::shared_ptr<Serializable> createRecord() {
    return boost::shared_ptr<Serializable>(new TestRecord(ID));
}
boost::shared_ptr<Serializable> createNothing() {
    return boost::shared_ptr<Serializable>();
}

class SerializableFactoryTest : public ::testing::Test {
protected:
    void SetUp() override { vqtest::registerTestRecords(); }
};

TEST_F(SerializableFactoryTest, ReadsFramesSkipsUnknownObjectsAndHonoursTheStatusWord) {
    const ByteBuffer unknown = bytes("7F 00 02 AA BB");
    int pos = 0;
    EXPECT_FALSE(SerializableFactory::newObject(unknown, pos));
    EXPECT_EQ(pos, 5);
    unsigned int st = 0;
    pos = 0;
    EXPECT_FALSE(SerializableFactory::newObjectWithStatus(unknown, pos, st));
    EXPECT_EQ(pos, 5);
    EXPECT_EQ(st, status::UNKNOWN_OBJECT_ID);
    st = 0;
    EXPECT_FALSE(SerializableFactory::newObjectWithStatus(0x7F, st));
    EXPECT_EQ(st, status::UNKNOWN_OBJECT_ID);

    // A status word that already reports damage discards later objects but moves past them.
    const ByteBuffer good = bytes("09 00 06 01 00 00 00 07 00");
    pos = 0;
    st = status::SIZE_MISMATCH;
    EXPECT_FALSE(SerializableFactory::newObjectWithStatus(good, pos, st));
    EXPECT_EQ(pos, 9);
    st = 0;
    pos = 0;
    auto frame = boost::dynamic_pointer_cast<EngineOutputData>(
        SerializableFactory::newObjectWithStatus(good, pos, st));
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->frameNum(), 7u);
    EXPECT_EQ(frame->numSubObjects(), 0);
    EXPECT_EQ(st, 0u);

    // Past the end of the buffer there is nothing to read.
    EXPECT_FALSE(SerializableFactory::newObjectWithStatus(good, pos, st));
    EXPECT_EQ(st, status::INSUFFICIENT_DATA);
    pos = -1;
    EXPECT_PRECONDITION(SerializableFactory::newObject(good, pos),
                        "src/eod/serializablefactory.cpp", "negative read_pos");

    // canDeserialize wants the header and all the data it announces.
    EXPECT_FALSE(
        SerializableFactory::canDeserialize(ByteBuffer(good.begin(), good.begin() + 2), 0));
    EXPECT_FALSE(SerializableFactory::canDeserialize(ByteBuffer(good.begin(), good.end() - 1), 0));
    EXPECT_TRUE(SerializableFactory::canDeserialize(good, 0));
    EXPECT_FALSE(SerializableFactory::canDeserialize(good, 9));
    EXPECT_TRUE(SerializableFactory::canDeserialize(unknown, 0));
}

// A frame (enabled, number 7) holding `subs`, with `count` as its sub-object count.
ByteBuffer frameOf(const std::vector<ByteBuffer>& subs, unsigned char count) {
    ByteBuffer data = bytes("01 00 00 00 07");
    data.push_back(count);
    for (const ByteBuffer& sub : subs) {
        data.insert(data.end(), sub.begin(), sub.end());
    }
    ByteBuffer frame;
    Serializable::writeHeader(frame, EngineOutputData::THIS_OBJECT_ID,
                              static_cast<unsigned int>(data.size()));
    frame.insert(frame.end(), data.begin(), data.end());
    return frame;
}
ByteBuffer frameOf(const std::vector<ByteBuffer>& subs) {
    return frameOf(subs, static_cast<unsigned char>(subs.size()));
}
ByteBuffer repeated(const ByteBuffer& piece, std::size_t times) {
    ByteBuffer all;
    for (std::size_t i = 0; i < times; ++i) {
        all.insert(all.end(), piece.begin(), piece.end());
    }
    return all;
}

TEST_F(SerializableFactoryTest, DamageKeepsThePositionAndTheStatusFormReportsIt) {
    const ByteBuffer record_a = vqtest::serialized(TestRecord(vqtest::TEST_RECORD_A, 4));
    const ByteBuffer cut_a(record_a.begin(), record_a.end() - 1);
    ByteBuffer short_a = cut_a;  // announces one byte less than it reads
    short_a[2] = static_cast<unsigned char>(short_a[2] - 1);
    ByteBuffer deep = frameOf({});
    for (int i = 0; i < vq::eod::SerializableComposite::MAX_NESTING_DEPTH; ++i) {
        deep = frameOf({deep});
    }
    const ByteBuffer empty = frameOf({});
    const ByteBuffer dense =
        frameOf(std::vector<ByteBuffer>(255, frameOf(std::vector<ByteBuffer>(255, empty))));
    const struct {
        const char* name;
        ByteBuffer input;
        const char* message;  // raised by newObject
        unsigned int status;  // reported by newObjectWithStatus
    } cases[] = {
        {"frame cut short", bytes("09 00 05 00"),
         "SerializableFactory::newObject - insufficient data in buffer", status::INSUFFICIENT_DATA},
        {"header announces a byte more than a frame reads", bytes("09 00 07 01 00 00 00 07 00 EE"),
         "SerializableFactory::newObject - could not unSerialize object", status::SIZE_MISMATCH},
        {"count beyond the frame", bytes("09 00 06 01 00 00 00 07 01"),
         "SerializableFactory::newObject - insufficient data in buffer", status::INSUFFICIENT_DATA},
        {"sub-object beyond the frame", frameOf({empty}, 2),
         "SerializableFactory::newObject - insufficient data in buffer", status::INSUFFICIENT_DATA},
        {"duplicate", frameOf({record_a, record_a}),
         "SerializableComposite::addSubObject - Sub-object already exists in this composite",
         status::SIZE_MISMATCH},
        {"nested too deeply", deep,
         "SerializableComposite::readFromBuffer() - sub-objects nested too deeply.",
         status::SIZE_MISMATCH},
        {"record longer than announced", frameOf({short_a}),
         "SerializableFactory::newObject - could not unSerialize object", status::SIZE_MISMATCH},
        {"more objects than bytes", dense,
         "Serializable::unSerialize() - more objects than the size of the record allows.",
         status::SIZE_MISMATCH},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        int pos = 0;
        EXPECT_SERIALIZABLE_ERROR(SerializableFactory::newObject(c.input, pos), c.message);
        EXPECT_EQ(pos, 0);
        unsigned int st = 0;
        EXPECT_FALSE(SerializableFactory::newObjectWithStatus(c.input, pos, st));
        EXPECT_EQ(st, c.status);
        EXPECT_EQ(pos, 0);
    }
    // Just within the limits, the same shapes read.
    int pos = 0;
    EXPECT_TRUE(SerializableFactory::newObject(frameOf(std::vector<ByteBuffer>(255, empty)), pos));
}

TEST_F(SerializableFactoryTest, DecodeWorkIsLinearInTheInput) {
    // A frame whose count announces more sub-objects than it holds, followed by a frame that
    // does the same: each one used to be read again by every frame before it.
    const ByteBuffer lying = bytes("09 00 06 01 00 00 00 07 FC 09 00 18 01 FF FF FF FF 40");
    for (std::size_t k : {8, 64, 512, 2000}) {
        // Frames nested 60 deep, each holding k / 8 empty frames, then the next level, and
        // announcing one sub-object more than that.
        const ByteBuffer empties = repeated(frameOf({}), k / 8);
        const auto count = static_cast<unsigned char>(k / 8 + 2);
        ByteBuffer nested = frameOf({empties}, count);
        for (int depth = 0; depth < 60; ++depth) {
            nested = frameOf({empties, nested}, count);
        }
        for (const ByteBuffer& input : {repeated(lying, k), nested}) {
            SCOPED_TRACE(input.size());
            unsigned long long& work = vq::eod::detail::decodeWork();
            const unsigned long long before = work;
            int pos = 0;
            unsigned int st = 0;
            EXPECT_FALSE(SerializableFactory::newObjectWithStatus(input, pos, st));
            EXPECT_NE(st & (status::INSUFFICIENT_DATA | status::SIZE_MISMATCH), 0u);
            EXPECT_THROW(SerializableFactory::newObject(input, pos), vq::eod::SerializableError);
            EXPECT_EQ(pos, 0);
            EXPECT_LE(work - before, 2 * input.size() / 3);
        }
    }
}

TEST_F(SerializableFactoryTest, RegistrationRules) {
    // The same class again: the function registered before is the result.
    const auto builtin = SerializableFactory::registerObjectType(0x09, &createFrame);
    ASSERT_NE(builtin, nullptr);
    EXPECT_EQ(SerializableFactory::registerObjectType(0x09, builtin), &createFrame);

    // Another class for a taken ID.
    EXPECT_ERROR_MESSAGE(SerializableFactory::registerObjectType(0x09, &createRecord<0x09>),
                         vq::eod::SerializableError,
                         "An object type has already been registered for this object_id 9");
    // A taken ID and a sample that reports another ID.
    EXPECT_SERIALIZABLE_ERROR(
        SerializableFactory::registerObjectType(vqtest::TEST_RECORD_B,
                                                &createRecord<vqtest::TEST_RECORD_A>),
        "The provided object_id (113) is different to the objectID() of the registered object "
        "(112)");
    EXPECT_SERIALIZABLE_ERROR(SerializableFactory::registerObjectType(0x7A, nullptr),
                              "The provided creation_fn_ptr is NULL.");
    EXPECT_SERIALIZABLE_ERROR(SerializableFactory::registerObjectType(0x7A, &createNothing),
                              "The provided creation function returned a NULL pointer");

    // A free ID accepts a class whose objects report another ID, as it stands.
    EXPECT_EQ(SerializableFactory::registerObjectType(0x7A, &createRecord<0x09>), nullptr);
    EXPECT_EQ(SerializableFactory::newObject(0x7A)->objectID(), 0x09);
    EXPECT_EQ(SerializableFactory::unregisterObjectType(0x7A), &createRecord<0x09>);
    EXPECT_EQ(SerializableFactory::unregisterObjectType(0x7A), nullptr);
    EXPECT_FALSE(SerializableFactory::newObject(0x7A));
}

TEST_F(SerializableFactoryTest, ReadsObjectsFromStreams) {
    EngineOutputData frame;
    frame.setFrameNum(3);
    frame.addSubObject(boost::shared_ptr<TestRecord>(new TestRecord(vqtest::TEST_RECORD_A, 4)));
    ByteBuffer buffer = vqtest::serialized(frame);
    const ByteBuffer unknown = bytes("7F 00 02 AA BB");
    buffer.insert(buffer.begin(), unknown.begin(), unknown.end());
    const vqtest::PlainRecord big(std::string(70000, 'y'));  // extended header on the stream
    const ByteBuffer big_bytes = vqtest::serialized(big);
    buffer.insert(buffer.end(), big_bytes.begin(), big_bytes.end());

    auto in = streamOf(buffer);
    EXPECT_FALSE(SerializableFactory::newObject(in));  // the unknown object, skipped
    auto read = boost::dynamic_pointer_cast<EngineOutputData>(SerializableFactory::newObject(in));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->frameNum(), 3u);
    EXPECT_EQ(read->subObjectAs<TestRecord>(vqtest::TEST_RECORD_A)->value(), 4);
    auto plain =
        boost::dynamic_pointer_cast<vqtest::PlainRecord>(SerializableFactory::newObject(in));
    ASSERT_TRUE(plain);
    EXPECT_EQ(plain->text(), big.text());
    EXPECT_SERIALIZABLE_ERROR(SerializableFactory::newObject(in),
                              "SerializableFactory::newObject - End-of-file encountered when "
                              "trying to read Serializable object");

    auto again = streamOf(buffer);
    unsigned int st = 0;
    EXPECT_FALSE(SerializableFactory::newObjectWithStatus(again, st));
    EXPECT_EQ(st, status::UNKNOWN_OBJECT_ID);
    EXPECT_TRUE(SerializableFactory::newObjectWithStatus(again, st));
    EXPECT_TRUE(SerializableFactory::newObjectWithStatus(again, st));
    EXPECT_FALSE(SerializableFactory::newObjectWithStatus(again, st));
    EXPECT_EQ(st, status::UNKNOWN_OBJECT_ID | status::INSUFFICIENT_DATA);
}

TEST_F(SerializableFactoryTest, TruncatedStreams) {
    const char* const no_size =
        "SerializableFactory::newObject - An error occurred when trying to read object size "
        "from stream";
    const char* const no_data = "An error occurred when trying to read object data from the stream";
    const struct Case {
        const char* bytes;
        const char* message;
    } cases[] = {
        {"09 00", no_size},
        {"09 FF FF 00", no_size},
        {"09 00 06 01 00 00", no_data},
        // 4 GiB announced in front of 20 bytes: memory follows what was read, not the header.
        {"09 FF FF FF FF FF F0 01 00 00 00 07 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00",
         no_data},
    };
    for (const Case& c : cases) {
        auto in = streamOf(bytes(c.bytes));
        EXPECT_SERIALIZABLE_ERROR(SerializableFactory::newObject(in), c.message);
        auto again = streamOf(bytes(c.bytes));
        unsigned int st = 0;
        EXPECT_FALSE(SerializableFactory::newObjectWithStatus(again, st));
        EXPECT_EQ(st, status::INSUFFICIENT_DATA) << c.bytes;
    }
    // An unknown object cut short by the end of the stream gives null.
    auto cut = streamOf(bytes("7F 00 10 AA"));
    EXPECT_FALSE(SerializableFactory::newObject(cut));
    // A size that does not match what the record reads passes the record's error through.
    auto mismatch = streamOf(bytes("09 00 07 01 00 00 00 07 00 EE"));
    EXPECT_SERIALIZABLE_ERROR(SerializableFactory::newObject(mismatch),
                              "Serializable::unSerialize() - data_size in header wrong.");
}

TEST_F(SerializableFactoryTest, RecordsAreMadeAndReleasedOnAnyThread) {
    // A frame with nested records: every record and every map node comes from a shared pool.
    EngineOutputData source;
    source.setFrameNum(42);
    auto eyes = boost::make_shared<vq::eod::EyeOutputData>();
    eyes->addSubObject(boost::make_shared<vq::eod::PupilOutputData>());
    eyes->addSubObject(boost::make_shared<vq::eod::EyeClosureOutputData>());
    eyes->addSubObject(boost::make_shared<vq::eod::GazeOutputData>());
    source.addSubObject(eyes);
    source.addSubObject(boost::make_shared<vq::eod::TimingOutputData>());
    const ByteBuffer bytes_of_frame = vqtest::serialized(source);

    // Each thread rebuilds frames and releases those that its neighbour rebuilt in the round
    // before, so blocks go back to the pools from threads other than the one that took them.
    constexpr int THREADS = 4;
    constexpr int ROUNDS = 3;
    constexpr int FRAMES = 200;
    std::vector<std::vector<boost::shared_ptr<Serializable>>> made(THREADS);
    for (int round = 0; round < ROUNDS; ++round) {
        std::vector<std::vector<boost::shared_ptr<Serializable>>> next(THREADS);
        std::vector<std::thread> threads;
        for (int t = 0; t < THREADS; ++t) {
            threads.emplace_back([&, t] {
                made[(t + 1) % THREADS].clear();
                for (int i = 0; i < FRAMES; ++i) {
                    int pos = 0;
                    next[t].push_back(SerializableFactory::newObject(bytes_of_frame, pos));
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        made.swap(next);
    }
    for (const auto& frames : made) {
        ASSERT_EQ(frames.size(), static_cast<std::size_t>(FRAMES));
        for (const auto& frame : frames) {
            ASSERT_EQ(vqtest::serialized(*frame), bytes_of_frame);
        }
    }
}

}  // namespace
