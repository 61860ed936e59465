// GazeOutputData: the gaze of both eyes in one frame, normally a sub-object of EyeOutputData.
//
// Engine-specific block, 44 bytes, per eye the right eye first:
//
//     offset  0   1   gazeQualityLevel[RIGHT_EYE]
//     offset  1  12   eyeballCentre[RIGHT_EYE] x, y, z (float, metres, world coordinates)
//     offset 13   8   gazeRotation[RIGHT_EYE] pitch, yaw (float, radians, world coordinates)
//     offset 21   1   gazeQualityLevel[LEFT_EYE]
//     offset 22  12   eyeballCentre[LEFT_EYE] x, y, z (float, metres, world coordinates)
//     offset 34   8   gazeRotation[LEFT_EYE] pitch, yaw (float, radians, world coordinates)
//
// World coordinates have y up; a gaze of pitch 0 and yaw 0 looks along -z.
//     offset 42   1   gazeCalibrated (bool)
//     offset 43   1   saccade (bool)
//
// Printing adds five derived columns that are never stored: the vergence point where the two
// gaze rays come closest, its distance from the midpoint of the eyeball centres, and the angle
// between the gaze directions. They are computed only when both eyes have IR_GAZE quality and
// print as 0 otherwise; when the rays do not converge in front of the eyes (parallel or
// diverging) the point and the distance print as 0 and the angle is still given.
//
// Setters refuse bad arguments with std::invalid_argument and leave the record unchanged; a
// record read from bytes holds the values as read, unchecked (a quality byte of 7 included).
#pragma once

#include <array>
#include <string>
#include <vector>

#include "vq/eod/engineoutputbase.h"
#include "vq/eod/objectids.h"

namespace vq::eod {

// How good a gaze estimate is, one byte on the wire. Valid values are 0..3.
enum GazeQualityLevel : unsigned char {
    NO_TRACKING = 0,              // no gaze estimate
    LOW_GAZE_QUALITY = 1,         // a rough estimate
    MEDIUM_GAZE_QUALITY = 2,      // a better estimate
    IR_GAZE = 3,                  // the best level: infrared gaze
    NUM_GAZE_QUALITY_LEVELS = 4,  // the number of levels, not a level
};

class VQ_EOD_API GazeOutputData : public EngineOutputBase {
public:
    static constexpr char THIS_OBJECT_ID = object_id::GAZE_OUTPUT_DATA;

    GazeOutputData();
    GazeOutputData(const GazeOutputData& other);
    GazeOutputData& operator=(const GazeOutputData& other);
    ~GazeOutputData() override;

    // "GQL 0" to "GQL 3"; any other value raises "gql not in the range
    // NO_TRACKING..NUM_GAZE_QUALITY_LEVELS-1".
    static const std::string& gazeQualityLevelName(GazeQualityLevel gql);

    // The eye-indexed operations raise "eye_id neither LEFT_EYE nor RIGHT_EYE" unless eye_id is
    // 0 or 1; the setters check the eye first, then the value.
    GazeQualityLevel gazeQualityLevel(int eye_id) const;
    // "gql not in the range NO_TRACKING..NUM_GAZE_QUALITY_LEVELS-1" for 4 or more.
    void setGazeQualityLevel(int eye_id, GazeQualityLevel gql);
    const std::vector<float>& eyeballCentre(int eye_id) const;
    // "eyeball_centre 3D point expected" unless 3 elements.
    void setEyeballCentre(int eye_id, const std::vector<float>& centre);
    // (pitch, yaw) of the gaze direction, as utils::directionFromPitchYaw takes it.
    const std::vector<float>& gazeRotation(int eye_id) const;
    // "gaze_rot 2D rotation vector expected" unless 2 elements.
    void setGazeRotationPitchYaw(int eye_id, const std::vector<float>& pitch_yaw);
    bool gazeCalibrated() const { return _gaze_calibrated; }
    void setGazeCalibrated(bool calibrated) { _gaze_calibrated = calibrated; }
    bool saccade() const { return _saccade; }
    void setSaccade(bool saccade) { _saccade = saccade; }

    char objectID() const override;
    GazeOutputData* clone() const override;
    void printOwnHeader(std::ostream& stream) const override;

    VQ_EOD_POOL_ALLOCATED(GazeOutputData)

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

    // The five derived vergence columns.
    void writeVergenceFields(std::ostream& stream) const;

    std::array<GazeQualityLevel, 2> _gaze_quality_level;  // per eye, element 0 the right eye;
                                                          // default NO_TRACKING
    // Eyeball centre x, y, z per eye, metres in world coordinates; default 0.
    std::array<std::vector<float>, 2> _eyeball_centre;
    // Gaze (pitch, yaw) per eye, radians in world coordinates; default 0.
    std::array<std::vector<float>, 2> _gaze_rotation;
    bool _gaze_calibrated;  // calibration applied; default false
    bool _saccade;          // saccade in progress; default false
};

}  // namespace vq::eod
