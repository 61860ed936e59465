#include "vq/eod/serializable.h"

#include <algorithm>
#include <ostream>

#include "eod/bufferrefill_internal.h"
#include "eod/precondition_internal.h"
#include "eod/recordwriter_internal.h"
#include "vq/eod/serializableerror.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(Serializable)

namespace {

// Bytes that the sub-objects read inside the object being read consumed beyond their announced
// sizes, and the announced end of that object's data.
thread_local unsigned long long unannounced_inside = 0;
thread_local int announced_data_end = -1;

// Collects what the objects read inside one whole-object read consumed beyond their announced
// sizes, and hands that object's own excess on to the read around it.
class ReadScope {
public:
    explicit ReadScope(int data_end)
        : _outer_unannounced(unannounced_inside), _outer_end(announced_data_end) {
        unannounced_inside = 0;
        announced_data_end = data_end;
    }
    ~ReadScope() {
        unannounced_inside = _outer_unannounced + _excess;
        announced_data_end = _outer_end;
    }
    ReadScope(const ReadScope&) = delete;
    ReadScope& operator=(const ReadScope&) = delete;

    unsigned long long inside() const { return unannounced_inside; }
    void setExcess(unsigned long long excess) { _excess = excess; }

private:
    unsigned long long _outer_unannounced;
    int _outer_end;
    unsigned long long _excess = 0;
};

}  // namespace

Serializable::~Serializable() = default;

bool Serializable::serializeEnabled() const {
    return true;
}

bool Serializable::forbidDuplicateSiblings() const {
    return true;
}

unsigned int Serializable::numUnannouncedDataBytes() const {
    return 0;
}

int Serializable::announcedDataEnd() {
    return announced_data_end;
}

void Serializable::readFromBufferWithStatus(const ByteBuffer& buffer, int& read_pos,
                                            unsigned int& /*status*/) {
    readFromBuffer(buffer, read_pos);
}

// ---- whole objects ---------------------------------------------------------------------------

void Serializable::serialize(ByteBuffer& buffer) const {
    if (!serializeEnabled()) {
        throwSerializeDisabled();
    }
    detail::RecordWriter::append(*this, buffer);
}

void Serializable::throwSerializeDisabled() {
    throw SerializableError("Serializable::serialize() - trying to serialize invalid object.");
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
    if (!detail::ensureAvailable(buffer, static_cast<std::size_t>(read_pos) + minHeaderBytes())) {
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
    const unsigned int own_unannounced = numUnannouncedDataBytes();
    detail::allowUnannouncedBytes(buffer, own_unannounced);
    ReadScope scope(data_start + static_cast<int>(data_size));
    if (status != nullptr) {
        readFromBufferWithStatus(buffer, pos, *status);
    } else {
        readFromBuffer(buffer, pos);
    }
    const unsigned long long consumed = static_cast<unsigned long long>(pos - data_start);
    if (consumed != data_size + own_unannounced + scope.inside()) {
        if (status == nullptr) {
            throw SerializableError("Serializable::unSerialize() - data_size in header wrong.");
        }
        *status |= status::SIZE_MISMATCH;
        return false;
    }
    scope.setExcess(consumed - data_size);
    read_pos = pos;
    return true;
}

void Serializable::writeToBinaryStream(std::ostream& stream) const {
    VQ_REQUIRE(!stream.fail(), "output_stream not valid");
    if (!serializeEnabled()) {
        throwSerializeDisabled();
    }
    const detail::SerializedBytes bytes = detail::RecordWriter::view(*this);
    stream.write(reinterpret_cast<const char*>(bytes.data),
                 static_cast<std::streamsize>(bytes.size));
}

std::ostream& operator<<(std::ostream& stream, const Serializable& object) {
    object.printLine(stream);
    return stream;
}

// ---- header ----------------------------------------------------------------------------------

void Serializable::writeHeader(ByteBuffer& buffer, char object_id, unsigned int data_size) {
    buffer.push_back(static_cast<unsigned char>(object_id));
    if (!extendedHeaderSize(data_size)) {
        buffer.push_back(static_cast<unsigned char>(data_size >> 8));
        buffer.push_back(static_cast<unsigned char>(data_size));
        return;
    }
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
    if (read_pos < 0 || !detail::ensureAvailable(buffer, static_cast<std::size_t>(read_pos) + 2)) {
        return false;
    }
    unsigned short short_size = 0;
    readValue(buffer, read_pos, short_size);
    unsigned int size = short_size;
    if (short_size == extendedHeaderSizeMagicCookie()) {
        if (!detail::ensureAvailable(buffer, static_cast<std::size_t>(read_pos) + 4)) {
            return false;
        }
        readValue(buffer, read_pos, size);
    }
    // A position past the data must stay addressable by the signed 32-bit read position.
    const unsigned long long end = static_cast<unsigned long long>(read_pos) + size;
    if (end > INT_MAX || !detail::ensureAvailable(buffer, static_cast<std::size_t>(end))) {
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
    std::memcpy(grow(buffer, count), src, count);
}

void Serializable::appendBuffer(ByteBuffer& buffer, const std::string& value) {
    unsigned char* const bytes = grow(buffer, value.size() + 1);
    std::memcpy(bytes, value.data(), value.size());
    bytes[value.size()] = 0;
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
    std::size_t scanned = start;
    for (;;) {
        if (scanned < buffer.size()) {
            const void* terminator =
                std::memchr(buffer.data() + scanned, 0, buffer.size() - scanned);
            if (terminator != nullptr) {
                const std::size_t end = static_cast<std::size_t>(
                    static_cast<const unsigned char*>(terminator) - buffer.data());
                value.assign(reinterpret_cast<const char*>(buffer.data()) + start, end - start);
                read_pos = static_cast<int>(end + 1);
                return;
            }
            scanned = buffer.size();
        }
        // The terminator may still come from the buffer's refill, one byte at a time so that
        // nothing beyond the string is taken.
        if (scanned >= static_cast<std::size_t>(INT_MAX) ||
            !detail::requestBytes(buffer, scanned + 1)) {
            read_pos = static_cast<int>(std::min(buffer.size(), static_cast<std::size_t>(INT_MAX)));
            throw SerializableError("Serializable::readBuffer() - Missing terminator for string.");
        }
    }
}

void Serializable::readBuffer(const ByteBuffer& buffer, int& read_pos, bool& value) {
    checkReadPos(buffer, read_pos, 1);
    value = buffer[read_pos] != 0;
    read_pos += 1;
}

void Serializable::throwNegativeReadPos() {
    VQ_PRECONDITION_FAILED("read_pos is negative");
}

void Serializable::throwFieldBlockOverrun() {
    VQ_PRECONDITION_FAILED("field block overrun");
}

void Serializable::requestOrThrowReadPastEnd(const ByteBuffer& buffer, int read_pos,
                                             unsigned long long count) {
    const unsigned long long end = static_cast<unsigned long long>(read_pos) + count;
    if (count > INT_MAX || end > INT_MAX ||
        !detail::requestBytes(buffer, static_cast<std::size_t>(end))) {
        throwReadPastEnd();
    }
}

void Serializable::throwReadPastEnd() {
    throw SerializableError("Serializable::checkReadPos() - Attempt to read past end of buffer.");
}

}  // namespace vq::eod
