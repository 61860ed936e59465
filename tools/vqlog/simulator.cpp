#include "vqlog/simulator.h"

#include <algorithm>
#include <cmath>

namespace vqlog {

namespace {

using namespace vq::eod;
using namespace vq::eod::utils;

constexpr double PI = 3.14159265358979323846;
constexpr double DEGREES = 180 / PI;
// The main sequence: a saccade's peak velocity (degrees/s) saturates at PEAK_LIMIT; it reaches
// 63 % of it at PEAK_SCALE degrees. The cubic ease's peak velocity is 1.5 times its mean.
constexpr double PEAK_LIMIT = 550;
constexpr double PEAK_SCALE = 8;
constexpr double PEAK_TO_MEAN = 1.5;
// Blinks: the share of a blink spent closing, and the share spent closed after it.
constexpr double BLINK_CLOSING = 0.3;
constexpr double BLINK_CLOSED = 0.1;
// The head tracker's state while it tracks the head.
constexpr int HEAD_TRACKER_TRACKING = 2;
constexpr int ENGINE_RUNNING = 1;

double wave(double t, double amplitude, double hz, double phase = 0) {
    return amplitude * std::sin(2 * PI * hz * t + phase);
}

// Smooth 0..1 over 0..1 (zero speed at both ends, as an eye's saccade).
float smoothStep(double x) {
    const double s = std::clamp(x, 0.0, 1.0);
    return static_cast<float>(s * s * (3 - 2 * s));
}

std::vector<float> rotate(const std::vector<std::vector<float>>& m, const std::vector<float>& v) {
    return {m[0][0] * v[0] + m[0][1] * v[1] + m[0][2] * v[2],
            m[1][0] * v[0] + m[1][1] * v[1] + m[1][2] * v[2],
            m[2][0] * v[0] + m[2][1] * v[1] + m[2][2] * v[2]};
}

// Where the eyes are when the head is at rest, to measure the angles of saccades.
const std::vector<float>& restingEyes() {
    static const std::vector<float> eyes{0.0f, 0.19f, 0.575f};
    return eyes;
}

// The point on the screen (the plane z = 0) that the eyes at rest see in this direction.
std::vector<float> screenPointAlong(const std::vector<float>& direction) {
    return restingEyes() + (-restingEyes()[2] / direction[2]) * direction;
}

// A generator of its own for each process of one seed.
std::mt19937 generator(std::uint32_t seed, std::uint32_t process) {
    std::seed_seq sequence{seed, process};
    return std::mt19937(sequence);
}

template <typename T>
boost::shared_ptr<T> make() {
    return boost::shared_ptr<T>(new T);
}

}  // namespace

const std::vector<float>& TrackerSimulator::screenTopLeft() {
    static const std::vector<float> corner{-0.265f, 0.31f, 0.0f};
    return corner;
}

const std::vector<float>& TrackerSimulator::screenTopRight() {
    static const std::vector<float> corner{0.265f, 0.31f, 0.0f};
    return corner;
}

const std::vector<float>& TrackerSimulator::screenBottomLeft() {
    static const std::vector<float> corner{-0.265f, 0.01f, 0.0f};
    return corner;
}

TrackerSimulator::TrackerSimulator(std::uint32_t seed, double rate_hz, std::int64_t start_millis)
    : _gaze_random(generator(seed, 1)),
      _blink_random(generator(seed, 2)),
      _noise_random(generator(seed, 3)),
      _rate_hz(rate_hz),
      _start_millis(start_millis),
      _blink_start(0.8),
      _blink_seconds(0.15) {
    _fixation = plannedFixation({0.0f, 0.16f, 0.0f}, 0);
}

std::vector<float> TrackerSimulator::randomScreenPoint() {
    std::uniform_real_distribution<float> across(0.05f, 0.95f);
    const float x = across(_gaze_random);
    const float y = across(_gaze_random);
    const std::vector<float>& top_left = screenTopLeft();
    return {top_left[0] + x * (screenTopRight()[0] - top_left[0]),
            top_left[1] + y * (screenBottomLeft()[1] - top_left[1]), 0.0f};
}

TrackerSimulator::Fixation TrackerSimulator::plannedFixation(const std::vector<float>& point,
                                                             double start) {
    Fixation fixation;
    fixation.point = point;
    fixation.start = start;
    fixation.end = start + std::uniform_real_distribution<double>(0.2, 0.5)(_gaze_random);
    // A drift of 0.5 to 1.5 mm (0.05 to 0.15 degrees) at 0.2 to 1 Hz along each axis.
    for (int axis = 0; axis < 2; ++axis) {
        fixation.drift_amplitude[axis] =
            std::uniform_real_distribution<double>(0.0005, 0.0015)(_gaze_random);
        fixation.drift_hz[axis] = std::uniform_real_distribution<double>(0.2, 1.0)(_gaze_random);
        fixation.drift_phase[axis] =
            std::uniform_real_distribution<double>(0, 2 * PI)(_gaze_random);
    }
    fixation.next = randomScreenPoint();
    const std::vector<float> from = unitVector(drifted(fixation, fixation.end) - restingEyes());
    const std::vector<float> to = unitVector(fixation.next - restingEyes());
    const double amplitude =
        std::acos(std::clamp(static_cast<double>(innerProduct(from, to)), -1.0, 1.0)) * DEGREES;
    const double peak = PEAK_LIMIT * (1 - std::exp(-amplitude / PEAK_SCALE));
    fixation.saccade_seconds = std::max(0.01, PEAK_TO_MEAN * amplitude / peak);
    return fixation;
}

std::vector<float> TrackerSimulator::drifted(const Fixation& fixation, double t) {
    std::vector<float> point = fixation.point;
    for (int axis = 0; axis < 2; ++axis) {
        const double phase = fixation.drift_phase[axis];
        point[axis] += static_cast<float>(
            fixation.drift_amplitude[axis] *
            (std::sin(2 * PI * fixation.drift_hz[axis] * (t - fixation.start) + phase) -
             std::sin(phase)));
    }
    return point;
}

float TrackerSimulator::eyelidClosure(double t) {
    std::uniform_real_distribution<double> interval(2.0, 5.0);
    std::uniform_real_distribution<double> duration(0.12, 0.3);
    while (t >= _blink_start) {
        if (_blink_start != _counted_blink) {
            _counted_blink = _blink_start;
            ++_blinks;
            _blink_seconds_sum += _blink_seconds;
        }
        if (t < _blink_start + _blink_seconds) {
            break;
        }
        _blink_start += _blink_seconds + interval(_blink_random);
        _blink_seconds = duration(_blink_random);
    }
    const float open = 0.12f;
    if (t < _blink_start) {
        return open;
    }
    const double phase = (t - _blink_start) / _blink_seconds;
    if (phase < BLINK_CLOSING) {
        return open + (1 - open) * smoothStep(phase / BLINK_CLOSING);
    }
    if (phase < BLINK_CLOSING + BLINK_CLOSED) {
        return 1.0f;
    }
    return 1.0f - (1 - open) * smoothStep((phase - BLINK_CLOSING - BLINK_CLOSED) /
                                          (1 - BLINK_CLOSING - BLINK_CLOSED));
}

std::vector<float> TrackerSimulator::gazeTarget(double t) {
    while (t >= _fixation.end) {
        if (!_fixation.counted) {
            _fixation.counted = true;
            ++_saccades;
        }
        const double arrival = _fixation.end + _fixation.saccade_seconds;
        if (t < arrival) {
            // In flight: the direction turns from the eyes at rest along the great circle, at
            // the pace of the cubic ease.
            const std::vector<float> from =
                unitVector(drifted(_fixation, _fixation.end) - restingEyes());
            const std::vector<float> to = unitVector(_fixation.next - restingEyes());
            const double angle =
                std::acos(std::clamp(static_cast<double>(innerProduct(from, to)), -1.0, 1.0));
            const double turned =
                angle * smoothStep((t - _fixation.end) / _fixation.saccade_seconds);
            const std::vector<float> across = unitVector(to - innerProduct(from, to) * from);
            _in_saccade = true;
            return screenPointAlong(static_cast<float>(std::cos(turned)) * from +
                                    static_cast<float>(std::sin(turned)) * across);
        }
        _fixation = plannedFixation(_fixation.next, arrival);
    }
    _in_saccade = false;
    return drifted(_fixation, t);
}

void TrackerSimulator::addVehicleRecords(EngineOutputData& frame, double t, std::int64_t millis) {
    // The car drives east at about 50 km/h on a gently winding road.
    const double speed_kmh = 50 + wave(t, 3, 0.05);
    auto inertia = make<InertiaOutputData>();
    inertia->setAngularRateX(static_cast<float>(wave(t, 0.005, 1.3)));
    inertia->setAngularRateY(static_cast<float>(wave(t, 0.04, 0.1)));  // yaw rate, rad/s
    inertia->setAngularRateZ(static_cast<float>(wave(t, 0.005, 0.9)));
    inertia->setAccelX(static_cast<float>(wave(t, 0.5, 0.1, PI / 2)));  // lateral, m/s^2
    inertia->setAccelY(static_cast<float>(9.81 + wave(t, 0.15, 2.1)));  // gravity and the road
    inertia->setAccelZ(static_cast<float>(wave(t, 0.3, 0.05, PI / 2)));
    frame.addSubObject(inertia);

    // A GPS fix once a second.
    const auto per_fix = static_cast<unsigned int>(std::max(1.0, std::round(_rate_hz)));
    if ((_frame - 1) % per_fix != 0) {
        return;
    }
    auto toCoordinate = [](double degrees, char positive, char negative) {
        GPSCoordinateV2 c;
        c.hemisphere = degrees < 0 ? negative : positive;
        degrees = std::abs(degrees);
        c.degrees = static_cast<short>(degrees);
        const double minutes = (degrees - c.degrees) * 60;
        c.minutes = static_cast<signed char>(minutes);
        c.seconds = static_cast<float>((minutes - c.minutes) * 60);
        return c;
    };
    const double metres = speed_kmh / 3.6 * t;
    auto gps = make<GPSOutputDataV2>();
    gps->setDataValid(true);
    gps->setGMTTime(static_cast<unsigned int>(millis / 1000));
    gps->setLatitude(toCoordinate(48.1372, 'N', 'S'));
    gps->setLongitude(toCoordinate(11.5756 + metres / 74400.0, 'E', 'W'));  // 74.4 km a degree
    gps->setSpeed(static_cast<float>(speed_kmh));
    gps->setCourse(90.0f);
    frame.addSubObject(gps);
}

std::int64_t TrackerSimulator::addTiming(EngineOutputData& frame, double t, Jitter& jitter) {
    auto timing = make<TimingOutputData>();
    const std::int64_t millis = _start_millis + static_cast<std::int64_t>(std::llround(t * 1000));
    timing->setExperimentTime(t);
    timing->setFrameTimeSeconds(static_cast<int>(millis / 1000));
    timing->setFrameTimeMilliseconds(static_cast<unsigned short>(millis % 1000));
    timing->setApproxDelay(0.016f + 0.002f * std::abs(jitter(_noise_random)));
    frame.addSubObject(timing);
    return millis;
}

boost::shared_ptr<HeadOutputDataV2> TrackerSimulator::headRecord(double t, Eyeballs& eyeballs) {
    // The head sways and turns a little, as a person at a screen does.
    const std::vector<double> position{wave(t, 0.02, 0.23) + wave(t, 0.004, 0.71, 1.0),
                                       0.16 + wave(t, 0.015, 0.17, 0.5),
                                       0.65 + wave(t, 0.03, 0.11)};
    const std::vector<double> euler{wave(t, 0.06, 0.19), wave(t, 0.12, 0.13, 0.3),
                                    wave(t, 0.03, 0.29)};
    auto head = make<HeadOutputDataV2>();
    head->setTrackingState(true);
    head->setHeadPosition(position);
    head->setHeadRotation(euler);
    head->setHeadPositionConfidence(0.95 + wave(t, 0.03, 0.07));
    head->setModelQualityLevel(3);
    const auto rotation = eulerAnglesToRotationMatrix(
        {static_cast<float>(euler[0]), static_cast<float>(euler[1]), static_cast<float>(euler[2])});
    const std::vector<float> centre(position.begin(), position.end());
    for (EyeId eye : {RIGHT_EYE, LEFT_EYE}) {
        const float side = eye == RIGHT_EYE ? -1.0f : 1.0f;
        eyeballs[eye] = centre + rotate(rotation, {side * 0.032f, 0.03f, -0.075f});
        head->setHeadEyeballPos(eye, {eyeballs[eye].begin(), eyeballs[eye].end()});
    }
    return head;
}

boost::shared_ptr<EyeOutputData> TrackerSimulator::eyeRecords(double t, const Eyeballs& eyeballs,
                                                              const std::vector<float>& target,
                                                              float closure, Jitter& jitter) {
    const bool closed = closure > 0.5f;
    auto pupil = make<PupilOutputData>();
    auto eyelid = make<EyeClosureOutputData>();
    auto gaze = make<GazeOutputData>();
    for (EyeId eye : {RIGHT_EYE, LEFT_EYE}) {
        const std::vector<float> direction = unitVector(target - eyeballs[eye]);
        gaze->setGazeQualityLevel(eye, closed ? LOW_GAZE_QUALITY : IR_GAZE);
        gaze->setEyeballCentre(eye, eyeballs[eye]);
        gaze->setGazeRotationPitchYaw(eye, pitchYawFromDirection(direction));
        pupil->setPupilPosition(eye, eyeballs[eye] + 0.012f * direction);
        pupil->setPupilDiameter(eye, static_cast<float>(0.0038 + wave(t, 0.0003, 0.05, eye)));
        eyelid->setEyeClosure(eye,
                              std::min(1.0f, closure + 0.01f * std::abs(jitter(_noise_random))));
        eyelid->setEyeClosureConfidence(eye, closed ? 0.7f : 0.95f);
    }
    gaze->setGazeCalibrated(true);
    gaze->setSaccade(_in_saccade);
    eyelid->setEyeClosureCalibStatus(1.0f);
    eyelid->setBlinking(t >= _blink_start);
    eyelid->setBlinkFrequency(static_cast<float>(60.0 * _blinks / std::max(t, 10.0)));
    eyelid->setAverageBlinkDuration(_blinks > 0 ? static_cast<float>(_blink_seconds_sum / _blinks)
                                                : 0.0f);
    eyelid->setPerclos(static_cast<float>(_closed_frames) / static_cast<float>(_frame));
    auto eyes = make<EyeOutputData>();
    eyes->addSubObject(pupil);
    eyes->addSubObject(eyelid);
    eyes->addSubObject(gaze);
    return eyes;
}

void TrackerSimulator::addScreenHit(EngineOutputData& frame, const Eyeballs& eyeballs,
                                    const std::vector<float>& target) {
    std::vector<float> point;
    std::vector<float> coords;
    const std::vector<float> middle = 0.5f * (eyeballs[RIGHT_EYE] + eyeballs[LEFT_EYE]);
    if (rayPlaneIntersect(middle, unitVector(target - middle), screenTopLeft(), screenTopRight(),
                          screenBottomLeft(), point, coords)) {
        auto hit = make<GazeIntersectionOutputDataV4>();  // both eyes
        hit->addIntersection(
            "screen", point, coords,
            {static_cast<int>(coords[0] * 1920), static_cast<int>(coords[1] * 1080)});
        auto world = make<WorldOutputDataV2>();
        world->addSubObject(hit);
        frame.addSubObject(world);
    }
}

FramePtr TrackerSimulator::nextFrame() {
    const double t = _frame / _rate_hz;
    Jitter jitter(0.0f, 1.0f);  // draws from _noise_random only, in this order
    FramePtr frame(new EngineOutputData);
    frame->setFrameNum(_frame++);
    const std::int64_t millis = addTiming(*frame, t, jitter);
    Eyeballs eyeballs;
    auto head = headRecord(t, eyeballs);

    // The eyes: blinks, and fixations on the screen joined by saccades.
    const float closure = eyelidClosure(t);
    _closed_frames += closure >= 0.8f ? 1 : 0;
    const std::vector<float> target = gazeTarget(t);
    auto face = make<FaceSetOutputData>();
    face->addSubObject(head);
    face->addSubObject(eyeRecords(t, eyeballs, target, closure, jitter));
    frame->addSubObject(face);
    if (closure <= 0.5f) {  // eyes open
        addScreenHit(*frame, eyeballs, target);
    }
    addVehicleRecords(*frame, t, millis);

    auto state =
        boost::shared_ptr<EngineStateOutputData>(new EngineStateOutputData(ENGINE_RUNNING));
    state->addSubObject(boost::shared_ptr<HeadTrackerStateOutputData>(
        new HeadTrackerStateOutputData(HEAD_TRACKER_TRACKING)));
    frame->addSubObject(state);
    return frame;
}

}  // namespace vqlog
