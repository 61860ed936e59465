// vqlog demo and its simulated tracker.
#include "toolfixture.h"
#include "vqlog/simulator.h"
#include "vqtest/hex.h"

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
    std::vector<std::string> files;
    for (const char* name :
         {"EngineState", "Eye", "GPSV2", "HeadV2", "Inertia", "Timing", "WorldV2"}) {
        files.push_back(dir / "rec/" + name + ".vql");
    }
    EXPECT_EQ(vqlog::logFiles(dir / "rec"), files);
    // Its labelled gaze intersections make each frame of the World file 103 bytes long while
    // its header announces 100 - 16; the scan that decodes every record finds nothing amiss.
    const vq::eod::ByteBuffer world = readFile(dir / "rec/WorldV2.vql");
    ASSERT_EQ(world.size(), 55u * 103);  // no gaze on the screen during the blink
    EXPECT_EQ(hex({world.begin(), world.begin() + 3}), "09 00 54");
    ProcessResult check = vqlog({"check", dir / "rec"});
    EXPECT_EQ(check.exit_code, 0);
    EXPECT_NE(check.out.find("WorldV2.vql: 55 frames (0..59), 5665 bytes: intact\n"),
              std::string::npos)
        << check.out;
}

TEST(VqlogDemo, TheSimulatedPersonBlinksMakesSaccadesAndLooksAtTheScreen) {
    using namespace vq::eod;
    vqlog::TrackerSimulator a(7, 60, 1700000000000);
    vqlog::TrackerSimulator b(7, 60, 1700000000000);
    bool closed = false;
    bool saccade = false;
    for (int i = 0; i < 120; ++i) {
        auto frame = a.nextFrame();
        ByteBuffer first;
        ByteBuffer second;
        frame->serialize(first);
        b.nextFrame()->serialize(second);
        ASSERT_EQ(first, second) << "frame " << i;  // the seed decides everything

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

}  // namespace
}  // namespace vqtest
