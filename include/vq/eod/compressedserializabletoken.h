// CompressedSerializableToken: marks, inside a frame, where the data of a compressed stream
// belongs. Block: the stream ID (int32), -1 for no stream. A frame may hold several tokens, one
// per compressed stream.
//
// Its print hooks are crossed, on purpose: the header line shows the token's stream ID and the
// value line the title "STREAM_ID".
#pragma once

#include "vq/eod/engineoutputbase.h"
#include "vq/eod/objectids.h"

namespace vq::eod {

class VQ_EOD_API CompressedSerializableToken : public EngineOutputBase {
public:
    static constexpr char THIS_OBJECT_ID = object_id::COMPRESSED_SERIALIZABLE_TOKEN;

    // Stream ID -1.
    CompressedSerializableToken();
    CompressedSerializableToken(const CompressedSerializableToken& other);
    CompressedSerializableToken& operator=(const CompressedSerializableToken& other);
    ~CompressedSerializableToken() override;

    int streamID() const { return _stream_id; }
    void setStreamID(int stream_id) { _stream_id = stream_id; }

    char objectID() const override;
    CompressedSerializableToken* clone() const override;
    bool forbidDuplicateSiblings() const override;  // false: one per stream
    // The stream ID.
    void printOwnHeader(std::ostream& stream) const override;

    VQ_EOD_POOL_ALLOCATED(CompressedSerializableToken)

protected:
    // "STREAM_ID".
    void printOwnData(std::ostream& stream) const override;
    void appendEngineSpecificData(ByteBuffer& buffer) const override;
    void readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) override;
    unsigned int numEngineSpecificDataBytes() const override;  // 4

private:
    int _stream_id;  // the compressed stream whose data belongs here, -1 none
};

}  // namespace vq::eod
