#include "eod/bufferrefill_internal.h"

#include <algorithm>

#include "vq/eod/serializableerror.h"
#include "vq/eod/serializablefactory.h"

namespace vq::eod::detail {

BufferRefill::BufferRefill(const ByteBuffer& buffer, std::size_t announced_end)
    : _context(readContext()),
      _buffer(&buffer),
      _announced_end(announced_end),
      _overrun(false),
      _previous(_context.refill),
      _previous_allowance(_context.refill_allowance) {
    _context.refill = this;
    _context.refill_allowance = 0;
}

BufferRefill::~BufferRefill() {
    _context.refill = _previous;
    _context.refill_allowance = _previous_allowance;
}

bool requestBytes(const ByteBuffer& buffer, std::size_t end) {
    BufferRefill* refill = readContext().refill;
    if (refill == nullptr || refill->_buffer != &buffer) {
        return false;
    }
    if (end > refill->limit()) {
        refill->_overrun = true;
        return false;
    }
    return refill->fill(end);
}

bool refillStarved(const ByteBuffer& buffer) {
    const BufferRefill* refill = readContext().refill;
    return refill != nullptr && refill->_buffer == &buffer && refill->starved();
}

void grantUnannouncedBytes(ReadContext& context, const ByteBuffer& buffer, unsigned int count) {
    if (context.refill != nullptr && context.refill->_buffer == &buffer) {
        context.refill_allowance += count;
    }
}

StreamRefill::StreamRefill(std::istream& stream, ByteBuffer& buffer, std::size_t announced_end)
    : BufferRefill(buffer, announced_end), _stream(stream), _buffer(buffer) {}

bool StreamRefill::fill(std::size_t end) {
    const std::size_t old_size = _buffer.size();
    _buffer.resize(end);
    _stream.read(reinterpret_cast<char*>(_buffer.data() + old_size),
                 static_cast<std::streamsize>(end - old_size));
    _buffer.resize(old_size + static_cast<std::size_t>(_stream.gcount()));
    _exhausted = _buffer.size() < end;
    return !_exhausted;
}

ArrivedBytesRefill::ArrivedBytesRefill(const ByteBuffer& source, std::size_t offset,
                                       ByteBuffer& copy)
    : BufferRefill(copy, copy.size()), _source(source), _offset(offset), _copy(copy) {}

bool ArrivedBytesRefill::fill(std::size_t end) {
    const std::size_t arrived = std::min(end, _source.size() - _offset);
    if (arrived > _copy.size()) {
        const auto from = _source.begin() + static_cast<std::ptrdiff_t>(_offset);
        _copy.insert(_copy.end(), from + static_cast<std::ptrdiff_t>(_copy.size()),
                     from + static_cast<std::ptrdiff_t>(arrived));
    }
    _shortfall = _shortfall || arrived < end;
    return arrived == end;
}

boost::shared_ptr<Serializable> newObjectIfComplete(const ByteBuffer& buffer, int& read_pos,
                                                    bool& incomplete, std::size_t* wait_for) {
    incomplete = false;
    if (!SerializableFactory::canDeserialize(buffer, read_pos)) {
        incomplete = true;
        return boost::shared_ptr<Serializable>();
    }
    int data_pos = read_pos + 1;
    unsigned int data_size = 0;
    Serializable::readDataSizeHeader(buffer, data_pos, &data_size);
    const auto start = buffer.begin() + read_pos;
    ByteBuffer record(start, buffer.begin() + data_pos + static_cast<int>(data_size));
    ArrivedBytesRefill refill(buffer, static_cast<std::size_t>(read_pos), record);
    int pos = 0;
    try {
        boost::shared_ptr<Serializable> object = SerializableFactory::newObject(record, pos);
        read_pos += pos;
        return object;
    } catch (const SerializableError&) {
        // A read that stopped at bytes still to come would have gone on, and might have failed
        // elsewhere, had they been there: only a read that had every byte it asked for decides.
        if (refill.shortfall()) {
            incomplete = true;
            if (wait_for != nullptr) {
                // The record holds at least the unannounced bytes of the records met so far.
                *wait_for = refill.limit();
            }
            return boost::shared_ptr<Serializable>();
        }
        throw;
    }
}

}  // namespace vq::eod::detail
