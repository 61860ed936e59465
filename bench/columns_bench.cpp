// The columnar path: the view of a typical frame against the hand-written decoder, the demo
// recording read into columns, and `vqlog export` of it.
//
// The demo recording (216,000 frames, per kind: `vqlog demo --fast --seconds 600 --rate 360`)
// is made once per run in a scratch directory under $TMPDIR (or /tmp) and removed at exit; the
// two recording benchmarks need the vqlog of the same build and are skipped without it.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include <benchmark/benchmark.h>

#include "workload.h"

namespace vqbench {
namespace {

using namespace vq::eod;

constexpr std::size_t MASK = POOL_FRAMES - 1;
constexpr std::size_t DEMO_FRAMES = 216000;

void viewTypical(benchmark::State& state) {
    const Workload& w = workload();
    static FrameView view;
    FrameValues values{};
    std::size_t i = 0;
    for (auto _ : state) {
        const ByteBuffer& bytes = w.bytes[i++ & MASK];
        if (!viewFrame(view, bytes.data(), bytes.size(), values)) {
            state.SkipWithError("the view refused a frame");
            break;
        }
        benchmark::DoNotOptimize(values);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(viewTypical)->Name("columns/view")->UseRealTime();

#ifdef VQ_BENCH_VQLOG
// The demo recording, made on first use; empty when it could not be made.
class DemoRecording {
public:
    DemoRecording() {
        const char* base = std::getenv("TMPDIR");
        std::string pattern =
            std::string(base != nullptr && *base != 0 ? base : "/tmp") + "/vq_columns_bench.XXXXXX";
        if (::mkdtemp(pattern.data()) == nullptr) {
            return;
        }
        _scratch = pattern;
        const std::string command = std::string(VQ_BENCH_VQLOG) +
                                    " demo --fast --seconds 600 --rate 360 --out " + _scratch +
                                    "/demo > /dev/null 2>&1";
        if (std::system(command.c_str()) == 0) {
            _path = _scratch + "/demo";
        }
    }
    ~DemoRecording() {
        std::error_code ignored;
        if (!_scratch.empty()) {
            std::filesystem::remove_all(_scratch, ignored);
        }
    }
    DemoRecording(const DemoRecording&) = delete;
    DemoRecording& operator=(const DemoRecording&) = delete;
    const std::string& path() const { return _path; }
    std::string scratch(const std::string& name) const { return _scratch + "/" + name; }

private:
    std::string _scratch;
    std::string _path;
};

const DemoRecording& demo() {
    static const DemoRecording recording;
    return recording;
}

// Every column of the frame table, one core, in batches of state.range(0) rows: 65536 (the
// default: a batch of 29 MB, written once per read), 4096 (one batch reused, 1.8 MB, about this
// machine's L2 cache of a core) and 1024 (one batch reused, 0.45 MB, which stays in that cache
// with the frames being read: the way to stream a recording).
void readDemo(benchmark::State& state) {
    if (demo().path().empty()) {
        state.SkipWithError("vqlog demo failed");
        return;
    }
    io::ColumnReaderOptions options;
    options.batch_rows = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        io::ColumnReader reader(demo().path(), options);
        io::ColumnBatch batch;
        std::size_t rows = 0;
        while (reader.next(batch)) {
            rows += batch.numRows();
        }
        if (rows != DEMO_FRAMES) {
            state.SkipWithError("the demo recording did not give every frame");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(DEMO_FRAMES));
}
BENCHMARK(readDemo)
    ->Name("columns/read_demo")
    ->Arg(65536)
    ->Arg(4096)
    ->Arg(1024)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

// The user and system time of the children waited for so far.
double childCpuSeconds() {
    rusage usage{};
    ::getrusage(RUSAGE_CHILDREN, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// `vqlog export --format csv` of the demo recording to a file, the whole process: wall-clock
// time, and the CPU time of the process as counters.
void exportDemo(benchmark::State& state) {
    if (demo().path().empty()) {
        state.SkipWithError("vqlog demo failed");
        return;
    }
    const std::string out = demo().scratch("demo.csv");
    const std::string command = std::string(VQ_BENCH_VQLOG) + " export " + demo().path() +
                                " --format csv -o " + out + " 2> /dev/null";
    double cpu_s = 0;  // the processes' user and system time: the export runs on two threads
    for (auto _ : state) {
        std::filesystem::remove(out);
        const double before = childCpuSeconds();
        if (std::system(command.c_str()) != 0) {
            state.SkipWithError("vqlog export failed");
            break;
        }
        cpu_s += childCpuSeconds() - before;
    }
    std::filesystem::remove(out);
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(DEMO_FRAMES));
    if (state.iterations() > 0) {
        state.counters["cpu_ms"] = 1000 * cpu_s / static_cast<double>(state.iterations());
        state.counters["frames_per_cpu_s"] =
            static_cast<double>(state.iterations()) * DEMO_FRAMES / cpu_s;
    }
}
BENCHMARK(exportDemo)->Name("columns/export_csv")->UseRealTime()->Unit(benchmark::kMillisecond);
#endif

}  // namespace
}  // namespace vqbench
