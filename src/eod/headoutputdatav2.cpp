#include "vq/eod/headoutputdatav2.h"

#include "eod/precondition_internal.h"
#include "eod/printcolumns_internal.h"
#include "eod/recordreader_internal.h"
#include "eod/recordwriter_internal.h"
#include "eod/utils/geomutils_internal.h"
#include "vq/eod/headoutputdata.h"
#include "vq/eod/utils/geomutils.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(HeadOutputDataV2)

HeadOutputDataV2::HeadOutputDataV2()
    : _is_tracking(false),
      _head_position(3, 0.0),
      _head_rotation_quaternion{1.0, 0.0, 0.0, 0.0},
      _head_rotation(3, 0.0),
      _head_position_confidence(0.0),
      _model_quality_level(0),
      _head_eye_ball_pos{std::vector<double>(3, 0.0), std::vector<double>(3, 0.0)} {}

HeadOutputDataV2::HeadOutputDataV2(const HeadOutputDataV2& other) = default;

HeadOutputDataV2::HeadOutputDataV2(const HeadOutputData& other) : HeadOutputDataV2() {
    *this = other;
}

HeadOutputDataV2& HeadOutputDataV2::operator=(const HeadOutputDataV2& other) = default;

const HeadOutputDataV2& HeadOutputDataV2::operator=(const HeadOutputData& other) {
    EngineOutputBase::operator=(other);
    _is_tracking = other.trackingState() != 0;
    _head_position.assign(other.headPosition().begin(), other.headPosition().end());
    // The V1 angles stay as they are; only the quaternion is derived.
    _head_rotation.assign(other.headRotation().begin(), other.headRotation().end());
    _head_rotation_quaternion = utils::fromEulerAngles(_head_rotation);
    _head_position_confidence = other.headPositionConfidence();
    _model_quality_level = other.modelQualityLevel();
    for (int eye = RIGHT_EYE; eye <= LEFT_EYE; ++eye) {
        const std::vector<float>& pos = other.headEyeBallPos(eye);
        _head_eye_ball_pos[eye].assign(pos.begin(), pos.end());
    }
    return *this;
}

HeadOutputDataV2::~HeadOutputDataV2() = default;

void HeadOutputDataV2::setHeadPosition(const std::vector<double>& position) {
    VQ_REQUIRE(position.size() == 3, "pos expected to be 3D point");
    _head_position = position;
}

void HeadOutputDataV2::setHeadRotation(const std::vector<double>& euler_angles) {
    VQ_REQUIRE(euler_angles.size() == 3, "rotation expected to be 3D euler angle");
    _head_rotation_quaternion = utils::fromEulerAngles(euler_angles);
    _head_rotation = utils::toEulerAngles(_head_rotation_quaternion);
}

void HeadOutputDataV2::setHeadRotationQuaternion(const std::vector<double>& quaternion) {
    VQ_REQUIRE(quaternion.size() == 4,
               "rotation expected to be quaternion for 3D space (i.e. 4 dimensions)");
    _head_rotation_quaternion = quaternion;
    _head_rotation = utils::toEulerAngles(_head_rotation_quaternion);
}

void HeadOutputDataV2::setHeadPositionConfidence(double confidence) {
    VQ_REQUIRE(confidence >= 0.0 && confidence <= 1.0, "head_confidencec outside the range 0..1");
    _head_position_confidence = confidence;
}

std::vector<double> HeadOutputDataV2::headEyeBallPos(EyeId eye_id) const {
    VQ_REQUIRE(static_cast<unsigned int>(eye_id) < 2, "eye_id is neither LEFT_EYE nor RIGHT_EYE");
    return _head_eye_ball_pos[eye_id];
}

void HeadOutputDataV2::setHeadEyeballPos(EyeId eye_id, const std::vector<double>& pos) {
    VQ_REQUIRE(static_cast<unsigned int>(eye_id) < 2, "eye_id neither LEFT_EYE nor RIGHT_EYE");
    VQ_REQUIRE(pos.size() == 3, "eyeball_pos expected to be 3D point");
    _head_eye_ball_pos[eye_id] = pos;
}

char HeadOutputDataV2::objectID() const {
    return THIS_OBJECT_ID;
}

HeadOutputDataV2* HeadOutputDataV2::clone() const {
    return new HeadOutputDataV2(*this);
}

void HeadOutputDataV2::printOwnHeader(std::ostream& stream) const {
    detail::printColumns(
        stream,
        {"TRACK_STATE", "HPOS_FILT_X", "HPOS_FILT_Y", "HPOS_FILT_Z", "HROT_FILT_Q0", "HROT_FILT_Q1",
         "HROT_FILT_Q2", "HROT_FILT_Q3", "HPOS_CONF", "MODEL_QUAL", "H_EYEBALL_R_X",
         "H_EYEBALL_R_Y", "H_EYEBALL_R_Z", "H_EYEBALL_L_X", "H_EYEBALL_L_Y", "H_EYEBALL_L_Z"});
}

void HeadOutputDataV2::printOwnData(std::ostream& stream) const {
    detail::printColumn(stream, _is_tracking);
    detail::printColumns(stream, _head_position);
    detail::printColumns(stream, _head_rotation_quaternion);
    detail::printColumn(stream, _head_position_confidence);
    detail::printColumn(stream, _model_quality_level);
    detail::printColumns(stream, _head_eye_ball_pos[RIGHT_EYE]);
    detail::printColumns(stream, _head_eye_ball_pos[LEFT_EYE]);
}

void HeadOutputDataV2::appendEngineSpecificData(ByteBuffer& buffer) const {
    FieldWriter out(buffer, HeadOutputDataV2::numEngineSpecificDataBytes());
    putEngineSpecificData(out);
}

void HeadOutputDataV2::putEngineSpecificData(FieldWriter& out) const {
    out.put(_is_tracking);
    out.put(_head_position);
    out.put(_head_rotation_quaternion);
    out.put(_head_position_confidence);
    out.put(_model_quality_level);
    for (const std::vector<double>& eye : _head_eye_ball_pos) {
        out.put(eye);
    }
}

void HeadOutputDataV2::readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) {
    readValue(buffer, read_pos, _is_tracking);
    for (double& value : _head_position) {
        readValue(buffer, read_pos, value);
    }
    for (double& value : _head_rotation_quaternion) {
        readValue(buffer, read_pos, value);
    }
    // The angles are written into the vector that is there, which then needs no new memory.
    const std::array<double, 3> angles =
        utils::detail::eulerAnglesOfQuaternion(_head_rotation_quaternion.data());
    _head_rotation.assign(angles.begin(), angles.end());
    readValue(buffer, read_pos, _head_position_confidence);
    readValue(buffer, read_pos, _model_quality_level);
    for (std::vector<double>& eye : _head_eye_ball_pos) {
        for (double& value : eye) {
            readValue(buffer, read_pos, value);
        }
    }
}

unsigned int HeadOutputDataV2::numEngineSpecificDataBytes() const {
    return 114;
}

// Written without hooks when a record is exactly of this class.
template bool detail::RecordWriter::writeEngineRecord<HeadOutputDataV2>(
    const Serializable&, detail::RecordWriter::Block&, unsigned long long&);

// Read without hooks when a record is exactly of this class.
template bool detail::RecordReader::readEngineRecord<HeadOutputDataV2>(Serializable&,
                                                                       const ByteBuffer&, int&,
                                                                       const RecordHeader&,
                                                                       unsigned int&);

}  // namespace vq::eod
