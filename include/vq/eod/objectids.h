// The record kinds of the library, in one table: object ID, class and names of every kind.
//
// An object ID is the first byte of every serialised record and selects the class that reads it.
// IDs are signed 8-bit characters, unique across the library; 0 names no class. IDs not listed
// here (0x01-0x08, 0x21, 0x25, 0x26, 0x2E-0x5A, 0x61 upwards) are free for applications, which
// register their own classes with SerializableFactory::registerObjectType.
//
// VQ_EOD_RECORD_KINDS(KIND) calls KIND(NAME, ID, Class, LOG_FILE_NAME, ELEMENT_NAME) once for
// every kind, in ascending ID:
//     NAME           the constant object_id::NAME below, whose value is ID
//     Class          the class that reads and writes the kind (in namespace vq::eod)
//     LOG_FILE_NAME  the default base name of the kind's per-kind log files ("HeadV2" for
//                    HeadV2.vql, see io/engineoutputdatafilewriter.h), or nullptr for none
//     ELEMENT_NAME   for a class that serves several IDs, the element this ID stands for
//                    (FeatureSet::IDToName and the like); such a class is made with its ID.
//                    nullptr for a class of one ID.
// The table is the only list of kinds: the constants, KINDS and className here, the factory's
// built-in registry and the writer's default log file names are all made from it. A new library
// kind is its class (header, listed in vq/corelog.h; source; test) and one row here.
//
// An application's kinds are not rows of this table: it registers each class with
// SerializableFactory::registerObjectType and, to write the kind to log files of its own, a file
// name with io::EngineOutputDataFileWriter::registerObjectIDFileName. className and the element
// names know the library's kinds only.
#pragma once

#include "vq/eod/export.h"

// clang-format off
#define VQ_EOD_RECORD_KINDS(KIND)                                                                  \
    KIND(ENGINE_OUTPUT_DATA,               0x09, EngineOutputData, nullptr, nullptr)               \
    KIND(TIMING_OUTPUT_DATA,               0x0A, TimingOutputData, "Timing", nullptr)              \
    KIND(HEAD_OUTPUT_DATA,                 0x0B, HeadOutputData, "Head", nullptr)                  \
    KIND(EYE_CLOSURE_OUTPUT_DATA,          0x0C, EyeClosureOutputData, nullptr, nullptr)           \
    KIND(GAZE_OUTPUT_DATA,                 0x0D, GazeOutputData, nullptr, nullptr)                 \
    KIND(PUPIL_OUTPUT_DATA,                0x0E, PupilOutputData, nullptr, nullptr)                \
    KIND(EYE_OUTPUT_DATA,                  0x0F, EyeOutputData, "Eye", nullptr)                    \
    KIND(HEAD_OUTPUT_DATA_V2,              0x10, HeadOutputDataV2, "HeadV2", nullptr)              \
    KIND(HEAD_INTERSECTION_OUTPUT_DATA_V1, 0x11, HeadIntersectionOutputDataV1, nullptr, nullptr)   \
    KIND(GAZE_INTERSECTION_OUTPUT_DATA_V1, 0x12, GazeIntersectionOutputDataV1, nullptr, nullptr)   \
    KIND(WORLD_OUTPUT_DATA,                0x13, WorldOutputData, "World", nullptr)                \
    KIND(FEATURE_SETS_BY_CAMERA,           0x14, FeatureSetsByCamera, "Features", nullptr)         \
    KIND(FEATURE_SET_CA,                   0x15, FeatureSet, nullptr, "CA")                        \
    KIND(FEATURE_SET_CB,                   0x16, FeatureSet, nullptr, "CB")                        \
    KIND(FEATURE_POINT_R_PUPILPOS,         0x17, FeaturePoint, nullptr, "R_PUPILPOS")              \
    KIND(FEATURE_POINT_L_PUPILPOS,         0x18, FeaturePoint, nullptr, "L_PUPILPOS")              \
    KIND(FEATURE_RECT_FACERECT,            0x19, FeatureRect, nullptr, "FACERECT")                 \
    KIND(FEATURE_RECT_REYERECT,            0x1A, FeatureRect, nullptr, "REYERECT")                 \
    KIND(FEATURE_RECT_LEYERECT,            0x1B, FeatureRect, nullptr, "LEYERECT")                 \
    KIND(FEATURE_RECT_MOUTRECT,            0x1C, FeatureRect, nullptr, "MOUTRECT")                 \
    KIND(GAZE_INTERSECTION_OUTPUT_DATA_V2, 0x1D, GazeIntersectionOutputDataV2, nullptr, nullptr)   \
    KIND(IMAGE_COLLECTION_OUTPUT_DATA,     0x1E, ImageCollectionOutputData, nullptr, nullptr)      \
    KIND(IMAGE_OUTPUT_DATA,                0x1F, ImageOutputData, nullptr, nullptr)                \
    KIND(INERTIA_OUTPUT_DATA,              0x20, InertiaOutputData, "Inertia", nullptr)            \
    KIND(GPS_OUTPUT_DATA,                  0x22, GPSOutputData, "GPS", nullptr)                    \
    KIND(GPS_OUTPUT_DATA_V2,               0x23, GPSOutputDataV2, "GPSV2", nullptr)                \
    KIND(CUSTOM_EVENT_OUTPUT_DATA,         0x24, CustomEventOutputData, "Custom_Events", nullptr)  \
    KIND(GAZE_INTERSECTION_OUTPUT_DATA_V4, 0x27, GazeIntersectionOutputDataV4, nullptr, nullptr)   \
    KIND(ENGINE_STATE_OUTPUT_DATA,         0x28, EngineStateOutputData, "EngineState", nullptr)    \
    KIND(HEAD_TRACKER_STATE_OUTPUT_DATA,   0x29, HeadTrackerStateOutputData, nullptr, nullptr)     \
    KIND(IR_POD_STATE_OUTPUT_DATA,         0x2A, IRPodStateOutputData, nullptr, nullptr)           \
    KIND(WORLD_OUTPUT_DATA_V2,             0x2B, WorldOutputDataV2, "WorldV2", nullptr)            \
    KIND(GAZE_INTERSECTION_OUTPUT_DATA_V3, 0x2C, GazeIntersectionOutputDataV3, nullptr, nullptr)   \
    KIND(HEAD_INTERSECTION_OUTPUT_DATA_V2, 0x2D, HeadIntersectionOutputDataV2, nullptr, nullptr)   \
    KIND(FACE_OUTPUT_DATA,                 0x5B, FaceOutputData, "Face", nullptr)                  \
    KIND(FACE_TEXTURE_OUTPUT_DATA,         0x5C, FaceTextureOutputData, nullptr, nullptr)          \
    KIND(FACE_OUTPUT_DATA_V2,              0x5D, FaceOutputDataV2, "FaceV2", nullptr)              \
    KIND(FACE_SET_OUTPUT_DATA,             0x5E, FaceSetOutputData, nullptr, nullptr)              \
    KIND(COMPRESSED_SERIALIZABLE,          0x5F, CompressedSerializable, nullptr, nullptr)         \
    KIND(COMPRESSED_SERIALIZABLE_TOKEN,    0x60, CompressedSerializableToken, nullptr, nullptr)
