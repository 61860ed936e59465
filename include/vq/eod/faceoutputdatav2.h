// FaceOutputDataV2: facial landmarks (current version), held by a face set.
// Its layout is not published: the record keeps its data as read (see opaqueoutputdata.h).
#pragma once

#include "vq/eod/objectids.h"
#include "vq/eod/opaqueoutputdata.h"

namespace vq::eod {

class VQ_EOD_API FaceOutputDataV2 : public OpaqueOutputData {
public:
    static constexpr char THIS_OBJECT_ID = object_id::FACE_OUTPUT_DATA_V2;

    FaceOutputDataV2();
    FaceOutputDataV2* clone() const override;

    VQ_EOD_POOL_ALLOCATED(FaceOutputDataV2)
};

}  // namespace vq::eod
