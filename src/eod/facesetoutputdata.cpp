#include "vq/eod/facesetoutputdata.h"

#include "vq/eod/eyeoutputdata.h"
#include "vq/eod/faceoutputdatav2.h"
#include "vq/eod/headoutputdatav2.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(FaceSetOutputData)

FaceSetOutputData::FaceSetOutputData() = default;

FaceSetOutputData::FaceSetOutputData(const FaceSetOutputData& other) = default;

FaceSetOutputData& FaceSetOutputData::operator=(const FaceSetOutputData& other) = default;

FaceSetOutputData::~FaceSetOutputData() = default;

boost::shared_ptr<HeadOutputDataV2> FaceSetOutputData::headOutputData() {
    return subObjectAs<HeadOutputDataV2>(HeadOutputDataV2::THIS_OBJECT_ID);
}

boost::shared_ptr<const HeadOutputDataV2> FaceSetOutputData::headOutputData() const {
    return subObjectAs<HeadOutputDataV2>(HeadOutputDataV2::THIS_OBJECT_ID);
}

boost::shared_ptr<EyeOutputData> FaceSetOutputData::eyeOutputData() {
    return subObjectAs<EyeOutputData>(EyeOutputData::THIS_OBJECT_ID);
}

boost::shared_ptr<const EyeOutputData> FaceSetOutputData::eyeOutputData() const {
    return subObjectAs<EyeOutputData>(EyeOutputData::THIS_OBJECT_ID);
}

boost::shared_ptr<FaceOutputDataV2> FaceSetOutputData::faceOutputData() {
    return subObjectAs<FaceOutputDataV2>(FaceOutputDataV2::THIS_OBJECT_ID);
}

boost::shared_ptr<const FaceOutputDataV2> FaceSetOutputData::faceOutputData() const {
    return subObjectAs<FaceOutputDataV2>(FaceOutputDataV2::THIS_OBJECT_ID);
}

char FaceSetOutputData::objectID() const {
    return THIS_OBJECT_ID;
}

FaceSetOutputData* FaceSetOutputData::clone() const {
    return new FaceSetOutputData(*this);
}

bool FaceSetOutputData::forbidDuplicateSiblings() const {
    return false;
}

// The container prints nothing of its own: its sub-objects print their columns.
void FaceSetOutputData::printOwnHeader(std::ostream& /*stream*/) const {}

void FaceSetOutputData::printOwnData(std::ostream& /*stream*/) const {}

void FaceSetOutputData::appendEngineSpecificData(ByteBuffer& /*buffer*/) const {}

void FaceSetOutputData::readEngineSpecificData(const ByteBuffer& /*buffer*/, int& /*read_pos*/) {}

unsigned int FaceSetOutputData::numEngineSpecificDataBytes() const {
    return 0;
}

}  // namespace vq::eod
