// Serializable: the abstract base of every record, and the record encoding.
//
// Every record travels as one serialised object:
//
//     offset 0      1 byte   object ID (the record class; never 0 in a valid stream)
//     offset 1      2 bytes  data size, big-endian, when the size is below 65535
//                   or 0xFF 0xFF followed by 4 bytes of data size, big-endian (size >= 65535)
//     offset 3 / 7  size     the record's data, written by its appendBuffer hook
//
// The size counts the data only. A reader that does not know an object ID skips the object by
// its size. Inside the data, integers are big-endian, floats and doubles are their IEEE-754 bit
// patterns big-endian, a bool is one byte (1 or 0; any non-zero byte reads as true), a string is
// its bytes and one 0 byte.
//
// Readers take the buffer by constant reference and a signed 32-bit read position by reference,
// which each read advances past what it consumed. Every read is checked against the bytes that
// remain before anything is copied: a short buffer raises SerializableError, never reads past
// the end. A negative read position is a programming error (std::invalid_argument).
//
// The buffer a read hook is given can grow while a stream is read: a record file reader, the
// stream forms of SerializableFactory and the frame client hold one record's announced bytes,
// and when a field read needs bytes beyond them (the unannounced bytes of a labelled
// intersection block, never more) they are appended to the buffer before the read returns. A
// hook therefore reads through the field decoders below, which ask for those bytes, and keeps no
// pointer, reference or iterator into the buffer's bytes, nor its size, across a field read.
//
// Objects are not internally locked: one thread uses an object at a time. Records are held
// through boost::shared_ptr; each concrete class allocates from its own pool (poolallocation.h),
// shared by all threads.
#pragma once

#include <climits>
#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

#include "vq/eod/byteorder.h"
#include "vq/eod/export.h"
#include "vq/eod/poolallocation.h"

namespace vq::eod {

// A growable byte buffer; writers append at its end.
using ByteBuffer = std::vector<unsigned char>;

// Status bits that the ...WithStatus operations OR into the caller's status word. The library
// never clears a bit; callers start from 0.
namespace status {
constexpr unsigned int UNKNOWN_OBJECT_ID = 1;  // no class registered for the object ID
constexpr unsigned int INSUFFICIENT_DATA = 4;  // fewer bytes than the header or the size needs
constexpr unsigned int SIZE_MISMATCH = 8;      // the data read differs from the announced size
}  // namespace status

namespace detail {
struct SerializableProbe;  // test access to the private primitives
class RecordReader;        // reads whole objects for the factory
class RecordWriter;        // writes whole objects (serialize)
}  // namespace detail

class VQ_EOD_API Serializable {
public:
    // The object ID that no class uses: "no object".
    static constexpr char ERROR_ID = 0;
    // Memory bound of a read: one whole-object read, with everything nested in it, decodes at
    // most MAX_OBJECTS_PER_READ_BASE objects plus one per MIN_BYTES_PER_OBJECT bytes of the
    // outermost object's announced size; a denser object is refused as damaged ("more objects
    // than the size of the record allows.").
    static constexpr unsigned int MAX_OBJECTS_PER_READ_BASE = 4096;
    static constexpr unsigned int MIN_BYTES_PER_OBJECT = 64;

    Serializable() = default;
    Serializable(const Serializable&) = default;
    Serializable& operator=(const Serializable&) = default;
    virtual ~Serializable();

    // ---- the record contract -----------------------------------------------------------------
    virtual char objectID() const = 0;
    // Size of the data part of the encoding, header excluded.
    virtual unsigned int numDataBytes() const = 0;
    // Whether the record takes part in serialisation (default true).
    virtual bool serializeEnabled() const;
    // A deep copy allocated from the class's pool; the caller owns it.
    virtual Serializable* clone() const = 0;
    // One line of values / the matching column titles. Every column is a field of width 15
    // followed by one blank.
    virtual void printLine(std::ostream& stream) const = 0;
    virtual void printHeader(std::ostream& stream) const = 0;
    // Whether a composite may hold only one object of this class (default true).
    virtual bool forbidDuplicateSiblings() const;
    // Bytes of the record's own data (sub-objects not included) that numDataBytes() does not
    // count, and its header therefore does not announce: 0 for every record except those with a
    // labelled intersection block, which count its four 8-byte entry counts as 4 bytes each (16).
    // Every record that encloses such a record announces that many bytes fewer than follow; the
    // readers allow for exactly these bytes and no others.
    virtual unsigned int numUnannouncedDataBytes() const;

