// Reading records that announce fewer bytes than they hold.
//
// A record with a labelled intersection block writes 16 bytes more than its size formula counts
// (its four entry counts are 8 bytes each but counted as 4), so its header, and the header of
// every record that encloses it, announces fewer bytes than follow. Recordings made this way are
// read back exactly, without loosening the size checks for anything else:
//
// - Serializable::numUnannouncedDataBytes() tells how many bytes of a record's own data its size
//   does not count (16 for a labelled block, 0 for every other record). A whole-object read
//   requires the bytes consumed to equal the announced size, plus the record's own unannounced
//   bytes, plus the bytes that the sub-objects read inside it consumed beyond their announced
//   sizes.
// - While one top-level object is read, a BufferRefill may be installed for its buffer. When a
//   read needs bytes beyond the end of the buffer, the refill is asked for them. It may grant
//   them only up to the object's announced end plus the unannounced bytes of the records met so
//   far in the read, so an ordinary record can never read past its announced end. A StreamRefill
//   reads exactly the bytes granted from a stream (a record file is read without touching the next
//   record); an ArrivedBytesRefill grants a copy of one record the bytes that have arrived after
//   it and notes a request for more, so that a socket reader can tell an object whose last bytes
//   have not yet arrived from a damaged one.
#pragma once

#include <cstddef>
#include <istream>

#include <boost/shared_ptr.hpp>

#include "eod/readcontext_internal.h"
#include "vq/eod/recordheader.h"
#include "vq/eod/serializable.h"

namespace vq::eod::detail {

class BufferRefill {
public:
    // Installs this refill for `buffer` in the calling thread's read context until it is
    // destroyed (refills nest). `announced_end` is the position where the top-level object's
    // announced data ends.
    BufferRefill(const ByteBuffer& buffer, std::size_t announced_end);
    virtual ~BufferRefill();
    BufferRefill(const BufferRefill&) = delete;
    BufferRefill& operator=(const BufferRefill&) = delete;

    // The largest end that may be granted now: the announced end plus the unannounced bytes of
    // the records read so far (counted in the read context while this refill is the innermost).
    std::size_t limit() const { return _announced_end + _context.refill_allowance; }
    // Whether a read asked for bytes beyond limit(): the data is damaged.
    bool overrun() const { return _overrun; }
    // Whether a read asked for bytes within limit() that did not come (yet).
    virtual bool starved() const = 0;

protected:
    // Makes the buffer hold at least `end` bytes (end <= limit()); returns whether it does.
    virtual bool fill(std::size_t end) = 0;

private:
    friend bool requestBytes(const ByteBuffer& buffer, std::size_t end);
    friend void grantUnannouncedBytes(ReadContext& context, const ByteBuffer& buffer,
                                      unsigned int count);
    friend bool refillStarved(const ByteBuffer& buffer);

    ReadContext& _context;
    const ByteBuffer* _buffer;
    std::size_t _announced_end;
    bool _overrun;
    BufferRefill* _previous;
    std::size_t _previous_allowance;
};

// Whether the refill installed for `buffer` has been asked for bytes that did not come.
bool refillStarved(const ByteBuffer& buffer);

// Asks the refill installed for `buffer`, if any, to make it hold `end` bytes.
bool requestBytes(const ByteBuffer& buffer, std::size_t end);

// Whether `buffer` holds at least `end` bytes, after asking its refill for more.
inline bool ensureAvailable(const ByteBuffer& buffer, std::size_t end) {
    return buffer.size() >= end || requestBytes(buffer, end);
}

// During a whole-object read of `buffer`: where the data of the innermost object being read
// ends, its own unannounced bytes and those of the records read inside it so far included. A
// sub-object must end there. SIZE_MAX when no object of `buffer` is being read.
std::size_t enclosingDataEnd(const ByteBuffer& buffer);

// Parses the header of the record at `pos` and whether the whole record, as announced, is in
// `buffer` (asking its refill) and inside enclosingDataEnd(buffer); false when it is not.
bool readRecordHeader(const ByteBuffer& buffer, int pos, RecordHeader& header);

// Objects and headers decoded on this thread so far: a measure of decoding work for tests.
VQ_EOD_API unsigned long long& decodeWork();

// Reads granted bytes from a stream, exactly as many as asked for.
class StreamRefill : public BufferRefill {
public:
    StreamRefill(std::istream& stream, ByteBuffer& buffer, std::size_t announced_end);
    // Whether the stream ended before a granted request was met: the object is truncated.
    bool exhausted() const { return _exhausted; }
    bool starved() const override { return _exhausted; }

protected:
    bool fill(std::size_t end) override;

private:
    std::istream& _stream;
    ByteBuffer& _buffer;
    bool _exhausted = false;
};

// Serves a copy of one record that is read on its own: grants it the bytes that follow the
// record in the buffer it came from, as far as they have arrived, and notes whether a read asked
// for bytes that may still come.
class ArrivedBytesRefill : public BufferRefill {
public:
    // `copy` holds the bytes of `source` from `offset` to the record's announced end.
    ArrivedBytesRefill(const ByteBuffer& source, std::size_t offset, ByteBuffer& copy);
    // Whether a read asked for bytes beyond those that have arrived but within limit().
    bool shortfall() const { return _shortfall; }
    bool starved() const override { return _shortfall; }

protected:
    bool fill(std::size_t end) override;

private:
    const ByteBuffer& _source;
    std::size_t _offset;
    ByteBuffer& _copy;
    bool _shortfall = false;
};

// Reads one whole object at read_pos like SerializableFactory::newObject(buffer, read_pos), for a
// buffer whose end may cut the object short. When the object is merely incomplete (its header or
// its announced data, or the unannounced bytes of its records, are not all there yet) it returns
// null with `incomplete` set and read_pos unchanged; a damaged object raises as newObject does.
// The object is read from a copy of its announced bytes, so what follows it in `buffer` (another
// record, or nothing yet) never changes the outcome: a read past the object's end plus its
// unannounced bytes is damage however many bytes have arrived, and a read that asked for bytes
// that have not arrived yet is incomplete, whatever else went wrong in it.
// When it is incomplete for want of bytes beyond its announced end, `wait_for` (if given) gets
// how many bytes from read_pos the record needs at least: decoding it again before they are
// there would stop at the same place.
VQ_EOD_API boost::shared_ptr<Serializable> newObjectIfComplete(const ByteBuffer& buffer,
                                                               int& read_pos, bool& incomplete,
                                                               std::size_t* wait_for = nullptr);

}  // namespace vq::eod::detail
