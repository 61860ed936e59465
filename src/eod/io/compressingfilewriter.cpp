#include "vq/eod/io/compressingfilewriter.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <condition_variable>
#include <cstring>
#include <limits>
#include <mutex>
#include <thread>
#include <vector>

#include <zstd.h>

#include "eod/io/compressedframeformat_internal.h"
#include "eod/io/paths_internal.h"
#include "eod/precondition_internal.h"
#include "vq/eod/io/compressedframefileerror.h"

namespace vq::eod::io {

using namespace detail;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int MIN_LEVEL = -7;
constexpr int MAX_LEVEL = 19;
// Levels 1 to 3 compress with hash and chain tables of 2^14 entries.
constexpr int SMALL_TABLE_LEVEL = 3;
constexpr int SMALL_TABLE_LOG = 14;

struct IndexEntry {
    std::uint64_t offset = 0;
    std::uint32_t bytes = 0;
    ChunkHeader header;
};

// Writes every byte, going on after short writes and interruptions; 0 or the errno.
int writeAll(int fd, const unsigned char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t written = ::write(fd, data, size);
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            return errno;
        }
        if (written == 0) {
            return EIO;
        }
        data += written;
        size -= static_cast<std::size_t>(written);
    }
    return 0;
}

}  // namespace

// The caller's thread serialises frames into the open chunk and makes its column form when it
// closes it; a worker thread compresses and writes the chunks the caller closes, one at a time. So
// at most two chunks are in memory: the one being filled and the one being compressed. The worker's
// failures are kept and raised by the caller's next call.
class CompressingFileWriter::Impl {
public:
    ~Impl() {
        stopWorker();
        if (_fd >= 0) {
            ::close(_fd);
        }
        if (_cctx != nullptr) {
            ZSTD_freeCCtx(_cctx);
        }
    }

    void open(const std::string& path, const Options& options) {
        VQ_REQUIRE(_fd < 0, "a file is already open");
        VQ_REQUIRE(options.level >= MIN_LEVEL && options.level <= MAX_LEVEL,
                   "compression level out of range");
        VQ_REQUIRE(options.chunk_bytes >= 1 && options.chunk_bytes <= MAX_CHUNK_BYTES,
                   "chunk size out of range");
        VQ_REQUIRE(options.chunk_age.count() >= 0, "negative chunk age");
        if (_cctx == nullptr) {
            _cctx = ZSTD_createCCtx();
            if (_cctx == nullptr) {
                throw std::bad_alloc();
            }
        }
        ZSTD_CCtx_reset(_cctx, ZSTD_reset_session_and_parameters);
        ZSTD_CCtx_setParameter(_cctx, ZSTD_c_compressionLevel, options.level);
        if (options.level >= 1 && options.level <= SMALL_TABLE_LEVEL) {
            // Tables of 16 Ki entries stay in a core's cache: a quarter faster than level 3's
            // own for 1 MiB chunks, 2 % larger (bench/README.md).
            ZSTD_CCtx_setParameter(_cctx, ZSTD_c_hashLog, SMALL_TABLE_LOG);
            ZSTD_CCtx_setParameter(_cctx, ZSTD_c_chainLog, SMALL_TABLE_LOG);
        }
        // The reader decompresses a chunk into one buffer: no window beyond the chunk.
        ZSTD_CCtx_setParameter(_cctx, ZSTD_c_contentSizeFlag, 1);
        const int fd = isNativePath(path)
                           ? ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)
                           : -1;
        if (fd < 0) {
            const int error = isNativePath(path) ? errno : EINVAL;
            throw CompressedFrameFileError("CompressingFileWriter::newFile - could not open file " +
                                           path + ": " + std::strerror(error));
        }
        _fd = fd;
        _path = path;
        _options = options;
        _failure.clear();
        _failed = false;
        _offset = 0;
        _index.clear();
        _chunks_written = 0;
        _taken = 0;
        _total_frames = 0;
        _total_kinds.fill(0);
        _open.clear();
        _handed.clear();
        unsigned char header[FILE_HEADER_BYTES] = {};
        std::memcpy(header, FILE_MAGIC, sizeof FILE_MAGIC);
        putU16(header + 8, FORMAT_VERSION);
        putU16(header + 10, 0);
        putU32(header + 12, static_cast<std::uint32_t>(options.chunk_bytes));
        putU32(header + 16,
               static_cast<std::uint32_t>(std::min<std::int64_t>(
                   options.chunk_age.count(), std::numeric_limits<std::uint32_t>::max())));
        putU32(header + 20, static_cast<std::uint32_t>(options.level));
        putU64(header + 24, checksum(header, 24));
        writeOrFail(header, sizeof header);
        _worker = std::thread([this] { work(); });
    }

    bool isOpen() const { return _fd >= 0; }

    void close() {
        if (_fd < 0) {
            return;
        }
        try {
            handOff();
            waitIdle();
            if (!_failed) {
                writeFooter();
            }
        } catch (const CompressedFrameFileError&) {
            // _failure holds it; raised below after closing.
        }
        stopWorker();
        if (::close(_fd) != 0 && _failure.empty()) {
            _failure = describe(errno);
        }
        _fd = -1;
        _open.clear();
        _handed.clear();
        if (!_failure.empty()) {
            const std::string failure = _failure;
            _failure.clear();
            _failed = false;
            throw CompressedFrameFileError(failure);
        }
    }

    void write(const EngineOutputData& frame) {
        VQ_REQUIRE(_fd >= 0, "no file is open");
        if (!frame.serializeEnabled()) {
            return;
        }
        throwIfFailed();
        ByteBuffer& frames = _open.frames;
        const std::size_t start = frames.size();
        try {
            frame.serialize(frames);
        } catch (...) {
            frames.resize(start);
            throw;
        }
        const std::size_t size = frames.size() - start;
        if (size > MAX_CHUNK_BYTES - 12) {
            frames.resize(start);
            throw CompressedFrameFileError(
                "CompressingFileWriter::writeData - frame of " + std::to_string(size) +
                " bytes exceeds the chunk limit of " + std::to_string(MAX_CHUNK_BYTES) + " bytes");
        }
        // Run table and frames together stay within the limit: 4 + 8 per frame at most.
        if (!_open.lengths.empty() &&
            4 + 8 * (_open.lengths.size() + 1) + frames.size() > MAX_CHUNK_BYTES) {
            ByteBuffer held(frames.begin() + static_cast<std::ptrdiff_t>(start), frames.end());
            frames.resize(start);
            handOff();
            _open.frames = std::move(held);
        }
        addToChunk(frame, size);
        if (_open.frames.size() >= _options.chunk_bytes ||
            Clock::now() - _chunk_started >= _options.chunk_age) {
            handOff();
        }
    }

    void flush() {
        VQ_REQUIRE(_fd >= 0, "no file is open");
        throwIfFailed();
        handOff();
        waitIdle();
        throwIfFailed();
    }

    std::uint64_t framesWritten() const { return _taken; }
    std::uint64_t chunksWritten() const { return _chunks_written; }

