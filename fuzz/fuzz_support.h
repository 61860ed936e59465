// Shared checks of the fuzz targets.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "vq/corelog.h"

namespace vqfuzz {

// Fails the run loudly: libFuzzer and the replay program both report an abort as a finding.
[[noreturn]] inline void fail(const char* what) {
    std::fprintf(stderr, "invariant broken: %s\n", what);
    std::abort();
}

// Whatever decodes re-encodes to bytes that decode again to the same bytes: the first encoding
// may normalise what it read (a bool byte of 7 becomes 1), but from then on nothing changes.
inline void checkReencodes(const vq::eod::Serializable& object) {
    if (!object.serializeEnabled()) {
        return;  // a disabled record is never written on its own
    }
    vq::eod::ByteBuffer first;
    object.serialize(first);
    int pos = 0;
    boost::shared_ptr<vq::eod::Serializable> again =
        vq::eod::SerializableFactory::newObject(first, pos);
    if (!again || pos != static_cast<int>(first.size())) {
        fail("a re-encoded object does not decode whole");
    }
    vq::eod::ByteBuffer second;
    again->serialize(second);
    if (second != first) {
        fail("a re-encoded object encodes differently the second time");
    }
}

}  // namespace vqfuzz
