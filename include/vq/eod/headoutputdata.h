// HeadOutputData: the head pose of one frame, first version (single precision, Euler angles).
//
// Superseded by HeadOutputDataV2 and kept so that old recordings stay readable; the two convert
// into each other field by field. Engine-specific block, 54 bytes:
//
//     offset  0   1   trackingState (char; 0 not tracking)
//     offset  1  12   headPosition x, y, z (float, metres, world coordinates)
//     offset 13  12   headRotation x, y, z, Euler angles (float, radians)
//     offset 25   4   headPositionConfidence (float)
//     offset 29   1   modelQualityLevel (char)
//     offset 30  12   headEyeBallPos[RIGHT_EYE] x, y, z (float, metres, world coordinates)
//     offset 42  12   headEyeBallPos[LEFT_EYE] x, y, z (float, metres, world coordinates)
//
// Setters refuse bad arguments with std::invalid_argument and leave the record unchanged; a
// record read from bytes holds the values as read, unchecked.
#pragma once

#include <array>
#include <vector>

#include "vq/eod/engineoutputbase.h"
#include "vq/eod/objectids.h"

namespace vq::eod {

class HeadOutputDataV2;

class VQ_EOD_API HeadOutputData : public EngineOutputBase {
public:
    static constexpr char THIS_OBJECT_ID = object_id::HEAD_OUTPUT_DATA;

    HeadOutputData();
    HeadOutputData(const HeadOutputData& other);
    // Converts a V2 record: tracking becomes 1 or 0, the doubles are narrowed, the rotation is
    // the V2 record's Euler angles (not its quaternion).
    explicit HeadOutputData(const HeadOutputDataV2& other);
    const HeadOutputData& operator=(const HeadOutputData& other);
    ~HeadOutputData() override;

    char trackingState() const { return _tracking_state; }
    void setTrackingState(char state) { _tracking_state = state; }
    const std::vector<float>& headPosition() const { return _head_position; }
    // "expected 3D vector" unless 3 elements.
    void setHeadPosition(const std::vector<float>& position);
    const std::vector<float>& headRotation() const { return _head_rotation; }
    // "3D vector expected" unless 3 elements.
    void setHeadRotation(const std::vector<float>& rotation);
    float headPositionConfidence() const { return _head_position_confidence; }
    // "head_confidence not in the range 0..1" outside [0, 1] or for NaN.
    void setHeadPositionConfidence(float confidence);
    char modelQualityLevel() const { return _model_quality_level; }
    void setModelQualityLevel(char level) { _model_quality_level = level; }
    // "eye_id is either LEFT_EYE or RIGHT_EYE" unless eye_id is 0 or 1.
    const std::vector<float>& headEyeBallPos(int eye_id) const;
    // Checks the length first ("eyeball_pos is expected to be a 3D point"), then the eye
    // ("eye_id is neither LEFT_EYE nor RIGHT_EYE").
    void setHeadEyeballPos(int eye_id, const std::vector<float>& pos);

    char objectID() const override;
    HeadOutputData* clone() const override;
    void printOwnHeader(std::ostream& stream) const override;

    VQ_EOD_POOL_ALLOCATED(HeadOutputData)

protected:
    void printOwnData(std::ostream& stream) const override;
    void appendEngineSpecificData(ByteBuffer& buffer) const override;
    void readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) override;
    unsigned int numEngineSpecificDataBytes() const override;

private:
    char _tracking_state;  // 0 not tracking, else tracking; default 0
    // Filtered head position x, y, z, metres in world coordinates; default 0.
    std::vector<float> _head_position;
    // Filtered rotation of the head in world coordinates, Euler angles about x, y, z in radians (as
    // utils::fromEulerAngles takes them); default 0.
    std::vector<float> _head_rotation;
    float _head_position_confidence;  // confidence of the position, 0..1 (no unit); default 0
    char _model_quality_level;        // quality level of the head model; default 0
    // Eyeball centres x, y, z, metres in world coordinates, element 0 the right eye; default 0.
    std::array<std::vector<float>, 2> _head_eye_ball_pos;
};

}  // namespace vq::eod
