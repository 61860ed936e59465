// ImageOutputData: one camera image.
// Its layout is not published: the record keeps its data as read (see opaqueoutputdata.h).
#pragma once

#include "vq/eod/objectids.h"
#include "vq/eod/opaqueoutputdata.h"

namespace vq::eod {

class VQ_EOD_API ImageOutputData : public OpaqueOutputData {
public:
    static constexpr char THIS_OBJECT_ID = object_id::IMAGE_OUTPUT_DATA;

    ImageOutputData();
    ImageOutputData* clone() const override;

    VQ_EOD_POOL_ALLOCATED(ImageOutputData)
};

}  // namespace vq::eod
