#include "vq/eod/io/compressingfilewriter.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>
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

class CompressingFileWriter::Impl {
public:
    ~Impl() {
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
        _offset = 0;
        _index.clear();
        _total_frames = 0;
        _total_kinds.fill(0);
        resetChunk();
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
    }

    bool isOpen() const { return _fd >= 0; }

    void close() {
        if (_fd < 0) {
            return;
        }
        if (_failure.empty()) {
            try {
                writeChunk();
                writeFooter();
            } catch (const CompressedFrameFileError&) {
                // _failure holds it; raised below after closing.
            }
        }
        if (::close(_fd) != 0 && _failure.empty()) {
            _failure = describe(errno);
        }
        _fd = -1;
        resetChunk();
        if (!_failure.empty()) {
            const std::string failure = _failure;
            _failure.clear();
            throw CompressedFrameFileError(failure);
        }
    }

    void write(const EngineOutputData& frame) {
        VQ_REQUIRE(_fd >= 0, "no file is open");
        if (!frame.serializeEnabled()) {
            return;
        }
        throwIfFailed();
        const std::size_t start = _frames.size();
        try {
            frame.serialize(_frames);
        } catch (...) {
            _frames.resize(start);
            throw;
        }
        const std::size_t size = _frames.size() - start;
        if (size > MAX_CHUNK_BYTES - 12) {
            _frames.resize(start);
            throw CompressedFrameFileError(
                "CompressingFileWriter::writeData - frame of " + std::to_string(size) +
                " bytes exceeds the chunk limit of " + std::to_string(MAX_CHUNK_BYTES) + " bytes");
        }
        // Run table and frames together stay within the limit: 4 + 8 per frame at most.
        if (!_lengths.empty() && 4 + 8 * (_lengths.size() + 1) + _frames.size() > MAX_CHUNK_BYTES) {
            ByteBuffer held(_frames.begin() + static_cast<std::ptrdiff_t>(start), _frames.end());
            _frames.resize(start);
            writeChunk();
            _frames = std::move(held);
        }
        addToChunk(frame, _frames.data() + (_frames.size() - size), size);
        if (_frames.size() >= _options.chunk_bytes ||
            Clock::now() - _chunk_started >= _options.chunk_age) {
            writeChunk();
        }
    }

    void flush() {
        VQ_REQUIRE(_fd >= 0, "no file is open");
        throwIfFailed();
        writeChunk();
    }

    std::uint64_t framesWritten() const { return _total_frames + _lengths.size(); }
    std::uint64_t chunksWritten() const { return _index.size(); }

private:
    void resetChunk() {
        _frames.clear();
        _lengths.clear();
        _kinds.fill(0);
        _first_time = std::numeric_limits<double>::quiet_NaN();
        _last_time = _first_time;
    }

    void addToChunk(const EngineOutputData& frame, const unsigned char* bytes, std::size_t size) {
        if (_lengths.empty()) {
            _chunk_started = Clock::now();
            _first_frame = frame.frameNum();
        }
        _last_frame = frame.frameNum();
        _lengths.push_back(static_cast<std::uint32_t>(size));
        for (const auto& record : frame.subObjects()) {
            if (record->serializeEnabled()) {
                ++_kinds[static_cast<unsigned char>(record->objectID())];
            }
        }
        double time = 0;
        if (frameTimeOf(bytes, size, time)) {
            if (std::isnan(_first_time)) {
                _first_time = time;
            }
            _last_time = time;
        }
    }

    void writeChunk() {
        if (_lengths.empty()) {
            return;
        }
        _columns.clear();
        encodeColumns(_frames, _lengths, _columns);
        ChunkHeader header;
        header.raw_bytes = static_cast<std::uint32_t>(_columns.size());
        header.frames = static_cast<std::uint32_t>(_lengths.size());
        header.first_frame = _first_frame;
        header.last_frame = _last_frame;
        header.first_time = _first_time;
        header.last_time = _last_time;
        for (std::size_t id = 0; id < _kinds.size(); ++id) {
            if (_kinds[id] != 0) {
                header.kinds.push_back({static_cast<unsigned char>(id), _kinds[id]});
            }
        }
        const std::size_t header_bytes =
            CHUNK_FIXED_BYTES + KIND_ENTRY_BYTES * header.kinds.size() + 8;
        _chunk.resize(header_bytes + ZSTD_compressBound(_columns.size()));
        const std::size_t stored =
            ZSTD_compress2(_cctx, _chunk.data() + header_bytes, _chunk.size() - header_bytes,
                           _columns.data(), _columns.size());
        if (ZSTD_isError(stored)) {
            _failure = "CompressingFileWriter - could not compress a chunk for " + _path + ": " +
                       ZSTD_getErrorName(stored);
            throw CompressedFrameFileError(_failure);
        }
        header.stored_bytes = static_cast<std::uint32_t>(stored);
        header.contents_checksum = checksum(_chunk.data() + header_bytes, stored);
        ByteBuffer encoded;
        encodeChunkHeader(header, encoded);
        std::memcpy(_chunk.data(), encoded.data(), header_bytes);
        const std::size_t bytes = header_bytes + stored;
        writeOrFail(_chunk.data(), bytes);
        _index.push_back({_offset - bytes, static_cast<std::uint32_t>(bytes), std::move(header)});
        _total_frames += _lengths.size();
        for (std::size_t id = 0; id < _kinds.size(); ++id) {
            _total_kinds[id] += _kinds[id];
        }
        resetChunk();
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
    // remembers the error and raises it.
    void writeOrFail(const unsigned char* data, std::size_t size) {
        const int error = writeAll(_fd, data, size);
        if (error == 0) {
            _offset += size;
            return;
        }
        _failure = describe(error);
        if (::ftruncate(_fd, static_cast<off_t>(_offset)) == 0) {
            ::lseek(_fd, static_cast<off_t>(_offset), SEEK_SET);
        }
        throw CompressedFrameFileError(_failure);
    }

    void throwIfFailed() const {
        if (!_failure.empty()) {
            throw CompressedFrameFileError(_failure);
        }
    }

    std::string describe(int error) const {
        return "CompressingFileWriter - could not write " + _path + ": " + std::strerror(error);
    }

    int _fd = -1;
    std::string _path;
    Options _options;
    std::string _failure;  // the first write error, raised again until the file is closed
    std::uint64_t _offset = 0;
    ZSTD_CCtx* _cctx = nullptr;

    // The open chunk.
    ByteBuffer _frames;
    std::vector<std::uint32_t> _lengths;
    std::array<std::uint64_t, 256> _kinds{};
    std::uint32_t _first_frame = 0;
    std::uint32_t _last_frame = 0;
    double _first_time = 0;
    double _last_time = 0;
    Clock::time_point _chunk_started;

    // Scratch, kept between chunks.
    ByteBuffer _columns;
    ByteBuffer _chunk;

    // The chunks written, for the footer.
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
