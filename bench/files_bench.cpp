// Log files: writing frames from memory to one file and to one file per record kind, against
// write() of the same frames' bytes in 64 KiB chunks; reading a per-kind recording back merged.
//
// Files go to a scratch directory under $TMPDIR (or /tmp), removed at exit. Every writer starts
// its file again, truncated, after 64 MiB, outside the timed region, so a run never fills the
// disk and the page cache stays small.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "loopback.h"
#include "workload.h"

namespace vqbench {
namespace {

using namespace vq::eod;
using io::EngineOutputDataFileReader;
using io::EngineOutputDataFileWriter;

constexpr std::size_t CHUNK_BYTES = 65536;
constexpr int WRITER_BUFFER_BYTES = 65536;
constexpr std::size_t ROTATE_BYTES = 64u << 20;
// Frames of the recording that the merged reading reads.
constexpr std::uint32_t RECORDING_FRAMES = 65536;

const std::vector<char>& kinds() {
    static const std::vector<char> ids = {
        object_id::TIMING_OUTPUT_DATA, object_id::HEAD_OUTPUT_DATA_V2, object_id::EYE_OUTPUT_DATA,
        object_id::ENGINE_STATE_OUTPUT_DATA};
    return ids;
}

// The scratch directory of this run, made on first use and removed at exit.
class ScratchDirectory {
public:
    ScratchDirectory() {
        const char* base = std::getenv("TMPDIR");
        std::string pattern =
            std::string(base != nullptr && *base != 0 ? base : "/tmp") + "/vq_corelog_bench.XXXXXX";
        if (::mkdtemp(pattern.data()) == nullptr) {
            std::abort();
        }
        _path = pattern;
    }
    ~ScratchDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(_path, ignored);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    std::string path(const std::string& name) const { return _path + "/" + name; }

private:
    std::string _path;
};

const ScratchDirectory& scratch() {
    static const ScratchDirectory directory;
    return directory;
}

void perPass(benchmark::State& state, std::size_t frames_per_pass) {
    const auto frames = state.iterations() * static_cast<std::int64_t>(frames_per_pass);
    state.SetItemsProcessed(frames);
    state.SetBytesProcessed(frames * static_cast<std::int64_t>(FRAME_BYTES));
}

// Each pass writes the workload's frames once.
void writeRaw(benchmark::State& state) {
    const ByteBuffer& bytes = workload().stream;
    const std::string path = scratch().path("raw.vql");
    Fd file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (!file.valid()) {
        state.SkipWithError("cannot create the file");
        return;
    }
    std::size_t written = 0;
    for (auto _ : state) {
        for (std::size_t offset = 0; offset < bytes.size();) {
            const ssize_t n = ::write(file.get(), bytes.data() + offset,
                                      std::min(CHUNK_BYTES, bytes.size() - offset));
            if (n <= 0) {
                state.SkipWithError("write failed");
                return;
            }
            offset += static_cast<std::size_t>(n);
        }
        written += bytes.size();
        if (written >= ROTATE_BYTES) {
            state.PauseTiming();
            if (::ftruncate(file.get(), 0) != 0 || ::lseek(file.get(), 0, SEEK_SET) != 0) {
                state.SkipWithError("cannot truncate the file");
            }
            written = 0;
            state.ResumeTiming();
        }
    }
    perPass(state, POOL_FRAMES);
}
BENCHMARK(writeRaw)->Name("files/write_raw")->UseRealTime();

// Writes every pool frame per pass, with `open` (re)opening the files.
template <typename Open>
void writeFrames(benchmark::State& state, Open open, std::size_t bytes_per_pass) {
    const Workload& w = workload();
    EngineOutputDataFileWriter writer;
    open(writer);
    std::size_t written = 0;
    for (auto _ : state) {
        for (const auto& frame : w.frames) {
            writer.writeData(*frame);
        }
        written += bytes_per_pass;
        if (written >= ROTATE_BYTES) {
            state.PauseTiming();
            writer.closeFiles();
            open(writer);
            written = 0;
            state.ResumeTiming();
        }
    }
    writer.closeFiles();
    perPass(state, POOL_FRAMES);
}

void writeSingleFile(benchmark::State& state) {
    const std::string path = scratch().path("single.vql");
    writeFrames(
        state,
        [&](EngineOutputDataFileWriter& writer) { writer.newFile(path, WRITER_BUFFER_BYTES); },
        workload().stream.size());
}
BENCHMARK(writeSingleFile)->Name("files/write_single")->UseRealTime();

void writePerKind(benchmark::State& state) {
    const std::string directory = scratch().path("");
    writeFrames(
        state,
        [&](EngineOutputDataFileWriter& writer) {
            writer.newFiles(kinds(), directory, "_bench", WRITER_BUFFER_BYTES);
        },
        // each record under a 9-byte frame of its own, instead of the 4 records under one
        POOL_FRAMES * (FRAME_BYTES + 9 * (kinds().size() - 1)));
}
BENCHMARK(writePerKind)->Name("files/write_per_kind")->UseRealTime();

// A per-kind recording of RECORDING_FRAMES frames, written once.
const std::string& recording() {
    static const std::string directory = [] {
        const std::string path = scratch().path("recording");
        std::filesystem::create_directory(path);
        EngineOutputDataFileWriter writer;
        writer.newFiles(kinds(), path, "_run", WRITER_BUFFER_BYTES);
        for (std::uint32_t i = 0; i < RECORDING_FRAMES; ++i) {
            writer.writeData(*buildFrame(frameValues(i)));
        }
        writer.closeFiles();
        return path;
    }();
    return directory;
}

// Each pass opens the recording and reads all of it, merging the four kinds of every frame.
void readMerged(benchmark::State& state) {
    const std::string& directory = recording();
    for (auto _ : state) {
        EngineOutputDataFileReader reader;
        reader.openFiles(directory);
        std::uint32_t frames = 0;
        while (const auto frame = reader.readData()) {
            if (frame->numSubObjects() != kinds().size() || frame->frameNum() != frames) {
                state.SkipWithError("a merged frame is not the frame recorded");
                return;
            }
            ++frames;
        }
        if (frames != RECORDING_FRAMES) {
            state.SkipWithError("the recording did not read back whole");
            return;
        }
    }
    perPass(state, RECORDING_FRAMES);
}
BENCHMARK(readMerged)->Name("files/read_merged")->UseRealTime();

}  // namespace
}  // namespace vqbench
