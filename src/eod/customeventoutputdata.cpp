#include "vq/eod/customeventoutputdata.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(CustomEventOutputData)

CustomEventOutputData::CustomEventOutputData() : OpaqueOutputData(THIS_OBJECT_ID) {}

CustomEventOutputData* CustomEventOutputData::clone() const {
    return new CustomEventOutputData(*this);
}

}  // namespace vq::eod
