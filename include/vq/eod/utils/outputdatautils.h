// Output data utilities: typed access to a frame's records, and bringing frames of older writers
// into the current form.
//
// The current form of a frame keeps the records of each face in a FaceSetOutputData (face set 0
// the main face): the head (HeadOutputDataV2), the face (FaceOutputDataV2) and the eyes
// (EyeOutputData). Older frames hold those records directly, and the oldest hold the head as a
// HeadOutputData (V1). The non-const face accessors below migrate such a frame first, which
// changes it, so that it then serialises in the current form. The const accessors leave the
// frame as it is and answer as if it had been migrated (see each).
//
// The frame-wide records (timing, engine state, world, GPS, inertia, feature sets, images) are
// looked up in the frame itself.
//
// Every lookup is typed: a sub-object whose class does not match its object ID raises
// SerializableError "SerializableComposite::subObject() - programming error. ID does not match
// object type". A null result means the frame has no such record.
#pragma once

#include <boost/shared_ptr.hpp>

#include "vq/eod/export.h"

namespace vq::eod {
class EngineOutputData;
class EngineStateOutputData;
class EyeOutputData;
class FaceOutputDataV2;
class FaceSetOutputData;
class FeatureSetsByCamera;
class GPSOutputData;
class GPSOutputDataV2;
class HeadOutputDataV2;
class ImageCollectionOutputData;
class InertiaOutputData;
class TimingOutputData;
class WorldOutputDataV2;
}  // namespace vq::eod

namespace vq::eod::utils {

// Replaces a frame-level HeadOutputData by its conversion to HeadOutputDataV2, unless the frame
// or its face set 0 already holds a HeadOutputDataV2: then the V1 record stays as it is (writers
// that keep a V1 record for old readers beside the V2 one lose nothing). Returns whether it
// converted.
VQ_EOD_API bool upgradeHeadOutputData(EngineOutputData& frame);

// Moves the frame-level HeadOutputDataV2, FaceOutputDataV2 and EyeOutputData into face set 0,
// in that order, after upgradeHeadOutputData; creates face set 0 when a record has to move and
// there is none. A kind that face set 0 already holds raises SerializableError
// "EngineOutputData::upgradeToFaceSetData - Head output data already exists." (or "Face output
// data ..." / "Eye output data ..."); the records moved before stay moved and the clashing one
// stays in the frame. A frame without such records is left unchanged.
VQ_EOD_API void migrateFaceSetOutputData(EngineOutputData& frame);

// The head, eye, face and face set records after migrateFaceSetOutputData (which may raise as
// stated there): the head, eye and face records of face set 0, and the index-th face set.
VQ_EOD_API boost::shared_ptr<HeadOutputDataV2> headOutputData(EngineOutputData& frame);
VQ_EOD_API boost::shared_ptr<EyeOutputData> eyeOutputData(EngineOutputData& frame);
VQ_EOD_API boost::shared_ptr<FaceOutputDataV2> faceOutputData(EngineOutputData& frame);
VQ_EOD_API boost::shared_ptr<FaceSetOutputData> face(EngineOutputData& frame, unsigned char index);
VQ_EOD_API unsigned char numFaces(EngineOutputData& frame);

// The same without changing the frame. When the frame holds head, face or eye records directly,
// face set 0 is answered by a new face set that holds copies of face set 0's records and of the
// frame-level ones it lacks (a V1 head converted), which is what a migration would make, except
// that a kind held in both places gives face set 0's record instead of raising. The records
// returned from it are detached copies; otherwise they are the frame's own.
VQ_EOD_API boost::shared_ptr<const HeadOutputDataV2> headOutputData(const EngineOutputData& frame);
VQ_EOD_API boost::shared_ptr<const EyeOutputData> eyeOutputData(const EngineOutputData& frame);
VQ_EOD_API boost::shared_ptr<const FaceOutputDataV2> faceOutputData(const EngineOutputData& frame);
VQ_EOD_API boost::shared_ptr<const FaceSetOutputData> face(const EngineOutputData& frame,
                                                           unsigned char index);
VQ_EOD_API unsigned char numFaces(const EngineOutputData& frame);

// Frame-wide records, looked up in the frame itself.
VQ_EOD_API boost::shared_ptr<TimingOutputData> timingOutputData(EngineOutputData& frame);
VQ_EOD_API boost::shared_ptr<const TimingOutputData> timingOutputData(
    const EngineOutputData& frame);
VQ_EOD_API boost::shared_ptr<EngineStateOutputData> engineStateOutputData(EngineOutputData& frame);
VQ_EOD_API boost::shared_ptr<const EngineStateOutputData> engineStateOutputData(
    const EngineOutputData& frame);
VQ_EOD_API boost::shared_ptr<WorldOutputDataV2> worldOutputData(EngineOutputData& frame);
VQ_EOD_API boost::shared_ptr<const WorldOutputDataV2> worldOutputData(
    const EngineOutputData& frame);
VQ_EOD_API boost::shared_ptr<GPSOutputData> gpsOutputData(EngineOutputData& frame);
VQ_EOD_API boost::shared_ptr<const GPSOutputData> gpsOutputData(const EngineOutputData& frame);
VQ_EOD_API boost::shared_ptr<GPSOutputDataV2> gpsOutputDataV2(EngineOutputData& frame);
VQ_EOD_API boost::shared_ptr<const GPSOutputDataV2> gpsOutputDataV2(const EngineOutputData& frame);
VQ_EOD_API boost::shared_ptr<InertiaOutputData> inertiaOutputData(EngineOutputData& frame);
VQ_EOD_API boost::shared_ptr<const InertiaOutputData> inertiaOutputData(
    const EngineOutputData& frame);
VQ_EOD_API boost::shared_ptr<FeatureSetsByCamera> featureSetsByCamera(EngineOutputData& frame);
VQ_EOD_API boost::shared_ptr<const FeatureSetsByCamera> featureSetsByCamera(
    const EngineOutputData& frame);
VQ_EOD_API boost::shared_ptr<ImageCollectionOutputData> imagesOutputData(EngineOutputData& frame);
VQ_EOD_API boost::shared_ptr<const ImageCollectionOutputData> imagesOutputData(
    const EngineOutputData& frame);

}  // namespace vq::eod::utils
