#include "vq/eod/serializablefactory.h"

#include <cxxabi.h>

#include <algorithm>
#include <array>
#include <climits>
#include <sstream>
#include <string>
#include <typeinfo>

#include "eod/bufferrefill_internal.h"
#include "eod/builtins_internal.h"
#include "eod/precondition_internal.h"
#include "eod/readcontext_internal.h"
#include "eod/recordreader_internal.h"
#include "eod/serializablefactory_internal.h"
#include "vq/eod/recordheader.h"
#include "vq/eod/serializableerror.h"

namespace vq::eod {

namespace {

// One slot per object ID, indexed by the ID's byte value.
struct Registry {
    std::array<SerializableFactory::CreationFunction, 256> functions{};
    std::array<std::string, 256> type_names;
};

std::size_t slot(char object_id) {
    return static_cast<unsigned char>(object_id);
}

// The one registry of the process; never destroyed, so that static destructors elsewhere may
// still create or release records.
Registry& rawRegistry() {
    static Registry* const storage = new Registry;
    return *storage;
}

std::string typeName(const Serializable& object) {
    return typeid(object).name();
}

void addBuiltin(char object_id, SerializableFactory::CreationFunction fn) {
    Registry& r = rawRegistry();
    r.functions[slot(object_id)] = fn;
    r.type_names[slot(object_id)] = typeName(*fn());
}

// The registry with the built-in classes in it. The function-local static is the once-flag: the
// built-ins are added exactly once, thread-safely, before any caller sees the registry.
Registry& registry() {
    static const bool builtins_registered = [] {
        detail::registerBuiltins(&addBuiltin);
        return true;
    }();
    (void)builtins_registered;
    return rawRegistry();
}

// Registers the built-in classes when the library is loaded.
const bool load_time_registration = (registry(), true);

constexpr std::size_t STREAM_CHUNK_BYTES = 65536;

// Whether the stream's buffer may be read directly, bypassing the stream's sentry: a good
// stream that raises on no state and flushes no tied stream, whose unformatted reads would only
// move bytes and set the state bits that readBytes() and isEndOfFile() set themselves.
bool isDirect(const std::istream& stream) {
    return stream.rdstate() == std::ios::goodbit && stream.exceptions() == std::ios::goodbit &&
           stream.tie() == nullptr && stream.rdbuf() != nullptr;
}

// stream.read(bytes, count), true when all of them came; on a good stream straight from its
// buffer, with the state the stream's read leaves (end of file and failure when short, bad when
// the buffer raised).
bool readBytes(std::istream& stream, char* bytes, std::streamsize count) {
    if (!isDirect(stream)) {
        return static_cast<bool>(stream.read(bytes, count));
    }
    try {
        if (stream.rdbuf()->sgetn(bytes, count) == count) {
            return true;
        }
        stream.setstate(std::ios::eofbit | std::ios::failbit);
    } catch (const abi::__forced_unwind&) {
        throw;  // a cancelled thread unwinds, as from the stream's own read
    } catch (...) {
        stream.setstate(std::ios::badbit);
    }
    return false;
}

// Completes a record header whose first three bytes (the ID and the 2-byte size, or the
// cookie) are in `bytes`: reads the 4-byte size after a cookie, big-endian.
bool finishStreamHeader(std::istream& stream, unsigned char* bytes, unsigned int& size) {
    RecordHeader header;
    if (parseRecordHeader(bytes, RecordHeader::SHORT_HEADER_BYTES, header) ==
        RecordExtent::HEADER_INCOMPLETE) {
        if (!readBytes(stream, reinterpret_cast<char*>(bytes) + RecordHeader::SHORT_HEADER_BYTES,
                       4)) {
            return false;
        }
        parseRecordHeader(bytes, RecordHeader::LONG_HEADER_BYTES, header);
    }
    size = header.data_size;
    return true;
}

// Reads the 2-byte size, or the cookie and the 4-byte size, big-endian, of the record whose ID
// has been read.
bool readStreamSize(std::istream& stream, char object_id, unsigned int& size) {
    unsigned char bytes[RecordHeader::LONG_HEADER_BYTES] = {static_cast<unsigned char>(object_id)};
    return readBytes(stream, reinterpret_cast<char*>(bytes) + 1, 2) &&
           finishStreamHeader(stream, bytes, size);
}

// Reads the ID and the size of the next record with one read of its first three bytes; a header
// cut short leaves the stream as reading the ID and then the size (readStreamSize) does.
bool readStreamHeader(std::istream& stream, char& object_id, unsigned int& size) {
    unsigned char bytes[RecordHeader::LONG_HEADER_BYTES] = {};
    if (!readBytes(stream, reinterpret_cast<char*>(bytes), RecordHeader::SHORT_HEADER_BYTES)) {
        return false;
    }
    object_id = static_cast<char>(bytes[0]);
    return finishStreamHeader(stream, bytes, size);
}

// Appends `size` bytes of the stream to the buffer, at most one chunk at a time, so that the
// memory used follows the bytes that really arrive, not the size that was announced.
bool readStreamData(std::istream& stream, unsigned int size, ByteBuffer& buffer) {
    std::size_t remaining = size;
    while (remaining > 0) {
        const std::size_t chunk = std::min(remaining, STREAM_CHUNK_BYTES);
        const std::size_t old_size = buffer.size();
        buffer.resize(old_size + chunk);
        if (!readBytes(stream, reinterpret_cast<char*>(buffer.data() + old_size),
                       static_cast<std::streamsize>(chunk))) {
            return false;
        }
        remaining -= chunk;
    }
    return true;
}

// Skips an object of unknown class; false when the stream failed other than by reaching its end.
bool skipStreamData(std::istream& stream, unsigned int size) {
    stream.ignore(static_cast<std::streamsize>(size));
    return !(stream.fail() && !stream.eof());
}

// stream.peek() == EOF, straight from the buffer of a good stream (see readBytes()).
bool isEndOfFile(std::istream& stream) {
    return isDirect(stream) ? detail::bufferAtEnd(stream)
                            : stream.peek() == std::istream::traits_type::eof();
}

}  // namespace

bool detail::bufferAtEnd(std::istream& stream) {
    try {
        if (stream.rdbuf()->sgetc() != std::istream::traits_type::eof()) {
            return false;
        }
        stream.setstate(std::ios::eofbit);
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) {
        stream.setstate(std::ios::badbit);
    }
    return true;
}

// ---- registry --------------------------------------------------------------------------------

SerializableFactory::CreationFunction SerializableFactory::registerObjectType(
    char object_id, CreationFunction creation_fn) {
    Registry& r = registry();
    if (creation_fn == nullptr) {
        throw SerializableError("The provided creation_fn_ptr is NULL.");
    }
    boost::shared_ptr<Serializable> sample = creation_fn();
    if (!sample) {
        throw SerializableError("The provided creation function returned a NULL pointer");
    }
    const std::string type_name = typeName(*sample);
    const std::size_t index = slot(object_id);
    if (r.functions[index] != nullptr) {
        if (sample->objectID() != object_id) {
            std::ostringstream message;
            message << "The provided object_id (" << static_cast<int>(object_id)
                    << ") is different to the objectID() of the registered object ("
                    << static_cast<int>(sample->objectID()) << ")";
            throw SerializableError(message.str());
        }
        if (r.type_names[index] != type_name) {
            throw SerializableError(
                "An object type has already been registered for this object_id " +
                std::to_string(static_cast<int>(object_id)));
        }
    }
    const CreationFunction previous = r.functions[index];
    r.functions[index] = creation_fn;
    r.type_names[index] = type_name;
    return previous;
}

SerializableFactory::CreationFunction SerializableFactory::unregisterObjectType(char object_id) {
    Registry& r = registry();
    const std::size_t index = slot(object_id);
    const CreationFunction previous = r.functions[index];
    r.functions[index] = nullptr;
    r.type_names[index].clear();
    return previous;
}

boost::shared_ptr<Serializable> SerializableFactory::newObject(char object_id) {
    const CreationFunction fn = registry().functions[slot(object_id)];
    return fn != nullptr ? fn() : boost::shared_ptr<Serializable>();
}

boost::shared_ptr<Serializable> SerializableFactory::newObjectWithStatus(char object_id,
                                                                         unsigned int& status) {
    boost::shared_ptr<Serializable> object = newObject(object_id);
    if (!object) {
        status |= status::UNKNOWN_OBJECT_ID;
    }
    return object;
}

// ---- buffers ---------------------------------------------------------------------------------

namespace {

// Reads one whole object at read_pos: incomplete and mis-sized objects are reported in `status`
// (read_pos unchanged), unknown ones skipped; any other damage raises.
boost::shared_ptr<Serializable> readObject(const ByteBuffer& buffer, int& read_pos,
                                           unsigned int& status) {
    VQ_REQUIRE(read_pos >= 0, "negative read_pos");
    RecordHeader header;
    if (!detail::readRecordHeader(buffer, read_pos, header)) {
        status |= status::INSUFFICIENT_DATA;
        return boost::shared_ptr<Serializable>();
    }
    boost::shared_ptr<Serializable> object =
        SerializableFactory::newObjectWithStatus(header.object_id, status);
    if (!object) {
        // Forward compatibility: objects of classes this reader does not know are passed over.
        read_pos += static_cast<int>(header.totalBytes());
        return object;
    }
    detail::RecordReader::read(*object, buffer, read_pos, header, status);
    if ((status & (status::INSUFFICIENT_DATA | status::SIZE_MISMATCH)) != 0) {
        return boost::shared_ptr<Serializable>();
    }
    return object;
}

}  // namespace

// Every damage of the object is reported, never raised: what readObject raises (a field read
// past the end, a duplicate sub-object, nesting too deep) is the size-mismatch bit here.
boost::shared_ptr<Serializable> SerializableFactory::newObjectWithStatus(const ByteBuffer& buffer,
                                                                         int& read_pos,
                                                                         unsigned int& status) {
    try {
        return readObject(buffer, read_pos, status);
    } catch (const SerializableError&) {
        if (detail::readContext().raise_damage) {
            throw;
        }
        // Bytes that a stream or a socket did not deliver make it incomplete, not damaged.
        status |= detail::refillStarved(buffer) ? status::INSUFFICIENT_DATA : status::SIZE_MISMATCH;
        return boost::shared_ptr<Serializable>();
    }
}

boost::shared_ptr<Serializable> SerializableFactory::newObject(const ByteBuffer& buffer,
                                                               int& read_pos) {
    unsigned int status = 0;
    bool& raise_damage = detail::readContext().raise_damage;
    const bool outer_raise_damage = raise_damage;
    raise_damage = true;
    boost::shared_ptr<Serializable> object;
    try {
        object = readObject(buffer, read_pos, status);
    } catch (...) {
        raise_damage = outer_raise_damage;
        throw;
    }
    raise_damage = outer_raise_damage;
    if ((status & status::INSUFFICIENT_DATA) != 0) {
        throw SerializableError("SerializableFactory::newObject - insufficient data in buffer");
    }
    if ((status & status::SIZE_MISMATCH) != 0) {
        throw SerializableError("SerializableFactory::newObject - could not unSerialize object");
    }
    return object;
}

bool SerializableFactory::canDeserialize(const ByteBuffer& buffer, int pos) {
    VQ_REQUIRE(pos >= 0, "negative read_pos");
    if (static_cast<std::size_t>(pos) >= buffer.size()) {
        return false;
    }
    RecordHeader header;
    return parseRecordHeader(buffer.data() + pos, buffer.size() - static_cast<std::size_t>(pos),
                             header) == RecordExtent::COMPLETE &&
           pos + header.totalBytes() <= INT_MAX;
}

// ---- streams ---------------------------------------------------------------------------------

boost::shared_ptr<Serializable> SerializableFactory::newObject(std::istream& stream) {
    if (isEndOfFile(stream)) {
        throw SerializableError(
            "SerializableFactory::newObject - End-of-file encountered when trying to read "
            "Serializable object");
    }
    char object_id = 0;
    if (!readBytes(stream, &object_id, 1)) {
        throw SerializableError(
            "SerializableFactory::newObject - An error occurred when trying to read object ID "
            "from stream");
    }
    unsigned int data_size = 0;
    if (!readStreamSize(stream, object_id, data_size)) {
        throw SerializableError(
            "SerializableFactory::newObject - An error occurred when trying to read object size "
            "from stream");
    }
    boost::shared_ptr<Serializable> object = newObject(object_id);
    if (!object) {
        if (!skipStreamData(stream, data_size)) {
            throw SerializableError(
                "SerializableFactory::newObject - An error occurred when trying to skip over an "
                "unknown object in the stream");
        }
        return object;
    }
    ByteBuffer buffer;
    Serializable::writeHeader(buffer, object_id, data_size);
    if (!readStreamData(stream, data_size, buffer)) {
        throw SerializableError(
            "An error occurred when trying to read object data from the stream");
    }
    // Records that announce fewer bytes than they hold take the rest from the stream.
    detail::StreamRefill refill(stream, buffer, buffer.size());
    int read_pos = 0;
    try {
        if (!object->unSerialize(buffer, read_pos)) {
            throw SerializableError(
                "An error occured when unserializing bytes read from the stream");
        }
    } catch (const SerializableError&) {
        if (refill.exhausted()) {
            throw SerializableError(
                "An error occurred when trying to read object data from the stream");
        }
        throw;
    }
    return object;
}

boost::shared_ptr<Serializable> SerializableFactory::newObjectWithStatus(std::istream& stream,
                                                                         unsigned int& status) {
    ByteBuffer buffer;
    return detail::newObjectWithStatus(stream, status, buffer);
}

boost::shared_ptr<Serializable> detail::newObjectWithStatus(std::istream& stream,
                                                            unsigned int& status,
                                                            ByteBuffer& buffer) {
    char object_id = 0;
    unsigned int data_size = 0;
    if (isEndOfFile(stream) || !readStreamHeader(stream, object_id, data_size)) {
        status |= status::INSUFFICIENT_DATA;
        return boost::shared_ptr<Serializable>();
    }
    boost::shared_ptr<Serializable> object =
        SerializableFactory::newObjectWithStatus(object_id, status);
    if (!object) {
        if (!skipStreamData(stream, data_size)) {
            status |= status::INSUFFICIENT_DATA;
        }
        return object;
    }
    // Room for the header and the first piece of data, never more than that before it arrives.
    buffer.clear();
    buffer.reserve(Serializable::numHeaderBytes(data_size) +
                   std::min<std::size_t>(data_size, STREAM_CHUNK_BYTES));
    Serializable::writeHeader(buffer, object_id, data_size);
    if (!readStreamData(stream, data_size, buffer)) {
        status |= status::INSUFFICIENT_DATA;
        return boost::shared_ptr<Serializable>();
    }
    detail::StreamRefill refill(stream, buffer, buffer.size());
    int read_pos = 0;
    // Reads that failed for want of bytes are reported; other damage of the object passes on to
    // the caller, as it does from a file reader.
    try {
        // The buffer holds the whole record as announced, so its header parses; the library's
        // own frame records are then read without their hooks, as from a buffer.
        RecordHeader header;
        if (detail::readRecordHeader(buffer, 0, header)) {
            detail::RecordReader::read(*object, buffer, read_pos, header, status);
        } else {
            object->unSerializeWithStatus(buffer, read_pos, status);
        }
    } catch (const SerializableError&) {
        if (!refill.exhausted()) {
            throw;
        }
    }
    if (refill.exhausted()) {
        status |= status::INSUFFICIENT_DATA;  // truncated in its unannounced bytes
    }
    if (buffer.capacity() > KEPT_SCRATCH_BYTES) {
        ByteBuffer().swap(buffer);
    }
    if ((status & (status::INSUFFICIENT_DATA | status::SIZE_MISMATCH)) != 0) {
        return boost::shared_ptr<Serializable>();
    }
    return object;
}

}  // namespace vq::eod
