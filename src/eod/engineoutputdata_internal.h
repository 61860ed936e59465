// The per-kind log files hold each record in a frame of its own; these are that frame's bytes.
#pragma once

#include "vq/eod/serializable.h"

namespace vq::eod::detail {

// Appends exactly the bytes of a new EngineOutputData numbered `frame_num` that holds `record`
// (which must be enabled) as its only sub-object, without making that frame.
void serializeInNewFrame(unsigned int frame_num, const Serializable& record, ByteBuffer& buffer);

}  // namespace vq::eod::detail