private:
    // A chunk's frames, its contents before compression (made when it is closed), and what its
    // header needs that the bytes do not tell cheaply.
    struct Chunk {
        ByteBuffer frames;
        ByteBuffer columns;
        std::vector<std::uint32_t> lengths;
        std::array<std::uint64_t, 256> kinds{};
        std::uint32_t first_frame = 0;
        std::uint32_t last_frame = 0;

        void clear() {
            frames.clear();
            columns.clear();
            lengths.clear();
            kinds.fill(0);
        }
    };

    void addToChunk(const EngineOutputData& frame, std::size_t size) {
        if (_open.lengths.empty()) {
            _chunk_started = Clock::now();
            _open.first_frame = frame.frameNum();
        }
        _open.last_frame = frame.frameNum();
        _open.lengths.push_back(static_cast<std::uint32_t>(size));
        for (const auto& record : frame.subObjects()) {
            if (record->serializeEnabled()) {
                ++_open.kinds[static_cast<unsigned char>(record->objectID())];
            }
        }
        ++_taken;
    }

    // Gives the open chunk, if it holds a frame, to the worker, once the worker has written the
    // one before it. Raises the worker's failure, if any; the open chunk is then lost.
    void handOff() {
        if (_open.lengths.empty()) {
            return;
        }
        // The column form is made here, while the worker compresses the chunk before: the two
        // threads then take about as long per frame.
        _open.columns.clear();
        encodeColumns(_open.frames, _open.lengths, _open.columns);
        waitIdle();
        if (_failed) {
            _open.clear();
            throwIfFailed();
        }
        {
            std::lock_guard<std::mutex> lock(_mutex);
            std::swap(_open, _handed);
            _pending = true;
        }
        _open.clear();
        _wake.notify_one();
        if (!_options.overlap) {
            waitIdle();
            throwIfFailed();
        }
    }

    void waitIdle() {
        std::unique_lock<std::mutex> lock(_mutex);
        _idle.wait(lock, [this] { return !_pending; });
    }

    void stopWorker() {
        if (!_worker.joinable()) {
            return;
        }
        {
            std::lock_guard<std::mutex> lock(_mutex);
            _stopping = true;
        }
        _wake.notify_one();
        _worker.join();
        _stopping = false;
    }

    // The worker: writes each chunk handed to it; after a failure only drops them.
    void work() {
        std::unique_lock<std::mutex> lock(_mutex);
        for (;;) {
            _wake.wait(lock, [this] { return _pending || _stopping; });
            if (!_pending) {
                return;
            }
            lock.unlock();
            if (!_failed) {
                try {
                    writeChunk(_handed);
                } catch (const CompressedFrameFileError&) {
                    // writeOrFail() kept the failure.
                } catch (const std::exception& error) {
                    fail("CompressingFileWriter - could not compress a chunk for " + _path + ": " +
                         error.what());
                }
            }
            lock.lock();
            _pending = false;
            _idle.notify_all();
        }
    }

    void writeChunk(const Chunk& chunk) {
        const ByteBuffer& columns = chunk.columns;
        ChunkHeader header;
        header.raw_bytes = static_cast<std::uint32_t>(columns.size());
        header.frames = static_cast<std::uint32_t>(chunk.lengths.size());
        header.first_frame = chunk.first_frame;
        header.last_frame = chunk.last_frame;
        chunkTimes(chunk, header);
        for (std::size_t id = 0; id < chunk.kinds.size(); ++id) {
            if (chunk.kinds[id] != 0) {
                header.kinds.push_back({static_cast<unsigned char>(id), chunk.kinds[id]});
            }
        }
        const std::size_t header_bytes =
            CHUNK_FIXED_BYTES + KIND_ENTRY_BYTES * header.kinds.size() + 8;
        _chunk.resize(header_bytes + ZSTD_compressBound(columns.size()));
        const std::size_t stored =
            ZSTD_compress2(_cctx, _chunk.data() + header_bytes, _chunk.size() - header_bytes,
                           columns.data(), columns.size());
        if (ZSTD_isError(stored)) {
            fail("CompressingFileWriter - could not compress a chunk for " + _path + ": " +
                 ZSTD_getErrorName(stored));
            return;
        }
        header.stored_bytes = static_cast<std::uint32_t>(stored);
        header.contents_checksum = checksum(_chunk.data() + header_bytes, stored);
        _header.clear();
        encodeChunkHeader(header, _header);
        std::memcpy(_chunk.data(), _header.data(), header_bytes);
        const std::size_t bytes = header_bytes + stored;
        writeOrFail(_chunk.data(), bytes);
        _index.push_back({_offset - bytes, static_cast<std::uint32_t>(bytes), std::move(header)});
        _total_frames += chunk.lengths.size();
        for (std::size_t id = 0; id < chunk.kinds.size(); ++id) {
            _total_kinds[id] += chunk.kinds[id];
        }
        ++_chunks_written;
    }

    // The times of the chunk's first and last frames that have a timing record.
    static void chunkTimes(const Chunk& chunk, ChunkHeader& header) {
        header.first_time = std::numeric_limits<double>::quiet_NaN();
        header.last_time = header.first_time;
        std::size_t offset = 0;
        std::size_t first = chunk.lengths.size();
        for (std::size_t i = 0; i < chunk.lengths.size(); ++i) {
            if (frameTimeOf(chunk.frames.data() + offset, chunk.lengths[i], header.first_time)) {
                first = i;
                break;
            }
            offset += chunk.lengths[i];
        }
        std::size_t end = chunk.frames.size();
        for (std::size_t i = chunk.lengths.size(); i-- > first;) {
            end -= chunk.lengths[i];
            if (frameTimeOf(chunk.frames.data() + end, chunk.lengths[i], header.last_time)) {
                break;
            }
        }
    }
    void writeFooter() {
        ByteBuffer footer(sizeof FOOTER_SYNC + 4 + INDEX_ENTRY_BYTES * _index.size() +
                          FOOTER_SUMMARY_FIXED_BYTES);
        unsigned char* at = footer.data();
        std::memcpy(at, FOOTER_SYNC, sizeof FOOTER_SYNC);
        putU32(at + 8, static_cast<std::uint32_t>(_index.size()));
        at += 12;
        double first_time = std::numeric_limits<double>::quiet_NaN();
        double last_time = first_time;
        for (const IndexEntry& entry : _index) {
            putU64(at, entry.offset);
            putU32(at + 8, entry.bytes);
            putU32(at + 12, entry.header.frames);
            putU32(at + 16, entry.header.first_frame);
            putU32(at + 20, entry.header.last_frame);
            putTime(at + 24, entry.header.first_time);
            putTime(at + 32, entry.header.last_time);
            at += INDEX_ENTRY_BYTES;
            if (std::isnan(first_time)) {
                first_time = entry.header.first_time;
            }
            if (!std::isnan(entry.header.last_time)) {
                last_time = entry.header.last_time;
            }
        }
        putU64(at, _total_frames);
        putU32(at + 8, _index.empty() ? 0 : _index.front().header.first_frame);
        putU32(at + 12, _index.empty() ? 0 : _index.back().header.last_frame);
        putTime(at + 16, first_time);
        putTime(at + 24, last_time);
        std::uint16_t kinds = 0;
        for (const std::uint64_t count : _total_kinds) {
            kinds = static_cast<std::uint16_t>(kinds + (count != 0 ? 1 : 0));
        }
        putU16(at + 32, kinds);
        for (std::size_t id = 0; id < _total_kinds.size(); ++id) {
            if (_total_kinds[id] != 0) {
                unsigned char entry[SUMMARY_KIND_BYTES];
                entry[0] = static_cast<unsigned char>(id);
                putU64(entry + 1, _total_kinds[id]);
                footer.insert(footer.end(), entry, entry + SUMMARY_KIND_BYTES);
            }
        }
        const std::uint64_t footer_offset = _offset;
        unsigned char tail[8 + TRAILER_BYTES];
        putU64(tail, checksum(footer.data(), footer.size()));
        putU64(tail + 8, footer_offset);
        std::memcpy(tail + 16, END_MAGIC, sizeof END_MAGIC);
        footer.insert(footer.end(), tail, tail + sizeof tail);
        writeOrFail(footer.data(), footer.size());
    }

    // Writes at the end of the file; on failure cuts the file back to where this write began,
    // keeps the error and raises it. The caller's thread writes only while the worker is idle.
    void writeOrFail(const unsigned char* data, std::size_t size) {
        const int error = writeAll(_fd, data, size);
        if (error == 0) {
            _offset += size;
            return;
        }
        if (::ftruncate(_fd, static_cast<off_t>(_offset)) == 0) {
            ::lseek(_fd, static_cast<off_t>(_offset), SEEK_SET);
        }
        fail(describe(error));
        throw CompressedFrameFileError(describe(error));
    }

    // Keeps the first failure, raised again by every later call until the file is closed.
    void fail(const std::string& failure) {
        std::lock_guard<std::mutex> lock(_mutex);
        if (_failure.empty()) {
            _failure = failure;
        }
        _failed = true;
    }

    void throwIfFailed() {
        if (_failed) {
            std::lock_guard<std::mutex> lock(_mutex);
            throw CompressedFrameFileError(_failure);
        }
    }

    std::string describe(int error) const {
        return "CompressingFileWriter - could not write " + _path + ": " + std::strerror(error);
    }

    int _fd = -1;
    std::string _path;
    Options _options;
    std::uint64_t _offset = 0;  // the file's size
    ZSTD_CCtx* _cctx = nullptr;

    // The caller's side.
    Chunk _open;
    Clock::time_point _chunk_started;
    std::uint64_t _taken = 0;

    // Between the threads: _pending, _stopping and _failure under _mutex. The worker owns
    // _handed and what follows while _pending; the caller owns them otherwise.
    std::thread _worker;
    std::mutex _mutex;
    std::condition_variable _wake;  // a chunk is pending, or the worker is to stop
    std::condition_variable _idle;  // the worker wrote the pending chunk
    bool _pending = false;
    bool _stopping = false;
    std::string _failure;  // the first failure
    std::atomic<bool> _failed{false};
    std::atomic<std::uint64_t> _chunks_written{0};

    // The worker's side.
    Chunk _handed;
    ByteBuffer _header;
    ByteBuffer _chunk;
    std::vector<IndexEntry> _index;
    std::uint64_t _total_frames = 0;
    std::array<std::uint64_t, 256> _total_kinds{};
};

