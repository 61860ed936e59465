// The built-in registry: every assigned object ID makes its class, a frame holding one record of
// every kind reads back byte for byte, and seeded random records of every class round-trip
// (records on streams: serializablefactory_test.cpp, worldoutputdatav2_test.cpp and
// compressedserializable_test.cpp).
#include "eod/builtins_internal.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "vq/eod/engineoutputdata.h"
#include "vq/eod/serializablefactory.h"
#include "vqtest/hex.h"
#include "vqtest/records.h"

namespace {

using vq::eod::ByteBuffer;
using vq::eod::SerializableFactory;
using vqtest::hex;
namespace object_id = vq::eod::object_id;

std::vector<char> assignedIds() {
    std::vector<char> ids;
    for (int id = -128; id < 128; ++id) {
        if (object_id::className(static_cast<char>(id)) != nullptr) {
            ids.push_back(static_cast<char>(id));
        }
    }
    return ids;
}

// Reads one object from `bytes` through the factory, expecting it to take every byte, and
// serialises it again.
ByteBuffer rewritten(const ByteBuffer& bytes) {
    int pos = 0;
    auto read = SerializableFactory::newObject(bytes, pos);
    EXPECT_EQ(pos, static_cast<int>(bytes.size()));
    ByteBuffer again;
    if (read) {
        read->serialize(again);
    }
    return again;
}

// VQ_TEST_SEED=n replays the seeds from n on.
unsigned int baseSeed() {
    const char* text = std::getenv("VQ_TEST_SEED");
    return text != nullptr ? static_cast<unsigned int>(std::strtoul(text, nullptr, 10)) : 2026u;
}

TEST(Builtins, EveryAssignedIdMakesAnObjectOfThatId) {
    for (char id : assignedIds()) {
        auto record = SerializableFactory::newObject(id);
        ASSERT_TRUE(record) << object_id::className(id);
        EXPECT_EQ(record->objectID(), id) << object_id::className(id);
    }
}

TEST(Builtins, AFrameOfEveryKindReadsBackByteForByte) {
    std::mt19937 random(baseSeed());
    vq::eod::EngineOutputData frame;
    for (char id : assignedIds()) {
        if (id != object_id::COMPRESSED_SERIALIZABLE) {
            const ByteBuffer bytes = vqtest::randomRecord(id, random);
            int pos = 0;
            frame.addSubObject(bytes.empty() ? SerializableFactory::newObject(id)
                                             : SerializableFactory::newObject(bytes, pos));
        }
    }
    EXPECT_EQ(frame.numSubObjects(), static_cast<int>(assignedIds().size()) - 1);
    const ByteBuffer all = vqtest::serialized(frame);
    EXPECT_EQ(hex(rewritten(all)), hex(all));
}

TEST(Builtins, SeededRandomRecordsOfEveryClassRoundTrip) {
    for (char id : assignedIds()) {
        for (unsigned int seed = baseSeed(); seed < baseSeed() + 200; ++seed) {
            std::mt19937 random(seed);
            const ByteBuffer bytes = vqtest::randomRecord(id, random);
            if (bytes.empty()) {
                break;  // no generator for this class
            }
            const ByteBuffer again = rewritten(bytes);
            if (again != bytes) {
                ADD_FAILURE() << object_id::className(id) << ", seed " << seed << "\n"
                              << hex(bytes) << "\nread and written again:\n"
                              << hex(again);
                break;
            }
        }
    }
}

}  // namespace
