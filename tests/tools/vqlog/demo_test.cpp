// vqlog demo and its simulated tracker.
#include <algorithm>
#include <cmath>
#include <map>

#include "toolfixture.h"
#include "vqlog/simulator.h"

namespace vqtest {
namespace {

TEST(VqlogDemo, RecordsStreamsReadsBackAndChecksEveryFrame) {
    TempDir dir;
    ProcessResult demo =
        vqlog({"demo", "--fast", "--seconds", "1", "--out", dir / "rec", "--rows", "3"});
    EXPECT_EQ(demo.exit_code, 0) << demo.err;
    EXPECT_EQ(demo.err, "");
    const std::string last =
        "check: OK, the 60 frames read back from the recording and "
        "received over TCP equal those produced, byte for byte\n";
    ASSERT_GT(demo.out.size(), last.size());
    EXPECT_EQ(demo.out.substr(demo.out.size() - last.size()), last);
    EXPECT_NE(demo.out.find("stream     60 frames sent over TCP to 127.0.0.1:"), std::string::npos);
    // The commands it suggests run as shown: vqlog by the path it was started by.
    EXPECT_NE(demo.out.find("Look closer: " + std::string(VQLOG_PATH) + " info " + dir / "rec\n"),
              std::string::npos)
        << demo.out;
    std::vector<std::string> files;
    for (const char* name :
         {"EngineState", "Eye", "GPSV2", "HeadV2", "Inertia", "Timing", "WorldV2"}) {
        files.push_back(dir / "rec/" + name + ".vql");
    }
    EXPECT_EQ(vqlog::logFiles(dir / "rec"), files);
}

TEST(VqlogDemo, TheSimulatedPersonBlinksMakesSaccadesAndLooksAtTheScreen) {
    using namespace vq::eod;
    vqlog::TrackerSimulator a(7, 60, 1700000000000);
    vqlog::TrackerSimulator b(7, 60, 1700000000000);
    bool closed = false;
    bool saccade = false;
    for (int i = 0; i < 120; ++i) {
        auto frame = a.nextFrame();
        ASSERT_EQ(bytesOf({frame}), bytesOf({b.nextFrame()})) << i;  // the seed decides everything

        auto eyes = frame->eyeOutputData();
        ASSERT_TRUE(eyes && eyes->gazeOutputData() && eyes->eyeClosureOutputData());
        closed = closed || eyes->eyeClosureOutputData()->eyeClosure(RIGHT_EYE) >= 0.99f;
        saccade = saccade || eyes->gazeOutputData()->saccade();
        // Open eyes look at the screen, 53 x 30 cm in the plane z = 0.
        const auto& gaze = *eyes->gazeOutputData();
        if (gaze.gazeQualityLevel(RIGHT_EYE) == IR_GAZE) {
            std::vector<float> point;
            std::vector<float> coords;
            ASSERT_TRUE(utils::rayPlaneIntersect(
                gaze.eyeballCentre(RIGHT_EYE),
                utils::directionFromPitchYaw(gaze.gazeRotation(RIGHT_EYE)),
                vqlog::TrackerSimulator::screenTopLeft(), vqlog::TrackerSimulator::screenTopRight(),
                vqlog::TrackerSimulator::screenBottomLeft(), point, coords));
            EXPECT_TRUE(coords[0] > 0 && coords[0] < 1 && coords[1] > 0 && coords[1] < 1)
                << "frame " << i;
        }
    }
    EXPECT_TRUE(closed);
    EXPECT_TRUE(saccade);
    EXPECT_GE(a.blinks(), 1u);
    EXPECT_GE(a.saccades(), 2u);
    auto timing = a.nextFrame()->timingOutputData();
    EXPECT_EQ(timing->frameTimeSecs(), 1700000002);  // frame 120 at 60 Hz: 2 s later
    EXPECT_EQ(timing->frameTimeMSecs(), 0);
}

// Whatever the rate, a velocity-threshold detector (30 degrees/s) finds the saccades and only
// them; fixations drift slowly, saccades peak below 600 degrees/s and last tens of ms, blinks
// 120 to 300 ms; 360 Hz samples the movements that 60 Hz does.
TEST(VqlogDemo, TheSimulatedEyesMoveAsEyesDoAtAnyRate) {
    using namespace vq::eod;
    const double degrees = 180 / 3.14159265358979323846;
    std::vector<std::vector<float>> at_60_hz;
    for (int rate : {60, 360}) {
        vqlog::TrackerSimulator tracker(3, rate, 1700000000000);
        std::vector<float> previous;
        std::vector<double> fixation_velocities;
        double fastest = 0;
        std::size_t pairs = 0;
        std::size_t fast = 0;
        std::map<bool, std::vector<int>> runs;  // frames per saccade (true) and per blink (false)
        bool in_saccade = false;
        bool in_blink = false;
        for (int i = 0; i < 30 * rate; ++i) {
            auto eyes = tracker.nextFrame()->eyeOutputData();
            const GazeOutputData& gaze = *eyes->gazeOutputData();
            const std::vector<float> direction =
                utils::directionFromPitchYaw(gaze.gazeRotation(RIGHT_EYE));
            if (rate == 60) {
                at_60_hz.push_back(direction);
            } else if (i % 6 == 0) {
                ASSERT_LT(utils::length(utils::operator-(direction, at_60_hz[i / 6])), 1e-5f) << i;
            }
            for (auto [flag, on] : {std::pair<bool, bool>(true, gaze.saccade()),
                                    {false, eyes->eyeClosureOutputData()->blinking()}}) {
                bool& in = flag ? in_saccade : in_blink;
                if (on) {
                    if (!in) {
                        runs[flag].push_back(0);
                    }
                    ++runs[flag].back();
                }
                in = on;
            }
            if (gaze.gazeQualityLevel(RIGHT_EYE) != IR_GAZE) {
                previous.clear();
                continue;
            }
            if (!previous.empty()) {
                double chord = 0;  // in double precision: at 360 Hz the angles are tiny
                for (int k = 0; k < 3; ++k) {
                    chord += std::pow(double(direction[k]) - double(previous[k]), 2);
                }
                const double velocity = 2 * std::asin(std::sqrt(chord) / 2) * degrees * rate;
                ++pairs;
                fast += velocity > 30 ? 1 : 0;
                fastest = std::max(fastest, velocity);
                if (!gaze.saccade() && !in_saccade) {
                    fixation_velocities.push_back(velocity);
                }
            }
            previous = direction;
        }
        const double share = static_cast<double>(fast) / static_cast<double>(pairs);
        EXPECT_TRUE(share > 0.05 && share < 0.2) << rate << " Hz: " << share;
        std::nth_element(fixation_velocities.begin(),
                         fixation_velocities.begin() + fixation_velocities.size() / 2,
                         fixation_velocities.end());
        EXPECT_LT(fixation_velocities[fixation_velocities.size() / 2], 5) << rate << " Hz";
        EXPECT_LT(fastest, 600) << rate << " Hz";
        if (rate == 360) {
            EXPECT_GT(fastest, 400);
            EXPECT_GT(runs[true].size(), 50u);
            for (int frames : runs[true]) {
                EXPECT_TRUE(frames >= 3 && frames <= 45) << frames << " frames of a saccade";
            }
            EXPECT_GE(runs[false].size(), 5u);
            for (int frames : runs[false]) {
                EXPECT_TRUE(frames >= 43 && frames <= 108) << frames << " frames of a blink";
            }
        }
    }
}

}  // namespace
}  // namespace vqtest
