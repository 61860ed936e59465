#include "vq/eod/featuresetsbycamera.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(FeatureSetsByCamera)

FeatureSetsByCamera::FeatureSetsByCamera() : OpaqueOutputData(THIS_OBJECT_ID) {}

FeatureSetsByCamera* FeatureSetsByCamera::clone() const {
    return new FeatureSetsByCamera(*this);
}

}  // namespace vq::eod
