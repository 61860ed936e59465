#include "vq/eod/objectids.h"

namespace vq::eod::object_id {

namespace {
struct Entry {
    char id;
    const char* name;
};

constexpr Entry ENTRIES[] = {
    {ENGINE_OUTPUT_DATA, "EngineOutputData"},
    {TIMING_OUTPUT_DATA, "TimingOutputData"},
    {HEAD_OUTPUT_DATA, "HeadOutputData"},
    {EYE_CLOSURE_OUTPUT_DATA, "EyeClosureOutputData"},
    {GAZE_OUTPUT_DATA, "GazeOutputData"},
    {PUPIL_OUTPUT_DATA, "PupilOutputData"},
    {EYE_OUTPUT_DATA, "EyeOutputData"},
    {HEAD_OUTPUT_DATA_V2, "HeadOutputDataV2"},
    {HEAD_INTERSECTION_OUTPUT_DATA_V1, "HeadIntersectionOutputDataV1"},
    {GAZE_INTERSECTION_OUTPUT_DATA_V1, "GazeIntersectionOutputDataV1"},
    {WORLD_OUTPUT_DATA, "WorldOutputData"},
    {FEATURE_SETS_BY_CAMERA, "FeatureSetsByCamera"},
    {FEATURE_SET_CA, "FeatureSet"},
    {FEATURE_SET_CB, "FeatureSet"},
    {FEATURE_POINT_R_PUPILPOS, "FeaturePoint"},
    {FEATURE_POINT_L_PUPILPOS, "FeaturePoint"},
    {FEATURE_RECT_FACERECT, "FeatureRect"},
    {FEATURE_RECT_REYERECT, "FeatureRect"},
    {FEATURE_RECT_LEYERECT, "FeatureRect"},
    {FEATURE_RECT_MOUTRECT, "FeatureRect"},
    {GAZE_INTERSECTION_OUTPUT_DATA_V2, "GazeIntersectionOutputDataV2"},
    {IMAGE_COLLECTION_OUTPUT_DATA, "ImageCollectionOutputData"},
    {IMAGE_OUTPUT_DATA, "ImageOutputData"},
    {INERTIA_OUTPUT_DATA, "InertiaOutputData"},
    {GPS_OUTPUT_DATA, "GPSOutputData"},
    {GPS_OUTPUT_DATA_V2, "GPSOutputDataV2"},
    {CUSTOM_EVENT_OUTPUT_DATA, "CustomEventOutputData"},
    {GAZE_INTERSECTION_OUTPUT_DATA_V4, "GazeIntersectionOutputDataV4"},
    {ENGINE_STATE_OUTPUT_DATA, "EngineStateOutputData"},
    {HEAD_TRACKER_STATE_OUTPUT_DATA, "HeadTrackerStateOutputData"},
    {IR_POD_STATE_OUTPUT_DATA, "IRPodStateOutputData"},
    {WORLD_OUTPUT_DATA_V2, "WorldOutputDataV2"},
    {GAZE_INTERSECTION_OUTPUT_DATA_V3, "GazeIntersectionOutputDataV3"},
    {HEAD_INTERSECTION_OUTPUT_DATA_V2, "HeadIntersectionOutputDataV2"},
    {FACE_OUTPUT_DATA, "FaceOutputData"},
    {FACE_TEXTURE_OUTPUT_DATA, "FaceTextureOutputData"},
    {FACE_OUTPUT_DATA_V2, "FaceOutputDataV2"},
    {FACE_SET_OUTPUT_DATA, "FaceSetOutputData"},
    {COMPRESSED_SERIALIZABLE, "CompressedSerializable"},
    {COMPRESSED_SERIALIZABLE_TOKEN, "CompressedSerializableToken"},
};
}  // namespace

const char* className(char id) {
    for (const Entry& entry : ENTRIES) {
        if (entry.id == id) {
            return entry.name;
        }
    }
    return nullptr;
}

}  // namespace vq::eod::object_id
