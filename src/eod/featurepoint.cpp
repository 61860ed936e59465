#include "vq/eod/featurepoint.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(FeaturePoint)

FeaturePoint::FeaturePoint(char object_id) : OpaqueOutputData(object_id) {}

FeaturePoint* FeaturePoint::clone() const {
    return new FeaturePoint(*this);
}

std::string FeaturePoint::IDToName(char object_id) {
    switch (object_id) {
        case object_id::FEATURE_POINT_R_PUPILPOS:
            return "R_PUPILPOS";
        case object_id::FEATURE_POINT_L_PUPILPOS:
            return "L_PUPILPOS";
        default:
            return "POINT";
    }
}

}  // namespace vq::eod
