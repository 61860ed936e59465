#include "vq/eod/opaqueoutputdata.h"

#include <algorithm>
#include <climits>

#include "eod/precondition_internal.h"
#include "vq/eod/serializableerror.h"

namespace vq::eod {

OpaqueOutputData::OpaqueOutputData(char object_id) : _object_id(object_id), _raw_data{0} {}
OpaqueOutputData::OpaqueOutputData(const OpaqueOutputData& other) = default;
OpaqueOutputData& OpaqueOutputData::operator=(const OpaqueOutputData& other) = default;
OpaqueOutputData::~OpaqueOutputData() = default;

void OpaqueOutputData::setRawData(ByteBuffer raw_data) {
    // The whole object (7-byte header, flag, data) must stay addressable by a read position.
    VQ_REQUIRE(raw_data.size() <= static_cast<std::size_t>(INT_MAX) - 16,
               "raw data too large for one object");
    _raw_data = std::move(raw_data);
}

char OpaqueOutputData::objectID() const {
    return _object_id;
}

unsigned int OpaqueOutputData::numDataBytes() const {
    return numOwnDataBytes();
}

void OpaqueOutputData::printOwnHeader(std::ostream& /*stream*/) const {}

void OpaqueOutputData::printOwnData(std::ostream& /*stream*/) const {}

void OpaqueOutputData::appendBuffer(ByteBuffer& buffer) const {
    appendOwnData(buffer);
}

void OpaqueOutputData::readFromBuffer(const ByteBuffer& buffer, int& read_pos) {
    readOwnData(buffer, read_pos);
}

void OpaqueOutputData::readFromBufferWithStatus(const ByteBuffer& buffer, int& read_pos,
                                                unsigned int& /*status*/) {
    readOwnData(buffer, read_pos);
}

void OpaqueOutputData::doAddSubObject(const boost::shared_ptr<Serializable>& /*object*/) {
    throw SerializableError(
        "OpaqueOutputData::addSubObject - the data of this record is kept as read, sub-objects "
        "cannot be added");
}

void OpaqueOutputData::appendEngineSpecificData(ByteBuffer& buffer) const {
    appendRawBytes(buffer, reinterpret_cast<const char*>(_raw_data.data()),
                   static_cast<unsigned int>(_raw_data.size()));
}

// The announced end lies within the buffer (the size header was checked against it), so the
// copy is sized by bytes that are really there. An object whose size does not even cover the
// flag keeps nothing, and the size check of the whole-object read refuses it.
void OpaqueOutputData::readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) {
    const int end = std::max(announcedDataEnd(), read_pos);
    _raw_data.resize(static_cast<std::size_t>(end - read_pos));
    if (!_raw_data.empty()) {
        readRawBytes(buffer, read_pos, _raw_data.data(), _raw_data.size());
    }
}

unsigned int OpaqueOutputData::numEngineSpecificDataBytes() const {
    return static_cast<unsigned int>(_raw_data.size());
}

}  // namespace vq::eod
