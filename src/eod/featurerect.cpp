#include "vq/eod/featurerect.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(FeatureRect)

FeatureRect::FeatureRect(char object_id) : OpaqueOutputData(object_id) {}

FeatureRect* FeatureRect::clone() const {
    return new FeatureRect(*this);
}

std::string FeatureRect::IDToName(char object_id) {
    switch (object_id) {
        case object_id::FEATURE_RECT_FACERECT:
            return "FACERECT";
        case object_id::FEATURE_RECT_REYERECT:
            return "REYERECT";
        case object_id::FEATURE_RECT_LEYERECT:
            return "LEYERECT";
        case object_id::FEATURE_RECT_MOUTRECT:
            return "MOUTRECT";
        default:
            return "RECT";
    }
}

}  // namespace vq::eod