    // ---- whole objects -----------------------------------------------------------------------
    // Appends the header and the data. Raises SerializableError when serializeEnabled() is false.
    // Written in one pass: the header's size is that of the bytes the hooks wrote, less the
    // numUnannouncedDataBytes() of the object and of every record inside it (for hooks that
    // write what numDataBytes() counts, numDataBytes()).
    void serialize(ByteBuffer& buffer) const;
    // Header plus data size.
    unsigned int numTotalBytes() const;
    // Reads one whole object of this class at read_pos into this object. Returns false, with
    // nothing consumed, when the buffer does not yet hold the whole object. Raises
    // SerializableError when the object ID differs from objectID() or the data read differs from
    // the size in the header; the object is then partly read and must be discarded.
    bool unSerialize(const ByteBuffer& buffer, int& read_pos);
    // The same, reporting an incomplete object as status::INSUFFICIENT_DATA and a size that does
    // not match as status::SIZE_MISMATCH; read_pos moves past the object only on success, which
    // the result reports. An object ID that differs from objectID() still raises.
    bool unSerializeWithStatus(const ByteBuffer& buffer, int& read_pos, unsigned int& status);
    // Serialises into a temporary buffer and writes it with one unformatted write. A stream that
    // is already failed is a programming error; failures of the write are left in its state.
    void writeToBinaryStream(std::ostream& stream) const;

    // ---- header of a serialised object -------------------------------------------------------
    static unsigned short minHeaderBytes() { return 3; }
    static unsigned short extendedHeaderSizeMagicCookie() { return 0xFFFF; }
    // True when the 7-byte header form is needed (data_size of 65535 or more).
    static bool extendedHeaderSize(unsigned int data_size) { return data_size >= 0xFFFF; }
    static unsigned short numHeaderBytes(unsigned int data_size) {
        return extendedHeaderSize(data_size) ? 7 : 3;
    }
    // Appends the object ID byte and the size header.
    static void writeHeader(ByteBuffer& buffer, char object_id, unsigned int data_size);
    // Reads the size header that starts at read_pos (the byte after the object ID). Returns
    // false when the buffer does not hold the whole header or the whole announced data; read_pos
    // is then unchanged when not even the 2-byte size was there, else left after what was read.
    // False therefore means an incomplete object, never a malformed one. On success stores the
    // size in *data_size (when not null) and leaves read_pos after the header.
    static bool readDataSizeHeader(const ByteBuffer& buffer, int& read_pos,
                                   unsigned int* data_size);

    VQ_EOD_POOL_ALLOCATED(Serializable)

protected:
    // ---- hooks of the record classes ---------------------------------------------------------
    // Appends the data part (no header); must write exactly numDataBytes() bytes.
    virtual void appendBuffer(ByteBuffer& buffer) const = 0;
    // Reads the data part, advancing read_pos. The buffer may grow during the read (see the top
    // of this file).
    virtual void readFromBuffer(const ByteBuffer& buffer, int& read_pos) = 0;
    // The same with status reporting; the default calls readFromBuffer.
    virtual void readFromBufferWithStatus(const ByteBuffer& buffer, int& read_pos,
                                          unsigned int& status);

    // ---- field encoders and decoders for the hooks -------------------------------------------
    // Appends any 1-, 2-, 4- or 8-byte scalar (integers, chars, floats, doubles, enums) in
    // big-endian order.
    template <typename T>
    static void appendValue(ByteBuffer& buffer, T value) {
        byteorder::store(grow(buffer, sizeof(T)), value);
    }
    // Reads a scalar appended by appendValue.
    template <typename T>
    static void readValue(const ByteBuffer& buffer, int& read_pos, T& value) {
        checkReadPos(buffer, read_pos, sizeof(T));
        value = byteorder::load<T>(buffer.data() + read_pos);
        read_pos += static_cast<int>(sizeof(T));
    }
    // A bool reads as true for any non-zero byte.
    static void readValue(const ByteBuffer& buffer, int& read_pos, bool& value) {
        readBuffer(buffer, read_pos, value);
    }

    // Writes a block of fields whose size is known before it is written (a record's fixed-size
    // fields) through a pointer into space that the buffer grows by once, instead of growing it
    // field by field. The bytes are those of appendValue and appendBuffer(bool) for the same
    // fields in the same order. Putting more than the block holds raises std::invalid_argument
    // "field block overrun"; a block left short is cut back to the bytes put. Nothing else may
    // append to the buffer while the writer lives.
    class FieldWriter {
    public:
        FieldWriter(ByteBuffer& buffer, std::size_t count)
            : _buffer(&buffer), _next(grow(buffer, count)), _end(_next + count) {}
        // The same over `count` bytes of memory at `block`, which the caller owns; a block left
        // short is the caller's to account for (unused()).
        FieldWriter(unsigned char* block, std::size_t count)
            : _buffer(nullptr), _next(block), _end(block + count) {}
        FieldWriter(const FieldWriter&) = delete;
        FieldWriter& operator=(const FieldWriter&) = delete;
        ~FieldWriter() {
            if (_next != _end && _buffer != nullptr) {
                _buffer->resize(_buffer->size() - static_cast<std::size_t>(_end - _next));
            }
        }

