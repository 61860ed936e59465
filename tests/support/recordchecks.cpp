#include "vqtest/recordchecks.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <memory>
#include <random>
#include <sstream>
#include <typeinfo>

#include "vq/eod/serializableerror.h"
#include "vq/eod/serializablefactory.h"
#include "vqtest/hex.h"

namespace vqtest {

using vq::eod::ByteBuffer;
using vq::eod::Serializable;
using vq::eod::SerializableFactory;

ByteBuffer engineRecord(char object_id, const ByteBuffer& block) {
    ByteBuffer bytes;
    Serializable::writeHeader(bytes, object_id, static_cast<unsigned int>(block.size() + 2));
    bytes.push_back(1);
    bytes.insert(bytes.end(), block.begin(), block.end());
    bytes.push_back(0);
    return bytes;
}

boost::shared_ptr<Serializable> expectRoundTrip(const Serializable& record,
                                                const std::string& dump) {
    const ByteBuffer expected = bytes(dump);
    EXPECT_EQ(hex(serialized(record)), hex(expected));
    int read_pos = 0;
    const boost::shared_ptr<Serializable> read = SerializableFactory::newObject(expected, read_pos);
    const Serializable* const object = read.get();
    if (object == nullptr || typeid(*object) != typeid(record)) {
        ADD_FAILURE() << "the factory did not read the bytes back into the record's class";
        return boost::shared_ptr<Serializable>();
    }
    EXPECT_EQ(read_pos, static_cast<int>(expected.size()));
    EXPECT_EQ(hex(serialized(*read)), hex(expected));
    return read;
}

void expectRandomBlocksRoundTrip(char object_id, std::size_t block_size,
                                 const std::vector<std::size_t>& bool_offsets, int count) {
    for (int seed = 0; seed < count && !::testing::Test::HasFailure(); ++seed) {
        SCOPED_TRACE("random block seed " + std::to_string(seed));
        std::mt19937 random(static_cast<unsigned int>(seed));
        ByteBuffer block(block_size);
        for (unsigned char& byte : block) {
            byte = static_cast<unsigned char>(random());
        }
        for (std::size_t offset : bool_offsets) {
            block[offset] &= 1;
        }
        const ByteBuffer bytes = engineRecord(object_id, block);

        int read_pos = 0;
        const boost::shared_ptr<Serializable> record =
            SerializableFactory::newObject(bytes, read_pos);
        ASSERT_TRUE(record);
        expectRoundTrip(*record, hex(bytes));
        const std::unique_ptr<Serializable> copy(record->clone());
        EXPECT_EQ(hex(serialized(*copy)), hex(bytes));
        EXPECT_NO_THROW(printedLine(*record));
    }
}

void expectTruncationsRefused(const Serializable& record) {
    const ByteBuffer whole = serialized(record);
    const unsigned int size = record.numDataBytes();
    const std::size_t header = Serializable::numHeaderBytes(size);
    for (unsigned int cut = 0; cut < size; ++cut) {
        SCOPED_TRACE("data cut to " + std::to_string(cut) + " bytes");
        ByteBuffer bytes;
        Serializable::writeHeader(bytes, record.objectID(), cut);
        bytes.insert(bytes.end(), whole.begin() + header, whole.begin() + header + cut);
        int read_pos = 0;
        EXPECT_THROW(SerializableFactory::newObject(bytes, read_pos), vq::eod::SerializableError);
    }
}

std::string printedHeader(const Serializable& record) {
    std::ostringstream header;
    record.printHeader(header);
    return header.str();
}

std::string printedLine(const Serializable& record) {
    std::ostringstream line;
    record.printLine(line);
    return line.str();
}

std::string columns(std::initializer_list<std::string> texts) {
    std::ostringstream line;
    for (const std::string& text : texts) {
        line << std::setw(15) << text << ' ';
    }
    return line.str();
}

}  // namespace vqtest
