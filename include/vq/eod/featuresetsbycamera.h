// FeatureSetsByCamera: the feature sets (points and rectangles of the face and eyes)
// found in the image of each camera.
// Its layout is not published: the record keeps its data as read (see opaqueoutputdata.h).
#pragma once

#include "vq/eod/objectids.h"
#include "vq/eod/opaqueoutputdata.h"

namespace vq::eod {

class VQ_EOD_API FeatureSetsByCamera : public OpaqueOutputData {
public:
    static constexpr char THIS_OBJECT_ID = object_id::FEATURE_SETS_BY_CAMERA;

    FeatureSetsByCamera();
    FeatureSetsByCamera* clone() const override;

    VQ_EOD_POOL_ALLOCATED(FeatureSetsByCamera)
};

}  // namespace vq::eod
