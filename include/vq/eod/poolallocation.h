// Class-wide pooled allocation of records.
//
// Every concrete record class takes its objects from a process-wide, mutex-guarded pool of
// fixed-size blocks of its own size (a Boost.Pool singleton pool that starts with 32 blocks and
// doubles at each growth). Freed blocks go back to the class's pool and stay with the process.
// The mutex is a spin lock: a pool holds it only to take a block from its free list or to put
// one back, a few instructions, and a spin lock costs far less than a system mutex for that.
//
// A class opts in with one line in its body and one line in its source file:
//
//     class HeadOutputData : public EngineOutputBase {
//         VQ_EOD_POOL_ALLOCATED(HeadOutputData)
//         ...
//     };
//     VQ_EOD_DEFINE_POOL_ALLOCATION(HeadOutputData)      // in headoutputdata.cpp
//
// The operators are defined out of line so that each pool lives in the module that defines the
// class: a record made by the library can be released from any program that links it. A class
// that inherits the operators of its base without declaring its own (an application's subclass
// of a record, say) gets ordinary heap blocks of its real size rather than too small pool blocks.
//
// Records that the library rebuilds from bytes are made with boost::allocate_shared and a
// PoolAllocator tagged with their class: the record and its reference counts share one block of
// that class's pool for shared records. The sub-object maps of composites take their nodes from a
// PoolAllocator pool too. The library instantiates these allocators only in its own sources, so
// the blocks that it hands out also go back to its pools, whichever module drops the last
// reference.
#pragma once

#include <atomic>
#include <cstddef>
#include <new>
#include <thread>

#include <boost/pool/singleton_pool.hpp>

namespace vq::eod::detail {

// The mutex of the pools (see above); a waiting thread yields its time slice between tries.
class PoolMutex {
public:
    void lock() noexcept {
        while (_locked.exchange(true, std::memory_order_acquire)) {
            while (_locked.load(std::memory_order_relaxed)) {
                std::this_thread::yield();
            }
        }
    }
    void unlock() noexcept { _locked.store(false, std::memory_order_release); }

private:
    std::atomic<bool> _locked{false};
};

// The process-wide pool of blocks of Size bytes for Tag.
template <typename Tag, std::size_t Size>
using SingletonPool =
    ::boost::singleton_pool<Tag, Size, ::boost::default_user_allocator_new_delete, PoolMutex>;

// Allocates single objects of T from a process-wide, mutex-guarded pool of blocks of sizeof(T),
// one pool per Tag and size; arrays come from the heap. Rebinding keeps the tag.
template <typename T, typename Tag>
class PoolAllocator {
public:
    using value_type = T;
    template <typename U>
    struct rebind {
        using other = PoolAllocator<U, Tag>;
    };

    PoolAllocator() noexcept = default;
    template <typename U>
    PoolAllocator(const PoolAllocator<U, Tag>& /*other*/) noexcept {}

    T* allocate(std::size_t count) {
        if (count != 1) {
            return static_cast<T*>(::operator new(count * sizeof(T)));
        }
        void* const block = Pool::malloc();
        if (block == nullptr) {
            throw std::bad_alloc();
        }
        return static_cast<T*>(block);
    }
    void deallocate(T* block, std::size_t count) noexcept {
        if (count != 1) {
            ::operator delete(block);
        } else {
            Pool::free(block);
        }
    }

    template <typename U>
    bool operator==(const PoolAllocator<U, Tag>& /*other*/) const noexcept {
        return true;
    }
    template <typename U>
    bool operator!=(const PoolAllocator<U, Tag>& /*other*/) const noexcept {
        return false;
    }

private:
    using Pool = SingletonPool<Tag, sizeof(T)>;
};

// The tag of the pool of class Class's shared records.
template <typename Class>
struct SharedRecordPoolTag {};

}  // namespace vq::eod::detail

#define VQ_EOD_POOL_ALLOCATED(Class)                                                         \
public:                                                                                      \
    static void* operator new(std::size_t size);                                             \
    static void* operator new(std::size_t size, int block_type, const char* file, int line); \
    static void operator delete(void* block, std::size_t size) noexcept;                     \
    static void operator delete(void* block, int block_type, const char* file, int line) noexcept;

#define VQ_EOD_DEFINE_POOL_ALLOCATION(Class)                                             \
    namespace {                                                                          \
    struct Class##PoolTag {};                                                            \
    using Class##Pool = ::vq::eod::detail::SingletonPool<Class##PoolTag, sizeof(Class)>; \
    }                                                                                    \
    void* Class::operator new(std::size_t size) {                                        \
        if (size != sizeof(Class)) {                                                     \
            return ::operator new(size);                                                 \
        }                                                                                \
        void* block = Class##Pool::malloc();                                             \
        if (block == nullptr) {                                                          \
            throw std::bad_alloc();                                                      \
        }                                                                                \
        return block;                                                                    \
    }                                                                                    \
    void* Class::operator new(std::size_t size, int, const char*, int) {                 \
        return Class::operator new(size);                                                \
    }                                                                                    \
    void Class::operator delete(void* block, std::size_t size) noexcept {                \
        if (block == nullptr) {                                                          \
            return;                                                                      \
        }                                                                                \
        if (size != sizeof(Class)) {                                                     \
            ::operator delete(block);                                                    \
        } else {                                                                         \
            Class##Pool::free(block);                                                    \
        }                                                                                \
    }                                                                                    \
    void Class::operator delete(void* block, int, const char*, int) noexcept {           \
        if (block == nullptr) {                                                          \
            return;                                                                      \
        }                                                                                \
        if (Class##Pool::is_from(block)) {                                               \
            Class##Pool::free(block);                                                    \
        } else {                                                                         \
            ::operator delete(block);                                                    \
        }                                                                                \
    }
