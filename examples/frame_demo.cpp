// Builds one frame of tracker output, serialises it, prints its bytes and reads it back through
// the factory.
//
// The frame holds what an engine writes for every camera frame: its times, the head pose, the
// eyes (pupils, eyelid closure and gaze) and the engine's state with the head tracker's.
#include <iomanip>
#include <iostream>

#include "vq/corelog.h"

namespace {

using namespace vq::eod;

template <typename T>
boost::shared_ptr<T> make() {
    return boost::shared_ptr<T>(new T);
}

void printHex(const ByteBuffer& bytes) {
    std::ios flags(nullptr);
    flags.copyfmt(std::cout);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        std::cout << std::hex << std::uppercase << std::setw(2) << std::setfill('0')
                  << static_cast<int>(bytes[i]) << ((i % 16 == 15) ? '\n' : ' ');
    }
    std::cout.copyfmt(flags);
    std::cout << '\n';
}

}  // namespace

int main() {
    EngineOutputData frame;
    frame.setFrameNum(7);

    auto timing = make<TimingOutputData>();
    timing->setExperimentTime(0.233);
    timing->setApproxDelay(0.012f);
    frame.addSubObject(timing);

    auto head = make<HeadOutputDataV2>();
    head->setTrackingState(true);
    head->setHeadPosition({0.02, -0.01, 0.65});
    head->setHeadRotation({0.05, -0.1, 0.0});
    head->setHeadPositionConfidence(0.9);
    frame.addSubObject(head);

    auto pupil = make<PupilOutputData>();
    pupil->setPupilDiameter(RIGHT_EYE, 0.0041f);
    pupil->setPupilDiameter(LEFT_EYE, 0.0039f);
    auto closure = make<EyeClosureOutputData>();
    closure->setEyeClosure(RIGHT_EYE, 0.1f);
    closure->setEyeClosure(LEFT_EYE, 0.12f);
    auto gaze = make<GazeOutputData>();
    for (EyeId eye : {RIGHT_EYE, LEFT_EYE}) {
        const float side = eye == RIGHT_EYE ? -1.0f : 1.0f;
        gaze->setGazeQualityLevel(eye, IR_GAZE);
        gaze->setEyeballCentre(eye, {side * 0.032f, 0.0f, 0.6f});
        gaze->setGazeRotationPitchYaw(eye, {0.0f, side * 0.05f});  // both turned to the nose
    }
    auto eyes = make<EyeOutputData>();
    eyes->addSubObject(pupil);
    eyes->addSubObject(closure);
    eyes->addSubObject(gaze);
    frame.addSubObject(eyes);

    auto state = boost::shared_ptr<EngineStateOutputData>(new EngineStateOutputData(1));
    state->addSubObject(
        boost::shared_ptr<HeadTrackerStateOutputData>(new HeadTrackerStateOutputData(2)));
    frame.addSubObject(state);

    ByteBuffer bytes;
    frame.serialize(bytes);
    std::cout << "frame " << frame.frameNum() << ": " << bytes.size() << " bytes\n";
    printHex(bytes);

    int read_pos = 0;
    auto read = boost::dynamic_pointer_cast<EngineOutputData>(
        SerializableFactory::newObject(bytes, read_pos));
    if (!read) {
        std::cerr << "the factory did not rebuild a frame\n";
        return 1;
    }
    read->printHeader(std::cout);
    std::cout << '\n' << *read << '\n';

    ByteBuffer again;
    read->serialize(again);
    const bool same = again == bytes && read_pos == static_cast<int>(bytes.size());
    std::cout << (same ? "read back: identical bytes\n" : "read back: DIFFERENT bytes\n");
    return same ? 0 : 1;
}
