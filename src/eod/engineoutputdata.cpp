#include "vq/eod/engineoutputdata.h"

#include <iomanip>
#include <ostream>
#include "eod/engineoutputdata_internal.h"

#include "vq/eod/enginestateoutputdata.h"
#include "vq/eod/eyeoutputdata.h"
#include "vq/eod/facesetoutputdata.h"
#include "vq/eod/headoutputdatav2.h"
#include "vq/eod/timingoutputdata.h"
#include "vq/eod/utils/outputdatautils.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(EngineOutputData)

EngineOutputData::EngineOutputData() : _frame_num(0) {}

EngineOutputData::EngineOutputData(const EngineOutputData& other)
    : EngineOutputBase(other), _frame_num(other._frame_num) {}

EngineOutputData& EngineOutputData::operator=(const EngineOutputData& other) {
    if (this != &other) {
        EngineOutputBase::operator=(other);
        _frame_num = other._frame_num;
    }
    return *this;
}

EngineOutputData::~EngineOutputData() = default;

// ---- the frame's records: the output data utilities do the work -----------------------------

boost::shared_ptr<HeadOutputDataV2> EngineOutputData::headOutputData() {
    return utils::headOutputData(*this);
}

boost::shared_ptr<const HeadOutputDataV2> EngineOutputData::headOutputData() const {
    return utils::headOutputData(*this);
}

boost::shared_ptr<EyeOutputData> EngineOutputData::eyeOutputData() {
    return utils::eyeOutputData(*this);
}

boost::shared_ptr<const EyeOutputData> EngineOutputData::eyeOutputData() const {
    return utils::eyeOutputData(*this);
}

boost::shared_ptr<FaceSetOutputData> EngineOutputData::face(unsigned char index) {
    return utils::face(*this, index);
}

boost::shared_ptr<const FaceSetOutputData> EngineOutputData::face(unsigned char index) const {
    return utils::face(*this, index);
}

unsigned char EngineOutputData::numFaces() {
    return utils::numFaces(*this);
}

unsigned char EngineOutputData::numFaces() const {
    return utils::numFaces(*this);
}

boost::shared_ptr<TimingOutputData> EngineOutputData::timingOutputData() {
    return utils::timingOutputData(*this);
}

boost::shared_ptr<const TimingOutputData> EngineOutputData::timingOutputData() const {
    return utils::timingOutputData(*this);
}

boost::shared_ptr<EngineStateOutputData> EngineOutputData::engineStateOutputData() {
    return utils::engineStateOutputData(*this);
}

boost::shared_ptr<const EngineStateOutputData> EngineOutputData::engineStateOutputData() const {
    return utils::engineStateOutputData(*this);
}

const std::wstring& EngineOutputData::LOGFILE_EXTENSION() {
    static const std::wstring extension = L".vql";
    return extension;
}

const std::wstring& EngineOutputData::LOGFILE_INDEX_EXTENSION() {
    static const std::wstring extension = L".ivql";
    return extension;
}

char EngineOutputData::objectID() const {
    return THIS_OBJECT_ID;
}

EngineOutputData* EngineOutputData::clone() const {
    return new EngineOutputData(*this);
}

bool EngineOutputData::forbidDuplicateSiblings() const {
    return false;
}

void EngineOutputData::reset() {
    clearSubObjects();
    setSerializeEnabled(true);
}

void EngineOutputData::printOwnHeader(std::ostream& stream) const {
    stream << std::setw(15) << "FRAME_NUM" << ' ';
}

void EngineOutputData::printOwnData(std::ostream& stream) const {
    stream << std::setw(15) << _frame_num << ' ';
}

void EngineOutputData::appendEngineSpecificData(ByteBuffer& buffer) const {
    appendValue(buffer, _frame_num);
}

void EngineOutputData::readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) {
    readValue(buffer, read_pos, _frame_num);
}

unsigned int EngineOutputData::numEngineSpecificDataBytes() const {
    return 4;
}

void detail::serializeInNewFrame(unsigned int frame_num, const Serializable& record,
                                 ByteBuffer& buffer) {
    // The frame's data: its flag (a new frame is enabled), its number, the count and the record.
    unsigned char own[6];
    own[0] = 1;
    byteorder::store(own + 1, frame_num);
    own[5] = 1;
    const unsigned int record_bytes = record.numTotalBytes();
    Serializable::writeHeader(buffer, EngineOutputData::THIS_OBJECT_ID, sizeof own + record_bytes);
    buffer.insert(buffer.end(), own, own + sizeof own);
    record.serialize(buffer);
}

}  // namespace vq::eod
