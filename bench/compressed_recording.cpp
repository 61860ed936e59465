// Compressed frame files against a real recording: size, writing, reading and seeking.
//
//   vq_corelog_compressed RECORDING.vql [SEEK_FILE_MB]
//
// RECORDING.vql is a single-file recording (`vqlog demo --fast --seconds 600 --rate 360 --out
// DIR`, then `vqlog convert DIR RECORDING.vql`). Its frames are read into memory once; then, in
// the same run, they are written as a single-file log (the baseline) and as a compressed file at
// the default level, each timed from memory to a closed file, and read back from the compressed
// file as frames, as frame bytes and into columns (ColumnReader), against the single file. For
// seeking, the recording is written again and again, renumbered and shifted in time, into one
// compressed file of SEEK_FILE_MB MiB (1024 by default; 0: no seeks), and random frame numbers and
// times are sought in it. Writing and reading use a second thread (compressing, decompressing), so
// they are timed three ways: wall-clock, CPU time of the process, and CPU time of the calling
// thread; seeks by CPU time of the process. Each zstd level from -5 to 9 is then written once, for
// its size and speed.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <random>
#include <string>
#include <vector>

#include "vq/corelog.h"

namespace {

using namespace vq::eod;

double seconds(clockid_t clock) {
    timespec now{};
    ::clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Time is the process's CPU time, so that other programs on a busy machine count for little.
struct Clock {
    using time_point = double;
    static double now() { return seconds(CLOCK_PROCESS_CPUTIME_ID); }
};

double secondsSince(double start) {
    return Clock::now() - start;
}

// Wall-clock, process and calling thread's CPU time of a stretch of work.
struct Times {
    double wall = 0;
    double process = 0;
    double thread = 0;
};

struct Stopwatch {
    Times start{seconds(CLOCK_MONOTONIC), seconds(CLOCK_PROCESS_CPUTIME_ID),
                seconds(CLOCK_THREAD_CPUTIME_ID)};
    Times elapsed() const {
        return {seconds(CLOCK_MONOTONIC) - start.wall,
                seconds(CLOCK_PROCESS_CPUTIME_ID) - start.process,
                seconds(CLOCK_THREAD_CPUTIME_ID) - start.thread};
    }
};

Times best(const Times& a, const Times& b) {
    return a.wall <= b.wall ? a : b;
}

// "<wall> frames/s (process CPU <p> frames/s, calling thread <t> frames/s)"
std::string rates(double count, const Times& times) {
    char text[160];
    std::snprintf(text, sizeof text, "%.2f M frames/s (process CPU %.2f M, calling thread %.2f M)",
                  count / times.wall / 1e6, count / times.process / 1e6,
                  count / times.thread / 1e6);
    return text;
}

// Writes the frames into a compressed file with these options.
template <class Frames>
Times writeCompressed(const Frames& frames, const std::string& path,
                      const vq::eod::io::CompressingFileWriter::Options& options) {
    const Stopwatch watch;
    vq::eod::io::CompressingFileWriter packed;
    packed.newFile(path, options);
    for (const auto& frame : frames) {
        packed.writeData(*frame);
    }
    packed.closeFile();
    return watch.elapsed();
}

std::uint64_t fileSize(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s RECORDING.vql [SEEK_FILE_MB]\n", argv[0]);
        return 2;
    }
    const std::string recording = argv[1];
    const std::uint64_t seek_file_bytes = (argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 1024)
                                          << 20;
    const char* base = std::getenv("TMPDIR");
    const std::string scratch = std::string(base != nullptr && *base != 0 ? base : "/tmp");
    const std::string plain_path = scratch + "/vq_compressed_bench_plain.vql";
    const std::string packed_path = scratch + "/vq_compressed_bench.vqz";
    const std::string seek_path = scratch + "/vq_compressed_bench_seek.vqz";

    std::vector<boost::shared_ptr<EngineOutputData>> frames;
    {
        io::EngineOutputDataFileReader reader;
        reader.openFile(recording);
        while (auto frame = reader.readData()) {
            frames.push_back(frame);
        }
    }
    const double count = static_cast<double>(frames.size());
    double load[3] = {0, 0, 0};
    ::getloadavg(load, 3);
    std::printf("recording: %zu frames, %llu bytes (load average %.2f %.2f %.2f)\n", frames.size(),
                static_cast<unsigned long long>(fileSize(recording)), load[0], load[1], load[2]);

    // Writing from memory: the single-file log, then the compressed file, three times each.
    Times plain_best{1e9, 1e9, 1e9};
    Times packed_best{1e9, 1e9, 1e9};
    for (int round = 0; round < 3; ++round) {
        const Stopwatch watch;
        io::EngineOutputDataFileWriter plain;
        plain.newFile(plain_path, 65536);
        for (const auto& frame : frames) {
            plain.writeData(*frame);
        }
        plain.closeFiles();
        plain_best = best(plain_best, watch.elapsed());
        packed_best = best(packed_best, writeCompressed(frames, packed_path, {}));
    }
    const std::uint64_t plain_bytes = fileSize(plain_path);
    const std::uint64_t packed_bytes = fileSize(packed_path);
    std::printf(
        "size: single file %llu bytes, compressed %llu bytes: %.2f times smaller "
        "(%.1f %% of the single file)\n",
        static_cast<unsigned long long>(plain_bytes), static_cast<unsigned long long>(packed_bytes),
        static_cast<double>(plain_bytes) / static_cast<double>(packed_bytes),
        100.0 * static_cast<double>(packed_bytes) / static_cast<double>(plain_bytes));
    std::printf("write: single file %s\n       compressed %s (wall-clock ratio %.2f)\n",
                rates(count, plain_best).c_str(), rates(count, packed_best).c_str(),
                plain_best.wall / packed_best.wall);

    // Reading back: frame bytes (what a column reader takes) and frames. The files written
    // above go to disk first, so that the kernel's writing them back takes no time from the
    // reads.
    ::sync();
    {
        io::DecompressingFileReader reader;
        reader.open(packed_path);
        const unsigned char* data = nullptr;
        std::size_t size = 0;
        std::uint64_t bytes = 0;
        Times raw_best{1e9, 1e9, 1e9};
        for (int round = 0; round < 3; ++round) {
            reader.rewind();
            bytes = 0;
            const Stopwatch watch;
            while (reader.readFrameBytes(data, size)) {
                bytes += data[size - 1] + size;  // touches the frame, as a consumer would
            }
            raw_best = best(raw_best, watch.elapsed());
        }
        // Decoding alone (read, checksums, decompression, column form), on the calling thread.
        ByteBuffer chunk_frames;
        std::vector<std::size_t> chunk_offsets;
        const Stopwatch decode_watch;
        for (std::size_t i = 0; i < reader.chunks().size(); ++i) {
            reader.readChunk(i, chunk_frames, chunk_offsets);
        }
        const double decode_seconds = decode_watch.elapsed().thread;
        bytes = 0;
        reader.rewind();
        while (reader.readFrameBytes(data, size)) {
            bytes += size;
        }
        reader.rewind();
        auto start = Clock::now();
        std::size_t read = 0;
        while (reader.readData()) {
            ++read;
        }
        const double frame_seconds = secondsSince(start);
        io::EngineOutputDataFileReader plain;
        plain.openFile(plain_path);
        start = Clock::now();
        while (plain.readData()) {
        }
        const double plain_seconds = secondsSince(start);
        // Into columns: the column reader over the compressed file, and over the single file,
        // in batches of 65536 rows (the default) and of 4096 rows (one batch reused, which stays
        // in the cache).
        for (const std::size_t batch_rows : {std::size_t{65536}, std::size_t{4096}}) {
            io::ColumnReaderOptions options;
            options.batch_rows = batch_rows;
            auto columns = [](std::unique_ptr<io::ColumnReader> columns) {
                io::ColumnBatch batch;
                std::uint64_t rows = 0;
                while (columns->next(batch)) {
                    rows += batch.numRows();
                }
                return rows;
            };
            // The best of three reads of each.
            Times packed_columns{1e9, 1e9, 1e9};
            Times plain_columns{1e9, 1e9, 1e9};
            std::uint64_t packed_rows = 0;
            std::uint64_t plain_rows = 0;
            for (int round = 0; round < 3; ++round) {
                std::vector<std::unique_ptr<io::FrameSource>> sources;
                sources.push_back(std::make_unique<io::CompressedFrameSource>(packed_path));
                Stopwatch watch;
                packed_rows =
                    columns(std::make_unique<io::ColumnReader>(std::move(sources), options));
                packed_columns = best(packed_columns, watch.elapsed());
                watch = Stopwatch();
                plain_rows = columns(std::make_unique<io::ColumnReader>(plain_path, options));
                plain_columns = best(plain_columns, watch.elapsed());
            }
            std::printf(
                "columns, batches of %zu rows: compressed %s\n         single file %s\n"
                "         (wall-clock ratio %.2f; %llu and %llu rows)\n",
                batch_rows, rates(count, packed_columns).c_str(),
                rates(count, plain_columns).c_str(), plain_columns.wall / packed_columns.wall,
                static_cast<unsigned long long>(packed_rows),
                static_cast<unsigned long long>(plain_rows));
        }
        std::printf("read: decoding chunks on the calling thread %.2f M frames/s (CPU time)\n",
                    count / decode_seconds / 1e6);
        std::printf("read: frame bytes %s, %.0f MB/s wall-clock\n", rates(count, raw_best).c_str(),
                    static_cast<double>(bytes) / raw_best.wall / 1e6);
        std::printf(
            "read: frames %.0f frames/s, single-file frames %.0f frames/s (%zu frames, %llu "
            "bytes; CPU time of the process)\n",
            count / frame_seconds, count / plain_seconds, read,
            static_cast<unsigned long long>(bytes));
    }

    // Each level once: its size against the single-file log, and its speed.
    for (int level = -5; level <= 9; ++level) {
        if (level == 0) {
            continue;  // zstd's "default", which is level 3
        }
        io::CompressingFileWriter::Options options;
        options.level = level;
        const Times times = writeCompressed(frames, packed_path, options);
        std::printf(
            "level %2d: %.1f %% of the single file, %s\n", level,
            100.0 * static_cast<double>(fileSize(packed_path)) / static_cast<double>(plain_bytes),
            rates(count, times).c_str());
    }

    if (seek_file_bytes == 0) {
        std::remove(plain_path.c_str());
        std::remove(packed_path.c_str());
        return 0;
    }
    // Seeking in a large file: the recording again and again, renumbered and shifted in time.
    std::uint32_t total = 0;
    double duration = 0;
    {
        const auto timing = [](const EngineOutputData& frame) {
            return boost::dynamic_pointer_cast<const TimingOutputData>(
                frame.subObject(object_id::TIMING_OUTPUT_DATA));
        };
        const double span = timing(*frames.back())->experimentTime() + 1.0 / 360;
        io::CompressingFileWriter writer;
        writer.newFile(seek_path);
        for (int pass = 0; fileSize(seek_path) < seek_file_bytes; ++pass) {
            for (const auto& original : frames) {
                EngineOutputData frame(*original);
                frame.setFrameNum(total++);
                auto time = boost::dynamic_pointer_cast<TimingOutputData>(
                    frame.subObject(object_id::TIMING_OUTPUT_DATA));
                time->setExperimentTime(time->experimentTime() + pass * span);
                duration = time->experimentTime();
                writer.writeData(frame);
            }
        }
        writer.closeFile();
    }
    io::DecompressingFileReader reader;
    auto start = Clock::now();
    reader.open(seek_path);
    const double open_seconds = secondsSince(start);
    std::mt19937 random(7);
    constexpr int SEEKS = 200;
    double frame_seconds = 0;
    double time_seconds = 0;
    double worst = 0;
    for (int i = 0; i < SEEKS; ++i) {
        const std::uint32_t target = random() % total;
        start = Clock::now();
        reader.seekFrame(target);
        const auto frame = reader.readData();
        const double took = secondsSince(start);
        frame_seconds += took;
        worst = std::max(worst, took);
        if (!frame || frame->frameNum() != target) {
            std::fprintf(stderr, "seek to frame %u found another frame\n", target);
            return 1;
        }
        const double when = std::uniform_real_distribution<double>(0, duration)(random);
        start = Clock::now();
        reader.seekTime(when);
        const auto timed = reader.readData();
        const double took_time = secondsSince(start);
        time_seconds += took_time;
        worst = std::max(worst, took_time);
        if (!timed) {
            std::fprintf(stderr, "seek to time %f found nothing\n", when);
            return 1;
        }
    }
    std::printf(
        "seek in %llu bytes (%u frames, %zu chunks; opening %.2f ms): frame %.2f ms, "
        "time %.2f ms on average, worst %.2f ms\n",
        static_cast<unsigned long long>(fileSize(seek_path)), total, reader.chunks().size(),
        open_seconds * 1e3, frame_seconds / SEEKS * 1e3, time_seconds / SEEKS * 1e3, worst * 1e3);
    std::remove(plain_path.c_str());
    std::remove(packed_path.c_str());
    std::remove(seek_path.c_str());
    return 0;
}
