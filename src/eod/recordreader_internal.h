// RecordReader: reads whole objects for the factory (SerializableFactory::newObject and the
// status forms).
//
// A record whose class is exactly one of the library's frame records (the frame, timing, head
// V2, eye, pupil, eye closure, gaze, engine state) and whose announced data holds at least its
// flag, its fields and its count byte is read without its virtual hooks: the header parsed once
// by the factory, the fields read by the class's own reader called directly, the sub-objects by
// the composite's reader. Every step is the one the hooks take, with the same checks, errors,
// status bits and read context, so the outcome is the same in every case, damaged input
// included. Every other object, applications' subclasses of those classes included, and a record
// too short for its fields, is read through its hooks (Serializable::unSerializeWithStatus).
#pragma once

#include <typeinfo>

#include "eod/readcontext_internal.h"
#include "vq/eod/engineoutputbase.h"
#include "vq/eod/recordheader.h"

namespace vq::eod::detail {

class RecordReader {
public:
    // Reads the whole object at read_pos into `object`, which the factory made for the object ID
    // of `header`, as object.unSerializeWithStatus(buffer, read_pos, status) does. The header has
    // been checked: the whole object, as announced, is in the buffer (readRecordHeader).
    static void read(Serializable& object, const ByteBuffer& buffer, int& read_pos,
                     const RecordHeader& header, unsigned int& status) {
        const FastClass& entry = fast_classes[static_cast<unsigned char>(header.object_id)];
        if (entry.type != &typeid(object) ||
            !entry.read(object, buffer, read_pos, header, status)) {
            object.unSerializeWithStatus(buffer, read_pos, status);
        }
    }

    // The sub-objects of `composite` in map order, as subObjects() lists them, without copying
    // them into a vector.
    static const SerializableComposite::SubObjectMap& subObjectsOf(
        const SerializableComposite& composite) {
        return composite._sub_objects;
    }

private:
    // Reads the object without hooks; false, with nothing read, when it is left to the hooks.
    using FastRead = bool (*)(Serializable& object, const ByteBuffer& buffer, int& read_pos,
                              const RecordHeader& header, unsigned int& status);
    struct FastClass {
        const std::type_info* type;
        FastRead read;
    };

    // Reads a record of exactly class T, a library engine record. Instantiated in T's own
    // source, where its field reader is called without a virtual call.
    template <typename T>
    static bool readEngineRecord(Serializable& object, const ByteBuffer& buffer, int& read_pos,
                                 const RecordHeader& header, unsigned int& status);
    template <typename T>
    static void addFastClass();
    static bool registerFastClasses();

    // By object ID: the class read without hooks, and its reader.
    static FastClass fast_classes[256];
    static const bool fast_classes_registered;
};

// The steps of Serializable::unSerializeWithStatus for this record, with those that cannot fail
// left out: the factory made the record for the header's object ID, the header and the data are
// in the buffer, the record has no unannounced bytes, and its flag, fields (which the class
// reads in exactly numEngineSpecificDataBytes() bytes) and count byte lie within its data.
template <typename T>
bool RecordReader::readEngineRecord(Serializable& object, const ByteBuffer& buffer, int& read_pos,
                                    const RecordHeader& header, unsigned int& status) {
    T& record = static_cast<T&>(object);
    const unsigned int fields = record.T::numEngineSpecificDataBytes();
    if (header.data_size < fields + 2) {
        return false;
    }
    const int data_start = read_pos + header.header_bytes;
    ReadScope scope(readContext(), buffer, data_start + static_cast<int>(header.data_size), 0,
                    header.data_size);
    // SerializableComposite::readFromBufferWithStatus and EngineOutputBase::readOwnData.
    record.clearSubObjects();
    int pos = data_start;
    record._serialize_enabled = buffer[static_cast<std::size_t>(pos)] != 0;
    ++pos;
    record.T::readEngineSpecificData(buffer, pos);
    unsigned int inner_status = 0;
    record.readSubObjects(buffer, pos, &inner_status);
    status |= inner_status;
    if ((inner_status & (status::INSUFFICIENT_DATA | status::SIZE_MISMATCH)) != 0) {
        return true;
    }
    const unsigned long long consumed = static_cast<unsigned long long>(pos - data_start);
    if (consumed != header.data_size + scope.inside()) {
        status |= status::SIZE_MISMATCH;
        return true;
    }
    scope.setExcess(consumed - header.data_size);
    read_pos = pos;
    return true;
}

}  // namespace vq::eod::detail
