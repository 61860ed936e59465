// The eye container: its bytes with and without measurements, and its typed accessors.
#include "vq/eod/eyeoutputdata.h"

#include <gtest/gtest.h>

#include "vq/eod/eyeclosureoutputdata.h"
#include "vq/eod/gazeoutputdata.h"
#include "vq/eod/pupiloutputdata.h"
#include "vq/eod/serializableerror.h"
#include "vq/eod/serializablefactory.h"
#include "vqtest/expect.h"
#include "vqtest/hex.h"
#include "vqtest/recordchecks.h"
#include "vqtest/testrecords.h"

namespace {

using vq::eod::EyeOutputData;
using vqtest::hex;
using vqtest::serialized;

TEST(EyeOutputData, ContainerBytesAndAccessors) {
    EyeOutputData eye;
    EXPECT_EQ(hex(serialized(eye)), "0F 00 02 01 00");
    EXPECT_FALSE(eye.pupilOutputData());
    EXPECT_FALSE(static_cast<const EyeOutputData&>(eye).gazeOutputData());

    boost::shared_ptr<vq::eod::GazeOutputData> gaze(new vq::eod::GazeOutputData);
    eye.addSubObject(gaze);
    eye.addSubObject(boost::shared_ptr<vq::eod::PupilOutputData>(new vq::eod::PupilOutputData));
    eye.addSubObject(
        boost::shared_ptr<vq::eod::EyeClosureOutputData>(new vq::eod::EyeClosureOutputData));
    EXPECT_EQ(eye.gazeOutputData(), gaze);
    // The children follow in ascending object ID: closure, gaze, pupil.
    const vq::eod::ByteBuffer bytes = serialized(eye);
    EXPECT_EQ(hex(vq::eod::ByteBuffer(bytes.begin(), bytes.begin() + 6)), "0F 00 7E 01 03 0C");
    EXPECT_EQ(bytes.size(), 5u + 38 + 49 + 37);

    int read_pos = 0;
    const auto read = boost::dynamic_pointer_cast<const EyeOutputData>(
        vq::eod::SerializableFactory::newObject(bytes, read_pos));
    ASSERT_TRUE(read);
    EXPECT_TRUE(read->pupilOutputData() && read->eyeClosureOutputData() && read->gazeOutputData());
    EXPECT_EQ(hex(serialized(*read)), hex(bytes));
    vqtest::expectTruncationsRefused(eye);

    // A record of another class under the pupil's ID is a programming error.
    EyeOutputData odd;
    odd.addSubObject(vqtest::testRecord(vq::eod::PupilOutputData::THIS_OBJECT_ID));
    EXPECT_SERIALIZABLE_ERROR(
        odd.pupilOutputData(),
        "SerializableComposite::subObject() - programming error. ID does not match object type");
}

}  // namespace