        // Bytes of the block not yet put.
        std::size_t unused() const { return static_cast<std::size_t>(_end - _next); }

        // A scalar, as appendValue writes it.
        template <typename T>
        void put(T value) {
            byteorder::store(take(sizeof(T)), value);
        }
        // One byte, 1 or 0.
        void put(bool value) { *take(1) = value ? 1 : 0; }
        // Every element, in order; no length.
        template <typename T, typename A>
        void put(const std::vector<T, A>& values) {
            unsigned char* out = take(values.size() * sizeof(T));
            for (const T& value : values) {
                byteorder::store(out, value);
                out += sizeof(T);
            }
        }

    private:
        unsigned char* take(std::size_t count) {
            if (count > static_cast<std::size_t>(_end - _next)) {
                throwFieldBlockOverrun();
            }
            unsigned char* const at = _next;
            _next += count;
            return at;
        }

        ByteBuffer* _buffer;   // the buffer grown for the block; null over caller's memory
        unsigned char* _next;  // where the next field goes
        unsigned char* _end;   // end of the block
    };

    // `count` bytes unchanged, no length prefix.
    static void appendRawBytes(ByteBuffer& buffer, const char* src, unsigned int count);
    // The string's bytes and a 0 byte.
    static void appendBuffer(ByteBuffer& buffer, const std::string& value);
    // One byte, 1 or 0.
    static void appendBuffer(ByteBuffer& buffer, bool value) { buffer.push_back(value ? 1 : 0); }
    // `count` bytes unchanged into dst (which must not be null); 0 copies nothing.
    static void readRawBytes(const ByteBuffer& buffer, int& read_pos, unsigned char* dst,
                             unsigned long long count);
    // Bytes up to the next 0 byte, which is consumed but not stored.
    static void readBuffer(const ByteBuffer& buffer, int& read_pos, std::string& value);
    // One byte; non-zero is true.
    static void readBuffer(const ByteBuffer& buffer, int& read_pos, bool& value);

    // Raises unless `count` bytes remain at read_pos (std::invalid_argument "read_pos is
    // negative", SerializableError "Serializable::checkReadPos() - Attempt to read past end of
    // buffer.").
    static void checkReadPos(const ByteBuffer& buffer, int read_pos, unsigned long long count) {
        if (read_pos < 0) {
            throwNegativeReadPos();
        }
        const std::size_t limit = buffer.size() < static_cast<std::size_t>(INT_MAX)
                                      ? buffer.size()
                                      : static_cast<std::size_t>(INT_MAX);
        if (count > limit || static_cast<std::size_t>(read_pos) > limit - count) {
            requestOrThrowReadPastEnd(buffer, read_pos, count);
        }
    }
    // During a read hook of a whole object: the position where the data that the object's header
    // announces ends (for records that keep their data as it came).
    static int announcedDataEnd();

    // Makes the buffer `count` bytes longer and returns where the new bytes start.
    static unsigned char* grow(ByteBuffer& buffer, std::size_t count) {
        const std::size_t size = buffer.size();
        buffer.resize(size + count);
        return buffer.data() + size;
    }

private:
    friend struct detail::SerializableProbe;
    friend class detail::RecordWriter;

    static void append1Byte(ByteBuffer& buffer, const char* src);
    static void append2Bytes(ByteBuffer& buffer, const char* src);
    static void append4Bytes(ByteBuffer& buffer, const char* src);
    static void append8Bytes(ByteBuffer& buffer, const char* src);
    // Dispatches on 1, 2, 4 or 8; any other width is a programming error.
    static void appendNBytes(ByteBuffer& buffer, const char* src, int num_bytes);
    static void read1Byte(const ByteBuffer& buffer, int& read_pos, char* dst);
    static void read2Bytes(const ByteBuffer& buffer, int& read_pos, char* dst);
    static void read4Bytes(const ByteBuffer& buffer, int& read_pos, char* dst);
    static void read8Bytes(const ByteBuffer& buffer, int& read_pos, char* dst);
    static void readNBytes(const ByteBuffer& buffer, int& read_pos, char* dst, int num_bytes);
    static void writeDataSizeHeader(ByteBuffer& buffer, unsigned int data_size);
    bool readWholeObject(const ByteBuffer& buffer, int& read_pos, unsigned int* status);

    [[noreturn]] static void throwSerializeDisabled();
    [[noreturn]] static void throwNegativeReadPos();
    [[noreturn]] static void throwFieldBlockOverrun();
    // The bytes beyond the buffer may still come from the buffer's refill (readers of streams);
    // raises when they do not.
    static void requestOrThrowReadPastEnd(const ByteBuffer& buffer, int read_pos,
                                          unsigned long long count);
    [[noreturn]] static void throwReadPastEnd();
};

// Prints the record's value line (printLine).
VQ_EOD_API std::ostream& operator<<(std::ostream& stream, const Serializable& object);

}  // namespace vq::eod
