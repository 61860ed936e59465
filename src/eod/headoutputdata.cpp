#include "vq/eod/headoutputdata.h"

#include "eod/precondition_internal.h"
#include "eod/printcolumns_internal.h"
#include "vq/eod/headoutputdatav2.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(HeadOutputData)

HeadOutputData::HeadOutputData()
    : _tracking_state(0),
      _head_position(3, 0.0f),
      _head_rotation(3, 0.0f),
      _head_position_confidence(0.0f),
      _model_quality_level(0),
      _head_eye_ball_pos{std::vector<float>(3, 0.0f), std::vector<float>(3, 0.0f)} {}

HeadOutputData::HeadOutputData(const HeadOutputData& other) = default;

HeadOutputData::HeadOutputData(const HeadOutputDataV2& other)
    : EngineOutputBase(other),
      _tracking_state(other.isTracking() ? 1 : 0),
      _head_position(other.headPosition().begin(), other.headPosition().end()),
      _head_rotation(other.headRotation().begin(), other.headRotation().end()),
      _head_position_confidence(static_cast<float>(other.headPositionConfidence())),
      _model_quality_level(other.modelQualityLevel()) {
    const std::vector<double> left = other.headEyeBallPos(LEFT_EYE);
    _head_eye_ball_pos[LEFT_EYE].assign(left.begin(), left.end());
    const std::vector<double> right = other.headEyeBallPos(RIGHT_EYE);
    _head_eye_ball_pos[RIGHT_EYE].assign(right.begin(), right.end());
}

const HeadOutputData& HeadOutputData::operator=(const HeadOutputData& other) {
    if (this != &other) {
        EngineOutputBase::operator=(other);
        _tracking_state = other._tracking_state;
        _head_position = other._head_position;
        _head_rotation = other._head_rotation;
        _head_position_confidence = other._head_position_confidence;
        _model_quality_level = other._model_quality_level;
        _head_eye_ball_pos = other._head_eye_ball_pos;
    }
    return *this;
}

HeadOutputData::~HeadOutputData() = default;

void HeadOutputData::setHeadPosition(const std::vector<float>& position) {
    VQ_REQUIRE(position.size() == 3, "expected 3D vector");
    _head_position = position;
}

void HeadOutputData::setHeadRotation(const std::vector<float>& rotation) {
    VQ_REQUIRE(rotation.size() == 3, "3D vector expected");
    _head_rotation = rotation;
}

void HeadOutputData::setHeadPositionConfidence(float confidence) {
    VQ_REQUIRE(confidence >= 0.0f && confidence <= 1.0f, "head_confidence not in the range 0..1");
    _head_position_confidence = confidence;
}

const std::vector<float>& HeadOutputData::headEyeBallPos(int eye_id) const {
    VQ_REQUIRE(static_cast<unsigned int>(eye_id) < 2, "eye_id is either LEFT_EYE or RIGHT_EYE");
    return _head_eye_ball_pos[eye_id];
}

void HeadOutputData::setHeadEyeballPos(int eye_id, const std::vector<float>& pos) {
    VQ_REQUIRE(pos.size() == 3, "eyeball_pos is expected to be a 3D point");
    VQ_REQUIRE(static_cast<unsigned int>(eye_id) < 2, "eye_id is neither LEFT_EYE nor RIGHT_EYE");
    _head_eye_ball_pos[eye_id] = pos;
}

char HeadOutputData::objectID() const {
    return THIS_OBJECT_ID;
}

HeadOutputData* HeadOutputData::clone() const {
    return new HeadOutputData(*this);
}

void HeadOutputData::printOwnHeader(std::ostream& stream) const {
    detail::printColumns(stream, {"TRACK_STATE", "HPOS_FILT_X", "HPOS_FILT_Y", "HPOS_FILT_Z",
                                  "HROT_FILT_X", "HROT_FILT_Y", "HROT_FILT_Z", "HPOS_CONF",
                                  "MODEL_QUAL", "H_EYEBALL_R_X", "H_EYEBALL_R_Y", "H_EYEBALL_R_Z",
                                  "H_EYEBALL_L_X", "H_EYEBALL_L_Y", "H_EYEBALL_L_Z"});
}

void HeadOutputData::printOwnData(std::ostream& stream) const {
    detail::printColumn(stream, _tracking_state);
    detail::printColumns(stream, _head_position);
    detail::printColumns(stream, _head_rotation);
    detail::printColumn(stream, _head_position_confidence);
    detail::printColumn(stream, _model_quality_level);
    detail::printColumns(stream, _head_eye_ball_pos[RIGHT_EYE]);
    detail::printColumns(stream, _head_eye_ball_pos[LEFT_EYE]);
}

void HeadOutputData::appendEngineSpecificData(ByteBuffer& buffer) const {
    appendValue(buffer, _tracking_state);
    for (float value : _head_position) {
        appendValue(buffer, value);
    }
    for (float value : _head_rotation) {
        appendValue(buffer, value);
    }
    appendValue(buffer, _head_position_confidence);
    appendValue(buffer, _model_quality_level);
    for (const std::vector<float>& eye : _head_eye_ball_pos) {
        for (float value : eye) {
            appendValue(buffer, value);
        }
    }
}

void HeadOutputData::readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) {
    readValue(buffer, read_pos, _tracking_state);
    for (float& value : _head_position) {
        readValue(buffer, read_pos, value);
    }
    for (float& value : _head_rotation) {
        readValue(buffer, read_pos, value);
    }
    readValue(buffer, read_pos, _head_position_confidence);
    readValue(buffer, read_pos, _model_quality_level);
    for (std::vector<float>& eye : _head_eye_ball_pos) {
        for (float& value : eye) {
            readValue(buffer, read_pos, value);
        }
    }
}

unsigned int HeadOutputData::numEngineSpecificDataBytes() const {
    return 54;
}

}  // namespace vq::eod
