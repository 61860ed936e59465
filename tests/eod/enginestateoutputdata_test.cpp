// The engine state record with its head tracker state: bytes, printing, the state checks.
#include "vq/eod/enginestateoutputdata.h"

#include <gtest/gtest.h>

#include <climits>

#include "vq/eod/headtrackerstateoutputdata.h"
#include "vqtest/recordchecks.h"

namespace {

using vq::eod::EngineStateOutputData;
using vq::eod::HeadTrackerStateOutputData;

TEST(EngineStateOutputData, BytesPrintingAndTheHeadTrackerState) {
    EngineStateOutputData state(1);
    EXPECT_FALSE(state.headtrackerStateOutputData());
    boost::shared_ptr<HeadTrackerStateOutputData> tracker(new HeadTrackerStateOutputData(4));
    state.addSubObject(tracker);
    EXPECT_EQ(static_cast<const EngineStateOutputData&>(state).headtrackerStateOutputData(),
              tracker);
    const auto read =
        vqtest::expectRoundTrip(state, "28 00 0F | 01 00000001 01 | 29 00 06 01 00000004 00");
    ASSERT_TRUE(read && read->headtrackerStateOutputData());
    EXPECT_EQ(read->headtrackerStateOutputData()->state(), 4);
    EXPECT_EQ(vqtest::printedHeader(state), vqtest::columns({"ENGINE_STATE", "HT_STATE"}));
    EXPECT_EQ(vqtest::printedLine(state), vqtest::columns({"1", "4"}));

    // A state that no setter accepts is kept as read.
    int read_pos = 0;
    ASSERT_TRUE(state.unSerialize(vqtest::engineRecord(0x28, vqtest::bytes("00000007")), read_pos));
    EXPECT_EQ(state.state(), 7);
    EXPECT_FALSE(state.headtrackerStateOutputData());

    vqtest::expectRandomBlocksRoundTrip(EngineStateOutputData::THIS_OBJECT_ID, 4);
    vqtest::expectRandomBlocksRoundTrip(HeadTrackerStateOutputData::THIS_OBJECT_ID, 4);
    vqtest::expectTruncationsRefused(*read);
}

TEST(EngineStateOutputData, StatesOutsideTheirRangeAreRefused) {
    const char* const engine_source = "src/eod/enginestateoutputdata.cpp";
    const char* const tracker_source = "src/eod/headtrackerstateoutputdata.cpp";
    EXPECT_EQ(EngineStateOutputData().state(), -1);
    EXPECT_EQ(HeadTrackerStateOutputData().state(), -1);
    EXPECT_PRECONDITION(EngineStateOutputData(2), engine_source, "unknown state");
    EXPECT_PRECONDITION(HeadTrackerStateOutputData(5), tracker_source, "state invalid");

    EngineStateOutputData engine;
    HeadTrackerStateOutputData tracker;
    for (int state : {-1, 0, 1}) {
        engine.setState(state);
        EXPECT_EQ(engine.state(), state);
    }
    tracker.setState(4);
    for (int state : {-2, 2, INT_MAX, INT_MIN}) {
        EXPECT_PRECONDITION(engine.setState(state), engine_source, "unknown state");
    }
    for (int state : {-2, 5, INT_MAX, INT_MIN}) {
        EXPECT_PRECONDITION(tracker.setState(state), tracker_source, "state invalid");
    }
    EXPECT_EQ(engine.state(), 1);
    EXPECT_EQ(tracker.state(), 4);
}

}  // namespace
