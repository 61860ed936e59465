#include "vq/eod/gazeintersectionoutputdatav3.h"

#include "vq/eod/gazeintersectionoutputdatav1.h"
#include "vq/eod/gazeintersectionoutputdatav2.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(GazeIntersectionOutputDataV3)

GazeIntersectionOutputDataV3::GazeIntersectionOutputDataV3() = default;
GazeIntersectionOutputDataV3::GazeIntersectionOutputDataV3(
    const GazeIntersectionOutputDataV3& other) = default;
GazeIntersectionOutputDataV3& GazeIntersectionOutputDataV3::operator=(
    const GazeIntersectionOutputDataV3& other) = default;
GazeIntersectionOutputDataV3::~GazeIntersectionOutputDataV3() = default;

GazeIntersectionOutputDataV3::GazeIntersectionOutputDataV3(
    const GazeIntersectionOutputDataV1& other) {
    setSerializeEnabled(other.serializeEnabled());
    assignObjectIntersection(other.objectIntersection());
}

GazeIntersectionOutputDataV3::GazeIntersectionOutputDataV3(
    const GazeIntersectionOutputDataV2& other) {
    setSerializeEnabled(other.serializeEnabled());
    assignObjectIntersection(other.objectIntersection());
}

char GazeIntersectionOutputDataV3::objectID() const {
    return THIS_OBJECT_ID;
}

GazeIntersectionOutputDataV3* GazeIntersectionOutputDataV3::clone() const {
    return new GazeIntersectionOutputDataV3(*this);
}

}  // namespace vq::eod
