#include "vq/eod/irpodstateoutputdata.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(IRPodStateOutputData)

IRPodStateOutputData::IRPodStateOutputData() : OpaqueOutputData(THIS_OBJECT_ID) {}

IRPodStateOutputData* IRPodStateOutputData::clone() const {
    return new IRPodStateOutputData(*this);
}

}  // namespace vq::eod
