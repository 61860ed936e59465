// Reading records from streams into a buffer that the caller keeps between reads.
#pragma once

#include <istream>

#include <boost/shared_ptr.hpp>

#include "vq/eod/serializable.h"

namespace vq::eod::detail {

// SerializableFactory::newObjectWithStatus(stream, status), reading the object's bytes into
// `scratch` (emptied first) instead of a buffer of its own, so that a reader of many records
// allocates once. A scratch buffer that grew beyond KEPT_SCRATCH_BYTES for a large record is
// given back afterwards.
boost::shared_ptr<Serializable> newObjectWithStatus(std::istream& stream, unsigned int& status,
                                                    ByteBuffer& scratch);

constexpr std::size_t KEPT_SCRATCH_BYTES = 1u << 20;

// stream.peek() == EOF read straight from the stream's buffer, for a stream that is good, raises
// on no state and has no tied stream, so that the stream's sentry would do nothing: the end sets
// eofbit, a buffer that raises sets badbit, and a cancelled thread unwinds, as from peek().
bool bufferAtEnd(std::istream& stream);

}  // namespace vq::eod::detail
