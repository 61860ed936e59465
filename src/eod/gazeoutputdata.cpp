#include "vq/eod/gazeoutputdata.h"

#include "eod/precondition_internal.h"
#include "eod/printcolumns_internal.h"
#include "eod/recordreader_internal.h"
#include "eod/recordwriter_internal.h"
#include "vq/eod/utils/geomutils.h"
#include "vq/eod/utils/geomutilserror.h"

namespace vq::eod {

VQ_EOD_DEFINE_POOL_ALLOCATION(GazeOutputData)

GazeOutputData::GazeOutputData()
    : _gaze_quality_level{NO_TRACKING, NO_TRACKING},
      _eyeball_centre{std::vector<float>(3, 0.0f), std::vector<float>(3, 0.0f)},
      _gaze_rotation{std::vector<float>(2, 0.0f), std::vector<float>(2, 0.0f)},
      _gaze_calibrated(false),
      _saccade(false) {}

GazeOutputData::GazeOutputData(const GazeOutputData& other) = default;

GazeOutputData& GazeOutputData::operator=(const GazeOutputData& other) = default;

GazeOutputData::~GazeOutputData() = default;

const std::string& GazeOutputData::gazeQualityLevelName(GazeQualityLevel gql) {
    static const std::string names[NUM_GAZE_QUALITY_LEVELS] = {"GQL 0", "GQL 1", "GQL 2", "GQL 3"};
    VQ_REQUIRE(gql < NUM_GAZE_QUALITY_LEVELS,
               "gql not in the range NO_TRACKING..NUM_GAZE_QUALITY_LEVELS-1");
    return names[gql];
}

GazeQualityLevel GazeOutputData::gazeQualityLevel(int eye_id) const {
    VQ_REQUIRE(static_cast<unsigned int>(eye_id) < 2, "eye_id neither LEFT_EYE nor RIGHT_EYE");
    return _gaze_quality_level[eye_id];
}

void GazeOutputData::setGazeQualityLevel(int eye_id, GazeQualityLevel gql) {
    VQ_REQUIRE(static_cast<unsigned int>(eye_id) < 2, "eye_id neither LEFT_EYE nor RIGHT_EYE");
    VQ_REQUIRE(gql < NUM_GAZE_QUALITY_LEVELS,
               "gql not in the range NO_TRACKING..NUM_GAZE_QUALITY_LEVELS-1");
    _gaze_quality_level[eye_id] = gql;
}

const std::vector<float>& GazeOutputData::eyeballCentre(int eye_id) const {
    VQ_REQUIRE(static_cast<unsigned int>(eye_id) < 2, "eye_id neither LEFT_EYE nor RIGHT_EYE");
    return _eyeball_centre[eye_id];
}

void GazeOutputData::setEyeballCentre(int eye_id, const std::vector<float>& centre) {
    VQ_REQUIRE(static_cast<unsigned int>(eye_id) < 2, "eye_id neither LEFT_EYE nor RIGHT_EYE");
    VQ_REQUIRE(centre.size() == 3, "eyeball_centre 3D point expected");
    _eyeball_centre[eye_id] = centre;
}

const std::vector<float>& GazeOutputData::gazeRotation(int eye_id) const {
    VQ_REQUIRE(static_cast<unsigned int>(eye_id) < 2, "eye_id neither LEFT_EYE nor RIGHT_EYE");
    return _gaze_rotation[eye_id];
}

void GazeOutputData::setGazeRotationPitchYaw(int eye_id, const std::vector<float>& pitch_yaw) {
    VQ_REQUIRE(static_cast<unsigned int>(eye_id) < 2, "eye_id neither LEFT_EYE nor RIGHT_EYE");
    VQ_REQUIRE(pitch_yaw.size() == 2, "gaze_rot 2D rotation vector expected");
    _gaze_rotation[eye_id] = pitch_yaw;
}

char GazeOutputData::objectID() const {
    return THIS_OBJECT_ID;
}

GazeOutputData* GazeOutputData::clone() const {
    return new GazeOutputData(*this);
}

void GazeOutputData::printOwnHeader(std::ostream& stream) const {
    detail::printColumns(
        stream, {"GAZE_QUAL_R", "EYEBALL_R_X", "EYEBALL_R_Y", "EYEBALL_R_Z", "GAZE_ROT_R_X",
                 "GAZE_ROT_R_Y", "GAZE_QUAL_L", "EYEBALL_L_X", "EYEBALL_L_Y", "EYEBALL_L_Z",
                 "GAZE_ROT_L_X", "GAZE_ROT_L_Y", "GAZE_CALIB", "SACCADE", "VERGE_PNT_X",
                 "VERGE_PNT_Y", "VERGE_PNT_Z", "VERGE_DIST", "VERGE_ANGLE"});
}

void GazeOutputData::printOwnData(std::ostream& stream) const {
    for (int eye = RIGHT_EYE; eye <= LEFT_EYE; ++eye) {
        detail::printColumn(stream, static_cast<int>(_gaze_quality_level[eye]));
        detail::printColumns(stream, _eyeball_centre[eye]);
        detail::printColumns(stream, _gaze_rotation[eye]);
    }
    detail::printColumn(stream, _gaze_calibrated);
    detail::printColumn(stream, _saccade);
    writeVergenceFields(stream);
}

void GazeOutputData::writeVergenceFields(std::ostream& stream) const {
    using namespace utils;
    std::vector<float> point(3, 0.0f);
    float distance = 0.0f;
    float angle = 0.0f;
    if (_gaze_quality_level[RIGHT_EYE] == IR_GAZE && _gaze_quality_level[LEFT_EYE] == IR_GAZE) {
        const std::vector<float>& right = _eyeball_centre[RIGHT_EYE];
        const std::vector<float>& left = _eyeball_centre[LEFT_EYE];
        const std::vector<float> right_direction = directionFromPitchYaw(_gaze_rotation[RIGHT_EYE]);
        const std::vector<float> left_direction = directionFromPitchYaw(_gaze_rotation[LEFT_EYE]);
        try {
            point = rayIntersectionPoint(right, right_direction, left, left_direction);
            distance = length(point - 0.5f * (left + right));
        } catch (const GeomUtilsError&) {
            // Parallel or diverging gaze: no vergence point; the angle still says how far apart.
        }
        angle = vectorIntersectionAngle(right_direction, left_direction);
    }
    detail::printColumns(stream, point);
    detail::printColumn(stream, distance);
    detail::printColumn(stream, angle);
}

void GazeOutputData::appendEngineSpecificData(ByteBuffer& buffer) const {
    FieldWriter out(buffer, GazeOutputData::numEngineSpecificDataBytes());
    putEngineSpecificData(out);
}

void GazeOutputData::putEngineSpecificData(FieldWriter& out) const {
    for (int eye = RIGHT_EYE; eye <= LEFT_EYE; ++eye) {
        out.put(_gaze_quality_level[eye]);
        out.put(_eyeball_centre[eye]);
        out.put(_gaze_rotation[eye]);
    }
    out.put(_gaze_calibrated);
    out.put(_saccade);
}

void GazeOutputData::readEngineSpecificData(const ByteBuffer& buffer, int& read_pos) {
    for (int eye = RIGHT_EYE; eye <= LEFT_EYE; ++eye) {
        readValue(buffer, read_pos, _gaze_quality_level[eye]);
        for (float& value : _eyeball_centre[eye]) {
            readValue(buffer, read_pos, value);
        }
        for (float& value : _gaze_rotation[eye]) {
            readValue(buffer, read_pos, value);
        }
    }
    readValue(buffer, read_pos, _gaze_calibrated);
    readValue(buffer, read_pos, _saccade);
}

unsigned int GazeOutputData::numEngineSpecificDataBytes() const {
    return 44;
}

// Written without hooks when a record is exactly of this class.
template bool detail::RecordWriter::writeEngineRecord<GazeOutputData>(const Serializable&,
                                                                      detail::RecordWriter::Block&,
                                                                      unsigned long long&);

// Read without hooks when a record is exactly of this class.
template bool detail::RecordReader::readEngineRecord<GazeOutputData>(Serializable&,
                                                                     const ByteBuffer&, int&,
                                                                     const RecordHeader&,
                                                                     unsigned int&);

}  // namespace vq::eod
