// OpaqueOutputData: the base of the engine records whose field layout is not published (face,
// face texture, feature, image, IR pod state and custom event records).
//
// Such a record reads its flag byte like every engine record and keeps the rest of its data,
// own fields, sub-object count and sub-objects alike, exactly as it came: up to the end that its
// header announces. It writes the flag and those bytes back unchanged, so a recording that
// passes through this library (read, filtered, written) keeps every such record intact. Data:
//
//     1 byte    serialise-enabled flag (1 enabled)
//     the rest  rawData(), as read; a new record has the single byte 0 (no fields, no
//               sub-objects), so it serialises as <ID> 00 02 01 00
//
// The record has no sub-objects of its own (those in its data stay bytes), and adding one raises
// SerializableError "OpaqueOutputData::addSubObject - the data of this record is kept as read,
// sub-objects cannot be added". It prints no columns.
#pragma once

#include "vq/eod/engineoutputbase.h"

namespace vq::eod {

class VQ_EOD_API OpaqueOutputData : public EngineOutputBase {
public:
    ~OpaqueOutputData() override;

    // The data after the flag byte, as read.
    const ByteBuffer& rawData() const { return _raw_data; }
    // Replaces it. More than one object can hold (2 GiB - 16 bytes or more) is a programming
    // error ("raw data too large for one object").
    void setRawData(ByteBuffer raw_data);

    // The ID given at construction.
    char objectID() const override;
    // 1 (the flag) + the raw data.
    unsigned int numDataBytes() const override;
    void printOwnHeader(std::ostream& stream) const override;

protected:
    explicit OpaqueOutputData(char object_id);
    OpaqueOutputData(const OpaqueOutputData& other);
    OpaqueOutputData& operator=(const OpaqueOutputData& other);

    // The flag and the raw data; no count byte of the composite's own.
    using Serializable::appendBuffer;
    void appendBuffer(ByteBuffer& buffer) const override;
    void readFromBuffer(const ByteBuffer& buffer, int& read_pos) override;
    void readFromBufferWithStatus(const ByteBuffer& buffer, int& read_pos,
                                  unsigned int& status) override;
    void doAddSubObject(const boost::shared_ptr<Serializable>& object) override;

    void printOwnData(std::ostream& stream) const override;
    void appendEngineSpecificData(ByteBuffer& buffer) const override;
    // Everything from read_pos up to the announced end of the object's data.
    void readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) override;
    unsigned int numEngineSpecificDataBytes() const override;

private:
    char _object_id;       // the record's object ID
    ByteBuffer _raw_data;  // everything after the flag byte, as read
};

}  // namespace vq::eod
