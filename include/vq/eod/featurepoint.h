// FeaturePoint: one feature point (a pupil position).
// One class serves several object IDs, given at construction; IDToName names the element:
//     FEATURE_POINT_R_PUPILPOS    "R_PUPILPOS"
//     FEATURE_POINT_L_PUPILPOS    "L_PUPILPOS"
//     any other ID                "POINT"
// Its layout is not published: the record keeps its data as read (see opaqueoutputdata.h).
#pragma once

#include <string>

#include "vq/eod/objectids.h"
#include "vq/eod/opaqueoutputdata.h"

namespace vq::eod {

class VQ_EOD_API FeaturePoint : public OpaqueOutputData {
public:
    explicit FeaturePoint(char object_id);
    FeaturePoint* clone() const override;

    // The name of the element that the object ID stands for.
    static std::string IDToName(char object_id);

    VQ_EOD_POOL_ALLOCATED(FeaturePoint)
};

}  // namespace vq::eod
