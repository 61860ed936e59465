// Small record classes that exist only in the tests, with object IDs from the range that the
// library leaves free (0x70 upwards), so they never collide with the library's own classes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "vq/eod/engineoutputbase.h"

namespace vqtest {

constexpr char TEST_RECORD_A = 0x70;
constexpr char TEST_RECORD_B = 0x71;
constexpr char TEST_RECORD_C = 0x72;
constexpr char TEST_REPEATABLE = 0x73;  // a TestRecord that may repeat in a composite
constexpr char TEST_PLAIN = 0x74;       // PlainRecord
constexpr char TEST_CONTAINER = 0x75;   // TestContainer
constexpr char TEST_NEGATIVE = static_cast<char>(0x90);  // sorts before every positive ID
constexpr char TEST_UNDERCOUNTED = 0x76;                 // UndercountedRecord

// An engine record with one 32-bit field, its object ID given at construction.
class TestRecord : public vq::eod::EngineOutputBase {
public:
    explicit TestRecord(char id = TEST_RECORD_A, std::int32_t value = 0);
    TestRecord(const TestRecord& other) = default;

    std::int32_t value() const { return _value; }
    void setValue(std::int32_t value) { _value = value; }

    char objectID() const override { return _id; }
    TestRecord* clone() const override { return new TestRecord(*this); }
    bool forbidDuplicateSiblings() const override { return _id != TEST_REPEATABLE; }
    void printOwnHeader(std::ostream& stream) const override;

protected:
    void printOwnData(std::ostream& stream) const override;
    void appendEngineSpecificData(vq::eod::ByteBuffer& buffer) const override;
    void readEngineSpecificData(const vq::eod::ByteBuffer& buffer, int& read_pos) override;
    unsigned int numEngineSpecificDataBytes() const override { return 4; }

private:
    char _id;
    std::int32_t _value;
};

// A record that is a Serializable but not an engine record: a string.
class PlainRecord : public vq::eod::Serializable {
public:
    explicit PlainRecord(std::string text = "") : _text(std::move(text)) {}

    const std::string& text() const { return _text; }
    char objectID() const override { return TEST_PLAIN; }
    unsigned int numDataBytes() const override {
        return static_cast<unsigned int>(_text.size() + 1);
    }
    PlainRecord* clone() const override { return new PlainRecord(*this); }
    void printLine(std::ostream& stream) const override;
    void printHeader(std::ostream& stream) const override;

protected:
    void appendBuffer(vq::eod::ByteBuffer& buffer) const override;
    void readFromBuffer(const vq::eod::ByteBuffer& buffer, int& read_pos) override;

private:
    std::string _text;
};

// A composite with no own data; `unique` forbids sub-objects that share an ID.
class TestContainer : public vq::eod::SerializableComposite {
public:
    explicit TestContainer(bool unique = false) : _unique(unique) {}

    char objectID() const override { return TEST_CONTAINER; }
    TestContainer* clone() const override { return new TestContainer(*this); }
    void printOwnHeader(std::ostream& /*stream*/) const override {}

protected:
    void printOwnData(std::ostream& /*stream*/) const override {}
    bool allowDuplicateSubObjects() const override { return !_unique; }

private:
    bool _unique;
};

// A new TestRecord held by a shared pointer.
inline boost::shared_ptr<TestRecord> testRecord(char id, std::int32_t value = 0) {
    return boost::shared_ptr<TestRecord>(new TestRecord(id, value));
}

// An engine record whose size formula counts 16 bytes fewer than it writes, as a labelled
// intersection block does: four 8-byte counts counted as 4 bytes each, then `values` 32-bit
// values (the first count says how many).
class UndercountedRecord : public vq::eod::EngineOutputBase {
public:
    explicit UndercountedRecord(std::vector<std::int32_t> values = {})
        : _values(std::move(values)) {}

    const std::vector<std::int32_t>& values() const { return _values; }
    char objectID() const override { return TEST_UNDERCOUNTED; }
    UndercountedRecord* clone() const override { return new UndercountedRecord(*this); }
    unsigned int numUnannouncedDataBytes() const override { return 16; }
    void printOwnHeader(std::ostream& /*stream*/) const override {}

protected:
    void printOwnData(std::ostream& /*stream*/) const override {}
    void appendEngineSpecificData(vq::eod::ByteBuffer& buffer) const override;
    void readEngineSpecificData(const vq::eod::ByteBuffer& buffer, int& read_pos) override;
    unsigned int numEngineSpecificDataBytes() const override {
        return static_cast<unsigned int>(4 * (_values.size() + 4));
    }

private:
    std::vector<std::int32_t> _values;
};

// Registers the test classes with the factory (idempotent).
void registerTestRecords();

}  // namespace vqtest
