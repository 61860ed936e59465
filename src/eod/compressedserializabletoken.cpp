#include "vq/eod/compressedserializabletoken.h"

#include <iomanip>
#include <ostream>

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(CompressedSerializableToken)

CompressedSerializableToken::CompressedSerializableToken() : _stream_id(-1) {}
CompressedSerializableToken::CompressedSerializableToken(const CompressedSerializableToken& other) =
    default;
CompressedSerializableToken& CompressedSerializableToken::operator=(
    const CompressedSerializableToken& other) = default;
CompressedSerializableToken::~CompressedSerializableToken() = default;

char CompressedSerializableToken::objectID() const {
    return THIS_OBJECT_ID;
}

CompressedSerializableToken* CompressedSerializableToken::clone() const {
    return new CompressedSerializableToken(*this);
}

bool CompressedSerializableToken::forbidDuplicateSiblings() const {
    return false;
}

void CompressedSerializableToken::printOwnHeader(std::ostream& stream) const {
    stream << std::setw(15) << _stream_id << ' ';
}

void CompressedSerializableToken::printOwnData(std::ostream& stream) const {
    stream << std::setw(15) << "STREAM_ID" << ' ';
}

void CompressedSerializableToken::appendEngineSpecificData(ByteBuffer& buffer) const {
    appendValue(buffer, _stream_id);
}

void CompressedSerializableToken::readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) {
    readValue(buffer, read_pos, _stream_id);
}

unsigned int CompressedSerializableToken::numEngineSpecificDataBytes() const {
    return 4;
}

}  // namespace vq::eod
