#include "vq/eod/faceoutputdata.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(FaceOutputData)

FaceOutputData::FaceOutputData() : OpaqueOutputData(THIS_OBJECT_ID) {}

FaceOutputData* FaceOutputData::clone() const {
    return new FaceOutputData(*this);
}

}  // namespace vq::eod
