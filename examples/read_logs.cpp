// Reads a directory of per-kind log files back as frames: the reader opens every ".vql" file,
// takes the next record of each, and merges those with the lowest frame number into one frame.
//
//     read_logs DIR
#include <iostream>

#include "vq/corelog.h"

using namespace vq::eod;

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: read_logs DIR\n";
        return 2;
    }
    try {
        io::EngineOutputDataFileReader reader;
        reader.openFiles(std::string(argv[1]));
        unsigned int frames = 0;
        while (boost::shared_ptr<EngineOutputData> frame = reader.readData()) {
            ++frames;
            // Each accessor gives the frame's record of one kind, or null when it has none.
            auto timing = frame->timingOutputData();
            auto head = frame->headOutputData();
            if (frame->frameNum() % 20 == 0 && timing && head) {
                std::cout << "frame " << frame->frameNum() << " at " << timing->experimentTime()
                          << " s: head at x " << head->headPosition()[0] << " m, yaw "
                          << head->headRotation()[1] << " rad\n";
            }
        }
        std::cout << frames << " frames\n";
    } catch (const std::exception& error) {
        // A damaged file raises EngineOutputDataFileError after every frame before the damage.
        std::cerr << "read_logs: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
