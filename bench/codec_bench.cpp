// The codec: serialising a typical frame, rebuilding it through the factory and cloning it,
// against the hand-written encoder and decoder of the same bytes.
#include <benchmark/benchmark.h>

#include "workload.h"

namespace vqbench {
namespace {

using namespace vq::eod;

constexpr std::size_t MASK = POOL_FRAMES - 1;
static_assert((POOL_FRAMES & MASK) == 0, "the pool is a power of two");

void perFrame(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(FRAME_BYTES));
}

void encodeHand(benchmark::State& state) {
    const Workload& w = workload();
    ByteBuffer buffer(FRAME_BYTES);
    std::size_t i = 0;
    for (auto _ : state) {
        encodeFrame(w.values[i++ & MASK], buffer.data());
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
    perFrame(state);
}
BENCHMARK(encodeHand)->Name("codec/encode_hand")->UseRealTime();

void serializeFrame(benchmark::State& state) {
    const Workload& w = workload();
    ByteBuffer buffer;
    buffer.reserve(FRAME_BYTES);
    std::size_t i = 0;
    for (auto _ : state) {
        buffer.clear();
        w.frames[i++ & MASK]->serialize(buffer);
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
    perFrame(state);
}
BENCHMARK(serializeFrame)->Name("codec/serialize")->UseRealTime();

void decodeHand(benchmark::State& state) {
    const Workload& w = workload();
    FrameValues values{};
    std::size_t i = 0;
    for (auto _ : state) {
        const ByteBuffer& bytes = w.bytes[i++ & MASK];
        if (!decodeFrame(bytes.data(), bytes.size(), values)) {
            state.SkipWithError("the hand-written decoder refused a frame");
            break;
        }
        benchmark::DoNotOptimize(values);
        benchmark::ClobberMemory();
    }
    perFrame(state);
}
BENCHMARK(decodeHand)->Name("codec/decode_hand")->UseRealTime();

// Every record of the frame is allocated, filled and released again, as a reader does.
void rebuildFrame(benchmark::State& state) {
    const Workload& w = workload();
    std::size_t i = 0;
    for (auto _ : state) {
        int read_pos = 0;
        boost::shared_ptr<Serializable> frame =
            SerializableFactory::newObject(w.bytes[i++ & MASK], read_pos);
        benchmark::DoNotOptimize(frame.get());
    }
    perFrame(state);
}
BENCHMARK(rebuildFrame)->Name("codec/rebuild")->UseRealTime();

void cloneFrame(benchmark::State& state) {
    const Workload& w = workload();
    std::size_t i = 0;
    for (auto _ : state) {
        boost::shared_ptr<EngineOutputData> copy(w.frames[i++ & MASK]->clone());
        benchmark::DoNotOptimize(copy.get());
    }
    perFrame(state);
}
BENCHMARK(cloneFrame)->Name("codec/clone")->UseRealTime();

}  // namespace
}  // namespace vqbench
