// The eye container: its bytes and its typed accessors.
#include "vq/eod/eyeoutputdata.h"

#include <gtest/gtest.h>

#include "vq/eod/eyeclosureoutputdata.h"
#include "vq/eod/gazeoutputdata.h"
#include "vq/eod/pupiloutputdata.h"
#include "vq/eod/serializableerror.h"
#include "vqtest/recordchecks.h"
#include "vqtest/testrecords.h"

namespace {

using vq::eod::EyeOutputData;

TEST(EyeOutputData, ContainerBytesAndAccessors) {
    EyeOutputData eye;
    const auto empty = vqtest::expectRoundTrip(eye, "0F 00 02 | 01 | 00");
    ASSERT_TRUE(empty);
    EXPECT_FALSE(empty->pupilOutputData() || empty->eyeClosureOutputData() ||
                 static_cast<const EyeOutputData&>(*empty).gazeOutputData());

    boost::shared_ptr<vq::eod::GazeOutputData> gaze(new vq::eod::GazeOutputData);
    eye.addSubObject(gaze);
    eye.addSubObject(boost::shared_ptr<vq::eod::PupilOutputData>(new vq::eod::PupilOutputData));
    EXPECT_EQ(eye.gazeOutputData(), gaze);
    EXPECT_TRUE(eye.pupilOutputData());
    EXPECT_FALSE(eye.eyeClosureOutputData());
    vqtest::expectTruncationsRefused(eye);

    // A record of another class under the pupil's ID is a programming error.
    EyeOutputData odd;
    odd.addSubObject(vqtest::testRecord(vq::eod::PupilOutputData::THIS_OBJECT_ID));
    EXPECT_SERIALIZABLE_ERROR(
        odd.pupilOutputData(),
        "SerializableComposite::subObject() - programming error. ID does not match object type");
}

}  // namespace
