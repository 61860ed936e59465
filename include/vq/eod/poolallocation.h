// Class-wide pooled allocation of records.
//
// Every concrete record class takes its objects from a process-wide, mutex-guarded pool of
// fixed-size blocks of its own size (a Boost.Pool singleton pool that starts with 32 blocks and
// doubles at each growth). Freed blocks go back to the class's pool and stay with the process.
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
#pragma once

#include <cstddef>
#include <new>

#include <boost/pool/singleton_pool.hpp>

#define VQ_EOD_POOL_ALLOCATED(Class)                                                         \
public:                                                                                      \
    static void* operator new(std::size_t size);                                             \
    static void* operator new(std::size_t size, int block_type, const char* file, int line); \
    static void operator delete(void* block, std::size_t size) noexcept;                     \
    static void operator delete(void* block, int block_type, const char* file, int line) noexcept;

#define VQ_EOD_DEFINE_POOL_ALLOCATION(Class)                                    \
    namespace {                                                                 \
    struct Class##PoolTag {};                                                   \
    using Class##Pool = ::boost::singleton_pool<Class##PoolTag, sizeof(Class)>; \
    }                                                                           \
    void* Class::operator new(std::size_t size) {                               \
        if (size != sizeof(Class)) {                                            \
            return ::operator new(size);                                        \
        }                                                                       \
        void* block = Class##Pool::malloc();                                    \
        if (block == nullptr) {                                                 \
            throw std::bad_alloc();                                             \
        }                                                                       \
        return block;                                                           \
    }                                                                           \
    void* Class::operator new(std::size_t size, int, const char*, int) {        \
        return Class::operator new(size);                                       \
    }                                                                           \
    void Class::operator delete(void* block, std::size_t size) noexcept {       \
        if (block == nullptr) {                                                 \
            return;                                                             \
        }                                                                       \
        if (size != sizeof(Class)) {                                            \
            ::operator delete(block);                                           \
        } else {                                                                \
            Class##Pool::free(block);                                           \
        }                                                                       \
    }                                                                           \
    void Class::operator delete(void* block, int, const char*, int) noexcept {  \
        if (block == nullptr) {                                                 \
            return;                                                             \
        }                                                                       \
        if (Class##Pool::is_from(block)) {                                      \
            Class##Pool::free(block);                                           \
        } else {                                                                \
            ::operator delete(block);                                           \
        }                                                                       \
    }
