#include "vq/eod/worldoutputdata.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(WorldOutputData)

WorldOutputData::WorldOutputData() = default;
WorldOutputData::WorldOutputData(const WorldOutputData& other) = default;
WorldOutputData& WorldOutputData::operator=(const WorldOutputData& other) = default;
WorldOutputData::~WorldOutputData() = default;

char WorldOutputData::objectID() const {
    return THIS_OBJECT_ID;
}

WorldOutputData* WorldOutputData::clone() const {
    return new WorldOutputData(*this);
}

void WorldOutputData::printOwnHeader(std::ostream& /*stream*/) const {}

void WorldOutputData::printOwnData(std::ostream& /*stream*/) const {}

void WorldOutputData::appendEngineSpecificData(ByteBuffer& /*buffer*/) const {}

void WorldOutputData::readEngineSpecificData(const ByteBuffer& /*buffer*/, int& /*read_pos*/) {}

unsigned int WorldOutputData::numEngineSpecificDataBytes() const {
    return 0;
}

}  // namespace vq::eod
