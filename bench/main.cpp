// Runs the benchmarks and closes with the table of figures, each against its baseline of the
// same run and its target.
//
// Defaults (later arguments override them): every benchmark five times for at least 0.3 s each,
// the repetitions of all benchmarks in random order so that a change in the machine's load
// falls on measurements and baselines alike, and the median of the five reported. Any Google
// Benchmark flag may be given, --benchmark_filter=codec for example; the table then shows what
// was run.
#include <cstdio>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "workload.h"

namespace {

// Remembers the frames per second of every benchmark (the median when repeated).
class TableReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            const bool wanted = run.run_type == Run::RT_Iteration ? run.repetitions <= 1
                                                                  : run.aggregate_name == "median";
            const auto rate = run.counters.find("items_per_second");
            if (wanted && !run.error_occurred && rate != run.counters.end()) {
                _frames_per_second[run.run_name.function_name] = rate->second.value;
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    // 0 when the benchmark did not run or failed.
    double framesPerSecond(const std::string& name) const {
        const auto found = _frames_per_second.find(name);
        return found == _frames_per_second.end() ? 0.0 : found->second;
    }

private:
    std::map<std::string, double> _frames_per_second;
};

// How a row compares the measurement with its baseline.
enum class Compare {
    TIME,        // time per frame, measured / baseline, at most the target
    THROUGHPUT,  // frames per second, measured / baseline, at least the target
    RATE,        // frames per second, no baseline, at least the target
};

struct Row {
    const char* path;
    const char* measured;
    const char* baseline;  // null for RATE
    Compare compare;
    double target;  // 0: no target, the figure is for information
};

const Row ROWS[] = {
    {"serialise a typical frame", "codec/serialize", "codec/encode_hand", Compare::TIME, 5.0},
    {"rebuild a frame through the factory", "codec/rebuild", "codec/decode_hand", Compare::TIME,
     15.0},
    {"clone a frame", "codec/clone", "codec/decode_hand", Compare::TIME, 0.0},
    {"single-file log writing", "files/write_single", "files/write_raw", Compare::THROUGHPUT, 0.4},
    {"per-kind log writing", "files/write_per_kind", "files/write_raw", Compare::THROUGHPUT, 0.2},
    {"merged reading of a per-kind recording", "files/read_merged", nullptr, Compare::RATE, 1e6},
    {"TCP frame client, objects", "tcp/stream_client", nullptr, Compare::RATE, 2e6},
    {"TCP frame client, views", "tcp/stream_view", "tcp/stream_raw", Compare::THROUGHPUT, 0.5},
    {"TCP round trip of one frame", "tcp/ping_client", "tcp/ping_raw", Compare::TIME, 1.5},
    {"view of a typical frame, every field read", "columns/view", "codec/decode_hand",
     Compare::TIME, 2.0},
    {"demo recording into columns (216,000 frames, per kind)", "columns/read_demo", nullptr,
     Compare::RATE, 5e6},
    {"vqlog export --format csv of the demo recording", "columns/export_csv", nullptr,
     Compare::RATE, 5e5},
};

std::string format(const char* pattern, double value) {
    char text[64];
    std::snprintf(text, sizeof text, pattern, value);
    return text;
}

std::string figure(Compare compare, double frames_per_second) {
    if (compare == Compare::TIME) {
        const double ns = 1e9 / frames_per_second;
        return ns < 10000.0 ? format("%.0f ns", ns) : format("%.1f us", ns / 1000.0);
    }
    return format("%.2f M frames/s", frames_per_second / 1e6);
}

void printTable(const TableReporter& results) {
    std::cout << "\n| path | library | baseline | ratio | target | |\n"
                 "|---|---|---|---|---|---|\n";
    for (const Row& row : ROWS) {
        const double measured = results.framesPerSecond(row.measured);
        const double baseline = row.baseline != nullptr ? results.framesPerSecond(row.baseline) : 0;
        if (measured <= 0 || (row.baseline != nullptr && baseline <= 0)) {
            continue;  // filtered out or failed
        }
        std::string ratio = "";
        std::string target = "";
        bool met = true;
        switch (row.compare) {
            case Compare::TIME: {
                const double r = baseline / measured;  // time ratio
                ratio = format("%.2f x", r);
                target = format("<= %.1f x", row.target);
                met = r <= row.target;
                break;
            }
            case Compare::THROUGHPUT: {
                const double r = measured / baseline;
                ratio = format("%.0f %%", r * 100);
                target = format(">= %.0f %%", row.target * 100);
                met = r >= row.target;
                break;
            }
            case Compare::RATE:
                target = format(">= %.1f M frames/s", row.target / 1e6);
                met = measured >= row.target;
                break;
        }
        if (row.target == 0) {
            target = "";
        }
        std::cout << "| " << row.path << " | " << figure(row.compare, measured) << " | "
                  << (row.baseline != nullptr ? figure(row.compare, baseline) : "") << " | "
                  << ratio << " | " << target << " | "
                  << (row.target == 0 ? "" : (met ? "met" : "MISSED")) << " |\n";
    }
}

}  // namespace

int main(int argc, char** argv) {
    const std::string problem = vqbench::workloadSelfCheck();
    if (!problem.empty()) {
        std::cerr << "workload check failed: " << problem << '\n';
        return 1;
    }
    std::vector<char*> args = {argv[0]};
    std::string defaults[] = {"--benchmark_min_time=0.3", "--benchmark_repetitions=5",
                              "--benchmark_enable_random_interleaving=true",
                              "--benchmark_report_aggregates_only=true"};
    for (std::string& flag : defaults) {
        args.push_back(flag.data());
    }
    args.insert(args.end(), argv + 1, argv + argc);
    int count = static_cast<int>(args.size());
    benchmark::Initialize(&count, args.data());
    if (benchmark::ReportUnrecognizedArguments(count, args.data())) {
        return 2;
    }
    TableReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    printTable(reporter);
    return 0;
}
