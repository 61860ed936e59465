// vqlog split: parts of so many frames or seconds, each a recording of the input's form.
#include "toolfixture.h"

namespace vqtest {
namespace {

Frames someOf(const Frames& frames, std::size_t first, std::size_t count) {
    return Frames(frames.begin() + first, frames.begin() + first + count);
}

TEST(VqlogSplit, PartsOfFramesOrSecondsInTheInputsForm) {
    TempDir dir;
    const Frames frames = timedFrames(10);  // 50 Hz
    writeRecording(dir / "one.vql", frames, false);
    writeRecording(dir / "kinds", frames, true);

    ProcessResult by_frames = vqlog({"split", dir / "one.vql", dir / "a", "--every", "4"});
    EXPECT_EQ(by_frames.exit_code, 0) << by_frames.err;
    EXPECT_EQ(by_frames.out,
              "vqlog split: 10 frames into 3 parts in " + (dir / "a") + " (log files)\n");
    const std::size_t firsts[] = {0, 4, 8};
    for (std::size_t part = 0; part < 3; ++part) {
        EXPECT_EQ(readFile(dir / "a/part-000" + std::to_string(part + 1) + ".vql"),
                  bytesOf(someOf(frames, firsts[part], part < 2 ? 4 : 2)))
            << part;
    }

    // 0.1 s of 50 Hz frames: 5 frames a part, each part a per-kind directory.
    ProcessResult by_time = vqlog({"split", dir / "kinds", dir / "b", "--every", "0.1s"});
    EXPECT_EQ(by_time.exit_code, 0) << by_time.err;
    EXPECT_EQ(by_time.out, "vqlog split: 10 frames into 2 parts in " + (dir / "b") +
                               " (per-kind directories)\n");
    writeRecording(dir / "second", someOf(frames, 5, 5), true);
    EXPECT_EQ(readFile(dir / "b/part-0002/Timing.vql"), readFile(dir / "second/Timing.vql"));

    for (const char* every : {"0", "1.5", "ten", "s"}) {
        ProcessResult bad = vqlog({"split", dir / "one.vql", dir / "c", "--every", every});
        EXPECT_EQ(bad.exit_code, 2) << every;
    }
}

}  // namespace
}  // namespace vqtest
