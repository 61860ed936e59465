// HeadOutputDataV2: the head pose of one frame (double precision, rotation as a quaternion).
//
// Engine-specific block, 114 bytes:
//
//     offset  0   1   isTracking (bool; any non-zero byte reads as true)
//     offset  1  24   headPosition x, y, z (double, metres, world coordinates)
//     offset 25  32   headRotationQuaternion w, x, y, z (double, unit quaternion of the
//                     rotation in world coordinates), stored as received
//     offset 57   8   headPositionConfidence (double)
//     offset 65   1   modelQualityLevel (char)
//     offset 66  24   headEyeBallPos[RIGHT_EYE] x, y, z (double, metres, world coordinates)
//     offset 90  24   headEyeBallPos[LEFT_EYE] x, y, z (double, metres, world coordinates)
//
// The Euler angles (headRotation) are never written: they are always derived from the
// quaternion with utils::toEulerAngles, when the quaternion is set, when the Euler angles are
// set (through utils::fromEulerAngles, so the stored angles are the argument's canonical form,
// not the argument) and when a record is read. The V1 conversion is the one exception: it keeps
// the V1 angles as they are and derives the quaternion from them.
//
// Setters refuse bad arguments with std::invalid_argument and leave the record unchanged; a
// record read from bytes holds the values as read, unchecked.
#pragma once

#include <array>
#include <vector>

#include "vq/eod/engineoutputbase.h"
#include "vq/eod/objectids.h"

namespace vq::eod {

class HeadOutputData;

class VQ_EOD_API HeadOutputDataV2 : public EngineOutputBase {
public:
    static constexpr char THIS_OBJECT_ID = object_id::HEAD_OUTPUT_DATA_V2;

    HeadOutputDataV2();
    HeadOutputDataV2(const HeadOutputDataV2& other);
    // Converts a V1 record, as the assignment from one does.
    explicit HeadOutputDataV2(const HeadOutputData& other);
    HeadOutputDataV2& operator=(const HeadOutputDataV2& other);
    // Converts a V1 record: tracking is trackingState != 0, the floats are widened, the Euler
    // angles are the V1 angles and the quaternion is made from them.
    const HeadOutputDataV2& operator=(const HeadOutputData& other);
    ~HeadOutputDataV2() override;

    bool isTracking() const { return _is_tracking; }
    void setTrackingState(bool tracking) { _is_tracking = tracking; }
    const std::vector<double>& headPosition() const { return _head_position; }
    // "pos expected to be 3D point" unless 3 elements.
    void setHeadPosition(const std::vector<double>& position);
    // Euler angles (rad) of the rotation, derived from the quaternion.
    const std::vector<double>& headRotation() const { return _head_rotation; }
    // "rotation expected to be 3D euler angle" unless 3 elements.
    void setHeadRotation(const std::vector<double>& euler_angles);
    const std::vector<double>& headRotationQuaternion() const { return _head_rotation_quaternion; }
    // "rotation expected to be quaternion for 3D space (i.e. 4 dimensions)" unless 4 elements.
    void setHeadRotationQuaternion(const std::vector<double>& quaternion);
    double headPositionConfidence() const { return _head_position_confidence; }
    // "head_confidencec outside the range 0..1" outside [0, 1] or for NaN.
    void setHeadPositionConfidence(double confidence);
    char modelQualityLevel() const { return _model_quality_level; }
    void setModelQualityLevel(char level) { _model_quality_level = level; }
    // A copy; "eye_id is neither LEFT_EYE nor RIGHT_EYE" unless RIGHT_EYE or LEFT_EYE.
    std::vector<double> headEyeBallPos(EyeId eye_id) const;
    // Checks the eye first ("eye_id neither LEFT_EYE nor RIGHT_EYE"), then the length
    // ("eyeball_pos expected to be 3D point"): the reverse of the V1 order.
    void setHeadEyeballPos(EyeId eye_id, const std::vector<double>& pos);

    char objectID() const override;
    HeadOutputDataV2* clone() const override;
    void printOwnHeader(std::ostream& stream) const override;

    VQ_EOD_POOL_ALLOCATED(HeadOutputDataV2)

protected:
    void printOwnData(std::ostream& stream) const override;
    void appendEngineSpecificData(ByteBuffer& buffer) const override;
    void readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) override;
    unsigned int numEngineSpecificDataBytes() const override;

private:
    friend class detail::RecordReader;
    friend class detail::RecordWriter;
    // The fields that appendEngineSpecificData writes, in their order.
    void putEngineSpecificData(FieldWriter& out) const;

    bool _is_tracking;  // head is tracked; default false
    // Filtered head position x, y, z, metres in world coordinates; default 0.
    std::vector<double> _head_position;
    // Filtered rotation of the head in world coordinates, a unit quaternion w, x, y, z;
    // default (1, 0, 0, 0).
    std::vector<double> _head_rotation_quaternion;
    // The same rotation as Euler angles about x, y, z in radians; default 0, never serialised.
    std::vector<double> _head_rotation;
    // Confidence of the position, 0..1 (no unit); default 0.
    double _head_position_confidence;
    char _model_quality_level;  // quality level of the head model; default 0
    // Eyeball centres x, y, z, metres in world coordinates, element 0 the right eye; default 0.
    std::array<std::vector<double>, 2> _head_eye_ball_pos;
};

}  // namespace vq::eod
