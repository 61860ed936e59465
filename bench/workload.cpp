#include "workload.h"

#include <cmath>
#include <cstring>
#include <sstream>

namespace vqbench {

using namespace vq::eod;

namespace {

// ---- big-endian stores and loads ----------------------------------------------------------------

inline std::uint16_t swap(std::uint16_t v) {
    return __builtin_bswap16(v);
}
inline std::uint32_t swap(std::uint32_t v) {
    return __builtin_bswap32(v);
}
inline std::uint64_t swap(std::uint64_t v) {
    return __builtin_bswap64(v);
}

template <typename Bits, typename T>
inline void put(unsigned char*& out, T value) {
    static_assert(sizeof(Bits) == sizeof(T), "width");
    Bits bits;
    std::memcpy(&bits, &value, sizeof bits);
    bits = swap(bits);
    std::memcpy(out, &bits, sizeof bits);
    out += sizeof bits;
}
inline void put8(unsigned char*& out, unsigned char value) {
    *out++ = value;
}
inline void putF(unsigned char*& out, float value) {
    put<std::uint32_t>(out, value);
}
inline void putD(unsigned char*& out, double value) {
    put<std::uint64_t>(out, value);
}
// Object ID, 2-byte data size, and the enabled flag of an engine record.
inline void putHeader(unsigned char*& out, unsigned char id, std::uint16_t data_size) {
    put8(out, id);
    put<std::uint16_t>(out, data_size);
    put8(out, 1);
}

template <typename T, typename Bits>
inline T get(const unsigned char*& in) {
    static_assert(sizeof(Bits) == sizeof(T), "width");
    Bits bits;
    std::memcpy(&bits, in, sizeof bits);
    bits = swap(bits);
    T value;
    std::memcpy(&value, &bits, sizeof value);
    in += sizeof bits;
    return value;
}
inline float getF(const unsigned char*& in) {
    return get<float, std::uint32_t>(in);
}
inline double getD(const unsigned char*& in) {
    return get<double, std::uint64_t>(in);
}
// Checks the object ID, data size and flag of a record header, and steps past them.
inline bool header(const unsigned char*& in, unsigned char id, std::uint16_t data_size) {
    const bool ok =
        in[0] == id && in[1] == (data_size >> 8) && in[2] == (data_size & 0xFF) && in[3] == 1;
    in += 4;
    return ok;
}

// Data sizes of the records of a typical frame: flag, own fields, count byte and children.
constexpr std::uint16_t TIMING_DATA = 1 + 22 + 1;
constexpr std::uint16_t CLOSURE_DATA = 1 + 33 + 1;
constexpr std::uint16_t GAZE_DATA = 1 + 44 + 1;
constexpr std::uint16_t PUPIL_DATA = 1 + 32 + 1;
constexpr std::uint16_t EYE_DATA = 1 + 1 + 3 + CLOSURE_DATA + 3 + GAZE_DATA + 3 + PUPIL_DATA;
constexpr std::uint16_t HEAD_DATA = 1 + 114 + 1;
constexpr std::uint16_t STATE_DATA = 1 + 4 + 1;
constexpr std::uint16_t FRAME_DATA =
    1 + 4 + 1 + 3 + TIMING_DATA + 3 + EYE_DATA + 3 + HEAD_DATA + 3 + STATE_DATA;
static_assert(FRAME_DATA + 3 == FRAME_BYTES, "a typical frame is 293 bytes");

}  // namespace

// ---- the workload -------------------------------------------------------------------------------

FrameValues frameValues(std::uint32_t index) {
    const double t = index / 60.0;  // seconds at 60 frames per second
    const float blink = static_cast<float>(0.5 + 0.5 * std::sin(t * 2.1));
    FrameValues v{};
    v.frame_num = index;

    v.experiment_time = t;
    v.frame_time_secs = 1700000000 + static_cast<std::int32_t>(index / 60);
    v.frame_time_msecs = static_cast<std::uint16_t>((index % 60) * 1000 / 60);
    v.approx_delay = 0.012f + 0.0005f * static_cast<float>(index % 7);
    v.annotation_label_id = index % 600 == 0 ? static_cast<std::int32_t>(index / 600) : -1;

    v.head_tracking = index % 97 != 0;
    v.head_position[0] = 0.02 + 0.01 * std::sin(t);
    v.head_position[1] = -0.01 + 0.005 * std::cos(t * 0.7);
    v.head_position[2] = 0.65 + 0.02 * std::sin(t * 0.3);
    const std::vector<double> q =
        utils::fromEulerAngles({0.05 * std::sin(t), 0.1 * std::cos(t * 0.5), 0.02 * std::sin(t)});
    std::copy(q.begin(), q.end(), v.head_quaternion);
    v.head_confidence = 0.85 + 0.1 * std::sin(t * 1.3);
    v.model_quality_level = static_cast<char>(index % 4);
    for (int eye = 0; eye < 2; ++eye) {
        const double side = eye == RIGHT_EYE ? -1.0 : 1.0;
        v.head_eyeball_pos[eye][0] = v.head_position[0] + side * 0.032;
        v.head_eyeball_pos[eye][1] = v.head_position[1] + 0.03;
        v.head_eyeball_pos[eye][2] = v.head_position[2] - 0.01;
    }

    v.eye_closure[RIGHT_EYE] = blink;
    v.eye_closure[LEFT_EYE] = blink * 0.98f;
    v.eye_closure_confidence[RIGHT_EYE] = 0.9f;
    v.eye_closure_confidence[LEFT_EYE] = 0.88f + 0.01f * static_cast<float>(index % 3);
    v.eye_closure_calib_status = index < 600 ? static_cast<float>(index) / 600.0f : 1.0f;
    v.blinking = blink > 0.8f;
    v.blink_frequency = 0.25f + 0.01f * static_cast<float>(index % 11);
    v.average_blink_duration = 0.15f;
    v.perclos = 0.08f + 0.001f * static_cast<float>(index % 13);

    for (int eye = 0; eye < 2; ++eye) {
        const float side = eye == RIGHT_EYE ? -1.0f : 1.0f;
        v.gaze_quality_level[eye] = index % 31 == 0 ? MEDIUM_GAZE_QUALITY : IR_GAZE;
        v.eyeball_centre[eye][0] = static_cast<float>(v.head_eyeball_pos[eye][0]);
        v.eyeball_centre[eye][1] = static_cast<float>(v.head_eyeball_pos[eye][1]);
        v.eyeball_centre[eye][2] = static_cast<float>(v.head_eyeball_pos[eye][2]);
        v.gaze_pitch_yaw[eye][0] = static_cast<float>(0.1 * std::sin(t * 3.0));
        v.gaze_pitch_yaw[eye][1] = static_cast<float>(side * 0.05 + 0.2 * std::cos(t * 2.0));
        v.pupil_position[eye][0] = v.eyeball_centre[eye][0] + 0.001f;
        v.pupil_position[eye][1] = v.eyeball_centre[eye][1];
        v.pupil_position[eye][2] = v.eyeball_centre[eye][2] - 0.012f;
        v.pupil_diameter[eye] = 0.004f + 0.0002f * static_cast<float>(index % 5);
    }
    v.gaze_calibrated = true;
    v.saccade = index % 45 == 0;

    v.engine_state = static_cast<std::int32_t>(index % 3) - 1;
    return v;
}

boost::shared_ptr<EngineOutputData> buildFrame(const FrameValues& v) {
    boost::shared_ptr<EngineOutputData> frame(new EngineOutputData);
    frame->setFrameNum(v.frame_num);

    boost::shared_ptr<TimingOutputData> timing(new TimingOutputData);
    timing->setExperimentTime(v.experiment_time);
    timing->setFrameTimeSeconds(v.frame_time_secs);
    timing->setFrameTimeMilliseconds(v.frame_time_msecs);
    timing->setApproxDelay(v.approx_delay);
    timing->setAnnotationLabelID(v.annotation_label_id);
    frame->addSubObject(timing);

    boost::shared_ptr<HeadOutputDataV2> head(new HeadOutputDataV2);
    head->setTrackingState(v.head_tracking);
    head->setHeadPosition({v.head_position, v.head_position + 3});
    head->setHeadRotationQuaternion({v.head_quaternion, v.head_quaternion + 4});
    head->setHeadPositionConfidence(v.head_confidence);
    head->setModelQualityLevel(v.model_quality_level);
    boost::shared_ptr<PupilOutputData> pupil(new PupilOutputData);
    boost::shared_ptr<EyeClosureOutputData> closure(new EyeClosureOutputData);
    boost::shared_ptr<GazeOutputData> gaze(new GazeOutputData);
    for (EyeId eye : {RIGHT_EYE, LEFT_EYE}) {
        head->setHeadEyeballPos(eye, {v.head_eyeball_pos[eye], v.head_eyeball_pos[eye] + 3});
        pupil->setPupilPosition(eye, {v.pupil_position[eye], v.pupil_position[eye] + 3});
        pupil->setPupilDiameter(eye, v.pupil_diameter[eye]);
        closure->setEyeClosure(eye, v.eye_closure[eye]);
        closure->setEyeClosureConfidence(eye, v.eye_closure_confidence[eye]);
        gaze->setGazeQualityLevel(eye, static_cast<GazeQualityLevel>(v.gaze_quality_level[eye]));
        gaze->setEyeballCentre(eye, {v.eyeball_centre[eye], v.eyeball_centre[eye] + 3});
        gaze->setGazeRotationPitchYaw(eye, {v.gaze_pitch_yaw[eye], v.gaze_pitch_yaw[eye] + 2});
    }
    frame->addSubObject(head);
    closure->setEyeClosureCalibStatus(v.eye_closure_calib_status);
    closure->setBlinking(v.blinking);
    closure->setBlinkFrequency(v.blink_frequency);
    closure->setAverageBlinkDuration(v.average_blink_duration);
    closure->setPerclos(v.perclos);
    gaze->setGazeCalibrated(v.gaze_calibrated);
    gaze->setSaccade(v.saccade);
    boost::shared_ptr<EyeOutputData> eyes(new EyeOutputData);
    eyes->addSubObject(pupil);
    eyes->addSubObject(closure);
    eyes->addSubObject(gaze);
    frame->addSubObject(eyes);

    frame->addSubObject(
        boost::shared_ptr<EngineStateOutputData>(new EngineStateOutputData(v.engine_state)));
    return frame;
}

// ---- the hand-written codec ---------------------------------------------------------------------

void encodeFrame(const FrameValues& v, unsigned char* out) {
    putHeader(out, 0x09, FRAME_DATA);
    put<std::uint32_t>(out, v.frame_num);
    put8(out, 4);

    putHeader(out, 0x0A, TIMING_DATA);
    putD(out, v.experiment_time);
    put<std::uint32_t>(out, v.frame_time_secs);
    put<std::uint16_t>(out, v.frame_time_msecs);
    putF(out, v.approx_delay);
    put<std::uint32_t>(out, v.annotation_label_id);
    put8(out, 0);

    putHeader(out, 0x0F, EYE_DATA);
    put8(out, 3);
    putHeader(out, 0x0C, CLOSURE_DATA);
    putF(out, v.eye_closure[0]);
    putF(out, v.eye_closure[1]);
    putF(out, v.eye_closure_confidence[0]);
    putF(out, v.eye_closure_confidence[1]);
    putF(out, v.eye_closure_calib_status);
    put8(out, v.blinking ? 1 : 0);
    putF(out, v.blink_frequency);
    putF(out, v.average_blink_duration);
    putF(out, v.perclos);
    put8(out, 0);
    putHeader(out, 0x0D, GAZE_DATA);
    for (int eye = 0; eye < 2; ++eye) {
        put8(out, v.gaze_quality_level[eye]);
        for (float value : v.eyeball_centre[eye]) {
            putF(out, value);
        }
        putF(out, v.gaze_pitch_yaw[eye][0]);
        putF(out, v.gaze_pitch_yaw[eye][1]);
    }
    put8(out, v.gaze_calibrated ? 1 : 0);
    put8(out, v.saccade ? 1 : 0);
    put8(out, 0);
    putHeader(out, 0x0E, PUPIL_DATA);
    for (int eye = 0; eye < 2; ++eye) {
        for (float value : v.pupil_position[eye]) {
            putF(out, value);
        }
        putF(out, v.pupil_diameter[eye]);
    }
    put8(out, 0);

    putHeader(out, 0x10, HEAD_DATA);
    put8(out, v.head_tracking ? 1 : 0);
    for (double value : v.head_position) {
        putD(out, value);
    }
    for (double value : v.head_quaternion) {
        putD(out, value);
    }
    putD(out, v.head_confidence);
    put8(out, static_cast<unsigned char>(v.model_quality_level));
    for (int eye = 0; eye < 2; ++eye) {
        for (double value : v.head_eyeball_pos[eye]) {
            putD(out, value);
        }
    }
    put8(out, 0);

    putHeader(out, 0x28, STATE_DATA);
    put<std::uint32_t>(out, v.engine_state);
    put8(out, 0);
}

bool decodeFrame(const unsigned char* in, std::size_t size, FrameValues& v) {
    if (size < FRAME_BYTES) {
        return false;
    }
    bool ok = header(in, 0x09, FRAME_DATA);
    v.frame_num = get<std::uint32_t, std::uint32_t>(in);
    ok = ok && *in++ == 4;

    ok = ok && header(in, 0x0A, TIMING_DATA);
    v.experiment_time = getD(in);
    v.frame_time_secs = get<std::int32_t, std::uint32_t>(in);
    v.frame_time_msecs = get<std::uint16_t, std::uint16_t>(in);
    v.approx_delay = getF(in);
    v.annotation_label_id = get<std::int32_t, std::uint32_t>(in);
    ok = ok && *in++ == 0;

    ok = ok && header(in, 0x0F, EYE_DATA);
    ok = ok && *in++ == 3;
    ok = ok && header(in, 0x0C, CLOSURE_DATA);
    v.eye_closure[0] = getF(in);
    v.eye_closure[1] = getF(in);
    v.eye_closure_confidence[0] = getF(in);
    v.eye_closure_confidence[1] = getF(in);
    v.eye_closure_calib_status = getF(in);
    v.blinking = *in++ != 0;
    v.blink_frequency = getF(in);
    v.average_blink_duration = getF(in);
    v.perclos = getF(in);
    ok = ok && *in++ == 0;
    ok = ok && header(in, 0x0D, GAZE_DATA);
    for (int eye = 0; eye < 2; ++eye) {
        v.gaze_quality_level[eye] = *in++;
        for (float& value : v.eyeball_centre[eye]) {
            value = getF(in);
        }
        v.gaze_pitch_yaw[eye][0] = getF(in);
        v.gaze_pitch_yaw[eye][1] = getF(in);
    }
    v.gaze_calibrated = *in++ != 0;
    v.saccade = *in++ != 0;
    ok = ok && *in++ == 0;
    ok = ok && header(in, 0x0E, PUPIL_DATA);
    for (int eye = 0; eye < 2; ++eye) {
        for (float& value : v.pupil_position[eye]) {
            value = getF(in);
        }
        v.pupil_diameter[eye] = getF(in);
    }
    ok = ok && *in++ == 0;

    ok = ok && header(in, 0x10, HEAD_DATA);
    v.head_tracking = *in++ != 0;
    for (double& value : v.head_position) {
        value = getD(in);
    }
    for (double& value : v.head_quaternion) {
        value = getD(in);
    }
    v.head_confidence = getD(in);
    v.model_quality_level = static_cast<char>(*in++);
    for (int eye = 0; eye < 2; ++eye) {
        for (double& value : v.head_eyeball_pos[eye]) {
            value = getD(in);
        }
    }
    ok = ok && *in++ == 0;

    ok = ok && header(in, 0x28, STATE_DATA);
    v.engine_state = get<std::int32_t, std::uint32_t>(in);
    ok = ok && *in++ == 0;
    return ok;
}

// ---- the pool -----------------------------------------------------------------------------------

const Workload& workload() {
    static const Workload pool = [] {
        Workload w;
        for (std::uint32_t i = 0; i < POOL_FRAMES; ++i) {
            w.values.push_back(frameValues(i));
            w.frames.push_back(buildFrame(w.values.back()));
            ByteBuffer bytes;
            w.frames.back()->serialize(bytes);
            w.stream.insert(w.stream.end(), bytes.begin(), bytes.end());
            w.bytes.push_back(std::move(bytes));
        }
        return w;
    }();
    return pool;
}

std::string workloadSelfCheck() {
    const Workload& w = workload();
    for (std::size_t i = 0; i < POOL_FRAMES; ++i) {
        std::ostringstream where;
        where << "frame " << i << ": ";
        unsigned char hand[FRAME_BYTES];
        encodeFrame(w.values[i], hand);
        if (w.bytes[i].size() != FRAME_BYTES ||
            std::memcmp(hand, w.bytes[i].data(), FRAME_BYTES) != 0) {
            return where.str() + "the library and the hand-written encoder write different bytes";
        }
        FrameValues decoded{};
        if (!decodeFrame(w.bytes[i].data(), w.bytes[i].size(), decoded)) {
            return where.str() + "the hand-written decoder refuses the library's bytes";
        }
        unsigned char again[FRAME_BYTES];
        encodeFrame(decoded, again);
        if (std::memcmp(again, hand, FRAME_BYTES) != 0) {
            return where.str() + "the hand-written decoder loses values";
        }
        int read_pos = 0;
        const auto rebuilt = boost::dynamic_pointer_cast<EngineOutputData>(
            SerializableFactory::newObject(w.bytes[i], read_pos));
        ByteBuffer rewritten;
        if (rebuilt) {
            rebuilt->serialize(rewritten);
        }
        if (rewritten != w.bytes[i]) {
            return where.str() + "the factory does not rebuild the frame exactly";
        }
    }
    return std::string();
}

// Element by element: a copy of the whole array would read back, in wider loads, what the
// accessor has just stored, and stall on it.
template <typename T, std::size_t N>
inline void take(const std::array<T, N>& values, T* out) {
    for (std::size_t i = 0; i < N; ++i) {
        out[i] = values[i];
    }
}

bool viewFrame(vq::eod::FrameView& view, const unsigned char* in, std::size_t size,
               FrameValues& v) {
    if (view.reset(in, size) != ViewStatus::OK) {
        return false;
    }
    v.frame_num = view.frameNum();
    for (const RecordRef& r : view) {
        switch (r.object_id) {
            case object_id::TIMING_OUTPUT_DATA: {
                const TimingView t(r);
                v.experiment_time = t.experimentTime();
                v.frame_time_secs = t.frameTimeSecs();
                v.frame_time_msecs = t.frameTimeMSecs();
                v.approx_delay = t.approxDelay();
                v.annotation_label_id = t.annotationLabelID();
                break;
            }
            case object_id::HEAD_OUTPUT_DATA_V2: {
                const HeadV2View h(r);
                v.head_tracking = h.isTracking();
                const auto position = h.headPosition();
                const auto q = h.headRotationQuaternion();
                take(position, v.head_position);
                take(q, v.head_quaternion);
                v.head_confidence = h.headPositionConfidence();
                v.model_quality_level = static_cast<char>(h.modelQualityLevel());
                for (int eye = 0; eye < 2; ++eye) {
                    const auto e = h.headEyeBallPos(eye);
                    take(e, v.head_eyeball_pos[eye]);
                }
                break;
            }
            case object_id::EYE_CLOSURE_OUTPUT_DATA: {
                const EyeClosureView c(r);
                for (int eye = 0; eye < 2; ++eye) {
                    v.eye_closure[eye] = c.eyeClosure(eye);
                    v.eye_closure_confidence[eye] = c.eyeClosureConfidence(eye);
                }
                v.eye_closure_calib_status = c.eyeClosureCalibStatus();
                v.blinking = c.blinking();
                v.blink_frequency = c.blinkFrequency();
                v.average_blink_duration = c.averageBlinkDuration();
                v.perclos = c.perclos();
                break;
            }
            case object_id::GAZE_OUTPUT_DATA: {
                const GazeView g(r);
                for (int eye = 0; eye < 2; ++eye) {
                    v.gaze_quality_level[eye] = g.gazeQualityLevel(eye);
                    const auto centre = g.eyeballCentre(eye);
                    const auto rotation = g.gazeRotation(eye);
                    take(centre, v.eyeball_centre[eye]);
                    take(rotation, v.gaze_pitch_yaw[eye]);
                }
                v.gaze_calibrated = g.gazeCalibrated();
                v.saccade = g.saccade();
                break;
            }
            case object_id::PUPIL_OUTPUT_DATA: {
                const PupilView p(r);
                for (int eye = 0; eye < 2; ++eye) {
                    const auto position = p.pupilPosition(eye);
                    take(position, v.pupil_position[eye]);
                    v.pupil_diameter[eye] = p.pupilDiameter(eye);
                }
                break;
            }
            case object_id::ENGINE_STATE_OUTPUT_DATA:
                v.engine_state = StateView(r).state();
                break;
            default:
                break;
        }
    }
    return true;
}

}  // namespace vqbench
