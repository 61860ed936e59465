// vqlog merge: recordings of one session become one, frame by frame; overlaps are refused
// without leaving anything behind, or left out when asked.
#include <filesystem>

#include "toolfixture.h"

namespace vqtest {
namespace {

TEST(VqlogMerge, RecordingsOfOneSessionMergeByFrameNumber) {
    using namespace vq::eod;
    TempDir dir;
    // The timing of frames 0..5 in one file, the engine state of the even ones in another.
    Frames timing;
    Frames state;
    for (const auto& whole : timedFrames(6)) {
        timing.push_back(timedFrame(whole->frameNum(), false));
        if (whole->frameNum() % 2 == 0) {
            boost::shared_ptr<EngineOutputData> frame(new EngineOutputData);
            frame->setFrameNum(whole->frameNum());
            frame->addSubObject(whole->subObject(EngineStateOutputData::THIS_OBJECT_ID));
            state.push_back(frame);
        }
    }
    writeRecording(dir / "timing.vql", timing, false);
    writeRecording(dir / "state.vql", state, false);
    writeRecording(dir / "whole.vql", timedFrames(6), false);
    writeRecording(dir / "kinds", timedFrames(6), true);

    ProcessResult one = vqlog({"merge", dir / "state.vql", dir / "timing.vql", dir / "one.vql"});
    EXPECT_EQ(one.exit_code, 0) << one.err;
    EXPECT_EQ(one.out, "vqlog merge: 6 frames from 2 recordings into " + (dir / "one.vql") +
                           " (single file)\n");
    EXPECT_EQ(readFile(dir / "one.vql"), readFile(dir / "whole.vql"));
    ProcessResult split = vqlog({"merge", dir / "timing.vql", dir / "state.vql", dir / "split"});
    EXPECT_EQ(split.exit_code, 0) << split.err;
    for (const char* name : {"Timing.vql", "EngineState.vql"}) {
        EXPECT_EQ(readFile(dir / "split/" + name), readFile(dir / "kinds/" + name)) << name;
    }

    // One kind twice for a frame: refused, and no output left; or the first kept when asked.
    ProcessResult overlap = vqlog({"merge", dir / "timing.vql", dir / "kinds", dir / "out"});
    EXPECT_EQ(overlap.exit_code, 1);
    EXPECT_EQ(overlap.err, "vqlog merge: " + (dir / "timing.vql") + " and " + (dir / "kinds") +
                               " both hold Timing (0x0A) for frame 0 (--overlap first keeps the "
                               "first recording's)\n");
    EXPECT_FALSE(std::filesystem::exists(dir / "out"));
    ProcessResult first = vqlog(
        {"merge", dir / "timing.vql", dir / "kinds", dir / "first.vql", "--overlap", "first"});
    EXPECT_EQ(first.exit_code, 0) << first.err;
    EXPECT_EQ(first.out, "vqlog merge: 6 frames from 2 recordings into " + (dir / "first.vql") +
                             " (single file); 6 records of a kind an earlier recording held for "
                             "the frame left out\n");
    EXPECT_EQ(readFile(dir / "first.vql"), readFile(dir / "whole.vql"));
}

}  // namespace
}  // namespace vqtest
