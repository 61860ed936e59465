// FaceOutputData: facial landmarks (first version).
// Its layout is not published: the record keeps its data as read (see opaqueoutputdata.h).
#pragma once

#include "vq/eod/objectids.h"
#include "vq/eod/opaqueoutputdata.h"

namespace vq::eod {

class VQ_EOD_API FaceOutputData : public OpaqueOutputData {
public:
    static constexpr char THIS_OBJECT_ID = object_id::FACE_OUTPUT_DATA;

    FaceOutputData();
    FaceOutputData* clone() const override;

    VQ_EOD_POOL_ALLOCATED(FaceOutputData)
};

}  // namespace vq::eod
