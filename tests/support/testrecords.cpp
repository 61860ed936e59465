#include "vqtest/testrecords.h"

#include <iomanip>
#include <ostream>

#include "vq/eod/serializablefactory.h"

namespace vqtest {

using vq::eod::ByteBuffer;

TestRecord::TestRecord(char id, std::int32_t value) : _id(id), _value(value) {}

void TestRecord::printOwnHeader(std::ostream& stream) const {
    stream << std::setw(15) << "TEST_VALUE" << ' ';
}

void TestRecord::printOwnData(std::ostream& stream) const {
    stream << std::setw(15) << _value << ' ';
}

void TestRecord::appendEngineSpecificData(ByteBuffer& buffer) const {
    appendValue(buffer, _value);
}

void TestRecord::readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) {
    readValue(buffer, read_pos, _value);
}

void PlainRecord::printLine(std::ostream& stream) const {
    stream << std::setw(15) << _text << ' ';
}

void PlainRecord::printHeader(std::ostream& stream) const {
    stream << std::setw(15) << "TEXT" << ' ';
}

void PlainRecord::appendBuffer(ByteBuffer& buffer) const {
    Serializable::appendBuffer(buffer, _text);
}

void PlainRecord::readFromBuffer(const ByteBuffer& buffer, int& read_pos) {
    readBuffer(buffer, read_pos, _text);
}

void UndercountedRecord::appendEngineSpecificData(ByteBuffer& buffer) const {
    appendValue(buffer, static_cast<std::uint64_t>(_values.size()));
    for (int i = 0; i < 3; ++i) {
        appendValue(buffer, std::uint64_t{0});
    }
    for (std::int32_t value : _values) {
        appendValue(buffer, value);
    }
}

void UndercountedRecord::readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) {
    std::uint64_t count = 0;
    readValue(buffer, read_pos, count);
    for (int i = 0; i < 3; ++i) {
        std::uint64_t unused = 0;
        readValue(buffer, read_pos, unused);
    }
    _values.clear();
    for (std::uint64_t i = 0; i < count; ++i) {
        std::int32_t value = 0;
        readValue(buffer, read_pos, value);
        _values.push_back(value);
    }
}

namespace {
template <char ID>
boost::shared_ptr<vq::eod::Serializable> createTestRecord() {
    return boost::shared_ptr<vq::eod::Serializable>(new TestRecord(ID));
}
boost::shared_ptr<vq::eod::Serializable> createPlain() {
    return boost::shared_ptr<vq::eod::Serializable>(new PlainRecord);
}
boost::shared_ptr<vq::eod::Serializable> createUndercounted() {
    return boost::shared_ptr<vq::eod::Serializable>(new UndercountedRecord);
}
boost::shared_ptr<vq::eod::Serializable> createContainer() {
    return boost::shared_ptr<vq::eod::Serializable>(new TestContainer);
}
}  // namespace

void registerTestRecords() {
    using vq::eod::SerializableFactory;
    SerializableFactory::registerObjectType(TEST_RECORD_A, &createTestRecord<TEST_RECORD_A>);
    SerializableFactory::registerObjectType(TEST_RECORD_B, &createTestRecord<TEST_RECORD_B>);
    SerializableFactory::registerObjectType(TEST_RECORD_C, &createTestRecord<TEST_RECORD_C>);
    SerializableFactory::registerObjectType(TEST_REPEATABLE, &createTestRecord<TEST_REPEATABLE>);
    SerializableFactory::registerObjectType(TEST_NEGATIVE, &createTestRecord<TEST_NEGATIVE>);
    SerializableFactory::registerObjectType(TEST_PLAIN, &createPlain);
    SerializableFactory::registerObjectType(TEST_CONTAINER, &createContainer);
    SerializableFactory::registerObjectType(TEST_UNDERCOUNTED, &createUndercounted);
}

}  // namespace vqtest