CompressingFileWriter::CompressingFileWriter() : _impl(std::make_unique<Impl>()) {}

CompressingFileWriter::~CompressingFileWriter() {
    try {
        _impl->close();
    } catch (const std::exception&) {
        // Closing without raising; closeFile() reports.
    }
}

void CompressingFileWriter::newFile(const std::string& path, const Options& options) {
    _impl->open(path, options);
}

void CompressingFileWriter::newFile(const std::string& path) {
    _impl->open(path, Options{});
}

void CompressingFileWriter::newFile(const std::wstring& path, const Options& options) {
    _impl->open(narrowPath(path), options);
}

bool CompressingFileWriter::isOpen() const {
    return _impl->isOpen();
}

void CompressingFileWriter::closeFile() {
    _impl->close();
}

void CompressingFileWriter::writeData(const EngineOutputData& frame) {
    _impl->write(frame);
}

void CompressingFileWriter::writeData(const boost::shared_ptr<const EngineOutputData>& frame) {
    VQ_REQUIRE(frame, "frame is NULL");
    _impl->write(*frame);
}

void CompressingFileWriter::flushChunk() {
    _impl->flush();
}

std::uint64_t CompressingFileWriter::framesWritten() const {
    return _impl->framesWritten();
}

std::uint64_t CompressingFileWriter::chunksWritten() const {
    return _impl->chunksWritten();
}

}  // namespace vq::eod::io
