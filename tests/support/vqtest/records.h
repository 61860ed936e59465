// Records for tests of the library's record classes: compressed blocks with a payload of the
// test's choosing, and serialised records with random contents for seeded round trips (the
// checks themselves are in recordchecks.h).
#pragma once

#include <random>

#include "vq/eod/compressedserializable.h"
#include "vq/eod/serializable.h"

namespace vqtest {

// A CompressedSerializable whose payload the test sets, as a codec would.
class TestCompressed : public vq::eod::CompressedSerializable {
public:
    explicit TestCompressed(vq::eod::ByteBuffer payload = {}) { setPayload(std::move(payload)); }
};

// A serialised record of the class of `id` with random contents that its reader must take and
// give back unchanged, or empty bytes for an ID without a generator here (records of fixed
// layout without text: expectRandomBlocksRoundTrip). One-object intersection records get random
// blocks with names of printable characters; labelled records random labels and points; world
// containers random intersection records; records without a published layout random data;
// compressed blocks random payloads.
vq::eod::ByteBuffer randomRecord(char id, std::mt19937& random);

}  // namespace vqtest
