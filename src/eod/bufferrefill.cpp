#include "eod/bufferrefill_internal.h"

#include <algorithm>

#include "vq/eod/serializableerror.h"
#include "vq/eod/serializablefactory.h"

namespace vq::eod::detail {

namespace {
thread_local BufferRefill* installed = nullptr;
}

BufferRefill::BufferRefill(const ByteBuffer& buffer, std::size_t announced_end)
    : _buffer(&buffer),
      _announced_end(announced_end),
      _allowance(0),
      _overrun(false),
      _previous(installed) {
    installed = this;
}

BufferRefill::~BufferRefill() {
    installed = _previous;
}

bool requestBytes(const ByteBuffer& buffer, std::size_t end) {
    BufferRefill* refill = installed;
    if (refill == nullptr || refill->_buffer != &buffer) {
        return false;
    }
    if (end > refill->limit()) {
        refill->_overrun = true;
        return false;
    }
    return refill->fill(end);
}

void allowUnannouncedBytes(const ByteBuffer& buffer, unsigned int count) {
    BufferRefill* refill = installed;
    if (refill != nullptr && refill->_buffer == &buffer) {
        refill->_allowance += count;
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

bool ShortfallRecorder::fill(std::size_t /*end*/) {
    _shortfall = true;
    return false;
}

boost::shared_ptr<Serializable> newObjectIfComplete(const ByteBuffer& buffer, int& read_pos,
                                                    bool& incomplete) {
    incomplete = false;
    if (!SerializableFactory::canDeserialize(buffer, read_pos)) {
        incomplete = true;
        return boost::shared_ptr<Serializable>();
    }
    int data_pos = read_pos + 1;
    unsigned int data_size = 0;
    Serializable::readDataSizeHeader(buffer, data_pos, &data_size);
    ShortfallRecorder recorder(buffer, static_cast<std::size_t>(data_pos) + data_size);
    const int start = read_pos;
    try {
        return SerializableFactory::newObject(buffer, read_pos);
    } catch (const SerializableError&) {
        if (recorder.shortfall() && !recorder.overrun()) {
            read_pos = start;
            incomplete = true;
            return boost::shared_ptr<Serializable>();
        }
        throw;
    }
}

}  // namespace vq::eod::detail
