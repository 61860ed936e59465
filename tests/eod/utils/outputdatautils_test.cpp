// The frame's record accessors: migration of frame-level head, face and eye records into face
// set 0, the V1 head upgrade, clashes, and what the const forms answer without changing a frame.
#include "vq/eod/utils/outputdatautils.h"

#include <gtest/gtest.h>

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
#include "vq/eod/irpodstateoutputdata.h"
#include "vq/eod/pupiloutputdata.h"
#include "vq/eod/serializableerror.h"
#include "vq/eod/timingoutputdata.h"
#include "vq/eod/worldoutputdata.h"
#include "vq/eod/worldoutputdatav2.h"
#include "vqtest/expect.h"
#include "vqtest/hex.h"
#include "vqtest/testrecords.h"

namespace {

using vq::eod::EngineOutputData;
using vq::eod::EyeOutputData;
using vq::eod::FaceSetOutputData;
using vq::eod::HeadOutputData;
using vq::eod::HeadOutputDataV2;
using vqtest::hex;
using vqtest::serialized;

constexpr char FACE_V2 = vq::eod::object_id::FACE_OUTPUT_DATA_V2;

template <typename T>
boost::shared_ptr<T> make() {
    return boost::shared_ptr<T>(new T);
}

TEST(OutputDataUtils, FrameLevelRecordsMoveIntoFaceSetZero) {
    EngineOutputData frame;
    const auto timing = make<vq::eod::TimingOutputData>();
    const auto head = make<HeadOutputDataV2>();
    const auto face = vqtest::testRecord(FACE_V2, 5);
    const auto eye = make<EyeOutputData>();
    frame.addSubObject(timing);
    frame.addSubObject(head);
    frame.addSubObject(face);
    frame.addSubObject(eye);

    // The const forms answer as if migrated, with copies, and leave the frame alone.
    const std::string before = hex(serialized(frame));
    const EngineOutputData& view = frame;
    EXPECT_EQ(view.numFaces(), 1);
    ASSERT_TRUE(view.headOutputData() && view.eyeOutputData() && view.face(0));
    EXPECT_NE(view.headOutputData(), head);
    EXPECT_TRUE(view.face(0)->hasSubObjectID(FACE_V2));
    EXPECT_EQ(hex(serialized(frame)), before);

    // The non-const forms move the records themselves.
    EXPECT_EQ(frame.headOutputData(), head);
    EXPECT_EQ(frame.numFaces(), 1);
    const boost::shared_ptr<FaceSetOutputData> first = frame.face(0);
    EXPECT_EQ(first->subObject(FACE_V2), face);
    EXPECT_EQ(frame.eyeOutputData(), eye);
    EXPECT_EQ(frame.timingOutputData(), timing);
    EXPECT_EQ(frame.numSubObjects(), 2);  // timing and the face set
    EXPECT_FALSE(frame.face(1));
    // The face set follows the 27 bytes of the timing record and holds eye, head and face.
    const std::string written = hex(serialized(frame));
    EXPECT_EQ(written.substr(0, 29), "09 00 AB 01 00 00 00 00 02 0A");
    EXPECT_EQ(written.substr(3 * 36, 17), "5E 00 87 01 03 0F");
}

TEST(OutputDataUtils, FirstVersionHeadsAreUpgraded) {
    HeadOutputData v1;
    v1.setTrackingState(2);
    v1.setHeadRotation({0, 0, 4});
    EngineOutputData frame;
    frame.addSubObject(boost::shared_ptr<HeadOutputData>(new HeadOutputData(v1)));

    const auto copy = static_cast<const EngineOutputData&>(frame).headOutputData();
    ASSERT_TRUE(copy);
    EXPECT_TRUE(copy->isTracking());
    EXPECT_EQ(copy->headRotation(), std::vector<double>({0, 0, 4}));
    EXPECT_TRUE(frame.hasSubObjectID(HeadOutputData::THIS_OBJECT_ID));

    EXPECT_EQ(hex(serialized(*frame.headOutputData())), hex(serialized(*copy)));
    EXPECT_EQ(frame.numSubObjects(), 1);  // only the face set
    EXPECT_FALSE(vq::eod::utils::upgradeHeadOutputData(frame));

    // Beside a V2 head, in the frame or in face set 0, a V1 head stays where it is.
    EngineOutputData both;
    const auto v2 = make<HeadOutputDataV2>();
    both.addSubObject(boost::shared_ptr<HeadOutputData>(new HeadOutputData(v1)));
    both.addSubObject(v2);
    EXPECT_EQ(both.headOutputData(), v2);
    EXPECT_TRUE(both.hasSubObjectID(HeadOutputData::THIS_OBJECT_ID));
    EXPECT_FALSE(vq::eod::utils::upgradeHeadOutputData(both));
    EXPECT_EQ(static_cast<const EngineOutputData&>(both).headOutputData(), v2);
}

TEST(OutputDataUtils, ClashesWithFaceSetZero) {
    const std::string prefix = "EngineOutputData::upgradeToFaceSetData - ";
    EngineOutputData frame;
    const auto face_set = make<FaceSetOutputData>();
    const auto held_eye = make<EyeOutputData>();
    held_eye->addSubObject(make<vq::eod::PupilOutputData>());  // tells it from the frame's
    face_set->addSubObject(held_eye);
    frame.addSubObject(face_set);
    const auto head = make<HeadOutputDataV2>();
    frame.addSubObject(head);
    frame.addSubObject(make<EyeOutputData>());

    // The const form prefers face set 0 and does not raise.
    EXPECT_TRUE(static_cast<const EngineOutputData&>(frame).eyeOutputData()->pupilOutputData());
    // The head moves before the eye clashes; the clashing eye stays in the frame.
    EXPECT_SERIALIZABLE_ERROR(frame.numFaces(), prefix + "Eye output data already exists.");
    EXPECT_EQ(face_set->headOutputData(), head);
    EXPECT_TRUE(frame.hasSubObjectID(EyeOutputData::THIS_OBJECT_ID));
    EXPECT_FALSE(frame.hasSubObjectID(HeadOutputDataV2::THIS_OBJECT_ID));

    frame.addSubObject(make<HeadOutputDataV2>());
    EXPECT_SERIALIZABLE_ERROR(frame.headOutputData(), prefix + "Head output data already exists.");
    frame.clearSubObjects();
    frame.addSubObject(face_set);
    face_set->addSubObject(vqtest::testRecord(FACE_V2));
    frame.addSubObject(vqtest::testRecord(FACE_V2));
    EXPECT_SERIALIZABLE_ERROR(frame.face(0), prefix + "Face output data already exists.");
}

TEST(OutputDataUtils, FaceSetsAndFramesWithoutFaceRecords) {
    EngineOutputData frame;
    EXPECT_EQ(frame.numFaces(), 0);
    EXPECT_FALSE(frame.headOutputData() || frame.eyeOutputData() || frame.face(0));
    EXPECT_EQ(static_cast<const EngineOutputData&>(frame).numFaces(), 0);
    EXPECT_EQ(frame.numSubObjects(), 0);  // no face set made for nothing

    const auto second = make<FaceSetOutputData>();
    EXPECT_EQ(hex(serialized(*second)), "5E 00 02 01 00");
    frame.addSubObject(make<FaceSetOutputData>());
    frame.addSubObject(second);
    EXPECT_EQ(static_cast<const EngineOutputData&>(frame).face(1), second);
    EXPECT_EQ(frame.numFaces(), 2);
    EXPECT_FALSE(frame.face(2));
}

TEST(OutputDataUtils, FrameWideRecordsOfTheOtherKinds) {
    EngineOutputData frame;
    const auto world = make<vq::eod::WorldOutputDataV2>();
    const auto gps = make<vq::eod::GPSOutputData>();
    const auto gps_v2 = make<vq::eod::GPSOutputDataV2>();
    const auto inertia = make<vq::eod::InertiaOutputData>();
    const auto features = make<vq::eod::FeatureSetsByCamera>();
    const auto images = make<vq::eod::ImageCollectionOutputData>();
    const auto state = make<vq::eod::EngineStateOutputData>();
    const auto pod = make<vq::eod::IRPodStateOutputData>();
    const auto face = make<vq::eod::FaceOutputDataV2>();
    state->addSubObject(pod);
    for (const boost::shared_ptr<vq::eod::EngineOutputBase>& record :
         std::vector<boost::shared_ptr<vq::eod::EngineOutputBase>>{make<vq::eod::WorldOutputData>(),
                                                                   world, gps, gps_v2, inertia,
                                                                   features, images, state, face}) {
        frame.addSubObject(record);
    }
    const EngineOutputData& view = frame;
    EXPECT_TRUE(frame.worldOutputData() == world && view.worldOutputData() == world);
    EXPECT_TRUE(frame.gpsOutputData() == gps && view.gpsOutputData() == gps);
    EXPECT_TRUE(frame.gpsOutputDataV2() == gps_v2 && view.gpsOutputDataV2() == gps_v2);
    EXPECT_TRUE(frame.inertiaOutputData() == inertia && view.inertiaOutputData() == inertia);
    EXPECT_TRUE(frame.featureSetsByCamera() == features && view.featureSetsByCamera() == features);
    EXPECT_TRUE(frame.imagesOutputData() == images && view.imagesOutputData() == images);
    EXPECT_TRUE(state->irPodStateOutputData() == pod &&
                view.engineStateOutputData()->irPodStateOutputData() == pod);
    // The face record goes to face set 0: a copy from the const form, itself after migration.
    ASSERT_TRUE(view.faceOutputData());
    EXPECT_NE(view.faceOutputData(), face);
    EXPECT_EQ(frame.faceOutputData(), face);
    EXPECT_EQ(frame.face(0)->faceOutputData(), face);

    EngineOutputData odd;
    odd.addSubObject(vqtest::testRecord(vq::eod::GPSOutputData::THIS_OBJECT_ID));
    EXPECT_SERIALIZABLE_ERROR(odd.gpsOutputData(),
                              "SerializableComposite::subObject() - "
                              "programming error. ID does not match object type");
    EXPECT_FALSE(EngineOutputData().worldOutputData());
}

}  // namespace
