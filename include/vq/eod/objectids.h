// The object ID of every record class, in one table.
//
// An object ID is the first byte of every serialised record and selects the class that reads it.
// IDs are signed 8-bit characters, unique across the library; 0 names no class. IDs not listed
// here (0x01-0x08, 0x21, 0x25, 0x26, 0x2E-0x5A, 0x61 upwards) are free for applications, which
// register their own classes with SerializableFactory::registerObjectType.
#pragma once

#include "vq/eod/export.h"

namespace vq::eod::object_id {

constexpr char NONE = 0x00;                              // Serializable::ERROR_ID
constexpr char ENGINE_OUTPUT_DATA = 0x09;                // EngineOutputData, the frame
constexpr char TIMING_OUTPUT_DATA = 0x0A;                // TimingOutputData
constexpr char HEAD_OUTPUT_DATA = 0x0B;                  // HeadOutputData
constexpr char EYE_CLOSURE_OUTPUT_DATA = 0x0C;           // EyeClosureOutputData
constexpr char GAZE_OUTPUT_DATA = 0x0D;                  // GazeOutputData
constexpr char PUPIL_OUTPUT_DATA = 0x0E;                 // PupilOutputData
constexpr char EYE_OUTPUT_DATA = 0x0F;                   // EyeOutputData
constexpr char HEAD_OUTPUT_DATA_V2 = 0x10;               // HeadOutputDataV2
constexpr char HEAD_INTERSECTION_OUTPUT_DATA_V1 = 0x11;  // HeadIntersectionOutputDataV1
constexpr char GAZE_INTERSECTION_OUTPUT_DATA_V1 = 0x12;  // GazeIntersectionOutputDataV1
constexpr char WORLD_OUTPUT_DATA = 0x13;                 // WorldOutputData
constexpr char FEATURE_SETS_BY_CAMERA = 0x14;            // FeatureSetsByCamera
constexpr char FEATURE_SET_CA = 0x15;                    // FeatureSet "CA"
constexpr char FEATURE_SET_CB = 0x16;                    // FeatureSet "CB"
constexpr char FEATURE_POINT_R_PUPILPOS = 0x17;          // FeaturePoint "R_PUPILPOS"
constexpr char FEATURE_POINT_L_PUPILPOS = 0x18;          // FeaturePoint "L_PUPILPOS"
constexpr char FEATURE_RECT_FACERECT = 0x19;             // FeatureRect "FACERECT"
constexpr char FEATURE_RECT_REYERECT = 0x1A;             // FeatureRect "REYERECT"
constexpr char FEATURE_RECT_LEYERECT = 0x1B;             // FeatureRect "LEYERECT"
constexpr char FEATURE_RECT_MOUTRECT = 0x1C;             // FeatureRect "MOUTRECT"
constexpr char GAZE_INTERSECTION_OUTPUT_DATA_V2 = 0x1D;  // GazeIntersectionOutputDataV2
constexpr char IMAGE_COLLECTION_OUTPUT_DATA = 0x1E;      // ImageCollectionOutputData
constexpr char IMAGE_OUTPUT_DATA = 0x1F;                 // ImageOutputData
constexpr char INERTIA_OUTPUT_DATA = 0x20;               // InertiaOutputData
constexpr char GPS_OUTPUT_DATA = 0x22;                   // GPSOutputData
constexpr char GPS_OUTPUT_DATA_V2 = 0x23;                // GPSOutputDataV2
constexpr char CUSTOM_EVENT_OUTPUT_DATA = 0x24;          // CustomEventOutputData
constexpr char GAZE_INTERSECTION_OUTPUT_DATA_V4 = 0x27;  // GazeIntersectionOutputDataV4
constexpr char ENGINE_STATE_OUTPUT_DATA = 0x28;          // EngineStateOutputData
constexpr char HEAD_TRACKER_STATE_OUTPUT_DATA = 0x29;    // HeadTrackerStateOutputData
constexpr char IR_POD_STATE_OUTPUT_DATA = 0x2A;          // IRPodStateOutputData
constexpr char WORLD_OUTPUT_DATA_V2 = 0x2B;              // WorldOutputDataV2
constexpr char GAZE_INTERSECTION_OUTPUT_DATA_V3 = 0x2C;  // GazeIntersectionOutputDataV3
constexpr char HEAD_INTERSECTION_OUTPUT_DATA_V2 = 0x2D;  // HeadIntersectionOutputDataV2
constexpr char FACE_OUTPUT_DATA = 0x5B;                  // FaceOutputData
constexpr char FACE_TEXTURE_OUTPUT_DATA = 0x5C;          // FaceTextureOutputData
constexpr char FACE_OUTPUT_DATA_V2 = 0x5D;               // FaceOutputDataV2
constexpr char FACE_SET_OUTPUT_DATA = 0x5E;              // FaceSetOutputData
constexpr char COMPRESSED_SERIALIZABLE = 0x5F;           // CompressedSerializable
constexpr char COMPRESSED_SERIALIZABLE_TOKEN = 0x60;     // CompressedSerializableToken

// Orders object IDs as signed 8-bit values on every platform (iteration and serialisation run
// from the most negative ID to the most positive).
struct Less {
    bool operator()(char a, char b) const {
        return static_cast<signed char>(a) < static_cast<signed char>(b);
    }
};

// The class name of a library object ID ("HeadOutputDataV2"), or nullptr for an ID that the
// library does not assign. Independent of what is registered with the factory.
VQ_EOD_API const char* className(char id);

}  // namespace vq::eod::object_id
