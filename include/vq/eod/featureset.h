// FeatureSet: a set of facial features found in one camera image, held by
// FeatureSetsByCamera.
// One class serves several object IDs, given at construction; IDToName names the element:
//     FEATURE_SET_CA              "CA"
//     FEATURE_SET_CB              "CB"
//     any other ID                "SET"
// Its layout is not published: the record keeps its data as read (see opaqueoutputdata.h).
#pragma once

#include <string>

#include "vq/eod/objectids.h"
#include "vq/eod/opaqueoutputdata.h"

namespace vq::eod {

class VQ_EOD_API FeatureSet : public OpaqueOutputData {
public:
    explicit FeatureSet(char object_id);
    FeatureSet* clone() const override;

    // The name of the element that the object ID stands for.
    static std::string IDToName(char object_id);

    VQ_EOD_POOL_ALLOCATED(FeatureSet)
};

}  // namespace vq::eod
