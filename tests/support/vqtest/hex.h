// Hex dumps of byte buffers, for tests that compare exact bytes.
#pragma once

#include <sstream>
#include <string>

#include "vq/eod/serializable.h"

namespace vqtest {

// "09 00 06 01": two upper-case hex digits per byte, separated by one blank.
std::string hex(const vq::eod::ByteBuffer& bytes);
// The bytes of a dump written like hex() (blanks optional, "|" ignored as a visual separator).
vq::eod::ByteBuffer bytes(const std::string& dump);
// The serialised form of a record.
vq::eod::ByteBuffer serialized(const vq::eod::Serializable& object);
// A stream holding the bytes, for reads from streams.
std::istringstream streamOf(const vq::eod::ByteBuffer& bytes);

}  // namespace vqtest
