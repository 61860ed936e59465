// Checks that every record class needs: exact bytes, bytes read from anywhere come back out
// unchanged, shortened bytes are refused cleanly, exact printed columns. Brings in the byte dumps
// and the failure expectations as well.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <vector>

#include <boost/shared_ptr.hpp>

#include "vq/eod/serializable.h"
#include "vqtest/expect.h"
#include "vqtest/hex.h"

namespace vqtest {

// The serialised form of an enabled engine record with no sub-objects: header, flag byte 01,
// the engine-specific block, count byte 00.
vq::eod::ByteBuffer engineRecord(char object_id, const vq::eod::ByteBuffer& block);

// Expects the record to serialise to exactly the bytes of `dump` (written as for bytes()), and
// the factory to read them back, whole, into a record of the record's class that writes the same
// bytes again. Returns the record read, or null after a failure.
boost::shared_ptr<vq::eod::Serializable> expectRoundTrip(const vq::eod::Serializable& record,
                                                         const std::string& dump);
template <typename T>
boost::shared_ptr<T> expectRoundTrip(const T& record, const std::string& dump) {
    return boost::dynamic_pointer_cast<T>(
        expectRoundTrip(static_cast<const vq::eod::Serializable&>(record), dump));
}

// Reads `count` records of the class registered for `object_id` from seeded random blocks of
// `block_size` bytes (the bytes at `bool_offsets` made 0 or 1), and expects each, and a clone of
// it, to write back exactly the bytes it was read from, and to print without fault. A failure
// names its seed.
void expectRandomBlocksRoundTrip(char object_id, std::size_t block_size,
                                 const std::vector<std::size_t>& bool_offsets = {},
                                 int count = 300);

// Every shortened form of the record (a header announcing fewer data bytes, and only those
// bytes) raises SerializableError through the factory.
void expectTruncationsRefused(const vq::eod::Serializable& record);

// What the record prints as its header line and its value line.
std::string printedHeader(const vq::eod::Serializable& record);
std::string printedLine(const vq::eod::Serializable& record);

// Printed columns: each text right-aligned in 15 characters, then one blank.
std::string columns(std::initializer_list<std::string> texts);

}  // namespace vqtest
