// TrackerSimulator: frames as a head and eye tracker would produce them, for `vqlog demo`.
//
// A person sits 65 cm in front of the camera, which is at the bottom edge of a 53 x 30 cm
// screen (the screen in the plane z = 0, y up, the person on the +z side; lengths in metres,
// times in seconds, angles in radians), in a car that drives east at about 50 km/h. The head
// sways and turns smoothly; the eyes fixate points on the screen for 200 to 500 ms and jump
// between them in saccades of 30 to 80 ms; the eyelids blink every 2 to 5 s for 150 ms.
//
// Every frame holds the timing, the head pose and the eyes (pupils, eyelids, gaze) in face set 0,
// the engine state with the head tracker's, and the car's inertial measurement. Frames whose gaze
// meets the screen hold a world container with the labelled gaze intersection "screen" (a record
// that announces 16 bytes fewer than it holds); a GPS fix comes once a second.
//
// The frames depend only on the seed, the rate and the start time.
#pragma once

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
    std::vector<float> randomScreenPoint();
    // The eyelid closure at time t (0 open .. 1 closed), starting blinks as they fall due.
    float eyelidClosure(double t);
    // Inertia in every frame, a GPS fix once a second.
    void addVehicleRecords(vq::eod::EngineOutputData& frame, double t, std::int64_t millis);
    // The gaze target on the screen at time t, starting saccades as they fall due.
    std::vector<float> gazeTarget(double t);

    std::mt19937 _random;
    double _rate_hz;
    std::int64_t _start_millis;
    unsigned int _frame = 0;

    double _blink_start;                 // start of the current or next blink
    double _counted_blink = -1;          // the start of the last blink counted
    unsigned int _blinks = 0;            // blinks begun
    unsigned int _closed_frames = 0;     // frames with the eyes mostly closed
    std::vector<float> _fixation;        // the point fixated, or the saccade's start
    std::vector<float> _saccade_target;  // where the saccade in flight goes
    double _saccade_start;               // start of the next or current saccade
    double _saccade_duration = 0;        // 0 while fixating
    unsigned int _saccades = 0;          // saccades begun
};

}  // namespace vqlog
