// Helpers for tests of the library's record classes: printing to strings, reading back through
// the factory.
#pragma once

#include <string>

#include "vq/eod/compressedserializable.h"
#include "vq/eod/serializable.h"

namespace vqtest {

// What printHeader / printLine write.
std::string headerOf(const vq::eod::Serializable& record);
std::string lineOf(const vq::eod::Serializable& record);

// Reads one object from `bytes` through the factory, expecting it to take every byte, and
// serialises it again (empty when nothing was read).
vq::eod::ByteBuffer rewritten(const vq::eod::ByteBuffer& bytes);

// A CompressedSerializable whose payload the test sets, as a codec would.
class TestCompressed : public vq::eod::CompressedSerializable {
public:
    explicit TestCompressed(vq::eod::ByteBuffer payload = {}) { setPayload(std::move(payload)); }
};

}  // namespace vqtest