// clang-format on

namespace vq::eod::object_id {

constexpr char NONE = 0x00;  // Serializable::ERROR_ID

#define VQ_EOD_OBJECT_ID_CONSTANT(NAME, ID, CLASS, LOG_FILE_NAME, ELEMENT_NAME) \
    constexpr char NAME = ID;
VQ_EOD_RECORD_KINDS(VQ_EOD_OBJECT_ID_CONSTANT)
#undef VQ_EOD_OBJECT_ID_CONSTANT

// One row of the table.
struct Kind {
    char id;
    const char* class_name;     // "HeadOutputDataV2"
    const char* log_file_name;  // "HeadV2", or nullptr
    const char* element_name;   // "R_PUPILPOS", or nullptr
};

// Every kind of the library, in ascending ID.
inline constexpr Kind KINDS[] = {
#define VQ_EOD_OBJECT_ID_KIND(NAME, ID, CLASS, LOG_FILE_NAME, ELEMENT_NAME) \
    {NAME, #CLASS, LOG_FILE_NAME, ELEMENT_NAME},
    VQ_EOD_RECORD_KINDS(VQ_EOD_OBJECT_ID_KIND)
#undef VQ_EOD_OBJECT_ID_KIND
};

// The row of a library object ID, or nullptr for an ID that the library does not assign.
constexpr const Kind* findKind(char id) {
    for (const Kind& kind : KINDS) {
        if (kind.id == id) {
            return &kind;
        }
    }
    return nullptr;
}

// Orders object IDs as signed 8-bit values on every platform (iteration and serialisation run
// from the most negative ID to the most positive).
struct Less {
    constexpr bool operator()(char a, char b) const {
        return static_cast<signed char>(a) < static_cast<signed char>(b);
    }
};

// The class name of a library object ID ("HeadOutputDataV2"), or nullptr for an ID that the
// library does not assign. Independent of what is registered with the factory.
VQ_EOD_API const char* className(char id);

}  // namespace vq::eod::object_id
