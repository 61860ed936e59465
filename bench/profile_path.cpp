// Runs one path of the benchmarks a given number of times, for a profiler: the figures of the
// benchmarks move with the machine's load, instruction counts do not.
//
//   vq_corelog_profile PATH FRAMES [DIR]
//
// PATH is one of encode_hand, decode_hand, serialize, rebuild, clone, write_single,
// write_per_kind (files in DIR), read_merged (reads every log file of DIR, which must hold a
// per-kind recording of at least FRAMES frames made by write_per_kind and nothing else),
// client_objects, client_views (the TCP frame client fed the workload's stream in 64 KiB blocks
// by a byte source, without a socket: the client's own cost), view (FrameView over the typical
// frame, every field read as columns/view reads it), read_columns (ColumnReader over the recording
// DIR, every column of the table VQ_TABLE from the environment, the frame table without it, at
// most FRAMES frames, in reused batches of VQ_ROWS rows, 65536 without it). Under callgrind,
// the difference between two runs of different FRAMES divided by the difference of FRAMES is the
// cost of one frame: bench/README.md lists such counts.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>

#include "workload.h"

namespace {

using namespace vq::eod;
using namespace vqbench;

const std::vector<char> KINDS = {object_id::TIMING_OUTPUT_DATA, object_id::HEAD_OUTPUT_DATA_V2,
                                 object_id::EYE_OUTPUT_DATA, object_id::ENGINE_STATE_OUTPUT_DATA};

// The workload's stream over and over, in blocks of 64 KiB.
class StreamSource : public io::ByteSource {
public:
    explicit StreamSource(const ByteBuffer& stream) : _stream(stream) {}
    std::size_t read(ByteBuffer& data, int) override {
        const std::size_t size = std::min<std::size_t>(65536, _stream.size() - _pos);
        data.insert(data.end(), _stream.begin() + static_cast<long>(_pos),
                    _stream.begin() + static_cast<long>(_pos + size));
        _pos = (_pos + size) % _stream.size();
        return size;
    }
    bool ended() const override { return false; }

private:
    const ByteBuffer& _stream;
    std::size_t _pos = 0;
};

int usage() {
    std::cerr << "usage: vq_corelog_profile PATH FRAMES [DIR]\n";
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        return usage();
    }
    const std::string path = argv[1];
    const long frames = std::atol(argv[2]);
    const std::string dir = argc > 3 ? argv[3] : ".";
    const Workload& w = workload();
    const std::size_t mask = POOL_FRAMES - 1;
    unsigned long long sink = 0;  // keeps every result in use

    if (path == "encode_hand" || path == "decode_hand" || path == "serialize" ||
        path == "rebuild" || path == "clone") {
        ByteBuffer buffer;
        buffer.reserve(FRAME_BYTES);
        unsigned char bytes[FRAME_BYTES];
        FrameValues values{};
        // The path is picked once, so that the loop holds nothing but the path.
        auto run = [&](auto&& one_frame) {
            for (long i = 0; i < frames; ++i) {
                one_frame(static_cast<std::size_t>(i) & mask);
            }
        };
        if (path == "encode_hand") {
            run([&](std::size_t k) {
                encodeFrame(w.values[k], bytes);
                sink += bytes[7];
            });
        } else if (path == "decode_hand") {
            run([&](std::size_t k) {
                sink += decodeFrame(w.bytes[k].data(), w.bytes[k].size(), values);
            });
        } else if (path == "serialize") {
            run([&](std::size_t k) {
                buffer.clear();
                w.frames[k]->serialize(buffer);
                sink += buffer[7];
            });
        } else if (path == "rebuild") {
            run([&](std::size_t k) {
                int read_pos = 0;
                sink += SerializableFactory::newObject(w.bytes[k], read_pos) != nullptr;
            });
        } else {
            run([&](std::size_t k) {
                const boost::shared_ptr<EngineOutputData> copy(w.frames[k]->clone());
                sink += copy->frameNum();
            });
        }
    } else if (path == "write_single" || path == "write_per_kind") {
        io::EngineOutputDataFileWriter writer;
        if (path == "write_single") {
            writer.newFile(dir + "/single.vql", 65536);
        } else {
            writer.newFiles(KINDS, dir, "_profile", 65536);
        }
        for (long i = 0; i < frames; ++i) {
            writer.writeData(*w.frames[static_cast<std::size_t>(i) & mask]);
        }
        writer.closeFiles();
    } else if (path == "read_merged") {
        io::EngineOutputDataFileReader reader;
        reader.openFiles(dir);
        for (long i = 0; i < frames; ++i) {
            const auto frame = reader.readData();
            if (!frame) {
                std::cerr << "the recording holds fewer frames\n";
                return 1;
            }
            sink += frame->frameNum();
        }
    } else if (path == "client_objects" || path == "client_views") {
        io::EngineOutputDataTcpClient client;
        client.connect(std::make_unique<StreamSource>(w.stream));
        const bool objects = path == "client_objects";
        for (long i = 0; i < frames; ++i) {
            if (objects) {
                sink += client.receive(0)->frameNum();
            } else {
                sink += client.receiveView(0)->frameNum();
            }
        }
    } else if (path == "view") {
        static FrameView view;
        FrameValues values{};
        for (long i = 0; i < frames; ++i) {
            const ByteBuffer& bytes = w.bytes[static_cast<std::size_t>(i) & mask];
            sink += viewFrame(view, bytes.data(), bytes.size(), values);
        }
    } else if (path == "read_columns") {
        io::ColumnReaderOptions options;
        options.max_frames = static_cast<std::uint64_t>(frames);
        if (const char* rows = std::getenv("VQ_ROWS")) {
            options.batch_rows = std::strtoul(rows, nullptr, 10);
        }
        if (const char* table = std::getenv("VQ_TABLE")) {
            if (!tableOfName(table, options.table)) {
                return usage();
            }
        }
        io::ColumnReader reader(dir, options);
        io::ColumnBatch batch;
        while (reader.next(batch)) {
            sink += batch.numRows();
        }
    } else {
        return usage();
    }
    std::cout << sink << '\n';
    return 0;
}
