// The benchmark workload: a typical frame of tracker output, and the hand-written codec that the
// library is measured against.
//
// A typical frame holds timing, a head pose (HeadOutputDataV2), the eyes (EyeOutputData with
// pupil, eyelid closure and gaze) and the engine state: 293 bytes on the wire. Frame i of the
// workload has values that follow i (positions drift, the eyelids blink, the state changes), so
// no two neighbouring frames are alike.
//
// The hand-written encoder and decoder know this one layout and nothing else: big-endian stores
// and loads at fixed offsets, sizes computed beforehand, no virtual calls, no allocation. They are
// the floor that the library's general codec is compared with; workloadSelfCheck() proves that
// both write exactly the same bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <boost/shared_ptr.hpp>

#include "vq/corelog.h"

namespace vqbench {

// Bytes of one typical frame on the wire.
constexpr std::size_t FRAME_BYTES = 293;
// Frames of the workload kept in memory; the benchmarks cycle through them.
constexpr std::size_t POOL_FRAMES = 1024;

// The values of one typical frame as plain data; arrays per eye hold the right eye first.
struct FrameValues {
    std::uint32_t frame_num;
    // timing
    double experiment_time;
    std::int32_t frame_time_secs;
    std::uint16_t frame_time_msecs;
    float approx_delay;
    std::int32_t annotation_label_id;
    // head
    bool head_tracking;
    double head_position[3];
    double head_quaternion[4];  // w, x, y, z
    double head_confidence;
    char model_quality_level;
    double head_eyeball_pos[2][3];
    // eyelid closure
    float eye_closure[2];
    float eye_closure_confidence[2];
    float eye_closure_calib_status;
    bool blinking;
    float blink_frequency;
    float average_blink_duration;
    float perclos;
    // gaze
    std::uint8_t gaze_quality_level[2];
    float eyeball_centre[2][3];
    float gaze_pitch_yaw[2][2];
    bool gaze_calibrated;
    bool saccade;
    // pupils
    float pupil_position[2][3];
    float pupil_diameter[2];
    // engine state
    std::int32_t engine_state;
};

// The values of frame `index` of the workload.
FrameValues frameValues(std::uint32_t index);

// The same frame built from library records, every record added through its setters.
boost::shared_ptr<vq::eod::EngineOutputData> buildFrame(const FrameValues& values);

// Writes the frame's FRAME_BYTES bytes at `out`.
void encodeFrame(const FrameValues& values, unsigned char* out);
// Reads a frame written by encodeFrame (or the library) from `size` bytes at `in`; false when the
// bytes are too few or are not a typical frame (another ID, size or flag in any header).
bool decodeFrame(const unsigned char* in, std::size_t size, FrameValues& values);
// The same through a FrameView and its typed views: every header checked, every record indexed,
// every field read once; false when the view refuses the bytes.
bool viewFrame(vq::eod::FrameView& view, const unsigned char* in, std::size_t size,
               FrameValues& values);

// The workload kept in memory: POOL_FRAMES frames as values, as records and as bytes.
struct Workload {
    std::vector<FrameValues> values;
    std::vector<boost::shared_ptr<vq::eod::EngineOutputData>> frames;
    std::vector<vq::eod::ByteBuffer> bytes;  // each frame's serialised form
    vq::eod::ByteBuffer stream;              // every frame's bytes back to back
};
const Workload& workload();

// Checks that the library and the hand-written codec agree byte for byte on every frame of the
// workload and that each decodes the other's bytes; an empty result, or what differs.
std::string workloadSelfCheck();

}  // namespace vqbench
