// FaceTextureOutputData: the texture of the face.
// Its layout is not published: the record keeps its data as read (see opaqueoutputdata.h).
#pragma once

#include "vq/eod/objectids.h"
#include "vq/eod/opaqueoutputdata.h"

namespace vq::eod {

class VQ_EOD_API FaceTextureOutputData : public OpaqueOutputData {
public:
    static constexpr char THIS_OBJECT_ID = object_id::FACE_TEXTURE_OUTPUT_DATA;

    FaceTextureOutputData();
    FaceTextureOutputData* clone() const override;

    VQ_EOD_POOL_ALLOCATED(FaceTextureOutputData)
};

}  // namespace vq::eod
