#include "vqtest/records.h"

#include <gtest/gtest.h>

#include <sstream>

#include "vq/eod/serializablefactory.h"

namespace vqtest {

using vq::eod::ByteBuffer;
using vq::eod::Serializable;
using vq::eod::SerializableFactory;

std::string headerOf(const Serializable& record) {
    std::ostringstream stream;
    record.printHeader(stream);
    return stream.str();
}

std::string lineOf(const Serializable& record) {
    std::ostringstream stream;
    record.printLine(stream);
    return stream.str();
}

ByteBuffer rewritten(const ByteBuffer& bytes) {
    int pos = 0;
    boost::shared_ptr<Serializable> read = SerializableFactory::newObject(bytes, pos);
    EXPECT_EQ(pos, static_cast<int>(bytes.size()));
    ByteBuffer again;
    if (read) {
        read->serialize(again);
    }
    return again;
}

}  // namespace vqtest
