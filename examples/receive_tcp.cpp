// Receives the frames that a tracker streams over TCP and prints where the eyes look.
// Try it with a recording replayed by vqlog:
//
//     vqlog serve RECORDING --port 5000 --loop &
//     receive_tcp 127.0.0.1 5000
#include <iostream>
#include <string>

#include "vq/corelog.h"

using namespace vq::eod;

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: receive_tcp HOST PORT\n";
        return 2;
    }
    try {
        io::EngineOutputDataTcpClient client;
        client.connect(io::InetAddress(std::stoi(argv[2]), argv[1]));
        // receive() hands out one whole frame per call; null means nothing came within the
        // time limit (1000 ms) or the tracker closed the stream.
        unsigned int frames = 0;
        while (frames < 100) {
            boost::shared_ptr<EngineOutputData> frame = client.receive(1000);
            if (!frame) {
                if (!client.connected()) {
                    break;
                }
                continue;
            }
            ++frames;
            auto eyes = frame->eyeOutputData();
            auto gaze = eyes ? eyes->gazeOutputData() : nullptr;
            if (gaze) {
                std::cout << "frame " << frame->frameNum() << ": right eye pitch "
                          << gaze->gazeRotation(RIGHT_EYE)[0] << ", yaw "
                          << gaze->gazeRotation(RIGHT_EYE)[1]
                          << (gaze->saccade() ? " (saccade)" : "") << '\n';
            }
        }
        client.disconnect();
        std::cout << frames << " frames received\n";
    } catch (const std::exception& error) {
        std::cerr << "receive_tcp: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
