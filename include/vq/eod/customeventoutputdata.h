// CustomEventOutputData: an event that an application adds to a frame.
// Its layout is not published: the record keeps its data as read (see opaqueoutputdata.h).
#pragma once

#include "vq/eod/objectids.h"
#include "vq/eod/opaqueoutputdata.h"

namespace vq::eod {

class VQ_EOD_API CustomEventOutputData : public OpaqueOutputData {
public:
    static constexpr char THIS_OBJECT_ID = object_id::CUSTOM_EVENT_OUTPUT_DATA;

    CustomEventOutputData();
    CustomEventOutputData* clone() const override;

    VQ_EOD_POOL_ALLOCATED(CustomEventOutputData)
};

}  // namespace vq::eod
