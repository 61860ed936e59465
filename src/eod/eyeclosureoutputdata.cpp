#include "vq/eod/eyeclosureoutputdata.h"

#include "eod/precondition_internal.h"
#include "eod/printcolumns_internal.h"
#include "eod/recordreader_internal.h"
#include "eod/recordwriter_internal.h"

namespace vq::eod {

namespace {
bool inUnitRange(float value) {
    return value >= 0.0f && value <= 1.0f;  // false for NaN
}
}  // namespace

VQ_EOD_DEFINE_POOL_ALLOCATION(EyeClosureOutputData)

EyeClosureOutputData::EyeClosureOutputData()
    : _eye_closure{0.0f, 0.0f},
      _eye_closure_confidence{0.0f, 0.0f},
      _eye_closure_calib_status(0.0f),
      _blinking(false),
      _blink_frequency(0.0f),
      _average_blink_duration(0.0f),
      _perclos(0.0f) {}

EyeClosureOutputData::EyeClosureOutputData(const EyeClosureOutputData& other) = default;

EyeClosureOutputData& EyeClosureOutputData::operator=(const EyeClosureOutputData& other) = default;

EyeClosureOutputData::~EyeClosureOutputData() = default;

float EyeClosureOutputData::eyeClosure(int eye_id) const {
    VQ_REQUIRE(static_cast<unsigned int>(eye_id) < 2, "eye_id neither LEFT_EYE nor RIGHT_EYE");
    return _eye_closure[eye_id];
}

void EyeClosureOutputData::setEyeClosure(int eye_id, float closure) {
    VQ_REQUIRE(static_cast<unsigned int>(eye_id) < 2, "eye_id neither LEFT_EYE nor RIGHT_EYE");
    VQ_REQUIRE(inUnitRange(closure), "closure outside range 0..1");
    _eye_closure[eye_id] = closure;
}

float EyeClosureOutputData::eyeClosureConfidence(int eye_id) const {
    VQ_REQUIRE(static_cast<unsigned int>(eye_id) < 2, "eye_id neither LEFT_EYE nor RIGHT_EYE");
    return _eye_closure_confidence[eye_id];
}

void EyeClosureOutputData::setEyeClosureConfidence(int eye_id, float confidence) {
    VQ_REQUIRE(static_cast<unsigned int>(eye_id) < 2, "eye_id neither LEFT_EYE nor RIGHT_EYE");
    VQ_REQUIRE(inUnitRange(confidence), "confidence outside range 0..1");
    _eye_closure_confidence[eye_id] = confidence;
}

void EyeClosureOutputData::setEyeClosureCalibStatus(float status) {
    VQ_REQUIRE(inUnitRange(status), "calib_status outside range 0..1");
    _eye_closure_calib_status = status;
}

void EyeClosureOutputData::setBlinkFrequency(float frequency) {
    VQ_REQUIRE(frequency >= 0.0f, "frequency less than zero");
    _blink_frequency = frequency;
}

void EyeClosureOutputData::setAverageBlinkDuration(float duration) {
    VQ_REQUIRE(duration >= 0.0f, "duration less than zero");
    _average_blink_duration = duration;
}

void EyeClosureOutputData::setPerclos(float perclos) {
    VQ_REQUIRE(inUnitRange(perclos), "perclos outside range 0..1");
    _perclos = perclos;
}

char EyeClosureOutputData::objectID() const {
    return THIS_OBJECT_ID;
}

EyeClosureOutputData* EyeClosureOutputData::clone() const {
    return new EyeClosureOutputData(*this);
}

void EyeClosureOutputData::printOwnHeader(std::ostream& stream) const {
    detail::printColumns(
        stream, {"RIGHT_EYE_CLOSE", "LEFT_EYE_CLOSE", "RIGHT_CLOS_CONF", "LEFT_CLOS_CONF",
                 "EYE_CLOSE_CALIB", "BLINKING", "BLINK_FREQ", "BLINK_DURATION", "PERCLOS"});
}

void EyeClosureOutputData::printOwnData(std::ostream& stream) const {
    detail::printColumn(stream, _eye_closure[RIGHT_EYE]);
    detail::printColumn(stream, _eye_closure[LEFT_EYE]);
    detail::printColumn(stream, _eye_closure_confidence[RIGHT_EYE]);
    detail::printColumn(stream, _eye_closure_confidence[LEFT_EYE]);
    detail::printColumn(stream, _eye_closure_calib_status);
    detail::printColumn(stream, _blinking);
    detail::printColumn(stream, _blink_frequency);
    detail::printColumn(stream, _average_blink_duration);
    detail::printColumn(stream, _perclos);
}

void EyeClosureOutputData::appendEngineSpecificData(ByteBuffer& buffer) const {
    FieldWriter out(buffer, EyeClosureOutputData::numEngineSpecificDataBytes());
    putEngineSpecificData(out);
}

void EyeClosureOutputData::putEngineSpecificData(FieldWriter& out) const {
    out.put(_eye_closure[RIGHT_EYE]);
    out.put(_eye_closure[LEFT_EYE]);
    out.put(_eye_closure_confidence[RIGHT_EYE]);
    out.put(_eye_closure_confidence[LEFT_EYE]);
    out.put(_eye_closure_calib_status);
    out.put(_blinking);
    out.put(_blink_frequency);
    out.put(_average_blink_duration);
    out.put(_perclos);
}

void EyeClosureOutputData::readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) {
    readValue(buffer, read_pos, _eye_closure[RIGHT_EYE]);
    readValue(buffer, read_pos, _eye_closure[LEFT_EYE]);
    readValue(buffer, read_pos, _eye_closure_confidence[RIGHT_EYE]);
    readValue(buffer, read_pos, _eye_closure_confidence[LEFT_EYE]);
    readValue(buffer, read_pos, _eye_closure_calib_status);
    readValue(buffer, read_pos, _blinking);
    readValue(buffer, read_pos, _blink_frequency);
    readValue(buffer, read_pos, _average_blink_duration);
    readValue(buffer, read_pos, _perclos);
}

unsigned int EyeClosureOutputData::numEngineSpecificDataBytes() const {
    return 33;
}

// Written without hooks when a record is exactly of this class.
template bool detail::RecordWriter::writeEngineRecord<EyeClosureOutputData>(
    const Serializable&, detail::RecordWriter::Block&, unsigned long long&);

// Read without hooks when a record is exactly of this class.
template bool detail::RecordReader::readEngineRecord<EyeClosureOutputData>(Serializable&,
                                                                           const ByteBuffer&, int&,
                                                                           const RecordHeader&,
                                                                           unsigned int&);

}  // namespace vq::eod
