#include "vq/eod/faceoutputdatav2.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(FaceOutputDataV2)

FaceOutputDataV2::FaceOutputDataV2() : OpaqueOutputData(THIS_OBJECT_ID) {}

FaceOutputDataV2* FaceOutputDataV2::clone() const {
    return new FaceOutputDataV2(*this);
}

}  // namespace vq::eod
