#include "vq/eod/headintersectionoutputdatav2.h"

#include "vq/eod/headintersectionoutputdatav1.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(HeadIntersectionOutputDataV2)

HeadIntersectionOutputDataV2::HeadIntersectionOutputDataV2() = default;
HeadIntersectionOutputDataV2::HeadIntersectionOutputDataV2(
    const HeadIntersectionOutputDataV2& other) = default;
HeadIntersectionOutputDataV2& HeadIntersectionOutputDataV2::operator=(
    const HeadIntersectionOutputDataV2& other) = default;
HeadIntersectionOutputDataV2::~HeadIntersectionOutputDataV2() = default;

HeadIntersectionOutputDataV2::HeadIntersectionOutputDataV2(
    const HeadIntersectionOutputDataV1& other) {
    setSerializeEnabled(other.serializeEnabled());
    assignObjectIntersection(other.objectIntersection());
}

char HeadIntersectionOutputDataV2::objectID() const {
    return THIS_OBJECT_ID;
}

HeadIntersectionOutputDataV2* HeadIntersectionOutputDataV2::clone() const {
    return new HeadIntersectionOutputDataV2(*this);
}

}  // namespace vq::eod
