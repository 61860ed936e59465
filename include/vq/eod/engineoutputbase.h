// EngineOutputBase: the base of every record that the tracking engine emits.
//
// Data part of every engine record, in this order:
//
//     1 byte                        serialise-enabled flag (1 enabled; any non-zero reads as 1)
//     numEngineSpecificDataBytes()  the record's own fields (appendEngineSpecificData)
//     1 byte                        number of enabled sub-objects
//     ...                           the enabled sub-objects, each a whole serialised object
//
// A leaf record without sub-objects still carries the count byte 0. A disabled record is not
// written by the composite that holds it, and a record read with the flag 0 is dropped by the
// composite that reads it. Only records derived from EngineOutputBase may be added to one.
#pragma once

#include <string>
#include <vector>

#include "vq/eod/serializablecomposite.h"

namespace vq::eod {

// The eyes. Per-eye arrays hold two elements, element 0 the right eye; BOTH_EYES is never an
// index.
enum EyeId { RIGHT_EYE = 0, LEFT_EYE = 1, BOTH_EYES = 2 };

class VQ_EOD_API EngineOutputBase : public SerializableComposite {
public:
    ~EngineOutputBase() override;

    // The flag, true after construction.
    bool serializeEnabled() const override;
    void setSerializeEnabled(bool enabled);

    // Enables every sub-object (an EngineOutputBase) whose object ID is in `object_ids` and
    // disables every other one; with `recursive`, applies the same list to the sub-objects of
    // each sub-object it just enabled. Sub-objects of other classes and this record's own flag
    // are left alone.
    void setSerialableSubObjectsEnabled(const std::vector<char>& object_ids, bool recursive);

    // "RIGHT EYE", "LEFT EYE" or "BOTH EYES"; any other value is a programming error.
    static const std::string& eyeIdName(EyeId eye_id);

    // 1 (the flag) + numEngineSpecificDataBytes().
    unsigned int numOwnDataBytes() const override;

protected:
    EngineOutputBase();
    // Copy the flag and deep-copy the sub-objects.
    EngineOutputBase(const EngineOutputBase& other);
    EngineOutputBase& operator=(const EngineOutputBase& other);

    void appendOwnData(ByteBuffer& buffer) const override;
    void readOwnData(const ByteBuffer& buffer, int& read_pos) override;
    // Refuses objects not derived from EngineOutputBase, then inserts with the composite's rules.
    void doAddSubObject(const boost::shared_ptr<Serializable>& object) override;

    // The record's own fields, written right after the flag byte.
    virtual void appendEngineSpecificData(ByteBuffer& buffer) const = 0;
    virtual void readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) = 0;
    virtual unsigned int numEngineSpecificDataBytes() const = 0;

private:
    friend class detail::RecordReader;
    friend class detail::RecordWriter;
    bool _serialize_enabled;
};

}  // namespace vq::eod
