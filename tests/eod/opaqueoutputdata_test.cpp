// Records without a published layout keep their data as it came: byte for byte, no further than
// their header announces, and they refuse sub-objects they could not write. The feature classes
// serve several IDs and name them.
#include "vq/eod/opaqueoutputdata.h"

#include <gtest/gtest.h>

#include "vq/eod/engineoutputdata.h"
#include "vq/eod/faceoutputdatav2.h"
#include "vq/eod/featurepoint.h"
#include "vq/eod/featurerect.h"
#include "vq/eod/featureset.h"
#include "vq/eod/imagecollectionoutputdata.h"
#include "vq/eod/serializableerror.h"
#include "vq/eod/serializablefactory.h"
#include "vqtest/recordchecks.h"

namespace {

using vq::eod::EngineOutputData;
using vq::eod::SerializableFactory;
using vqtest::bytes;
using vqtest::hex;
using vqtest::serialized;

TEST(OpaqueOutputData, DataIsKeptAsItCameUpToTheAnnouncedEnd) {
    // A frame holding an image collection with three bytes of its own, then an inertia record.
    const vq::eod::ByteBuffer frame_bytes = bytes(
        "09 00 2A 01 00 00 00 01 02 | 1E 00 04 01 AA BB CC | 20 00 1A 01 "
        "3F 80 00 00 "
        "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 | 00");
    int pos = 0;
    auto frame = boost::dynamic_pointer_cast<EngineOutputData>(
        SerializableFactory::newObject(frame_bytes, pos));
    ASSERT_TRUE(frame);
    EXPECT_EQ(hex(frame->subObjectAs<vq::eod::ImageCollectionOutputData>(0x1E)->rawData()),
              "AA BB CC");
    EXPECT_EQ(frame->numSubObjects(), 2);
    EXPECT_EQ(hex(serialized(*frame)), hex(frame_bytes));

    // A new record: no fields, no sub-objects, no columns.
    vq::eod::FaceOutputDataV2 face;
    EXPECT_EQ(hex(serialized(face)), "5D 00 02 01 00");
    EXPECT_EQ(vqtest::printedHeader(face) + vqtest::printedLine(face), "");
    // A size that does not even cover the flag byte is a size mismatch; read_pos stays.
    unsigned int status = 0;
    pos = 0;
    EXPECT_FALSE(SerializableFactory::newObjectWithStatus(bytes("1F 00 00 | 09"), pos, status));
    EXPECT_EQ(status, vq::eod::status::SIZE_MISMATCH);
    EXPECT_EQ(pos, 0);
    // The flag byte 0: dropped by the frame that reads it, like every engine record.
    pos = 0;
    auto dropped = boost::dynamic_pointer_cast<EngineOutputData>(
        SerializableFactory::newObject(bytes("09 00 0B 01 00 00 00 01 01 | 5B 00 02 00 00"), pos));
    ASSERT_TRUE(dropped);
    EXPECT_EQ(dropped->numSubObjects(), 0);
}

TEST(OpaqueOutputData, FeatureClassesServeSeveralIdsAndRefuseSubObjects) {
    EXPECT_EQ(vq::eod::FeatureSet::IDToName(0x15) + vq::eod::FeatureSet::IDToName(0x16) +
                  vq::eod::FeatureSet::IDToName(0x17),
              "CACBSET");
    EXPECT_EQ(vq::eod::FeaturePoint::IDToName(0x17) + vq::eod::FeaturePoint::IDToName(0x18) +
                  vq::eod::FeaturePoint::IDToName(0x15),
              "R_PUPILPOSL_PUPILPOSPOINT");
    EXPECT_EQ(vq::eod::FeatureRect::IDToName(0x19) + vq::eod::FeatureRect::IDToName(0x1A) +
                  vq::eod::FeatureRect::IDToName(0x1B) + vq::eod::FeatureRect::IDToName(0x1C) +
                  vq::eod::FeatureRect::IDToName(0x70),
              "FACERECTREYERECTLEYERECTMOUTRECTRECT");
    vq::eod::FeatureSet set(0x16);
    EXPECT_EQ(std::unique_ptr<vq::eod::FeatureSet>(set.clone())->objectID(), 0x16);
    EXPECT_SERIALIZABLE_ERROR(
        set.addSubObject(boost::shared_ptr<vq::eod::FeaturePoint>(new vq::eod::FeaturePoint(0x17))),
        "OpaqueOutputData::addSubObject - the data of this record is kept as read, sub-objects "
        "cannot be added");
    EXPECT_EQ(set.numSubObjects(), 0);
}

}  // namespace
