// New records held by shared pointers. The frame's fixed-size records are recycled: one that goes
// back to its pool is reset to a new record's values and kept whole, so that its vectors keep
// their memory and the next record of its class is built into it without allocating. Every other
// class gets a new record in one block of its class's pool.
#pragma once

#include <cstddef>
#include <mutex>
#include <type_traits>
#include <utility>

#include <boost/shared_ptr.hpp>
#include <boost/smart_ptr/make_shared.hpp>

#include "eod/frameclasses_internal.h"
#include "vq/eod/poolallocation.h"

namespace vq::eod {
#define VQ_EOD_DECLARE_CLASS(C) class C;
VQ_EOD_FRAME_CLASSES(VQ_EOD_DECLARE_CLASS)
#undef VQ_EOD_DECLARE_CLASS
}  // namespace vq::eod

namespace vq::eod::detail {

// The classes whose records are recycled: those of the typical frame.
#define VQ_EOD_IS_CLASS(C) std::is_same_v<T, C> ||
template <typename T>
constexpr bool RECYCLED = VQ_EOD_FRAME_CLASSES(VQ_EOD_IS_CLASS) false;
#undef VQ_EOD_IS_CLASS

// Up to KEPT records of class T that were released, shared by all threads.
template <typename T>
class RecycledRecords {
public:
    static constexpr std::size_t KEPT = 64;

    // A record with a new record's values: a kept one, else a new one.
    static boost::shared_ptr<T> make() {
        T* record = take();
        if (record == nullptr) {
            record = new T();
        }
        return boost::shared_ptr<T>(record, GiveBack(), PoolAllocator<T, SharedRecordPoolTag<T>>());
    }

private:
    // The shared pointers' deleter: resets the record (a composite releases its sub-objects)
    // and keeps it, or deletes it when KEPT are kept already.
    struct GiveBack {
        void operator()(T* record) const noexcept {
            try {
                *record = fresh();
            } catch (...) {
                delete record;
                return;
            }
            Shelf& shelf = shelfOf();
            {
                std::lock_guard<PoolMutex> lock(shelf.mutex);
                if (shelf.count < KEPT) {
                    shelf.records[shelf.count++] = record;
                    return;
                }
            }
            delete record;
        }
    };

    struct Shelf {
        PoolMutex mutex;
        std::size_t count = 0;
        T* records[KEPT];
    };

    static T* take() {
        Shelf& shelf = shelfOf();
        std::lock_guard<PoolMutex> lock(shelf.mutex);
        return shelf.count > 0 ? shelf.records[--shelf.count] : nullptr;
    }
    // Never destroyed, so that records may still be released by static destructors; what they
    // hold stays reachable.
    static Shelf& shelfOf() {
        static Shelf* const shelf = new Shelf;
        return *shelf;
    }
    // A new record's values, copied into a record given back.
    static const T& fresh() {
        static const T* const record = new T();
        return *record;
    }
};

// A new T, constructed from `args`, whose reference counts share its pool block
// (poolallocation.h); for the recycled classes, a kept record when there is one.
template <typename T, typename... Args>
boost::shared_ptr<T> makeSharedRecord(Args&&... args) {
    if constexpr (RECYCLED<T> && sizeof...(Args) == 0) {
        return RecycledRecords<T>::make();
    } else {
        return boost::allocate_shared<T>(PoolAllocator<T, SharedRecordPoolTag<T>>(),
                                         std::forward<Args>(args)...);
    }
}

}  // namespace vq::eod::detail
