#include "vq/eod/compressedserializable.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <iomanip>
#include <ostream>

#include "eod/precondition_internal.h"
#include "vq/eod/serializableerror.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(CompressedSerializable)

CompressedSerializable::CompressedSerializable() = default;
CompressedSerializable::CompressedSerializable(const CompressedSerializable& other) = default;
CompressedSerializable& CompressedSerializable::operator=(const CompressedSerializable& other) =
    default;
CompressedSerializable::~CompressedSerializable() = default;

char CompressedSerializable::objectID() const {
    return THIS_OBJECT_ID;
}

unsigned int CompressedSerializable::numDataBytes() const {
    return 4 + static_cast<unsigned int>(_payload.size());
}

CompressedSerializable* CompressedSerializable::clone() const {
    return new CompressedSerializable(*this);
}

void CompressedSerializable::printLine(std::ostream& stream) const {
    stream << std::setw(15) << _payload.size() << ' ';
}

void CompressedSerializable::printHeader(std::ostream& stream) const {
    stream << std::setw(15) << "DATA_SIZE" << ' ';
}

void CompressedSerializable::setPayload(ByteBuffer payload) {
    // The whole object (7-byte header, length, payload) must stay addressable by a read position.
    VQ_REQUIRE(payload.size() <= static_cast<std::size_t>(INT_MAX) - 16,
               "payload too large for one object");
    _payload = std::move(payload);
}

void CompressedSerializable::appendBuffer(ByteBuffer& buffer) const {
    appendValue(buffer, static_cast<std::uint32_t>(_payload.size()));
    appendRawBytes(buffer, reinterpret_cast<const char*>(_payload.data()),
                   static_cast<unsigned int>(_payload.size()));
}

void CompressedSerializable::readFromBuffer(const ByteBuffer& buffer, int& read_pos) {
    std::uint32_t length = 0;
    readValue(buffer, read_pos, length);
    std::size_t data_end = buffer.size();
    if (announcedDataEnd() >= 0) {
        data_end = std::min(data_end, static_cast<std::size_t>(announcedDataEnd()));
    }
    if (static_cast<std::size_t>(read_pos) > data_end ||
        length > data_end - static_cast<std::size_t>(read_pos)) {
        throw SerializableError("data_size in header exceeds amount of data in buffer");
    }
    if (length == 0) {
        return;
    }
    const std::size_t old_size = _payload.size();
    _payload.resize(old_size + length);
    readRawBytes(buffer, read_pos, _payload.data() + old_size, length);
}

}  // namespace vq::eod
