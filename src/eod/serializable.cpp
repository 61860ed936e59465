#include "vq/eod/serializable.h"

#include <ostream>

#include "eod/precondition_internal.h"
#include "vq/eod/serializableerror.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(Serializable)

Serializable::~Serializable() = default;

bool Serializable::serializeEnabled() const {
    return true;
}

bool Serializable::forbidDuplicateSiblings() const {
    return true;
}

void Serializable::readFromBufferWithStatus(const ByteBuffer& buffer, int& read_pos,
                                            unsigned int& /*status*/) {
    readFromBuffer(buffer, read_pos);
}

// ---- whole objects ---------------------------------------------------------------------------

void Serializable::serialize(ByteBuffer& buffer) const {
    if (!serializeEnabled()) {
        throw SerializableError("Serializable::serialize() - trying to serialize invalid object.");
    }
    const unsigned int data_bytes = numDataBytes();
    const std::size_t total = data_bytes + numHeaderBytes(data_bytes);
    if (buffer.capacity() - buffer.size() < total) {
        buffer.reserve(buffer.size() + total);
    }
    buffer.push_back(static_cast<unsigned char>(objectID()));
    writeDataSizeHeader(buffer, data_bytes);
    appendBuffer(buffer);
}

unsigned int Serializable::numTotalBytes() const {
    const unsigned int data_bytes = numDataBytes();
    return data_bytes + numHeaderBytes(data_bytes);
}

bool Serializable::unSerialize(const ByteBuffer& buffer, int& read_pos) {
    return readWholeObject(buffer, read_pos, nullptr);
}

bool Serializable::unSerializeWithStatus(const ByteBuffer& buffer, int& read_pos,
                                         unsigned int& status) {
    return readWholeObject(buffer, read_pos, &status);
}

// Reads header and data of one object of this class. Without a status word an incomplete object
// gives false and a size mismatch raises; with one, both are reported there. read_pos moves only
// on success.
bool Serializable::readWholeObject(const ByteBuffer& buffer, int& read_pos, unsigned int* status) {
    VQ_REQUIRE(read_pos >= 0, "negative read_pos");
    auto incomplete = [status] {
        if (status != nullptr) {
            *status |= status::INSUFFICIENT_DATA;
        }
        return false;
    };
    if (static_cast<std::size_t>(read_pos) > buffer.size() ||
        buffer.size() - static_cast<std::size_t>(read_pos) < minHeaderBytes()) {
        return incomplete();
    }
    if (static_cast<char>(buffer[read_pos]) != objectID()) {
        throw SerializableError(
            "Serializable::unSerialize() - objectid in buffer does not match this object.");
    }
    int pos = read_pos + 1;
    unsigned int data_size = 0;
    if (!readDataSizeHeader(buffer, pos, &data_size)) {
        return incomplete();
    }
    const int data_start = pos;
    if (status != nullptr) {
        readFromBufferWithStatus(buffer, pos, *status);
    } else {
        readFromBuffer(buffer, pos);
    }
    if (static_cast<unsigned int>(pos - data_start) != data_size) {
        if (status == nullptr) {
            throw SerializableError("Serializable::unSerialize() - data_size in header wrong.");
        }
        *status |= status::SIZE_MISMATCH;
        return false;
    }
    read_pos = pos;
    return true;
}

void Serializable::writeToBinaryStream(std::ostream& stream) const {
    VQ_REQUIRE(!stream.fail(), "output_stream not valid");
    ByteBuffer buffer;
    buffer.reserve(numTotalBytes());
    serialize(buffer);
    stream.write(reinterpret_cast<const char*>(buffer.data()),
                 static_cast<std::streamsize>(buffer.size()));
}

std::ostream& operator<<(std::ostream& stream, const Serializable& object) {
    object.printLine(stream);
    return stream;
}

// ---- header ----------------------------------------------------------------------------------

void Serializable::writeHeader(ByteBuffer& buffer, char object_id, unsigned int data_size) {
    buffer.push_back(static_cast<unsigned char>(object_id));
    writeDataSizeHeader(buffer, data_size);
}

void Serializable::writeDataSizeHeader(ByteBuffer& buffer, unsigned int data_size) {
    if (!extendedHeaderSize(data_size)) {
        appendValue(buffer, static_cast<unsigned short>(data_size));
    } else {
        appendValue(buffer, extendedHeaderSizeMagicCookie());
        appendValue(buffer, data_size);
    }
}

bool Serializable::readDataSizeHeader(const ByteBuffer& buffer, int& read_pos,
                                      unsigned int* data_size) {
    // Remaining bytes counted in 64 bits, so a negative or huge position cannot wrap.
    auto remaining = [&](int pos) {
        return static_cast<long long>(buffer.size()) - static_cast<long long>(pos);
    };
    if (remaining(read_pos) < 2) {
        return false;
    }
    unsigned short short_size = 0;
    readValue(buffer, read_pos, short_size);
    unsigned int size = short_size;
    if (short_size == extendedHeaderSizeMagicCookie()) {
        if (remaining(read_pos) < 4) {
            return false;
        }
        readValue(buffer, read_pos, size);
    }
    // A position past the data must stay addressable by the signed 32-bit read position.
    if (remaining(read_pos) < static_cast<long long>(size) ||
        static_cast<long long>(read_pos) + size > INT_MAX) {
        return false;
    }
    if (data_size != nullptr) {
        *data_size = size;
    }
    return true;
}

