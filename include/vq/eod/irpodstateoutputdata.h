// IRPodStateOutputData: the state of the infrared illumination pod, held by the engine
// state record.
// Its layout is not published: the record keeps its data as read (see opaqueoutputdata.h).
#pragma once

#include "vq/eod/objectids.h"
#include "vq/eod/opaqueoutputdata.h"

namespace vq::eod {

class VQ_EOD_API IRPodStateOutputData : public OpaqueOutputData {
public:
    static constexpr char THIS_OBJECT_ID = object_id::IR_POD_STATE_OUTPUT_DATA;

    IRPodStateOutputData();
    IRPodStateOutputData* clone() const override;

    VQ_EOD_POOL_ALLOCATED(IRPodStateOutputData)
};

}  // namespace vq::eod
