// ImageCollectionOutputData: the camera images that came with the frame.
// Its layout is not published: the record keeps its data as read (see opaqueoutputdata.h).
#pragma once

#include "vq/eod/objectids.h"
#include "vq/eod/opaqueoutputdata.h"

namespace vq::eod {

class VQ_EOD_API ImageCollectionOutputData : public OpaqueOutputData {
public:
    static constexpr char THIS_OBJECT_ID = object_id::IMAGE_COLLECTION_OUTPUT_DATA;

    ImageCollectionOutputData();
    ImageCollectionOutputData* clone() const override;

    VQ_EOD_POOL_ALLOCATED(ImageCollectionOutputData)
};

}  // namespace vq::eod
