#include "vq/eod/facetextureoutputdata.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(FaceTextureOutputData)

FaceTextureOutputData::FaceTextureOutputData() : OpaqueOutputData(THIS_OBJECT_ID) {}

FaceTextureOutputData* FaceTextureOutputData::clone() const {
    return new FaceTextureOutputData(*this);
}

}  // namespace vq::eod
