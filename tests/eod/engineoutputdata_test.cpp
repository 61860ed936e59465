// The frame and the engine record base: golden bytes, selection of what is written, printing.
#include "vq/eod/engineoutputdata.h"

#include <gtest/gtest.h>

#include "vq/eod/enginestateoutputdata.h"
#include "vq/eod/eyeoutputdata.h"
#include "vq/eod/gazeoutputdata.h"
#include "vq/eod/headtrackerstateoutputdata.h"
#include "vq/eod/pupiloutputdata.h"
#include "vq/eod/timingoutputdata.h"
#include "vqtest/expect.h"
#include "vqtest/hex.h"
#include "vqtest/recordchecks.h"
#include "vqtest/testrecords.h"

namespace {

using vq::eod::ByteBuffer;
using vq::eod::EngineOutputBase;
using vq::eod::EngineOutputData;
using vqtest::bytes;
using vqtest::hex;
using vqtest::serialized;
using vqtest::testRecord;
using vqtest::TestRecord;

// Reaches the protected reset().
struct ResettableFrame : EngineOutputData {
    using EngineOutputData::reset;
};

class EngineOutputDataTest : public ::testing::Test {
protected:
    void SetUp() override { vqtest::registerTestRecords(); }
};

TEST_F(EngineOutputDataTest, SelectingWhatIsWritten) {
    EngineOutputData frame;
    frame.addSubObject(testRecord(vqtest::TEST_RECORD_A, 1));
    frame.addSubObject(testRecord(vqtest::TEST_RECORD_B, 2));
    frame.setSerialableSubObjectsEnabled({vqtest::TEST_RECORD_A}, false);
    EXPECT_EQ(hex(serialized(frame)),
              hex(bytes("09 00 0F 01 00 00 00 00 01 | 70 00 06 01 00 00 00 01 00")));
    EXPECT_TRUE(frame.serializeEnabled());
    EXPECT_TRUE(frame.subObject(vqtest::TEST_RECORD_B));  // still reachable

    // Nested: a frame inside the frame holding both kinds.
    boost::shared_ptr<EngineOutputData> inner(new EngineOutputData);
    auto inner_a = testRecord(vqtest::TEST_RECORD_A);
    auto inner_b = testRecord(vqtest::TEST_RECORD_B);
    inner->addSubObject(inner_a);
    inner->addSubObject(inner_b);
    frame.addSubObject(inner);
    const std::vector<char> list = {vqtest::TEST_RECORD_A, 0x09};
    frame.setSerialableSubObjectsEnabled(list, false);
    EXPECT_TRUE(inner->serializeEnabled());
    EXPECT_TRUE(inner_b->serializeEnabled());  // not recursive: the inner flags stay
    frame.setSerialableSubObjectsEnabled(list, true);
    EXPECT_TRUE(inner_a->serializeEnabled());
    EXPECT_FALSE(inner_b->serializeEnabled());
    // A disabled sub-object is not descended into.
    inner_b->setSerializeEnabled(true);
    frame.setSerialableSubObjectsEnabled({vqtest::TEST_RECORD_A}, true);
    EXPECT_FALSE(inner->serializeEnabled());
    EXPECT_TRUE(inner_b->serializeEnabled());
}

TEST_F(EngineOutputDataTest, EyeIdNames) {
    EXPECT_EQ(EngineOutputBase::eyeIdName(vq::eod::RIGHT_EYE), "RIGHT EYE");
    EXPECT_EQ(EngineOutputBase::eyeIdName(vq::eod::LEFT_EYE), "LEFT EYE");
    EXPECT_EQ(EngineOutputBase::eyeIdName(vq::eod::BOTH_EYES), "BOTH EYES");
    EXPECT_PRECONDITION(EngineOutputBase::eyeIdName(static_cast<vq::eod::EyeId>(3)),
                        "src/eod/engineoutputbase.cpp",
                        "eye_id should be either LEFT_EYE, RIGHT_EYE or BOTH_EYES");
}

TEST_F(EngineOutputDataTest, ResetAndFlagByte) {
    ResettableFrame frame;
    frame.setFrameNum(5);
    frame.addSubObject(testRecord(vqtest::TEST_RECORD_A, 1));
    frame.setSerializeEnabled(false);
    frame.reset();
    EXPECT_TRUE(frame.serializeEnabled());
    EXPECT_EQ(frame.numSubObjects(), 0);
    EXPECT_EQ(frame.frameNum(), 5u);

    // Any non-zero flag byte reads as enabled.
    int pos = 0;
    EngineOutputData read;
    ASSERT_TRUE(read.unSerialize(bytes("09 00 06 05 00 00 00 01 00"), pos));
    EXPECT_TRUE(read.serializeEnabled());
    EXPECT_EQ(hex(serialized(read)), "09 00 06 01 00 00 00 01 00");
}

// A frame of measurement records: framing, order, factory read-back, printing, typed lookups.
TEST_F(EngineOutputDataTest, AFrameOfMeasurementRecords) {
    using namespace vq::eod;
    boost::shared_ptr<TimingOutputData> timing(new TimingOutputData);
    timing->setExperimentTime(12.5);
    boost::shared_ptr<EyeOutputData> eye(new EyeOutputData);
    boost::shared_ptr<PupilOutputData> pupil(new PupilOutputData);
    pupil->setPupilDiameter(LEFT_EYE, 3.5f);
    eye->addSubObject(pupil);
    eye->addSubObject(boost::shared_ptr<GazeOutputData>(new GazeOutputData));
    boost::shared_ptr<EngineStateOutputData> state(new EngineStateOutputData(0));
    state->addSubObject(
        boost::shared_ptr<HeadTrackerStateOutputData>(new HeadTrackerStateOutputData(2)));
    // In object ID order 0A 0F 28, added the other way round.
    const std::vector<boost::shared_ptr<EngineOutputBase>> records = {timing, eye, state};
    EngineOutputData frame;
    frame.setFrameNum(42);
    for (auto record = records.rbegin(); record != records.rend(); ++record) {
        frame.addSubObject(*record);
    }
    std::string dump = "09 00 8E | 01 | 00 00 00 2A | 03";
    std::string header = vqtest::columns({"FRAME_NUM"}), line = vqtest::columns({"42"});
    for (const auto& record : records) {
        dump += " " + hex(serialized(*record));
        header += vqtest::printedHeader(*record);
        line += vqtest::printedLine(*record);
    }
    const auto read = vqtest::expectRoundTrip(frame, dump);
    ASSERT_TRUE(read);
    EXPECT_EQ(vqtest::printedHeader(*read), header);
    EXPECT_EQ(vqtest::printedLine(*read), line);
    EXPECT_EQ(read->timingOutputData()->experimentTime(), 12.5);
    EXPECT_EQ(read->engineStateOutputData()->headtrackerStateOutputData()->state(), 2);
    EXPECT_EQ(static_cast<const EngineOutputData&>(*read)
                  .eyeOutputData()
                  ->pupilOutputData()
                  ->pupilDiameter(LEFT_EYE),
              3.5f);
}

}  // namespace
