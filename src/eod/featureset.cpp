#include "vq/eod/featureset.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(FeatureSet)

FeatureSet::FeatureSet(char object_id) : OpaqueOutputData(object_id) {}

FeatureSet* FeatureSet::clone() const {
    return new FeatureSet(*this);
}

std::string FeatureSet::IDToName(char object_id) {
    switch (object_id) {
        case object_id::FEATURE_SET_CA:
            return "CA";
        case object_id::FEATURE_SET_CB:
            return "CB";
        default:
            return "SET";
    }
}

}  // namespace vq::eod
