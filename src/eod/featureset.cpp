#include "vq/eod/featureset.h"

#include "eod/objectids_internal.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(FeatureSet)

FeatureSet::FeatureSet(char object_id) : OpaqueOutputData(object_id) {}

FeatureSet* FeatureSet::clone() const {
    return new FeatureSet(*this);
}

std::string FeatureSet::IDToName(char object_id) {
    return detail::elementName(object_id, "FeatureSet", "SET");
}

}  // namespace vq::eod
