#include "vq/eod/headtrackerstateoutputdata.h"

#include "eod/precondition_internal.h"
#include "eod/printcolumns_internal.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(HeadTrackerStateOutputData)

HeadTrackerStateOutputData::HeadTrackerStateOutputData() : _state(-1) {}

HeadTrackerStateOutputData::HeadTrackerStateOutputData(int state) : _state(-1) {
    setState(state);
}

HeadTrackerStateOutputData::HeadTrackerStateOutputData(const HeadTrackerStateOutputData& other) =
    default;

HeadTrackerStateOutputData& HeadTrackerStateOutputData::operator=(
    const HeadTrackerStateOutputData& other) = default;

HeadTrackerStateOutputData::~HeadTrackerStateOutputData() = default;

void HeadTrackerStateOutputData::setState(int state) {
    // -1..4 in one unsigned comparison; the addition is done unsigned so that it cannot overflow.
    VQ_REQUIRE(static_cast<unsigned int>(state) + 1u < 6u, "state invalid");
    _state = state;
}

char HeadTrackerStateOutputData::objectID() const {
    return THIS_OBJECT_ID;
}

HeadTrackerStateOutputData* HeadTrackerStateOutputData::clone() const {
    return new HeadTrackerStateOutputData(*this);
}

void HeadTrackerStateOutputData::printOwnHeader(std::ostream& stream) const {
    detail::printColumn(stream, "HT_STATE");
}

void HeadTrackerStateOutputData::printOwnData(std::ostream& stream) const {
    detail::printColumn(stream, _state);
}

void HeadTrackerStateOutputData::appendEngineSpecificData(ByteBuffer& buffer) const {
    appendValue(buffer, _state);
}

void HeadTrackerStateOutputData::readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) {
    readValue(buffer, read_pos, _state);
}

unsigned int HeadTrackerStateOutputData::numEngineSpecificDataBytes() const {
    return 4;
}

}  // namespace vq::eod
