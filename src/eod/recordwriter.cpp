#include "eod/recordwriter_internal.h"

#include "eod/frameclasses_internal.h"

#include <climits>
#include <cstring>
#include <type_traits>
#include <typeinfo>

#include "vq/eod/engineoutputdata.h"
#include "vq/eod/enginestateoutputdata.h"
#include "vq/eod/eyeclosureoutputdata.h"
#include "vq/eod/eyeoutputdata.h"
#include "vq/eod/gazeoutputdata.h"
#include "vq/eod/headoutputdatav2.h"
#include "vq/eod/pupiloutputdata.h"
#include "vq/eod/serializableerror.h"
#include "vq/eod/timingoutputdata.h"

namespace vq::eod::detail {

namespace {

// Bytes that the objects written on this thread do not announce, summed as they are written;
// only differences are used, so an exception that leaves it part-way does no harm.
thread_local unsigned long long unannounced_written = 0;

// Where the fast writer puts records, and where it writes other objects through their hooks
// before copying them in. Both are used like stacks: a write adds at the end and leaves the
// memory as it found it.
thread_local RecordWriter::Block block_of_thread;
thread_local ByteBuffer spill_of_thread;

constexpr std::size_t KEPT_SPILL_BYTES = std::size_t{1} << 20;

// Gives large memory back once nothing is kept in it.
void trimSpill() {
    ByteBuffer& spill = spill_of_thread;
    if (spill.empty() && spill.capacity() > KEPT_SPILL_BYTES) {
        ByteBuffer().swap(spill);
    }
}

// Puts the memory back to `mark` however the write ends.
template <typename Memory>
class Rewind {
public:
    Rewind(Memory& memory, std::size_t mark) : _memory(memory), _mark(mark) {}
    Rewind(const Rewind&) = delete;
    Rewind& operator=(const Rewind&) = delete;
    ~Rewind();

private:
    Memory& _memory;
    std::size_t _mark;
};

template <>
Rewind<RecordWriter::Block>::~Rewind() {
    _memory.truncate(_mark);
}

template <>
Rewind<ByteBuffer>::~Rewind() {
    _memory.resize(_mark);
}

void checkDataSize(unsigned long long data_size) {
    if (data_size > UINT_MAX) {
        throw SerializableError("Serializable::serialize() - object too large to serialize.");
    }
}

void storeLongSize(unsigned char* header, unsigned long long data_size) {
    byteorder::store(header + 1, Serializable::extendedHeaderSizeMagicCookie());
    byteorder::store(header + 3, static_cast<unsigned int>(data_size));
}

// Fills in the size of the object whose header starts at `start` and whose data runs to the
// end; data of 65535 bytes or more moves four bytes on for the long header.
void patchBufferSize(ByteBuffer& buffer, std::size_t start, unsigned long long data_size) {
    if (data_size < Serializable::extendedHeaderSizeMagicCookie()) {
        byteorder::store(buffer.data() + start + 1, static_cast<unsigned short>(data_size));
        return;
    }
    checkDataSize(data_size);
    buffer.insert(buffer.begin() + static_cast<std::ptrdiff_t>(start) + 3, 4, 0);
    storeLongSize(buffer.data() + start, data_size);
}

[[noreturn]] void throwUnannouncedBeyondWritten() {
    throw SerializableError(
        "Serializable::serialize() - fewer bytes written than numUnannouncedDataBytes() leaves "
        "out.");
}

// The announced size of data written with `unannounced` bytes in it that no header counts.
inline unsigned long long announcedSize(std::size_t written, unsigned long long unannounced) {
    if (unannounced > written) {
        throwUnannouncedBeyondWritten();
    }
    return written - unannounced;
}

}  // namespace

constexpr std::size_t KEPT_BLOCK_BYTES = std::size_t{1} << 20;

void RecordWriter::Block::trim() {
    if (_size == 0 && _capacity > KEPT_BLOCK_BYTES) {
        delete[] _data;
        _data = nullptr;
        _capacity = 0;
    }
}

void RecordWriter::Block::reserveMore(std::size_t count) {
    std::size_t capacity = _capacity < 4096 ? 4096 : 2 * _capacity;
    if (capacity - _size < count) {
        capacity = _size + count;
    }
    auto* const data = new unsigned char[capacity];
    if (_size > 0) {
        std::memcpy(data, _data, _size);
    }
    delete[] _data;
    _data = data;
    _capacity = capacity;
}

void RecordWriter::patchLongSize(Block& block, std::size_t start, unsigned long long unannounced) {
    const std::size_t end = block.size();
    const unsigned long long data_size = announcedSize(end - start - 3, unannounced);
    if (data_size < Serializable::extendedHeaderSizeMagicCookie()) {
        byteorder::store(block.at(start + 1), static_cast<unsigned short>(data_size));
        return;
    }
    checkDataSize(data_size);
    block.extend(4);
    std::memmove(block.at(start + 7), block.at(start + 3), end - start - 3);
    storeLongSize(block.at(start), data_size);
}

// The writers of the classes are instantiated in the classes' own sources.
#define VQ_EOD_EXTERN_WRITER(T)                              \
    extern template bool RecordWriter::writeEngineRecord<T>( \
        const Serializable&, RecordWriter::Block&, unsigned long long&);
VQ_EOD_FRAME_CLASSES(VQ_EOD_EXTERN_WRITER)
#undef VQ_EOD_EXTERN_WRITER

template <typename T>
void RecordWriter::addFastClass() {
    fast_classes[static_cast<unsigned char>(T::THIS_OBJECT_ID)] = {&typeid(T),
                                                                   &writeEngineRecord<T>};
}

bool RecordWriter::registerFastClasses() {
#define VQ_EOD_ADD_FAST_CLASS(T) addFastClass<T>();
    VQ_EOD_FRAME_CLASSES(VQ_EOD_ADD_FAST_CLASS)
#undef VQ_EOD_ADD_FAST_CLASS
    return true;
}

// Filled in when the library is loaded; until then every object goes through its hooks.
RecordWriter::FastClass RecordWriter::fast_classes[256] = {};
const bool RecordWriter::fast_classes_registered = registerFastClasses();

bool RecordWriter::writeThroughHooks(const Serializable& object, Block& block,
                                     unsigned long long& unannounced) {
    if (!object.serializeEnabled()) {
        return false;
    }
    // Through the hooks into the spill buffer, then into the block.
    ByteBuffer& spill = spill_of_thread;
    const std::size_t mark = spill.size();
    Rewind<ByteBuffer> rewind(spill, mark);
    unsigned long long& written = unannounced_written;
    const unsigned long long before = written;
    appendThroughHooks(object, spill);
    unannounced += written - before;
    written = before;
    const std::size_t count = spill.size() - mark;
    std::memcpy(block.extend(count), spill.data() + mark, count);
    return true;
}

void RecordWriter::appendThroughHooks(const Serializable& object, ByteBuffer& buffer) {
    const std::size_t start = buffer.size();
    *Serializable::grow(buffer, 3) = static_cast<unsigned char>(object.objectID());
    unsigned long long& written = unannounced_written;
    const unsigned long long before = written;
    object.appendBuffer(buffer);
    const unsigned long long inside = written - before + object.numUnannouncedDataBytes();
    written = before + inside;
    patchBufferSize(buffer, start, announcedSize(buffer.size() - start - 3, inside));
}

void RecordWriter::append(const Serializable& object, ByteBuffer& buffer) {
    const FastWrite write = fastWriter(object);
    if (write == nullptr) {
        appendThroughHooks(object, buffer);
        trimSpill();
        return;
    }
    Block& block = block_of_thread;
    block.trim();
    const std::size_t mark = block.size();
    Rewind<Block> rewind(block, mark);
    unsigned long long inside = 0;
    if (write(object, block, inside)) {
        buffer.insert(buffer.end(), block.at(mark), block.at(block.size()));
        if (inside != 0) {
            unannounced_written += inside;
        }
    }
}

SerializedBytes RecordWriter::view(const Serializable& object) {
    Block& block = block_of_thread;
    block.trim();
    const std::size_t mark = block.size();
    Rewind<Block> rewind(block, mark);
    unsigned long long inside = 0;
    writeChild(object, block, inside);
    trimSpill();
    return {block.at(mark), block.size() - mark};
}

SerializedBytes RecordWriter::viewInNewFrame(unsigned int frame_num, const Serializable& record) {
    Block& block = block_of_thread;
    block.trim();
    const std::size_t mark = block.size();
    Rewind<Block> rewind(block, mark);
    // The frame's header, its flag (a new frame is enabled), its number, the count and the record.
    unsigned char* const head = block.extend(3 + 6);
    head[0] = static_cast<unsigned char>(EngineOutputData::THIS_OBJECT_ID);
    head[3] = 1;
    byteorder::store(head + 4, frame_num);
    head[8] = 1;
    unsigned long long inside = 0;
    writeChild(record, block, inside);
    patchSize(block, mark, inside);
    trimSpill();
    return {block.at(mark), block.size() - mark};
}

}  // namespace vq::eod::detail
