#include "vq/eod/eyeoutputdata.h"

#include "eod/recordreader_internal.h"
#include "eod/recordwriter_internal.h"

#include "vq/eod/eyeclosureoutputdata.h"
#include "vq/eod/gazeoutputdata.h"
#include "vq/eod/pupiloutputdata.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(EyeOutputData)

EyeOutputData::EyeOutputData() = default;

EyeOutputData::EyeOutputData(const EyeOutputData& other) = default;

EyeOutputData& EyeOutputData::operator=(const EyeOutputData& other) = default;

EyeOutputData::~EyeOutputData() = default;

boost::shared_ptr<PupilOutputData> EyeOutputData::pupilOutputData() {
    return subObjectAs<PupilOutputData>(PupilOutputData::THIS_OBJECT_ID);
}

boost::shared_ptr<const PupilOutputData> EyeOutputData::pupilOutputData() const {
    return subObjectAs<PupilOutputData>(PupilOutputData::THIS_OBJECT_ID);
}

boost::shared_ptr<EyeClosureOutputData> EyeOutputData::eyeClosureOutputData() {
    return subObjectAs<EyeClosureOutputData>(EyeClosureOutputData::THIS_OBJECT_ID);
}

boost::shared_ptr<const EyeClosureOutputData> EyeOutputData::eyeClosureOutputData() const {
    return subObjectAs<EyeClosureOutputData>(EyeClosureOutputData::THIS_OBJECT_ID);
}

boost::shared_ptr<GazeOutputData> EyeOutputData::gazeOutputData() {
    return subObjectAs<GazeOutputData>(GazeOutputData::THIS_OBJECT_ID);
}

boost::shared_ptr<const GazeOutputData> EyeOutputData::gazeOutputData() const {
    return subObjectAs<GazeOutputData>(GazeOutputData::THIS_OBJECT_ID);
}

char EyeOutputData::objectID() const {
    return THIS_OBJECT_ID;
}

EyeOutputData* EyeOutputData::clone() const {
    return new EyeOutputData(*this);
}

// The container prints nothing of its own: its sub-objects print their columns.
void EyeOutputData::printOwnHeader(std::ostream& /*stream*/) const {}

void EyeOutputData::printOwnData(std::ostream& /*stream*/) const {}

void EyeOutputData::appendEngineSpecificData(ByteBuffer& /*buffer*/) const {}

void EyeOutputData::putEngineSpecificData(FieldWriter& /*out*/) const {}

void EyeOutputData::readEngineSpecificData(const ByteBuffer& /*buffer*/, int& /*read_pos*/) {}

unsigned int EyeOutputData::numEngineSpecificDataBytes() const {
    return 0;
}

// Written without hooks when a record is exactly of this class.
template bool detail::RecordWriter::writeEngineRecord<EyeOutputData>(const Serializable&,
                                                                     detail::RecordWriter::Block&,
                                                                     unsigned long long&);

// Read without hooks when a record is exactly of this class.
template bool detail::RecordReader::readEngineRecord<EyeOutputData>(Serializable&,
                                                                    const ByteBuffer&, int&,
                                                                    const RecordHeader&,
                                                                    unsigned int&);

}  // namespace vq::eod
