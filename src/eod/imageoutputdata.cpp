#include "vq/eod/imageoutputdata.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(ImageOutputData)

ImageOutputData::ImageOutputData() : OpaqueOutputData(THIS_OBJECT_ID) {}

ImageOutputData* ImageOutputData::clone() const {
    return new ImageOutputData(*this);
}

}  // namespace vq::eod