// ---- append primitives -----------------------------------------------------------------------

void Serializable::append1Byte(ByteBuffer& buffer, const char* src) {
    buffer.push_back(static_cast<unsigned char>(*src));
}

void Serializable::append2Bytes(ByteBuffer& buffer, const char* src) {
    std::uint16_t value;
    std::memcpy(&value, src, sizeof(value));
    appendValue(buffer, value);
}

void Serializable::append4Bytes(ByteBuffer& buffer, const char* src) {
    std::uint32_t value;
    std::memcpy(&value, src, sizeof(value));
    appendValue(buffer, value);
}

void Serializable::append8Bytes(ByteBuffer& buffer, const char* src) {
    std::uint64_t value;
    std::memcpy(&value, src, sizeof(value));
    appendValue(buffer, value);
}

void Serializable::appendNBytes(ByteBuffer& buffer, const char* src, int num_bytes) {
    switch (num_bytes) {
        case 1:
            append1Byte(buffer, src);
            break;
        case 2:
            append2Bytes(buffer, src);
            break;
        case 4:
            append4Bytes(buffer, src);
            break;
        case 8:
            append8Bytes(buffer, src);
            break;
        default:
            VQ_PRECONDITION_FAILED("num_bytes should be one of 1, 2, 4 or 8");
    }
}

void Serializable::appendRawBytes(ByteBuffer& buffer, const char* src, unsigned int count) {
    if (count == 0) {
        return;
    }
    VQ_REQUIRE(src != nullptr, "array is NULL");
    buffer.insert(buffer.end(), reinterpret_cast<const unsigned char*>(src),
                  reinterpret_cast<const unsigned char*>(src) + count);
}

void Serializable::appendBuffer(ByteBuffer& buffer, const std::string& value) {
    buffer.insert(buffer.end(), value.begin(), value.end());
    buffer.push_back(0);
}

void Serializable::appendBuffer(ByteBuffer& buffer, bool value) {
    buffer.push_back(value ? 1 : 0);
}

// ---- read primitives -------------------------------------------------------------------------

void Serializable::read1Byte(const ByteBuffer& buffer, int& read_pos, char* dst) {
    checkReadPos(buffer, read_pos, 1);
    *dst = static_cast<char>(buffer[read_pos]);
    read_pos += 1;
}

void Serializable::read2Bytes(const ByteBuffer& buffer, int& read_pos, char* dst) {
    std::uint16_t value;
    readValue(buffer, read_pos, value);
    std::memcpy(dst, &value, sizeof(value));
}

void Serializable::read4Bytes(const ByteBuffer& buffer, int& read_pos, char* dst) {
    std::uint32_t value;
    readValue(buffer, read_pos, value);
    std::memcpy(dst, &value, sizeof(value));
}

void Serializable::read8Bytes(const ByteBuffer& buffer, int& read_pos, char* dst) {
    std::uint64_t value;
    readValue(buffer, read_pos, value);
    std::memcpy(dst, &value, sizeof(value));
}

void Serializable::readNBytes(const ByteBuffer& buffer, int& read_pos, char* dst, int num_bytes) {
    switch (num_bytes) {
        case 1:
            read1Byte(buffer, read_pos, dst);
            break;
        case 2:
            read2Bytes(buffer, read_pos, dst);
            break;
        case 4:
            read4Bytes(buffer, read_pos, dst);
            break;
        case 8:
            read8Bytes(buffer, read_pos, dst);
            break;
        default:
            VQ_PRECONDITION_FAILED("num_bytes should be one of 1, 2, 4 or 8");
    }
}

void Serializable::readRawBytes(const ByteBuffer& buffer, int& read_pos, unsigned char* dst,
                                unsigned long long count) {
    VQ_REQUIRE(dst != nullptr, "array is NULL");
    checkReadPos(buffer, read_pos, count);
    if (count == 0) {
        return;
    }
    std::memcpy(dst, buffer.data() + read_pos, static_cast<std::size_t>(count));
    read_pos += static_cast<int>(count);
}

void Serializable::readBuffer(const ByteBuffer& buffer, int& read_pos, std::string& value) {
    VQ_REQUIRE(read_pos >= 0, "read_pos is negative");
    const std::size_t start = static_cast<std::size_t>(read_pos);
    if (start >= buffer.size()) {
        read_pos = static_cast<int>(buffer.size());
        throw SerializableError("Serializable::readBuffer() - Missing terminator for string.");
    }
    const void* terminator = std::memchr(buffer.data() + start, 0, buffer.size() - start);
    if (terminator == nullptr) {
        read_pos = static_cast<int>(buffer.size());
        throw SerializableError("Serializable::readBuffer() - Missing terminator for string.");
    }
    const std::size_t end = static_cast<const unsigned char*>(terminator) - buffer.data();
    value.assign(reinterpret_cast<const char*>(buffer.data()) + start, end - start);
    read_pos = static_cast<int>(end + 1);
}

void Serializable::readBuffer(const ByteBuffer& buffer, int& read_pos, bool& value) {
    checkReadPos(buffer, read_pos, 1);
    value = buffer[read_pos] != 0;
    read_pos += 1;
}

void Serializable::throwNegativeReadPos() {
    VQ_PRECONDITION_FAILED("read_pos is negative");
}

void Serializable::throwReadPastEnd() {
    throw SerializableError("Serializable::checkReadPos() - Attempt to read past end of buffer.");
}

}  // namespace vq::eod
