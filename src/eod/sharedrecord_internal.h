// New records held by shared pointers, each in one block of its class's pool.
#pragma once

#include <boost/smart_ptr/make_shared.hpp>

#include "vq/eod/poolallocation.h"

namespace vq::eod::detail {

// A new default-constructed T whose reference counts share its pool block (poolallocation.h).
template <typename T>
boost::shared_ptr<T> makeSharedRecord() {
    return boost::allocate_shared<T>(PoolAllocator<T, SharedRecordPoolTag<T>>());
}

}  // namespace vq::eod::detail
