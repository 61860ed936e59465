// The read context: everything a thread's decoding keeps while it reads records, in one place.
//
// A whole-object read nests: a composite's read reads its sub-objects, each a whole-object read
// of the same buffer. The context holds the innermost read of the thread (which object's data is
// being read, where it ends, what its records do not announce), the limits that bound the work
// of the outermost read (the object budget, the nesting depth of composites), how damage is
// reported, and the refill that may grow the buffer of a stream's read. Reads save the fields
// they change when they begin and restore them when they end, however they end, so that a read
// that fails leaves the context of the read around it as it was.
//
// Bytes that records do not announce (a labelled intersection block's 16) are counted in two
// ways, both here: `own_unannounced` and `unannounced_inside` follow the innermost read and
// count only the records read whole inside it (the size check of a whole-object read), while
// `refill_allowance` counts every record of the refill's buffer that began reading, whether or
// not it was read whole, so that a stream's reader grants and waits for the same bytes however
// a read ended.
#pragma once

#include <cstddef>

#include "vq/eod/serializable.h"

namespace vq::eod::detail {

class BufferRefill;

struct ReadContext {
    // ---- the innermost whole-object read -------------------------------------------------------
    const ByteBuffer* buffer = nullptr;         // the buffer it reads, null outside any read
    int announced_end = -1;                     // where its announced data ends
    unsigned int own_unannounced = 0;           // bytes of its own data that its size leaves out
    unsigned long long unannounced_inside = 0;  // those of the records read whole inside it

    // ---- limits of the outermost read of a buffer ----------------------------------------------
    unsigned long long objects_left = 0;  // objects it may still decode
    int composite_depth = 0;              // composites being read, innermost included

    // ---- reporting -----------------------------------------------------------------------------
    // Set while SerializableFactory::newObject(buffer) runs: damage of the objects nested in the
    // one it reads passes through the status forms, so that newObject raises it as it is.
    bool raise_damage = false;
    // Objects and headers decoded so far: a measure of decoding work for tests.
    unsigned long long decode_work = 0;

    // ---- the refill of a stream's read (bufferrefill_internal.h) --------------------------
    BufferRefill* refill = nullptr;    // the innermost installed, or null
    std::size_t refill_allowance = 0;  // unannounced bytes of its buffer's records so far
};

// The calling thread's read context.
ReadContext& readContext() noexcept;

// Lets the innermost refill, when it is that of `buffer`, grant `count` more bytes
// (bufferrefill_internal.h).
void grantUnannouncedBytes(ReadContext& context, const ByteBuffer& buffer, unsigned int count);

// Called when a record starts reading, with the bytes of its own data that its size leaves out.
inline void allowUnannouncedBytes(ReadContext& context, const ByteBuffer& buffer,
                                  unsigned int count) {
    if (count != 0) {
        grantUnannouncedBytes(context, buffer, count);
    }
}

// Raises SerializableError "Serializable::unSerialize() - more objects than the size of the
// record allows.".
[[noreturn]] void throwObjectBudgetSpent();

// One whole-object read, between its header and its end: sets up the context's innermost read
// and restores the read around it on the way out. It collects what the objects read inside it
// consumed beyond their announced sizes, and hands its own excess on to the read around it when
// it succeeds. The outermost read of a buffer sets the object budget of the whole read; every
// read takes one object from it. The refill of the buffer, if any, may grant the object's
// unannounced bytes from now on.
class ReadScope {
public:
    ReadScope(ReadContext& context, const ByteBuffer& buffer, int data_end, unsigned int own,
              unsigned int data_size)
        : _context(context),
          _outer_buffer(context.buffer),
          _outer_unannounced(context.unannounced_inside),
          _outer_end(context.announced_end),
          _outer_own(context.own_unannounced),
          _outer_objects_left(context.objects_left) {
        allowUnannouncedBytes(context, buffer, own);
        if (context.buffer != &buffer) {
            context.objects_left = Serializable::MAX_OBJECTS_PER_READ_BASE +
                                   data_size / Serializable::MIN_BYTES_PER_OBJECT;
        }
        if (context.objects_left == 0) {
            throwObjectBudgetSpent();
        }
        --context.objects_left;
        ++context.decode_work;
        context.buffer = &buffer;
        context.unannounced_inside = 0;
        context.announced_end = data_end;
        context.own_unannounced = own;
    }
    ~ReadScope() {
        if (_outer_buffer != _context.buffer) {
            _context.objects_left = _outer_objects_left;
        }
        _context.buffer = _outer_buffer;
        _context.unannounced_inside = _outer_unannounced + _excess;
        _context.announced_end = _outer_end;
        _context.own_unannounced = _outer_own;
    }
    ReadScope(const ReadScope&) = delete;
    ReadScope& operator=(const ReadScope&) = delete;

    unsigned long long inside() const { return _context.unannounced_inside; }
    void setExcess(unsigned long long excess) { _excess = excess; }

private:
    ReadContext& _context;
    const ByteBuffer* _outer_buffer;
    unsigned long long _outer_unannounced;
    int _outer_end;
    unsigned int _outer_own;
    unsigned long long _outer_objects_left;
    unsigned long long _excess = 0;
};

}  // namespace vq::eod::detail
