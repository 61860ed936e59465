// FeatureRect: one feature rectangle (face, eye or mouth).
// One class serves several object IDs, given at construction; IDToName names the element:
//     FEATURE_RECT_FACERECT       "FACERECT"
//     FEATURE_RECT_REYERECT       "REYERECT"
//     FEATURE_RECT_LEYERECT       "LEYERECT"
//     FEATURE_RECT_MOUTRECT       "MOUTRECT"
//     any other ID                "RECT"
// Its layout is not published: the record keeps its data as read (see opaqueoutputdata.h).
#pragma once

#include <string>

#include "vq/eod/objectids.h"
#include "vq/eod/opaqueoutputdata.h"

namespace vq::eod {

class VQ_EOD_API FeatureRect : public OpaqueOutputData {
public:
    explicit FeatureRect(char object_id);
    FeatureRect* clone() const override;

    // The name of the element that the object ID stands for.
    static std::string IDToName(char object_id);

    VQ_EOD_POOL_ALLOCATED(FeatureRect)
};

}  // namespace vq::eod
