// TCP on 127.0.0.1: frames per second through EngineOutputDataTcpClient from a sender thread, as
// objects and as views, and the round trip of one frame, each against plain sockets moving the
// same bytes.
#include <vector>

#include <benchmark/benchmark.h>

#include "loopback.h"
#include "workload.h"

namespace vqbench {
namespace {

using namespace vq::eod;
using io::EngineOutputDataTcpClient;
using io::InetAddress;

constexpr std::size_t MASK = POOL_FRAMES - 1;
constexpr int PATIENCE_MILLIS = 5000;
constexpr std::size_t CHUNK_BYTES = 65536;

void perFrames(benchmark::State& state, std::size_t frames_per_iteration) {
    const auto frames = state.iterations() * static_cast<std::int64_t>(frames_per_iteration);
    state.SetItemsProcessed(frames);
    state.SetBytesProcessed(frames * static_cast<std::int64_t>(FRAME_BYTES));
}

// Takes the next frame from the client and lets it go; false, with the benchmark failed, when
// none came in time.
bool receiveFrame(EngineOutputDataTcpClient& client, benchmark::State& state) {
    const boost::shared_ptr<EngineOutputData> frame = client.receive(PATIENCE_MILLIS);
    if (!frame) {
        state.SkipWithError("no frame within the time limit");
        return false;
    }
    benchmark::DoNotOptimize(frame.get());
    return true;
}

// The sender's bytes taken with recv() into a 64 KiB buffer; each iteration takes the bytes of
// POOL_FRAMES frames.
void streamRaw(benchmark::State& state) {
    FrameSender sender;
    Fd socket = connectToLoopback(sender.port());
    std::vector<unsigned char> buffer(CHUNK_BYTES);
    for (auto _ : state) {
        for (std::size_t remaining = POOL_FRAMES * FRAME_BYTES; remaining > 0;) {
            const long got =
                receiveSome(socket.get(), buffer.data(), std::min(buffer.size(), remaining));
            if (got <= 0) {
                state.SkipWithError("the sender went away");
                return;
            }
            remaining -= static_cast<std::size_t>(got);
        }
        benchmark::DoNotOptimize(buffer.data());
    }
    perFrames(state, POOL_FRAMES);
}
BENCHMARK(streamRaw)->Name("tcp/stream_raw")->UseRealTime();

// The same bytes as frames from the client; each iteration receives POOL_FRAMES frames.
void streamClient(benchmark::State& state) {
    FrameSender sender;
    EngineOutputDataTcpClient client;
    client.connect(InetAddress(sender.port(), "127.0.0.1"));
    for (auto _ : state) {
        for (std::size_t i = 0; i < POOL_FRAMES; ++i) {
            if (!receiveFrame(client, state)) {
                return;
            }
        }
    }
    client.disconnect();
    perFrames(state, POOL_FRAMES);
}
BENCHMARK(streamClient)->Name("tcp/stream_client")->UseRealTime();

// The same bytes as views of the frames, each frame's number read; each iteration receives
// POOL_FRAMES frames.
void streamView(benchmark::State& state) {
    FrameSender sender;
    EngineOutputDataTcpClient client;
    client.connect(InetAddress(sender.port(), "127.0.0.1"));
    for (auto _ : state) {
        for (std::size_t i = 0; i < POOL_FRAMES; ++i) {
            const FrameView* view = client.receiveView(PATIENCE_MILLIS);
            if (view == nullptr || !view->exact()) {
                state.SkipWithError("no exact view within the time limit");
                return;
            }
            benchmark::DoNotOptimize(view->frameNum());
        }
    }
    client.disconnect();
    perFrames(state, POOL_FRAMES);
}
BENCHMARK(streamView)->Name("tcp/stream_view")->UseRealTime();

// One frame out to the echo and back on a second connection, taken with recv().
void pingRaw(benchmark::State& state) {
    const Workload& w = workload();
    FrameEcho echo;
    const Fd ping = connectToLoopback(echo.pingPort());
    const Fd pong = connectToLoopback(echo.pongPort());
    unsigned char frame[FRAME_BYTES];
    std::size_t i = 0;
    for (auto _ : state) {
        const ByteBuffer& bytes = w.bytes[i++ & MASK];
        if (!sendAll(ping.get(), bytes.data(), bytes.size()) ||
            !receiveAll(pong.get(), frame, sizeof frame)) {
            state.SkipWithError("the echo went away");
            return;
        }
        benchmark::DoNotOptimize(frame);
    }
    perFrames(state, 1);
}
BENCHMARK(pingRaw)->Name("tcp/ping_raw")->UseRealTime();

// The same round trip, the frame coming back through the client.
void pingClient(benchmark::State& state) {
    const Workload& w = workload();
    FrameEcho echo;
    const Fd ping = connectToLoopback(echo.pingPort());
    EngineOutputDataTcpClient client;
    client.connect(InetAddress(echo.pongPort(), "127.0.0.1"));
    std::size_t i = 0;
    for (auto _ : state) {
        const ByteBuffer& bytes = w.bytes[i++ & MASK];
        if (!sendAll(ping.get(), bytes.data(), bytes.size())) {
            state.SkipWithError("the echo went away");
            return;
        }
        if (!receiveFrame(client, state)) {
            return;
        }
    }
    client.disconnect();
    perFrames(state, 1);
}
BENCHMARK(pingClient)->Name("tcp/ping_client")->UseRealTime();

}  // namespace
}  // namespace vqbench
