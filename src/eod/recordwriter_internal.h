// RecordWriter: writes whole objects in one pass (Serializable::serialize and the log writers).
//
// An object's header goes out with its size left open, then its data and its sub-objects, and
// the size is filled in from the bytes written, less the bytes that the object's records do not
// announce (numUnannouncedDataBytes(), summed over the object and everything inside it). When
// the data reaches 65535 bytes the data moves four bytes on to make room for the long header. No
// size is computed beforehand, so the bytes are those of writeHeader(numDataBytes()) followed by
// appendBuffer() for every record whose hooks write what numDataBytes() counts.
//
// Records whose class is exactly one of the library's frame records (the frame, timing, head V2,
// eye, pupil, eye closure, gaze, engine state) are written without their virtual hooks into a
// block of this thread that grows without initialising its bytes, and copied out once. Every
// other object, applications' subclasses of those classes included, is written through its
// hooks (appendBuffer and the hooks it calls), as before.
#pragma once

#include <cstddef>
#include <typeinfo>

#include "vq/eod/engineoutputbase.h"
#include "vq/eod/serializable.h"

namespace vq::eod::detail {

// The bytes of one serialised object, valid until the thread serialises again.
struct SerializedBytes {
    const unsigned char* data;
    std::size_t size;
};

class RecordWriter {
public:
    // Appends the object (which must be enabled) to the buffer.
    static void append(const Serializable& object, ByteBuffer& buffer);
    // Serialises the object (which must be enabled) into memory of this thread.
    static SerializedBytes view(const Serializable& object);
    // The same for a new frame numbered `frame_num` holding only `record` (an engine record),
    // without making that frame.
    static SerializedBytes viewInNewFrame(unsigned int frame_num, const Serializable& record);

    // Memory of this thread that grows without initialising what it adds.
    class Block {
    public:
        Block() = default;
        Block(const Block&) = delete;
        Block& operator=(const Block&) = delete;
        ~Block() { delete[] _data; }

        // Makes the block `count` bytes longer, without initialising them; returns where they
        // start.
        unsigned char* extend(std::size_t count) {
            if (_capacity - _size < count) {
                reserveMore(count);
            }
            unsigned char* const at = _data + _size;
            _size += count;
            return at;
        }
        unsigned char* at(std::size_t pos) { return _data + pos; }
        std::size_t size() const { return _size; }
        void truncate(std::size_t size) { _size = size; }
        // Gives large memory back once nothing is kept in it.
        void trim();

    private:
        void reserveMore(std::size_t count);

        unsigned char* _data = nullptr;
        std::size_t _size = 0;
        std::size_t _capacity = 0;
    };

private:
    using FastWrite = bool (*)(const Serializable& object, Block& block,
                               unsigned long long& unannounced);
    struct FastClass {
        const std::type_info* type;
        FastWrite write;
    };

    // The fast writer of the object's exact class, or null.
    static FastWrite fastWriter(const Serializable& object) {
        const FastClass& entry = fast_classes[static_cast<unsigned char>(object.objectID())];
        return entry.type == &typeid(object) ? entry.write : nullptr;
    }
    // Writes an object into the block; false when it is disabled.
    static bool writeChild(const Serializable& object, Block& block,
                           unsigned long long& unannounced) {
        const FastWrite write = fastWriter(object);
        return write != nullptr ? write(object, block, unannounced)
                                : writeThroughHooks(object, block, unannounced);
    }
    // The same through the object's hooks.
    static bool writeThroughHooks(const Serializable& object, Block& block,
                                  unsigned long long& unannounced);
    // Writes a record of exactly class T, a library engine record, into the block. Instantiated
    // in T's own source, where its fields are written inline.
    template <typename T>
    static bool writeEngineRecord(const Serializable& object, Block& block,
                                  unsigned long long& unannounced);
    // Fills in the size of the object whose header starts at `start` of the block, from the
    // bytes written after it less `unannounced`.
    static void patchSize(Block& block, std::size_t start, unsigned long long unannounced) {
        const std::size_t written = block.size() - start - 3;
        if (unannounced == 0 && written < Serializable::extendedHeaderSizeMagicCookie()) {
            byteorder::store(block.at(start + 1), static_cast<unsigned short>(written));
        } else {
            patchLongSize(block, start, unannounced);
        }
    }
    static void patchLongSize(Block& block, std::size_t start, unsigned long long unannounced);
    // Writes the object through its hooks.
    static void appendThroughHooks(const Serializable& object, ByteBuffer& buffer);
    template <typename T>
    static void addFastClass();
    static bool registerFastClasses();

    // By object ID: the class written without hooks, and its writer.
    static FastClass fast_classes[256];
    static const bool fast_classes_registered;
};

template <typename T>
bool RecordWriter::writeEngineRecord(const Serializable& object, Block& block,
                                     unsigned long long& unannounced) {
    const T& record = static_cast<const T&>(object);
    if (!record._serialize_enabled) {
        return false;
    }
    // Header, the enabled flag, the record's fields and the count of its sub-objects.
    const std::size_t fields = record.T::numEngineSpecificDataBytes();
    const std::size_t start = block.size();
    unsigned char* const out = block.extend(3 + 1 + fields + 1);
    out[0] = static_cast<unsigned char>(T::THIS_OBJECT_ID);
    out[3] = 1;
    {
        Serializable::FieldWriter writer(out + 4, fields);
        record.putEngineSpecificData(writer);
        if (writer.unused() != 0) {
            block.truncate(block.size() - writer.unused());
        }
    }
    const std::size_t count_pos = block.size() - 1;
    unsigned char count = 0;
    unsigned long long inside = 0;
    const SerializableComposite::SubObjectMap& children = record.subObjectMap();
    for (auto it = children.begin(); it != children.end(); ++it) {
        // The map's key is the sub-object's ID, which saves asking for it.
        const Serializable& child = *it->second;
        const FastClass& entry = fast_classes[static_cast<unsigned char>(it->first)];
        if (entry.type == &typeid(child) ? entry.write(child, block, inside)
                                         : writeThroughHooks(child, block, inside)) {
            ++count;
        }
    }
    *block.at(count_pos) = count;
    patchSize(block, start, inside);
    unannounced += inside;
    return true;
}

}  // namespace vq::eod::detail
