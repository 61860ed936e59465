#include "vq/eod/utils/outputdatautils.h"

#include <string>

#include "vq/eod/engineoutputdata.h"
#include "vq/eod/enginestateoutputdata.h"
#include "vq/eod/eyeoutputdata.h"
#include "vq/eod/faceoutputdatav2.h"
#include "vq/eod/facesetoutputdata.h"
#include "vq/eod/featuresetsbycamera.h"
#include "vq/eod/gpsoutputdata.h"
#include "vq/eod/gpsoutputdatav2.h"
#include "vq/eod/headoutputdata.h"
#include "vq/eod/headoutputdatav2.h"
#include "vq/eod/imagecollectionoutputdata.h"
#include "vq/eod/inertiaoutputdata.h"
#include "vq/eod/serializableerror.h"
#include "vq/eod/timingoutputdata.h"
#include "vq/eod/worldoutputdatav2.h"

namespace vq::eod::utils {

namespace {

constexpr char HEAD_V1 = HeadOutputData::THIS_OBJECT_ID;
constexpr char HEAD_V2 = HeadOutputDataV2::THIS_OBJECT_ID;
constexpr char FACE_V2 = object_id::FACE_OUTPUT_DATA_V2;
constexpr char EYE = EyeOutputData::THIS_OBJECT_ID;
constexpr char FACE_SET = FaceSetOutputData::THIS_OBJECT_ID;

// Whether upgradeHeadOutputData would convert: a frame-level V1 head and no V2 head anywhere a
// migration looks.
bool upgradeWanted(const EngineOutputData& frame) {
    if (!frame.hasSubObjectID(HEAD_V1) || frame.hasSubObjectID(HEAD_V2)) {
        return false;
    }
    const boost::shared_ptr<const FaceSetOutputData> first =
        frame.subObjectAs<FaceSetOutputData>(FACE_SET);
    return !(first && first->hasSubObjectID(HEAD_V2));
}

// Whether migrateFaceSetOutputData would change the frame.
bool migrationWanted(const EngineOutputData& frame) {
    return frame.hasSubObjectID(HEAD_V2) || frame.hasSubObjectID(FACE_V2) ||
           frame.hasSubObjectID(EYE) || upgradeWanted(frame);
}

// Moves the frame-level record of this ID into the face set. It joins the face set before it
// leaves the frame, so that a refusal loses nothing.
void moveToFaceSet(EngineOutputData& frame, FaceSetOutputData& face_set, char id,
                   const char* clash) {
    const boost::shared_ptr<Serializable> record = frame.subObject(id);
    if (!record) {
        return;
    }
    if (face_set.hasSubObjectID(id)) {
        throw SerializableError(std::string("EngineOutputData::upgradeToFaceSetData - ") + clash);
    }
    face_set.addSubObject(record);
    frame.removeSubObject(*record);
}

// A copy of the record of this ID in the frame, added to the face set unless it holds one.
void copyToFaceSet(const EngineOutputData& frame, FaceSetOutputData& face_set, char id) {
    const boost::shared_ptr<const Serializable> record = frame.subObject(id);
    if (record && !face_set.hasSubObjectID(id)) {
        face_set.addSubObject(boost::shared_ptr<Serializable>(record->clone()));
    }
}

// The frame's record of class T, looked up in the frame itself.
template <typename T>
boost::shared_ptr<T> frameRecord(EngineOutputData& frame) {
    return frame.subObjectAs<T>(T::THIS_OBJECT_ID);
}
template <typename T>
boost::shared_ptr<const T> frameRecord(const EngineOutputData& frame) {
    return frame.subObjectAs<T>(T::THIS_OBJECT_ID);
}

// Face set 0 as a migration would make it, built from copies; the frame is not changed.
boost::shared_ptr<const FaceSetOutputData> migratedFaceSetCopy(const EngineOutputData& frame) {
    const boost::shared_ptr<const FaceSetOutputData> first =
        frame.subObjectAs<FaceSetOutputData>(FACE_SET);
    boost::shared_ptr<FaceSetOutputData> copy(first ? first->clone() : new FaceSetOutputData);
    if (upgradeWanted(frame)) {
        copy->addSubObject(boost::shared_ptr<HeadOutputDataV2>(
            new HeadOutputDataV2(*frame.subObjectAs<HeadOutputData>(HEAD_V1))));
    }
    copyToFaceSet(frame, *copy, HEAD_V2);
    copyToFaceSet(frame, *copy, FACE_V2);
    copyToFaceSet(frame, *copy, EYE);
    return copy;
}

}  // namespace

bool upgradeHeadOutputData(EngineOutputData& frame) {
    if (!upgradeWanted(frame)) {
        return false;
    }
    const boost::shared_ptr<HeadOutputDataV2> v2(
        new HeadOutputDataV2(*frame.subObjectAs<HeadOutputData>(HEAD_V1)));
    // Out before in, so that a frame of 255 records has room for the new one.
    frame.removeSubObject(HEAD_V1);
    frame.addSubObject(v2);
    return true;
}

void migrateFaceSetOutputData(EngineOutputData& frame) {
    upgradeHeadOutputData(frame);
    if (!migrationWanted(frame)) {
        return;
    }
    boost::shared_ptr<FaceSetOutputData> first = frame.subObjectAs<FaceSetOutputData>(FACE_SET);
    if (!first) {
        first.reset(new FaceSetOutputData);
        frame.addSubObject(first);
    }
    moveToFaceSet(frame, *first, HEAD_V2, "Head output data already exists.");
    moveToFaceSet(frame, *first, FACE_V2, "Face output data already exists.");
    moveToFaceSet(frame, *first, EYE, "Eye output data already exists.");
}

// ---- face records, migrating -----------------------------------------------------------------

boost::shared_ptr<FaceSetOutputData> face(EngineOutputData& frame, unsigned char index) {
    migrateFaceSetOutputData(frame);
    return frame.subObjectAs<FaceSetOutputData>(FACE_SET, index);
}

unsigned char numFaces(EngineOutputData& frame) {
    migrateFaceSetOutputData(frame);
    return frame.numSubObjects(FACE_SET);
}

boost::shared_ptr<HeadOutputDataV2> headOutputData(EngineOutputData& frame) {
    const boost::shared_ptr<FaceSetOutputData> first = face(frame, 0);
    return first ? first->headOutputData() : nullptr;
}

boost::shared_ptr<EyeOutputData> eyeOutputData(EngineOutputData& frame) {
    const boost::shared_ptr<FaceSetOutputData> first = face(frame, 0);
    return first ? first->eyeOutputData() : nullptr;
}

boost::shared_ptr<FaceOutputDataV2> faceOutputData(EngineOutputData& frame) {
    const boost::shared_ptr<FaceSetOutputData> first = face(frame, 0);
    return first ? first->faceOutputData() : nullptr;
}

// ---- face records, leaving the frame as it is ------------------------------------------------

boost::shared_ptr<const FaceSetOutputData> face(const EngineOutputData& frame,
                                                unsigned char index) {
    if (index == 0 && migrationWanted(frame)) {
        return migratedFaceSetCopy(frame);
    }
    return frame.subObjectAs<FaceSetOutputData>(FACE_SET, index);
}

unsigned char numFaces(const EngineOutputData& frame) {
    const unsigned char count = frame.numSubObjects(FACE_SET);
    return (count == 0 && migrationWanted(frame)) ? 1 : count;
}

boost::shared_ptr<const HeadOutputDataV2> headOutputData(const EngineOutputData& frame) {
    const boost::shared_ptr<const FaceSetOutputData> first = face(frame, 0);
    return first ? first->headOutputData() : nullptr;
}

boost::shared_ptr<const EyeOutputData> eyeOutputData(const EngineOutputData& frame) {
    const boost::shared_ptr<const FaceSetOutputData> first = face(frame, 0);
    return first ? first->eyeOutputData() : nullptr;
}

boost::shared_ptr<const FaceOutputDataV2> faceOutputData(const EngineOutputData& frame) {
    const boost::shared_ptr<const FaceSetOutputData> first = face(frame, 0);
    return first ? first->faceOutputData() : nullptr;
}

// ---- frame-wide records ----------------------------------------------------------------------

boost::shared_ptr<TimingOutputData> timingOutputData(EngineOutputData& frame) {
    return frameRecord<TimingOutputData>(frame);
}

boost::shared_ptr<const TimingOutputData> timingOutputData(const EngineOutputData& frame) {
    return frameRecord<TimingOutputData>(frame);
}

boost::shared_ptr<EngineStateOutputData> engineStateOutputData(EngineOutputData& frame) {
    return frameRecord<EngineStateOutputData>(frame);
}

boost::shared_ptr<const EngineStateOutputData> engineStateOutputData(
    const EngineOutputData& frame) {
    return frameRecord<EngineStateOutputData>(frame);
}

boost::shared_ptr<WorldOutputDataV2> worldOutputData(EngineOutputData& frame) {
    return frameRecord<WorldOutputDataV2>(frame);
}

boost::shared_ptr<const WorldOutputDataV2> worldOutputData(const EngineOutputData& frame) {
    return frameRecord<WorldOutputDataV2>(frame);
}

boost::shared_ptr<GPSOutputData> gpsOutputData(EngineOutputData& frame) {
    return frameRecord<GPSOutputData>(frame);
}

boost::shared_ptr<const GPSOutputData> gpsOutputData(const EngineOutputData& frame) {
    return frameRecord<GPSOutputData>(frame);
}

boost::shared_ptr<GPSOutputDataV2> gpsOutputDataV2(EngineOutputData& frame) {
    return frameRecord<GPSOutputDataV2>(frame);
}

boost::shared_ptr<const GPSOutputDataV2> gpsOutputDataV2(const EngineOutputData& frame) {
    return frameRecord<GPSOutputDataV2>(frame);
}

boost::shared_ptr<InertiaOutputData> inertiaOutputData(EngineOutputData& frame) {
    return frameRecord<InertiaOutputData>(frame);
}

boost::shared_ptr<const InertiaOutputData> inertiaOutputData(const EngineOutputData& frame) {
    return frameRecord<InertiaOutputData>(frame);
}

boost::shared_ptr<FeatureSetsByCamera> featureSetsByCamera(EngineOutputData& frame) {
    return frameRecord<FeatureSetsByCamera>(frame);
}

boost::shared_ptr<const FeatureSetsByCamera> featureSetsByCamera(const EngineOutputData& frame) {
    return frameRecord<FeatureSetsByCamera>(frame);
}

boost::shared_ptr<ImageCollectionOutputData> imagesOutputData(EngineOutputData& frame) {
    return frameRecord<ImageCollectionOutputData>(frame);
}

boost::shared_ptr<const ImageCollectionOutputData> imagesOutputData(const EngineOutputData& frame) {
    return frameRecord<ImageCollectionOutputData>(frame);
}

}  // namespace vq::eod::utils
