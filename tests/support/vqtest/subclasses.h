// Applications' subclasses of the library's frame records, which the library must write and read
// through their hooks.
#pragma once

#include <cstdint>

#include "vq/eod/timingoutputdata.h"

namespace vqtest {

// A subclass that changes nothing but its type.
template <typename T>
class Subclass : public T {};

// A subclass with a field of its own after the timing fields.
class StampedTiming : public vq::eod::TimingOutputData {
public:
    std::int32_t stamp = 0;

protected:
    void appendEngineSpecificData(vq::eod::ByteBuffer& buffer) const override {
        TimingOutputData::appendEngineSpecificData(buffer);
        appendValue(buffer, stamp);
    }
    void readEngineSpecificData(const vq::eod::ByteBuffer& buffer, int& read_pos) override {
        TimingOutputData::readEngineSpecificData(buffer, read_pos);
        readValue(buffer, read_pos, stamp);
    }
    unsigned int numEngineSpecificDataBytes() const override {
        return TimingOutputData::numEngineSpecificDataBytes() + 4;
    }
};

}  // namespace vqtest
