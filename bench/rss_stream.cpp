// Peak memory while ten million frames stream through the library: a sender thread serialises
// the workload's frames, numbered 0, 1, 2, ..., into 64 KiB writes on a loopback connection, and
// EngineOutputDataTcpClient rebuilds every one of them. The resident set is sampled every million
// frames; it must stay flat (the peak after ten million frames within 1 MiB of the peak after
// one million), which shows that nothing is kept or leaked per frame.
//
//   vq_corelog_rss [frames]    (default 10000000)
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "loopback.h"
#include "workload.h"

namespace {

using namespace vq::eod;
using namespace vqbench;

constexpr std::size_t CHUNK_BYTES = 65536;
constexpr int PATIENCE_MILLIS = 5000;
constexpr std::uint64_t SAMPLE_EVERY = 1000000;

// A "Vm...:" line of /proc/self/status, in KiB.
long statusKiB(const std::string& field) {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.compare(0, field.size(), field) == 0) {
            return std::strtol(line.c_str() + field.size(), nullptr, 10);
        }
    }
    return -1;
}

// Serialises `frames` frames numbered from 0 into the connection, in writes of about 64 KiB.
void sendFrames(Fd listener, std::uint64_t frames) {
    const Fd connection = acceptConnection(listener.get());
    if (!connection.valid()) {
        return;
    }
    std::vector<boost::shared_ptr<EngineOutputData>> copies;
    for (const auto& frame : workload().frames) {
        copies.emplace_back(frame->clone());
    }
    ByteBuffer chunk;
    chunk.reserve(CHUNK_BYTES + FRAME_BYTES);
    for (std::uint64_t i = 0; i < frames; ++i) {
        EngineOutputData& frame = *copies[i % copies.size()];
        frame.setFrameNum(static_cast<unsigned int>(i));
        frame.serialize(chunk);
        if (chunk.size() >= CHUNK_BYTES || i + 1 == frames) {
            if (!sendAll(connection.get(), chunk.data(), chunk.size())) {
                return;
            }
            chunk.clear();
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    const std::uint64_t frames = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 10000000;
    workload();  // built before the first sample

    int port = 0;
    Fd listener = listenOnLoopback(port);
    std::thread sender(sendFrames, std::move(listener), frames);
    io::EngineOutputDataTcpClient client;
    client.connect(io::InetAddress(port, "127.0.0.1"));

    std::cout << "| frames received | resident (MiB) | peak resident (MiB) |\n|---|---|---|\n";
    const long start_peak = statusKiB("VmHWM:");
    long first_peak = -1;
    long last_peak = -1;
    std::uint64_t received = 0;
    bool in_order = true;
    while (received < frames) {
        const boost::shared_ptr<EngineOutputData> frame = client.receive(PATIENCE_MILLIS);
        if (!frame) {
            break;
        }
        in_order = in_order && frame->frameNum() == static_cast<unsigned int>(received);
        ++received;
        if (received % SAMPLE_EVERY == 0 || received == frames) {
            last_peak = statusKiB("VmHWM:");
            if (first_peak < 0) {
                first_peak = last_peak;
            }
            std::printf("| %llu | %.1f | %.1f |\n", static_cast<unsigned long long>(received),
                        statusKiB("VmRSS:") / 1024.0, last_peak / 1024.0);
        }
    }
    client.disconnect();
    sender.join();

    const bool whole = received == frames && in_order;
    const bool flat = last_peak - first_peak <= 1024;
    std::printf(
        "\npeak resident before streaming %.1f MiB; after the first sample %.1f MiB, after "
        "%llu frames %.1f MiB: %s\n",
        start_peak / 1024.0, first_peak / 1024.0, static_cast<unsigned long long>(received),
        last_peak / 1024.0, flat ? "flat" : "GROWING");
    if (!whole) {
        std::printf("frames lost or out of order: %llu of %llu received\n",
                    static_cast<unsigned long long>(received),
                    static_cast<unsigned long long>(frames));
    }
    return whole && flat ? 0 : 1;
}
