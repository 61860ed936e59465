// vqlog stats: the figures of a recording with known blinks, saccades and gaps.
#include <algorithm>

#include "toolfixture.h"

namespace vqtest {
namespace {

using namespace vq::eod;

// 50 Hz frames 0..99 without 90 and 91: blinks (eyelids 0.9 closed, flagged when `flag`) in
// 10..14 and 60..69, the gaze's yaw of `eye` moving 0.02 rad a frame (57 deg/s) into 30..32 and
// 80..81, still elsewhere; the other eye is not tracked.
Frames knownFrames(bool flag = true, EyeId eye = RIGHT_EYE) {
    Frames frames;
    for (unsigned int n = 0; n < 100; ++n) {
        if (n == 90 || n == 91) {
            continue;
        }
        auto frame = timedFrame(n, n % 2 == 0);
        const bool blink = (n >= 10 && n < 15) || (n >= 60 && n < 70);
        boost::shared_ptr<EyeClosureOutputData> lids(new EyeClosureOutputData);
        lids->setEyeClosure(RIGHT_EYE, blink ? 0.9f : 0.1f);
        lids->setEyeClosure(LEFT_EYE, blink ? 0.9f : 0.1f);
        lids->setBlinking(flag && blink);
        boost::shared_ptr<GazeOutputData> gaze(new GazeOutputData);
        const int moved =
            std::clamp(static_cast<int>(n) - 29, 0, 3) + std::clamp(static_cast<int>(n) - 79, 0, 2);
        gaze->setGazeRotationPitchYaw(eye, {0.1f, 0.02f * static_cast<float>(moved)});
        gaze->setGazeQualityLevel(eye, IR_GAZE);
        boost::shared_ptr<EyeOutputData> eye(new EyeOutputData);
        eye->addSubObject(lids);
        eye->addSubObject(gaze);
        frame->addSubObject(eye);
        frames.push_back(frame);
    }
    return frames;
}

TEST(VqlogStats, KnownBlinksSaccadesAndGaps) {
    TempDir dir;
    writeRecording(dir / "known.vql", knownFrames(), false);
    ProcessResult text = vqlog({"stats", dir / "known.vql", "--window", "1"});
    EXPECT_EQ(text.exit_code, 0) << text.err;
    EXPECT_EQ(text.out,
              "frames: 98, numbers 0 to 99, time_s 0.000 to 1.980 (1.980 s)\n"
              "kind                               frames  rate/s  gaps in time  missing s  gaps in "
              "frames  missing frames\n"
              "Timing (0x0A)                          98    50.0             1      0.040          "
              "     1               2\n"
              "EyeClosureOutputData (0x0C)            98    50.0             1      0.040          "
              "     1               2\n"
              "GazeOutputData (0x0D)                  98    50.0             1      0.040          "
              "     1               2\n"
              "EngineState (0x28)                     49    25.0             1      0.040          "
              "     1               1\n"
              "HeadTrackerStateOutputData (0x29)      49    25.0             1      0.040          "
              "     1               1\n"
              "delay: p50 15.0 ms, p99 15.0 ms, max 15.0 ms\n"
              "blinks: 2, mean 150.0 ms, 60.6 per minute (by the blinking flag)\n"
              "PERCLOS (eyelids at least 80 % closed) per 1.000 s window:\n"
              "  from s   to s  frames  PERCLOS %\n"
              "  0.000   1.000      50       10.0\n"
              "  1.000   2.000      48       20.8\n"
              "fixations: 3, mean 626.7 ms, 94.9 % of the time\n"
              "saccades: 2, mean 50.0 ms, 5.1 % of the time\n"
              "tracking: no head records; engine running 100.0 % of 49 frames with an engine "
              "state\n");
    // A saccade threshold above 57 deg/s: one fixation; JSON has the same figures.
    ProcessResult json = vqlog({"stats", dir / "known.vql", "--format", "json",
                                "--saccade-threshold", "60", "--kinds", "Timing,Eye"});
    EXPECT_EQ(json.exit_code, 0) << json.err;
    EXPECT_TRUE(contains(json, "\"missing_frames\":2},{\"kind\":\"EyeClosureOutputData (0x0C)\""))
        << json.out;
    EXPECT_TRUE(contains(json,
                         "\"blinks\":{\"count\":2,\"mean_ms\":150.000,\"per_minute\":60.606,"
                         "\"by\":\"flag\"},"
                         "\"perclos\":[{\"from_s\":0.000000,\"frames\":98,\"perclos\":"
                         "0.153061}],\"fixations\":{\"count\":1,\"mean_ms\":1980.000,"
                         "\"share\":1.000000},\"saccades\":{\"count\":0,\"mean_ms\":0.000,"
                         "\"share\":0.000000},\"head_tracking_share\":null,"
                         "\"engine_running_share\":null}\n"))
        << json.out;

    // Without the blinking flag, blinks are runs of closed eyelids; the left eye's gaze serves
    // as the right one's did.
    writeRecording(dir / "unflagged.vql", knownFrames(false, LEFT_EYE), false);
    ProcessResult unflagged = vqlog({"stats", dir / "unflagged.vql", "--window", "1"});
    std::string expected = text.out;
    const std::string flag = "(by the blinking flag)";
    expected.replace(expected.find(flag), flag.size(),
                     "(by eyelid closure: no frame sets the blinking flag)");
    EXPECT_EQ(unflagged.out, expected);

    // Damage after frame 39: the figures of frames 0..39, then exit 1 naming the file.
    const Frames frames = knownFrames();
    const Frames head(frames.begin(), frames.begin() + 40);
    writeRecording(dir / "head.vql", head, false);
    writeRecording(dir / "damaged.vql", head, false);
    writeFile(dir / "damaged.vql", {1, 2, 3}, true);
    const std::string intact = vqlog({"stats", dir / "head.vql"}).out;
    ProcessResult damaged = vqlog({"stats", dir / "damaged.vql"});
    EXPECT_EQ(damaged.exit_code, 1);
    EXPECT_EQ(damaged.out, intact);
    EXPECT_TRUE(contains(damaged, "damaged.vql: ")) << damaged.err;
    EXPECT_TRUE(contains(damaged, "; the statistics cover the 40 frames before it")) << damaged.err;

    for (const char* bad : {"0", "-1", "x"}) {
        EXPECT_EQ(vqlog({"stats", dir / "known.vql", "--window", bad}).exit_code, 2) << bad;
    }
}

}  // namespace
}  // namespace vqtest
