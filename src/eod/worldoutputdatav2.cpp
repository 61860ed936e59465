#include "vq/eod/worldoutputdatav2.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(WorldOutputDataV2)

WorldOutputDataV2::WorldOutputDataV2() = default;
WorldOutputDataV2::WorldOutputDataV2(const WorldOutputDataV2& other) = default;
WorldOutputDataV2& WorldOutputDataV2::operator=(const WorldOutputDataV2& other) = default;
WorldOutputDataV2::~WorldOutputDataV2() = default;

char WorldOutputDataV2::objectID() const {
    return THIS_OBJECT_ID;
}

WorldOutputDataV2* WorldOutputDataV2::clone() const {
    return new WorldOutputDataV2(*this);
}

void WorldOutputDataV2::printOwnHeader(std::ostream& /*stream*/) const {}

void WorldOutputDataV2::printOwnData(std::ostream& /*stream*/) const {}

void WorldOutputDataV2::appendEngineSpecificData(ByteBuffer& /*buffer*/) const {}

void WorldOutputDataV2::readEngineSpecificData(const ByteBuffer& /*buffer*/, int& /*read_pos*/) {}

unsigned int WorldOutputDataV2::numEngineSpecificDataBytes() const {
    return 0;
}

}  // namespace vq::eod
