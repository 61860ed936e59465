// Checks that every record class needs: bytes read from anywhere come back out unchanged, and
// shortened bytes are refused cleanly.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <vector>

#include "vq/eod/serializable.h"

namespace vqtest {

// The serialised form of an enabled engine record with no sub-objects: header, flag byte 01,
// the engine-specific block, count byte 00.
vq::eod::ByteBuffer engineRecord(char object_id, const vq::eod::ByteBuffer& block);

// Reads `count` records of the class registered for `object_id` from seeded random blocks of
// `block_size` bytes (the bytes at `bool_offsets` made 0 or 1), and expects each to serialise,
// clone and print without fault and to write back exactly the bytes it was read from. A failure
// names its seed.
void expectRandomBlocksRoundTrip(char object_id, std::size_t block_size,
                                 const std::vector<std::size_t>& bool_offsets = {},
                                 int count = 300);

// Every shortened form of the record (a header announcing fewer data bytes, and only those
// bytes) raises SerializableError through the factory.
void expectTruncationsRefused(const vq::eod::Serializable& record);

// Printed columns: each text right-aligned in 15 characters, then one blank.
std::string columns(std::initializer_list<std::string> texts);

}  // namespace vqtest
