#include "eod/builtins_internal.h"

#include "eod/sharedrecord_internal.h"
#include "vq/eod/compressedserializable.h"
#include "vq/eod/compressedserializabletoken.h"
#include "vq/eod/customeventoutputdata.h"
#include "vq/eod/engineoutputdata.h"
#include "vq/eod/enginestateoutputdata.h"
#include "vq/eod/eyeclosureoutputdata.h"
#include "vq/eod/eyeoutputdata.h"
#include "vq/eod/faceoutputdata.h"
#include "vq/eod/faceoutputdatav2.h"
#include "vq/eod/facesetoutputdata.h"
#include "vq/eod/facetextureoutputdata.h"
#include "vq/eod/featurepoint.h"
#include "vq/eod/featurerect.h"
#include "vq/eod/featureset.h"
#include "vq/eod/featuresetsbycamera.h"
#include "vq/eod/gazeintersectionoutputdatav1.h"
#include "vq/eod/gazeintersectionoutputdatav2.h"
#include "vq/eod/gazeintersectionoutputdatav3.h"
#include "vq/eod/gazeintersectionoutputdatav4.h"
#include "vq/eod/gazeoutputdata.h"
#include "vq/eod/gpsoutputdata.h"
#include "vq/eod/gpsoutputdatav2.h"
#include "vq/eod/headintersectionoutputdatav1.h"
#include "vq/eod/headintersectionoutputdatav2.h"
#include "vq/eod/headoutputdata.h"
#include "vq/eod/headoutputdatav2.h"
#include "vq/eod/headtrackerstateoutputdata.h"
#include "vq/eod/imagecollectionoutputdata.h"
#include "vq/eod/imageoutputdata.h"
#include "vq/eod/inertiaoutputdata.h"
#include "vq/eod/irpodstateoutputdata.h"
#include "vq/eod/objectids.h"
#include "vq/eod/pupiloutputdata.h"
#include "vq/eod/timingoutputdata.h"
#include "vq/eod/worldoutputdata.h"
#include "vq/eod/worldoutputdatav2.h"

namespace vq::eod::detail {

namespace {
template <typename T>
boost::shared_ptr<Serializable> create() {
    return makeSharedRecord<T>();
}

// For the classes that serve several IDs: one creation function per ID.
template <typename T, char ID>
boost::shared_ptr<Serializable> createWithId() {
    return makeSharedRecord<T>(ID);
}
}  // namespace

void registerBuiltins(RegisterFunction add) {
    using namespace object_id;
    add(ENGINE_OUTPUT_DATA, &create<EngineOutputData>);
    add(TIMING_OUTPUT_DATA, &create<TimingOutputData>);
    add(HEAD_OUTPUT_DATA, &create<HeadOutputData>);
    add(EYE_CLOSURE_OUTPUT_DATA, &create<EyeClosureOutputData>);
    add(GAZE_OUTPUT_DATA, &create<GazeOutputData>);
    add(PUPIL_OUTPUT_DATA, &create<PupilOutputData>);
    add(EYE_OUTPUT_DATA, &create<EyeOutputData>);
    add(HEAD_OUTPUT_DATA_V2, &create<HeadOutputDataV2>);
    add(HEAD_INTERSECTION_OUTPUT_DATA_V1, &create<HeadIntersectionOutputDataV1>);
    add(GAZE_INTERSECTION_OUTPUT_DATA_V1, &create<GazeIntersectionOutputDataV1>);
    add(WORLD_OUTPUT_DATA, &create<WorldOutputData>);
    add(FEATURE_SETS_BY_CAMERA, &create<FeatureSetsByCamera>);
    add(FEATURE_SET_CA, &createWithId<FeatureSet, FEATURE_SET_CA>);
    add(FEATURE_SET_CB, &createWithId<FeatureSet, FEATURE_SET_CB>);
    add(FEATURE_POINT_R_PUPILPOS, &createWithId<FeaturePoint, FEATURE_POINT_R_PUPILPOS>);
    add(FEATURE_POINT_L_PUPILPOS, &createWithId<FeaturePoint, FEATURE_POINT_L_PUPILPOS>);
    add(FEATURE_RECT_FACERECT, &createWithId<FeatureRect, FEATURE_RECT_FACERECT>);
    add(FEATURE_RECT_REYERECT, &createWithId<FeatureRect, FEATURE_RECT_REYERECT>);
    add(FEATURE_RECT_LEYERECT, &createWithId<FeatureRect, FEATURE_RECT_LEYERECT>);
    add(FEATURE_RECT_MOUTRECT, &createWithId<FeatureRect, FEATURE_RECT_MOUTRECT>);
    add(GAZE_INTERSECTION_OUTPUT_DATA_V2, &create<GazeIntersectionOutputDataV2>);
    add(IMAGE_COLLECTION_OUTPUT_DATA, &create<ImageCollectionOutputData>);
    add(IMAGE_OUTPUT_DATA, &create<ImageOutputData>);
    add(INERTIA_OUTPUT_DATA, &create<InertiaOutputData>);
    add(GPS_OUTPUT_DATA, &create<GPSOutputData>);
    add(GPS_OUTPUT_DATA_V2, &create<GPSOutputDataV2>);
    add(CUSTOM_EVENT_OUTPUT_DATA, &create<CustomEventOutputData>);
    add(GAZE_INTERSECTION_OUTPUT_DATA_V4, &create<GazeIntersectionOutputDataV4>);
    add(ENGINE_STATE_OUTPUT_DATA, &create<EngineStateOutputData>);
    add(HEAD_TRACKER_STATE_OUTPUT_DATA, &create<HeadTrackerStateOutputData>);
    add(IR_POD_STATE_OUTPUT_DATA, &create<IRPodStateOutputData>);
    add(WORLD_OUTPUT_DATA_V2, &create<WorldOutputDataV2>);
    add(GAZE_INTERSECTION_OUTPUT_DATA_V3, &create<GazeIntersectionOutputDataV3>);
    add(HEAD_INTERSECTION_OUTPUT_DATA_V2, &create<HeadIntersectionOutputDataV2>);
    add(FACE_OUTPUT_DATA, &create<FaceOutputData>);
    add(FACE_TEXTURE_OUTPUT_DATA, &create<FaceTextureOutputData>);
    add(FACE_OUTPUT_DATA_V2, &create<FaceOutputDataV2>);
    add(FACE_SET_OUTPUT_DATA, &create<FaceSetOutputData>);
    add(COMPRESSED_SERIALIZABLE, &create<CompressedSerializable>);
    add(COMPRESSED_SERIALIZABLE_TOKEN, &create<CompressedSerializableToken>);
}

}  // namespace vq::eod::detail
