// TrackerSimulator: frames as a head and eye tracker would produce them, for `vqlog demo`.
//
// A person sits 65 cm in front of the camera, which is at the bottom edge of a 53 x 30 cm
// screen (the screen in the plane z = 0, y up, the person on the +z side; lengths in metres,
// times in seconds, angles in radians), in a car that drives east at about 50 km/h. The head
// sways and turns smoothly. The eyes move as eyes do, whatever the frame rate:
// - they fixate points on the screen for 200 to 500 ms, drifting slowly (about 0.1 degree at
//   under 2 degrees/s);
// - they jump between them in saccades on the main sequence: the peak velocity rises with the
//   amplitude A (in degrees) as 550 (1 - exp(-A / 8)) degrees/s, saturating near 550; the
//   velocity rises and falls smoothly (a cubic ease in and out, whose peak is 1.5 times its
//   mean), so a saccade lasts 1.5 A / peak: about 25 ms for 2 degrees, 60 ms for 20;
// - the eyelids blink every 2 to 5 s, each blink 120 to 300 ms long: closing in its first 30 %,
//   closed for 10 %, opening in the remaining 60 %.
//
// Every frame holds the timing, the head pose and the eyes (pupils, eyelids, gaze) in face set 0,
// the engine state with the head tracker's, and the car's inertial measurement. Frames whose gaze
// meets the screen hold a world container with the labelled gaze intersection "screen" (a record
// that announces 16 bytes fewer than it holds); a GPS fix comes once a second.
//
// The frames depend only on the seed, the rate and the start time; the head, eyes and eyelids
// depend on the seed and the time alone, so a recording at 360 Hz samples the same movements as
// one at 60 Hz (the per-frame noise of the delay and of the eyelid closure differs).
#pragma once

#include <array>
#include <cstdint>
#include <random>
#include <vector>

#include "vqlog/recording.h"

namespace vqlog {

class TrackerSimulator {
public:
    // The screen: its top-left, top-right and bottom-left corners.
    static const std::vector<float>& screenTopLeft();
    static const std::vector<float>& screenTopRight();
    static const std::vector<float>& screenBottomLeft();

    // `start_millis`: the wall-clock time of frame 0, in milliseconds since 1970.
    TrackerSimulator(std::uint32_t seed, double rate_hz, std::int64_t start_millis);

    // The next frame; frame numbers count from 0.
    FramePtr nextFrame();

    unsigned int blinks() const { return _blinks; }
    unsigned int saccades() const { return _saccades; }

private:
    // A fixation and the saccade that ends it. Times in seconds from frame 0, points on the
    // screen in metres.
    struct Fixation {
        std::vector<float> point;     // where the eyes arrive
        double start = 0;             // when they arrive
        double end = 0;               // when the saccade away starts
        double drift_amplitude[2]{};  // the drift along x and y: a slow sine that starts at 0
        double drift_hz[2]{};
        double drift_phase[2]{};
        std::vector<float> next;  // where the saccade goes
        double saccade_seconds = 0;
        bool counted = false;  // its saccade is counted in _saccades
    };

    std::vector<float> randomScreenPoint();
    // The fixation that begins at `start` on `point`, with its drift and its saccade away.
    Fixation plannedFixation(const std::vector<float>& point, double start);
    // Where the eyes look during the fixation (its point and the drift so far).
    static std::vector<float> drifted(const Fixation& fixation, double t);
    // The eyelid closure at time t (0 open .. 1 closed), starting blinks as they fall due.
    float eyelidClosure(double t);
    // The eyeball centres (right 0, left 1) in the engine frame, metres.
    using Eyeballs = std::array<std::vector<float>, 2>;
    // One generator of per-frame noise: a frame's draws come from it in a fixed order.
    using Jitter = std::normal_distribution<float>;
    // The timing record of time t; returns the frame's wall-clock time in milliseconds.
    std::int64_t addTiming(vq::eod::EngineOutputData& frame, double t, Jitter& jitter);
    // The head record at time t, and where it puts the eyeballs.
    boost::shared_ptr<vq::eod::HeadOutputDataV2> headRecord(double t, Eyeballs& eyeballs);
    // Pupils, eyelids and gaze at time t, looking at `target` with the eyelids so far closed.
    boost::shared_ptr<vq::eod::EyeOutputData> eyeRecords(double t, const Eyeballs& eyeballs,
                                                         const std::vector<float>& target,
                                                         float closure, Jitter& jitter);
    // Where the gaze of both eyes meets the screen, labelled with the screen's name.
    static void addScreenHit(vq::eod::EngineOutputData& frame, const Eyeballs& eyeballs,
                             const std::vector<float>& target);
    // Inertia in every frame, a GPS fix once a second.
    void addVehicleRecords(vq::eod::EngineOutputData& frame, double t, std::int64_t millis);
    // The gaze target on the screen at time t, starting fixations and saccades as they fall
    // due; sets _in_saccade.
    std::vector<float> gazeTarget(double t);

    // Each process draws from its own generator, so that none depends on the frame rate.
    std::mt19937 _gaze_random;
    std::mt19937 _blink_random;
    std::mt19937 _noise_random;  // per frame
    double _rate_hz;
    std::int64_t _start_millis;
    unsigned int _frame = 0;

    double _blink_start;              // start of the current or next blink
    double _blink_seconds;            // its duration
    double _counted_blink = -1;       // the start of the last blink counted
    unsigned int _blinks = 0;         // blinks begun
    double _blink_seconds_sum = 0;    // their durations
    unsigned int _closed_frames = 0;  // frames with the eyes mostly closed
    Fixation _fixation;               // the current fixation, or the one its saccade leaves
    bool _in_saccade = false;
    unsigned int _saccades = 0;  // saccades begun
};

}  // namespace vqlog
