#include "vq/eod/engineoutputdata.h"

#include <iomanip>
#include <ostream>

#include "eod/recordreader_internal.h"
#include "eod/recordwriter_internal.h"

#include "vq/eod/enginestateoutputdata.h"
#include "vq/eod/eyeoutputdata.h"
#include "vq/eod/faceoutputdatav2.h"
#include "vq/eod/facesetoutputdata.h"
#include "vq/eod/featuresetsbycamera.h"
#include "vq/eod/gpsoutputdata.h"
#include "vq/eod/gpsoutputdatav2.h"
#include "vq/eod/headoutputdatav2.h"
#include "vq/eod/imagecollectionoutputdata.h"
#include "vq/eod/inertiaoutputdata.h"
#include "vq/eod/timingoutputdata.h"
#include "vq/eod/utils/outputdatautils.h"
#include "vq/eod/worldoutputdatav2.h"

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

boost::shared_ptr<FaceOutputDataV2> EngineOutputData::faceOutputData() {
    return utils::faceOutputData(*this);
}

boost::shared_ptr<const FaceOutputDataV2> EngineOutputData::faceOutputData() const {
    return utils::faceOutputData(*this);
}

boost::shared_ptr<WorldOutputDataV2> EngineOutputData::worldOutputData() {
    return utils::worldOutputData(*this);
}

boost::shared_ptr<const WorldOutputDataV2> EngineOutputData::worldOutputData() const {
    return utils::worldOutputData(*this);
}

boost::shared_ptr<GPSOutputData> EngineOutputData::gpsOutputData() {
    return utils::gpsOutputData(*this);
}

boost::shared_ptr<const GPSOutputData> EngineOutputData::gpsOutputData() const {
    return utils::gpsOutputData(*this);
}

boost::shared_ptr<GPSOutputDataV2> EngineOutputData::gpsOutputDataV2() {
    return utils::gpsOutputDataV2(*this);
}

boost::shared_ptr<const GPSOutputDataV2> EngineOutputData::gpsOutputDataV2() const {
    return utils::gpsOutputDataV2(*this);
}

boost::shared_ptr<InertiaOutputData> EngineOutputData::inertiaOutputData() {
    return utils::inertiaOutputData(*this);
}

boost::shared_ptr<const InertiaOutputData> EngineOutputData::inertiaOutputData() const {
    return utils::inertiaOutputData(*this);
}

boost::shared_ptr<FeatureSetsByCamera> EngineOutputData::featureSetsByCamera() {
    return utils::featureSetsByCamera(*this);
}

boost::shared_ptr<const FeatureSetsByCamera> EngineOutputData::featureSetsByCamera() const {
    return utils::featureSetsByCamera(*this);
}

boost::shared_ptr<ImageCollectionOutputData> EngineOutputData::imagesOutputData() {
    return utils::imagesOutputData(*this);
}

boost::shared_ptr<const ImageCollectionOutputData> EngineOutputData::imagesOutputData() const {
    return utils::imagesOutputData(*this);
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
    FieldWriter out(buffer, EngineOutputData::numEngineSpecificDataBytes());
    putEngineSpecificData(out);
}

void EngineOutputData::putEngineSpecificData(FieldWriter& out) const {
    out.put(_frame_num);
}

void EngineOutputData::readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) {
    readValue(buffer, read_pos, _frame_num);
}

unsigned int EngineOutputData::numEngineSpecificDataBytes() const {
    return 4;
}

// Written without hooks when a record is exactly of this class.
template bool detail::RecordWriter::writeEngineRecord<EngineOutputData>(
    const Serializable&, detail::RecordWriter::Block&, unsigned long long&);

// Read without hooks when a record is exactly of this class.
template bool detail::RecordReader::readEngineRecord<EngineOutputData>(Serializable&,
                                                                       const ByteBuffer&, int&,
                                                                       const RecordHeader&,
                                                                       unsigned int&);

}  // namespace vq::eod
