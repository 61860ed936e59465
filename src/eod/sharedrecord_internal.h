// New records held by shared pointers, each in one block of its class's pool.
#pragma once

#include <utility>

#include <boost/smart_ptr/make_shared.hpp>

#include "vq/eod/poolallocation.h"

namespace vq::eod::detail {

// A new T, constructed from `args`, whose reference counts share its pool block (poolallocation.h).
template <typename T, typename... Args>
boost::shared_ptr<T> makeSharedRecord(Args&&... args) {
    return boost::allocate_shared<T>(PoolAllocator<T, SharedRecordPoolTag<T>>(),
                                     std::forward<Args>(args)...);
}

}  // namespace vq::eod::detail
