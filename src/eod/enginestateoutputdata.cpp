#include "vq/eod/enginestateoutputdata.h"

#include "eod/precondition_internal.h"
#include "eod/printcolumns_internal.h"
#include "eod/recordreader_internal.h"
#include "eod/recordwriter_internal.h"
#include "vq/eod/headtrackerstateoutputdata.h"
#include "vq/eod/irpodstateoutputdata.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(EngineStateOutputData)

EngineStateOutputData::EngineStateOutputData() : _state(-1) {}

EngineStateOutputData::EngineStateOutputData(int state) : _state(-1) {
    setState(state);
}

EngineStateOutputData::EngineStateOutputData(const EngineStateOutputData& other) = default;

EngineStateOutputData& EngineStateOutputData::operator=(const EngineStateOutputData& other) =
    default;

EngineStateOutputData::~EngineStateOutputData() = default;

void EngineStateOutputData::setState(int state) {
    // -1..1 in one unsigned comparison; the addition is done unsigned so that it cannot overflow.
    VQ_REQUIRE(static_cast<unsigned int>(state) + 1u < 3u, "unknown state");
    _state = state;
}

boost::shared_ptr<HeadTrackerStateOutputData> EngineStateOutputData::headtrackerStateOutputData() {
    return subObjectAs<HeadTrackerStateOutputData>(HeadTrackerStateOutputData::THIS_OBJECT_ID);
}

boost::shared_ptr<const HeadTrackerStateOutputData>
EngineStateOutputData::headtrackerStateOutputData() const {
    return subObjectAs<HeadTrackerStateOutputData>(HeadTrackerStateOutputData::THIS_OBJECT_ID);
}

boost::shared_ptr<IRPodStateOutputData> EngineStateOutputData::irPodStateOutputData() {
    return subObjectAs<IRPodStateOutputData>(IRPodStateOutputData::THIS_OBJECT_ID);
}

boost::shared_ptr<const IRPodStateOutputData> EngineStateOutputData::irPodStateOutputData() const {
    return subObjectAs<IRPodStateOutputData>(IRPodStateOutputData::THIS_OBJECT_ID);
}

char EngineStateOutputData::objectID() const {
    return THIS_OBJECT_ID;
}

EngineStateOutputData* EngineStateOutputData::clone() const {
    return new EngineStateOutputData(*this);
}

void EngineStateOutputData::printOwnHeader(std::ostream& stream) const {
    detail::printColumn(stream, "ENGINE_STATE");
}

void EngineStateOutputData::printOwnData(std::ostream& stream) const {
    detail::printColumn(stream, _state);
}

void EngineStateOutputData::appendEngineSpecificData(ByteBuffer& buffer) const {
    FieldWriter out(buffer, EngineStateOutputData::numEngineSpecificDataBytes());
    putEngineSpecificData(out);
}

void EngineStateOutputData::putEngineSpecificData(FieldWriter& out) const {
    out.put(_state);
}

void EngineStateOutputData::readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) {
    readValue(buffer, read_pos, _state);
}

unsigned int EngineStateOutputData::numEngineSpecificDataBytes() const {
    return 4;
}

// Written without hooks when a record is exactly of this class.
template bool detail::RecordWriter::writeEngineRecord<EngineStateOutputData>(
    const Serializable&, detail::RecordWriter::Block&, unsigned long long&);

// Read without hooks when a record is exactly of this class.
template bool detail::RecordReader::readEngineRecord<EngineStateOutputData>(Serializable&,
                                                                            const ByteBuffer&, int&,
                                                                            const RecordHeader&,
                                                                            unsigned int&);

}  // namespace vq::eod
