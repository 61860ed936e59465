// The record classes of the library, registered with the factory when the registry is built.
#pragma once

#include "vq/eod/serializablefactory.h"

namespace vq::eod::detail {

using RegisterFunction = void (*)(char object_id, SerializableFactory::CreationFunction fn);

// Calls `add` once for every built-in object ID with the creation function of its class.
void registerBuiltins(RegisterFunction add);

}  // namespace vq::eod::detail
