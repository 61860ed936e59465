#include "vq/eod/featurerect.h"

#include "eod/objectids_internal.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(FeatureRect)

FeatureRect::FeatureRect(char object_id) : OpaqueOutputData(object_id) {}

FeatureRect* FeatureRect::clone() const {
    return new FeatureRect(*this);
}

std::string FeatureRect::IDToName(char object_id) {
    return detail::elementName(object_id, "FeatureRect", "RECT");
}

}  // namespace vq::eod
