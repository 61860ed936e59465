#include "vq/eod/featurepoint.h"

#include "eod/objectids_internal.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(FeaturePoint)

FeaturePoint::FeaturePoint(char object_id) : OpaqueOutputData(object_id) {}

FeaturePoint* FeaturePoint::clone() const {
    return new FeaturePoint(*this);
}

std::string FeaturePoint::IDToName(char object_id) {
    return detail::elementName(object_id, "FeaturePoint", "POINT");
}

}  // namespace vq::eod
