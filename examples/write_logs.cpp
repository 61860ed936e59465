// Writes 60 frames (one second at 60 Hz) to per-kind log files: one file per record kind, each
// holding that kind's record of every frame, so a reader can open only the kinds it needs.
//
//     write_logs DIR     (DIR must exist)
#include <iostream>

#include "vq/corelog.h"

using namespace vq::eod;

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: write_logs DIR\n";
        return 2;
    }
    try {
        io::EngineOutputDataFileWriter writer;
        // Files DIR/Timing.vql and DIR/HeadV2.vql, each with a 64 KiB buffer.
        writer.newFiles({TimingOutputData::THIS_OBJECT_ID, HeadOutputDataV2::THIS_OBJECT_ID},
                        std::string(argv[1]), std::string(), 65536);
        for (unsigned int n = 0; n < 60; ++n) {
            EngineOutputData frame;
            frame.setFrameNum(n);

            boost::shared_ptr<TimingOutputData> timing(new TimingOutputData);
            timing->setExperimentTime(n / 60.0);  // seconds since the start
            frame.addSubObject(timing);

            boost::shared_ptr<HeadOutputDataV2> head(new HeadOutputDataV2);
            head->setTrackingState(true);
            head->setHeadPosition({0.01 * n / 60.0, 0.15, 0.65});  // drifts 1 cm to the side
            head->setHeadRotation({0.0, 0.1, 0.0});                // turned 0.1 rad (yaw)
            frame.addSubObject(head);

            writer.writeData(frame);  // each kind's record goes to its own file
        }
        // closeFiles() raises when bytes did not reach the disk; the destructor would not.
        writer.closeFiles();
    } catch (const std::exception& error) {
        std::cerr << "write_logs: " << error.what() << '\n';
        return 1;
    }
    std::cout << "wrote 60 frames to " << argv[1] << "/Timing.vql and " << argv[1]
              << "/HeadV2.vql\n";
    return 0;
}
