#include "vq/eod/imagecollectionoutputdata.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(ImageCollectionOutputData)

ImageCollectionOutputData::ImageCollectionOutputData() : OpaqueOutputData(THIS_OBJECT_ID) {}

ImageCollectionOutputData* ImageCollectionOutputData::clone() const {
    return new ImageCollectionOutputData(*this);
}

}  // namespace vq::eod
