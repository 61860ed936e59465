// The engine-record test of adding a sub-object, without a dynamic cast for classes already met.
#pragma once

#include "vq/eod/serializable.h"

namespace vq::eod::detail {

// Whether `object` is an EngineOutputBase. A class once found to be one (by a dynamic cast) is
// remembered by its type information, in a few slots shared by all threads, so that merging and
// adding the usual records costs a load and a compare each instead of a walk of the class
// hierarchy. A class not remembered is cast again; the answer is the same.
bool isEngineRecord(const Serializable& object);

}  // namespace vq::eod::detail
