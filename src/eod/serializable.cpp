#include "vq/eod/serializable.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <ostream>

#include "eod/bufferrefill_internal.h"
#include "eod/precondition_internal.h"
#include "eod/readcontext_internal.h"
#include "eod/recordwriter_internal.h"
#include "vq/eod/recordheader.h"
#include "vq/eod/serializableerror.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(Serializable)

namespace {

// The read context of this thread (readcontext_internal.h); constant-initialised, so reaching it
// needs no guard.
thread_local detail::ReadContext context_of_thread;

}  // namespace

void detail::throwObjectBudgetSpent() {
    throw SerializableError(
        "Serializable::unSerialize() - more objects than the size of the record allows.");
}

detail::ReadContext& detail::readContext() noexcept {
    return context_of_thread;
}

std::size_t detail::enclosingDataEnd(const ByteBuffer& buffer) {
    const ReadContext& context = context_of_thread;
    if (context.buffer != &buffer || context.announced_end < 0) {
        return SIZE_MAX;
    }
    return static_cast<std::size_t>(context.announced_end) + context.own_unannounced +
           context.unannounced_inside;
}

unsigned long long& detail::decodeWork() {
    return context_of_thread.decode_work;
}

bool detail::readRecordHeader(const ByteBuffer& buffer, int pos, RecordHeader& header) {
    ++context_of_thread.decode_work;
    const std::size_t start = static_cast<std::size_t>(pos);
    const std::size_t limit = enclosingDataEnd(buffer);
    auto within = [&](std::size_t count) {
        return count <= limit - std::min(limit, start) && start + count <= INT_MAX &&
               ensureAvailable(buffer, start + count);
    };
    std::size_t have = RecordHeader::SHORT_HEADER_BYTES;
    if (!within(have)) {
        return false;
    }
    RecordExtent extent = parseRecordHeader(buffer.data() + start, have, header);
    if (extent == RecordExtent::HEADER_INCOMPLETE) {
        have = RecordHeader::LONG_HEADER_BYTES;
        if (!within(have)) {
            return false;
        }
        extent = parseRecordHeader(buffer.data() + start, have, header);
    }
    return extent == RecordExtent::COMPLETE || within(header.totalBytes());
}

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
    return context_of_thread.announced_end;
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
// on success, so never when the data inside the object is incomplete or mis-sized either.
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
    const unsigned int own = numUnannouncedDataBytes();
    detail::ReadScope scope(context_of_thread, buffer, data_start + static_cast<int>(data_size),
                            own, data_size);
    unsigned int inner_status = 0;
    if (status != nullptr) {
        readFromBufferWithStatus(buffer, pos, inner_status);
        *status |= inner_status;
        if ((inner_status & (status::INSUFFICIENT_DATA | status::SIZE_MISMATCH)) != 0) {
            return false;
        }
    } else {
        readFromBuffer(buffer, pos);
    }
    const unsigned long long consumed = static_cast<unsigned long long>(pos - data_start);
    if (consumed != data_size + own + scope.inside()) {
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

// Steps: fewer than 2 bytes after read_pos give false; the position is then checked (negative
// raises) and the size read; a cookie without its 4 bytes gives false after the cookie; data
// beyond the buffer (or beyond a signed 32-bit position) gives false after the header.
bool Serializable::readDataSizeHeader(const ByteBuffer& buffer, int& read_pos,
                                      unsigned int* data_size) {
    if (read_pos < 0) {
        if (static_cast<long long>(buffer.size()) - read_pos < 2) {
            return false;
        }
        throwNegativeReadPos();
    }
    const std::size_t start = static_cast<std::size_t>(read_pos);
    if (!detail::ensureAvailable(buffer, start + 2)) {
        return false;
    }
    // The size bytes behind a stand-in object ID, for the one header parser.
    unsigned char header_bytes[RecordHeader::LONG_HEADER_BYTES] = {};
    std::size_t size_bytes = 2;
    if (buffer[start] == 0xFF && buffer[start + 1] == 0xFF) {
        if (!detail::ensureAvailable(buffer, start + 6)) {
            read_pos += 2;
            return false;
        }
        size_bytes = 6;
    }
    std::memcpy(header_bytes + 1, buffer.data() + start, size_bytes);
    RecordHeader header;
    parseRecordHeader(header_bytes, size_bytes + 1, header);
    read_pos += static_cast<int>(size_bytes);
    // A position past the data must stay addressable by the signed 32-bit read position.
    const unsigned long long end = static_cast<unsigned long long>(read_pos) + header.data_size;
    if (end > INT_MAX || !detail::ensureAvailable(buffer, static_cast<std::size_t>(end))) {
        return false;
    }
    if (data_size != nullptr) {
        *data_size = header.data_size;
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
