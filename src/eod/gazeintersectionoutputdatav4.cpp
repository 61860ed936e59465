#include "vq/eod/gazeintersectionoutputdatav4.h"

#include <iomanip>
#include <ostream>

#include "eod/precondition_internal.h"
#include "vq/eod/serializableerror.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(GazeIntersectionOutputDataV4)

GazeIntersectionOutputDataV4::GazeIntersectionOutputDataV4() : _eye_id(BOTH_EYES) {}
GazeIntersectionOutputDataV4::GazeIntersectionOutputDataV4(
    const GazeIntersectionOutputDataV4& other) = default;
GazeIntersectionOutputDataV4& GazeIntersectionOutputDataV4::operator=(
    const GazeIntersectionOutputDataV4& other) = default;
GazeIntersectionOutputDataV4::~GazeIntersectionOutputDataV4() = default;

void GazeIntersectionOutputDataV4::setEyeId(EyeId eye_id) {
    VQ_REQUIRE(static_cast<unsigned int>(eye_id) <= BOTH_EYES,
               "eye_id should be either LEFT_EYE, RIGHT_EYE or BOTH_EYES");
    _eye_id = eye_id;
}

char GazeIntersectionOutputDataV4::objectID() const {
    return THIS_OBJECT_ID;
}

GazeIntersectionOutputDataV4* GazeIntersectionOutputDataV4::clone() const {
    return new GazeIntersectionOutputDataV4(*this);
}

bool GazeIntersectionOutputDataV4::forbidDuplicateSiblings() const {
    return false;
}

void GazeIntersectionOutputDataV4::printOwnHeader(std::ostream& stream) const {
    stream << std::setw(15) << "EYE_ID" << ' ';
    IntersectionOutputBaseV2::printOwnHeader(stream);
}

void GazeIntersectionOutputDataV4::printOwnData(std::ostream& stream) const {
    stream << std::setw(15) << static_cast<int>(_eye_id) << ' ';
    IntersectionOutputBaseV2::printOwnData(stream);
}

void GazeIntersectionOutputDataV4::appendEngineSpecificData(ByteBuffer& buffer) const {
    appendValue(buffer, static_cast<unsigned char>(_eye_id));
    IntersectionOutputBaseV2::appendEngineSpecificData(buffer);
}

void GazeIntersectionOutputDataV4::readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) {
    unsigned char eye_id = 0;
    readValue(buffer, read_pos, eye_id);
    // An EyeId cannot hold other values.
    if (eye_id > BOTH_EYES) {
        throw SerializableError(
            "GazeIntersectionOutputDataV4::readEngineSpecificData - eye_id out of range");
    }
    _eye_id = static_cast<EyeId>(eye_id);
    IntersectionOutputBaseV2::readEngineSpecificData(buffer, read_pos);
}

unsigned int GazeIntersectionOutputDataV4::numEngineSpecificDataBytes() const {
    return IntersectionOutputBaseV2::numEngineSpecificDataBytes() + 1;
}

}  // namespace vq::eod
