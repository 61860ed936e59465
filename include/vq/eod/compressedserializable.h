// CompressedSerializable: an opaque block of bytes written by a codec of the compression
// framework, carried as one record so that files and streams can hold it beside ordinary
// records. It is not an engine record: it travels as a top-level object and cannot be added to
// a frame. Data:
//
//     4 bytes   payload length (uint32)
//     length    the payload, unchanged
//
// An empty block serialises as 5F 00 04 00 00 00 00.
#pragma once

#include "vq/eod/objectids.h"
#include "vq/eod/serializable.h"

namespace vq::eod {

class VQ_EOD_API CompressedSerializable : public Serializable {
public:
    static constexpr char THIS_OBJECT_ID = object_id::COMPRESSED_SERIALIZABLE;
    using const_iterator = ByteBuffer::const_iterator;

    // An empty payload.
    CompressedSerializable();
    CompressedSerializable(const CompressedSerializable& other);
    CompressedSerializable& operator=(const CompressedSerializable& other);
    ~CompressedSerializable() override;

    // The payload.
    const_iterator begin() const { return _payload.begin(); }
    const_iterator end() const { return _payload.end(); }

    char objectID() const override;
    // 4 + the payload length.
    unsigned int numDataBytes() const override;
    CompressedSerializable* clone() const override;
    // The payload length / "DATA_SIZE".
    void printLine(std::ostream& stream) const override;
    void printHeader(std::ostream& stream) const override;

    VQ_EOD_POOL_ALLOCATED(CompressedSerializable)

protected:
    // For the codecs that fill the block. A payload too large for one object (2 GiB - 16 bytes
    // or more) is a programming error ("payload too large for one object").
    void setPayload(ByteBuffer payload);

    void appendBuffer(ByteBuffer& buffer) const override;
    // Appends the block read to the payload there is (a fresh object reads just the block).
    // A length beyond the object's data raises SerializableError "data_size in header exceeds
    // amount of data in buffer", before anything is allocated.
    void readFromBuffer(const ByteBuffer& buffer, int& read_pos) override;

private:
    ByteBuffer _payload;  // the codec's bytes
};

}  // namespace vq::eod
