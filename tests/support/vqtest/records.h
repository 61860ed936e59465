// Helpers for tests of the library's record classes: printing to strings, reading back through
// the factory, and serialised records with random contents for seeded round trips.
#pragma once

#include <random>
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

// A serialised record of the class of `id` with random contents that its reader must take and
// give back unchanged, or empty bytes for an ID without a generator here. Records of fixed
// layout get random blocks (bool bytes 0 or 1, names of printable characters); labelled records
// random labels and points; world containers random intersection records; records without a
// published layout random data; compressed blocks random payloads.
vq::eod::ByteBuffer randomRecord(char id, std::mt19937& random);

}  // namespace vqtest
