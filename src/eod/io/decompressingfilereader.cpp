#include "vq/eod/io/decompressingfilereader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <condition_variable>
#include <cstring>
#include <exception>
#include <limits>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include <zstd.h>

#include "eod/io/compressedframeformat_internal.h"
#include "eod/io/paths_internal.h"
#include "eod/precondition_internal.h"
#include "vq/eod/io/compressedframefileerror.h"
#include "vq/eod/serializablefactory.h"

namespace vq::eod::io {

using namespace detail;

namespace {

constexpr double NO_TIME = std::numeric_limits<double>::quiet_NaN();
// Bytes read at a time while searching a damaged region for the next sync marker.
constexpr std::size_t SEARCH_BYTES = 1 << 20;

bool hasTime(double time) {
    return !std::isnan(time);
}

}  // namespace

class DecompressingFileReader::Impl {
public:
    ~Impl() {
        close();
        for (ZSTD_DCtx* dctx : {_decoder.dctx, _ahead_decoder.dctx}) {
            if (dctx != nullptr) {
                ZSTD_freeDCtx(dctx);
            }
        }
    }

    void open(const std::string& path) {
        VQ_REQUIRE(_fd < 0, "a file is already open");
        const int fd = isNativePath(path) ? ::open(path.c_str(), O_RDONLY | O_CLOEXEC) : -1;
        struct stat status {};
        if (fd < 0 || ::fstat(fd, &status) != 0) {
            if (fd >= 0) {
                ::close(fd);
            }
            fail("could not open file", path);
        }
        _fd = fd;
        _size = static_cast<std::uint64_t>(status.st_size);
        _chunks.clear();
        _header_damage.clear();
        _has_footer = false;
        _summary = Summary{};
        try {
            readFileHeader(path);
        } catch (...) {
            close();
            throw;
        }
        if (!readFooter()) {
            scan(FILE_HEADER_BYTES, _size);
            summarise();
        }
        buildSearch();
        rewind();
    }

    bool isOpen() const { return _fd >= 0; }

    void close() {
        stopPrefetching();
        if (_fd >= 0) {
            ::close(_fd);
            _fd = -1;
        }
        _chunks.clear();
        _loaded = NONE;
    }

    bool hasFooter() const { return _has_footer; }
    const std::vector<Chunk>& chunks() const { return _chunks; }
    const Summary& summary() const { return _summary; }

    std::vector<std::string> damage() const {
        std::vector<std::string> messages = _header_damage;
        for (std::size_t i = 0; i < _chunks.size(); ++i) {
            if (!_chunks[i].damage.empty()) {
                messages.push_back(describe(i));
            }
        }
        return messages;
    }

    std::vector<std::string> verify() {
        requireOpen();
        for (std::size_t i = 0; i < _chunks.size(); ++i) {
            if (_chunks[i].damage.empty()) {
                load(i, false);
            }
        }
        release();
        rewind();
        return damage();
    }

    // Loads the next chunk when every frame of the current one has been read; false at the end.
    bool nextChunkIfDone() {
        requireOpen();
        while (_loaded == NONE || _position + 1 >= _current->offsets.size()) {
            if (_next_chunk >= _chunks.size()) {
                return false;
            }
            const std::size_t index = _next_chunk++;
            release();
            prefetch(index);
            load(index, true);
            _position = 0;
        }
        return true;
    }

    bool nextBlock(const unsigned char*& base, const std::size_t*& offsets, std::size_t& count) {
        if (!nextChunkIfDone()) {
            return false;
        }
        base = _current->frames.data();
        offsets = _current->offsets.data() + _position;
        count = _current->offsets.size() - 1 - _position;
        _position = _current->offsets.size() - 1;
        return true;
    }

    bool next(const unsigned char*& data, std::size_t& size) {
        if (!nextChunkIfDone()) {
            return false;
        }
        data = _current->frames.data() + _current->offsets[_position];
        size = _current->offsets[_position + 1] - _current->offsets[_position];
        ++_position;
        return true;
    }

    boost::shared_ptr<EngineOutputData> readData() {
        const unsigned char* data = nullptr;
        std::size_t size = 0;
        if (!next(data, size)) {
            return {};
        }
        // The frame's bytes passed the chunk's checksum: they are what the writer serialised.
        int pos = static_cast<int>(_current->offsets[_position - 1]);
        const int end = static_cast<int>(_current->offsets[_position]);
        auto frame = boost::dynamic_pointer_cast<EngineOutputData>(
            SerializableFactory::newObject(_current->frames, pos));
        if (!frame || pos != end) {
            throw CompressedFrameFileError(
                "DecompressingFileReader::readData - not a frame in the chunk at bytes " +
                byteRange(_loaded));
        }
        return frame;
    }

    bool endOfData() {
        requireOpen();
        if (_loaded != NONE && _position + 1 < _current->offsets.size()) {
            return false;
        }
        return _next_chunk >= _chunks.size();
    }

    void seekFrame(std::uint32_t frame_num) {
        requireOpen();
        const auto found = std::lower_bound(
            _by_frame.begin(), _by_frame.end(), frame_num,
            [this](std::size_t index, std::uint32_t n) { return _chunks[index].last_frame < n; });
        seekWithin(found == _by_frame.end() ? _chunks.size() : *found,
                   [frame_num](const unsigned char* frame, std::size_t size) {
                       std::uint32_t number = 0;
                       return frameNumberOf(frame, size, number) && number >= frame_num;
                   });
    }

    void seekTime(double time) {
        requireOpen();
        const auto found = std::lower_bound(
            _by_time.begin(), _by_time.end(), time,
            [this](std::size_t index, double t) { return _chunks[index].last_time < t; });
        seekWithin(found == _by_time.end() ? _chunks.size() : *found,
                   [time](const unsigned char* frame, std::size_t size) {
                       double frame_time = 0;
                       return frameTimeOf(frame, size, frame_time) && frame_time >= time;
                   });
    }

    void rewind() {
        release();
        _next_chunk = 0;
        _position = 0;
    }

    void readChunk(std::size_t index, ByteBuffer& frames, std::vector<std::size_t>& offsets) {
        requireOpen();
        VQ_REQUIRE(index < _chunks.size(), "chunk index out of range");
        release();
        if (!_chunks[index].damage.empty()) {
            throw CompressedFrameFileError(describe(index));
        }
        load(index, true);
        frames.swap(_current->frames);
        offsets.swap(_current->offsets);
        release();
    }

private:
    static constexpr std::size_t NONE = std::numeric_limits<std::size_t>::max();

    [[noreturn]] static void fail(const std::string& reason, const std::string& path) {
        throw CompressedFrameFileError("DecompressingFileReader::open - " + reason + ": " + path);
    }

    void requireOpen() const { VQ_REQUIRE(_fd >= 0, "no file is open"); }

    // Reads up to `size` bytes at `offset`; the count read (short only at the end of the file).
    std::size_t readAt(std::uint64_t offset, unsigned char* data, std::size_t size) const {
        std::size_t done = 0;
        while (done < size) {
            const ssize_t got =
                ::pread(_fd, data + done, size - done, static_cast<off_t>(offset + done));
            if (got < 0 && errno == EINTR) {
                continue;
            }
            if (got <= 0) {
                break;
            }
            done += static_cast<std::size_t>(got);
        }
        return done;
    }

    void readFileHeader(const std::string& path) {
        unsigned char header[FILE_HEADER_BYTES] = {};
        const std::size_t got = readAt(0, header, sizeof header);
        if (got < sizeof FILE_MAGIC || std::memcmp(header, FILE_MAGIC, sizeof FILE_MAGIC) != 0) {
            fail("not a compressed frame file", path);
        }
        if (got < sizeof header || getU64(header + 24) != checksum(header, 24)) {
            _header_damage.push_back("DecompressingFileReader - damaged file header at bytes 0-31");
            return;
        }
        if (getU16(header + 8) != FORMAT_VERSION || getU16(header + 10) != 0) {
            fail("unsupported version " + std::to_string(getU16(header + 8)) + "." +
                     std::to_string(getU16(header + 10)),
                 path);
        }
    }

    // Takes the index and summary from a valid footer; false when there is none.
    bool readFooter() {
        const std::size_t fixed = 12 + FOOTER_SUMMARY_FIXED_BYTES + 8;
        if (_size < FILE_HEADER_BYTES + fixed + TRAILER_BYTES) {
            return false;
        }
        unsigned char trailer[TRAILER_BYTES];
        if (readAt(_size - TRAILER_BYTES, trailer, TRAILER_BYTES) != TRAILER_BYTES ||
            std::memcmp(trailer + 8, END_MAGIC, sizeof END_MAGIC) != 0) {
            return false;
        }
        const std::uint64_t footer_offset = getU64(trailer);
        if (footer_offset < FILE_HEADER_BYTES || footer_offset > _size - TRAILER_BYTES - fixed) {
            return footerDamaged(_size - TRAILER_BYTES);
        }
        // The footer's size is bounded by the file's: these bytes are really there.
        ByteBuffer footer(_size - TRAILER_BYTES - footer_offset);
        if (readAt(footer_offset, footer.data(), footer.size()) != footer.size() ||
            std::memcmp(footer.data(), FOOTER_SYNC, sizeof FOOTER_SYNC) != 0 ||
            getU64(footer.data() + footer.size() - 8) !=
                checksum(footer.data(), footer.size() - 8)) {
            return footerDamaged(footer_offset);
        }
        const std::uint64_t count = getU32(footer.data() + 8);
        if (count > (footer.size() - fixed) / INDEX_ENTRY_BYTES) {
            return footerDamaged(footer_offset);
        }
        const std::size_t kinds_bytes = footer.size() - fixed - count * INDEX_ENTRY_BYTES;
        const unsigned char* summary = footer.data() + 12 + count * INDEX_ENTRY_BYTES;
        const std::size_t kinds = getU16(summary + 32);
        if (kinds > MAX_KINDS || kinds_bytes != kinds * SUMMARY_KIND_BYTES) {
            return footerDamaged(footer_offset);
        }
        std::vector<Chunk> chunks(count);
        std::uint64_t end = FILE_HEADER_BYTES;
        for (std::size_t i = 0; i < count; ++i) {
            const unsigned char* at = footer.data() + 12 + i * INDEX_ENTRY_BYTES;
            Chunk& chunk = chunks[i];
            chunk.offset = getU64(at);
            chunk.bytes = getU32(at + 8);
            chunk.frames = getU32(at + 12);
            chunk.first_frame = getU32(at + 16);
            chunk.last_frame = getU32(at + 20);
            chunk.first_time = getTime(at + 24);
            chunk.last_time = getTime(at + 32);
            if (chunk.offset < end || chunk.bytes < CHUNK_FIXED_BYTES + 8 ||
                chunk.bytes > footer_offset - chunk.offset || chunk.frames == 0) {
                return footerDamaged(footer_offset);
            }
            end = chunk.offset + chunk.bytes;
        }
        _summary.frames = getU64(summary);
        _summary.first_frame = getU32(summary + 8);
        _summary.last_frame = getU32(summary + 12);
        _summary.first_time = getTime(summary + 16);
        _summary.last_time = getTime(summary + 24);
        for (std::size_t i = 0; i < kinds; ++i) {
            const unsigned char* at = summary + FOOTER_SUMMARY_FIXED_BYTES + i * SUMMARY_KIND_BYTES;
            _summary.kinds.emplace_back(static_cast<char>(at[0]), getU64(at + 1));
        }
        _chunks = std::move(chunks);
        _has_footer = true;
        return true;
    }

    bool footerDamaged(std::uint64_t offset) {
        _header_damage.push_back("DecompressingFileReader - damaged footer at bytes " +
                                 std::to_string(offset) + "-" + std::to_string(_size - 1));
        _footer_offset = offset;
        return false;
    }

    // Finds the chunks of [from, to) one by one, and the damaged regions between them.
    void scan(std::uint64_t from, std::uint64_t to) {
        if (_footer_offset > from && _footer_offset < to) {
            to = _footer_offset;  // a damaged footer is already reported
        }
        ByteBuffer bytes(CHUNK_HEADER_MAX_BYTES);
        std::uint64_t pos = from;
        while (pos < to) {
            const std::size_t got =
                readAt(pos, bytes.data(),
                       static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), to - pos)));
            ChunkHeader header;
            const HeaderStatus status = decodeChunkHeader(bytes.data(), got, header);
            if (status == HeaderStatus::OK) {
                Chunk chunk = chunkOf(pos, header);
                if (chunk.bytes > to - pos) {
                    chunk.bytes = to - pos;
                    chunk.damage = "cut short by the end of the file";
                    _chunks.push_back(chunk);
                    return;
                }
                _chunks.push_back(chunk);
                pos += chunk.bytes;
                continue;
            }
            if (status == HeaderStatus::NO_SYNC && got >= sizeof FOOTER_SYNC &&
                std::memcmp(bytes.data(), FOOTER_SYNC, sizeof FOOTER_SYNC) == 0) {
                // A footer without its trailer: the writer died while closing.
                _header_damage.push_back("DecompressingFileReader - incomplete footer at bytes " +
                                         std::to_string(pos) + "-" + std::to_string(to - 1));
                return;
            }
            Chunk damaged;
            damaged.offset = pos;
            if (status == HeaderStatus::CUT_SHORT) {
                damaged.bytes = to - pos;
                damaged.damage = "cut short by the end of the file";
                _chunks.push_back(damaged);
                return;
            }
            const std::uint64_t next = findChunk(pos + 1, to);
            damaged.bytes = next - pos;
            damaged.damage = status == HeaderStatus::NO_SYNC        ? "no chunk header"
                             : status == HeaderStatus::BAD_CHECKSUM ? "header checksum mismatch"
                                                                    : "header values out of range";
            _chunks.push_back(damaged);
            pos = next;
        }
    }

    // The offset of the next sync marker in [from, to) that starts a valid chunk header or a
    // footer, or `to`.
    std::uint64_t findChunk(std::uint64_t from, std::uint64_t to) {
        ByteBuffer window(SEARCH_BYTES + sizeof CHUNK_SYNC);
        ByteBuffer candidate(CHUNK_HEADER_MAX_BYTES);
        std::uint64_t pos = from;
        while (pos < to) {
            const std::size_t got =
                readAt(pos, window.data(),
                       static_cast<std::size_t>(std::min<std::uint64_t>(window.size(), to - pos)));
            if (got < sizeof CHUNK_SYNC) {
                return to;
            }
            for (std::size_t i = 0; i + sizeof CHUNK_SYNC <= got; ++i) {
                const unsigned char* at = static_cast<const unsigned char*>(
                    std::memchr(window.data() + i, 0xE6, got - sizeof CHUNK_SYNC + 1 - i));
                if (at == nullptr) {
                    break;
                }
                i = static_cast<std::size_t>(at - window.data());
                if (std::memcmp(at, FOOTER_SYNC, sizeof FOOTER_SYNC) == 0) {
                    return pos + i;
                }
                if (std::memcmp(at, CHUNK_SYNC, sizeof CHUNK_SYNC) == 0) {
                    const std::size_t have =
                        readAt(pos + i, candidate.data(),
                               static_cast<std::size_t>(
                                   std::min<std::uint64_t>(candidate.size(), to - pos - i)));
                    ChunkHeader header;
                    const HeaderStatus status = decodeChunkHeader(candidate.data(), have, header);
                    if (status == HeaderStatus::OK || status == HeaderStatus::CUT_SHORT) {
                        return pos + i;
                    }
                }
            }
            if (got < window.size()) {
                return to;
            }
            pos += got - (sizeof CHUNK_SYNC - 1);
        }
        return to;
    }

    static Chunk chunkOf(std::uint64_t offset, const ChunkHeader& header) {
        Chunk chunk;
        chunk.offset = offset;
        chunk.bytes = header.header_bytes + static_cast<std::uint64_t>(header.stored_bytes);
        chunk.frames = header.frames;
        chunk.first_frame = header.first_frame;
        chunk.last_frame = header.last_frame;
        chunk.first_time = header.first_time;
        chunk.last_time = header.last_time;
        return chunk;
    }

    // The summary of a file without a footer, from the headers of its chunks.
    void summarise() {
        std::map<unsigned char, std::uint64_t> kinds;
        _summary.first_time = NO_TIME;
        _summary.last_time = NO_TIME;
        bool first = true;
        ByteBuffer bytes(CHUNK_HEADER_MAX_BYTES);
        for (const Chunk& chunk : _chunks) {
            if (chunk.frames == 0 || !chunk.damage.empty()) {
                continue;
            }
            _summary.frames += chunk.frames;
            if (first) {
                _summary.first_frame = chunk.first_frame;
                first = false;
            }
            _summary.last_frame = chunk.last_frame;
            if (!hasTime(_summary.first_time)) {
                _summary.first_time = chunk.first_time;
            }
            if (hasTime(chunk.last_time)) {
                _summary.last_time = chunk.last_time;
            }
            ChunkHeader header;
            const std::size_t got = readAt(chunk.offset, bytes.data(), bytes.size());
            if (decodeChunkHeader(bytes.data(), got, header) == HeaderStatus::OK) {
                for (const KindCount& kind : header.kinds) {
                    kinds[kind.id] += kind.count;
                }
            }
        }
        for (const auto& kind : kinds) {
            _summary.kinds.emplace_back(static_cast<char>(kind.first), kind.second);
        }
    }

    // The chunks that seeks search, in file order: those whose header gave frames and times.
    void buildSearch() {
        _by_frame.clear();
        _by_time.clear();
        for (std::size_t i = 0; i < _chunks.size(); ++i) {
            if (_chunks[i].frames == 0) {
                continue;
            }
            _by_frame.push_back(i);
            if (hasTime(_chunks[i].last_time)) {
                _by_time.push_back(i);
            }
        }
    }

    // A decoded chunk: its frames and their offsets.
    struct Decoded {
        ByteBuffer frames;
        std::vector<std::size_t> offsets;
    };

    // What a thread decodes with: its zstd context, and a chunk's stored and raw contents, which
    // are only needed while it is decoded (and, reused, stay in that core's cache).
    struct Decoder {
        ZSTD_DCtx* dctx = nullptr;
        ByteBuffer stored;
        ByteBuffer raw;
    };

    // A chunk in memory: decoded ahead (PENDING, WORKING, READY) or read (HELD).
    struct Slot {
        enum State { FREE, PENDING, WORKING, READY, HELD };
        State state = FREE;
        std::size_t index = NONE;
        Decoded chunk;
        std::string damage;
        std::exception_ptr failure;
    };

    // Decodes chunk `index` into a slot of its own, which becomes _current. A damaged chunk is
    // marked, and raised when `raise` is set.
    void load(std::size_t index, bool raise) {
        release();
        Chunk& chunk = _chunks[index];
        if (chunk.damage.empty()) {
            Slot& slot = take(index);
            _held = &slot;
            if (slot.failure) {
                const std::exception_ptr failure = std::exchange(slot.failure, nullptr);
                release();
                std::rethrow_exception(failure);
            }
            if (slot.damage.empty()) {
                _current = &slot.chunk;
                _loaded = index;
                return;
            }
            chunk.damage = std::move(slot.damage);
            release();
        }
        if (raise) {
            throw CompressedFrameFileError(describe(index));
        }
    }

    // Gives up the chunk read: its frames are no longer valid.
    void release() {
        _loaded = NONE;
        _current = nullptr;
        if (_held != nullptr) {
            std::lock_guard<std::mutex> lock(_mutex);
            _held->state = Slot::FREE;
            _held->index = NONE;
            _held = nullptr;
        }
    }

    // Marks chunk `first` and the two after it, as far as they exist and are not known damaged,
    // to be decoded ahead, each in a slot of its own; slots holding other chunks are given up,
    // except one being decoded, which is finished first. Nothing is held when this is called.
    void prefetch(std::size_t first) {
        if (first + 1 >= _chunks.size() || !_chunks[first].damage.empty()) {
            return;  // nothing after it to decode ahead
        }
        if (!_prefetcher.joinable()) {
            _prefetcher = std::thread([this] { prefetchChunks(); });
        }
        std::lock_guard<std::mutex> lock(_mutex);
        for (Slot& slot : _slots) {
            if (slot.state != Slot::WORKING &&
                (slot.index < first || slot.index >= first + SLOTS)) {
                slot.state = Slot::FREE;
                slot.index = NONE;
                slot.failure = nullptr;
            }
        }
        for (std::size_t index = first; index < first + SLOTS && index < _chunks.size(); ++index) {
            if (!_chunks[index].damage.empty()) {
                break;
            }
            Slot* free = nullptr;
            bool held = false;
            for (Slot& slot : _slots) {
                held = held || slot.index == index;
                free = free == nullptr && slot.state == Slot::FREE ? &slot : free;
            }
            if (!held && free != nullptr) {
                free->index = index;
                free->state = Slot::PENDING;
            }
        }
        _wake.notify_one();
    }

    // The slot of chunk `index`, decoded and HELD: taken from the slot that holds it, or
    // decoded on this thread. While the prefetching thread decodes it, this thread decodes the
    // chunks waiting after it rather than wait, so that both decode when decoding is the slower
    // side of reading.
    Slot& take(std::size_t index) {
        std::unique_lock<std::mutex> lock(_mutex);
        for (;;) {
            Slot* slot = nullptr;
            Slot* spare = nullptr;
            for (Slot& s : _slots) {
                if (s.state != Slot::FREE && s.index == index) {
                    slot = &s;
                }
                if (s.state != Slot::WORKING && (spare == nullptr || s.state == Slot::FREE)) {
                    spare = &s;
                }
            }
            if (slot == nullptr) {
                // Not decoded ahead: a slot not in use by the thread (nothing is held).
                slot = spare;
                slot->index = index;
                slot->state = Slot::PENDING;
            }
            if (slot->state == Slot::READY) {
                slot->state = Slot::HELD;
                return *slot;
            }
            Slot* work = slot->state == Slot::PENDING ? slot : lowestPending();
            if (work != nullptr) {
                decodeIn(*work, lock, _decoder);
            } else {
                _done.wait(lock);
            }
        }
    }

    // The PENDING slot of the lowest chunk, or null.
    Slot* lowestPending() {
        Slot* lowest = nullptr;
        for (Slot& slot : _slots) {
            if (slot.state == Slot::PENDING && (lowest == nullptr || slot.index < lowest->index)) {
                lowest = &slot;
            }
        }
        return lowest;
    }

    // Decodes the PENDING slot's chunk with `lock` released, then marks it READY.
    void decodeIn(Slot& slot, std::unique_lock<std::mutex>& lock, Decoder& decoder) {
        slot.state = Slot::WORKING;
        const std::size_t index = slot.index;
        lock.unlock();
        std::string damage;
        std::exception_ptr failure;
        try {
            damage = decode(_chunks[index], slot.chunk, decoder);
        } catch (...) {
            failure = std::current_exception();  // such as std::bad_alloc
        }
        lock.lock();
        slot.damage = std::move(damage);
        slot.failure = failure;
        slot.state = Slot::READY;
        _done.notify_all();
    }

    // The prefetching thread: decodes the pending slot of the lowest chunk, one at a time.
    void prefetchChunks() {
        std::unique_lock<std::mutex> lock(_mutex);
        for (;;) {
            Slot* next = nullptr;
            _wake.wait(lock, [this, &next] {
                next = lowestPending();
                return next != nullptr || _stopping;
            });
            if (_stopping) {
                return;
            }
            decodeIn(*next, lock, _ahead_decoder);
        }
    }

    void stopPrefetching() {
        if (_prefetcher.joinable()) {
            {
                std::lock_guard<std::mutex> lock(_mutex);
                _stopping = true;
            }
            _wake.notify_one();
            _prefetcher.join();
            _stopping = false;
        }
        for (Slot& slot : _slots) {
            slot.state = Slot::FREE;
            slot.index = NONE;
            slot.failure = nullptr;
        }
        _held = nullptr;
        _current = nullptr;
    }

    // Decodes `chunk` into `into` with `decoder`: the reason it is damaged, or empty when it
    // decoded. Reads only the file and the chunk's index entry, so that two threads, each with
    // its own decoder, may decode at once.
    std::string decode(const Chunk& chunk, Decoded& into, Decoder& decoder) const {
        // The header apart from the contents, so that the contents' buffer only grows (and is
        // cleared) when a chunk's contents are larger than any before.
        unsigned char header_bytes[CHUNK_HEADER_MAX_BYTES];
        const std::size_t got = readAt(
            chunk.offset, header_bytes,
            static_cast<std::size_t>(std::min<std::uint64_t>(sizeof header_bytes, chunk.bytes)));
        ChunkHeader header;
        switch (decodeChunkHeader(header_bytes, got, header)) {
            case HeaderStatus::OK:
                break;
            case HeaderStatus::NO_SYNC:
                return "no chunk header";
            case HeaderStatus::CUT_SHORT:
                return "cut short by the end of the file";
            case HeaderStatus::BAD_CHECKSUM:
                return "header checksum mismatch";
            case HeaderStatus::BAD_VALUES:
                return "header values out of range";
        }
        if (header.header_bytes + static_cast<std::uint64_t>(header.stored_bytes) != chunk.bytes ||
            header.frames != chunk.frames || header.first_frame != chunk.first_frame ||
            header.last_frame != chunk.last_frame) {
            return "header does not match the index";
        }
        decoder.stored.resize(header.stored_bytes);
        if (readAt(chunk.offset + header.header_bytes, decoder.stored.data(),
                   decoder.stored.size()) != decoder.stored.size()) {
            return "cut short by the end of the file";
        }
        if (checksum(decoder.stored.data(), decoder.stored.size()) != header.contents_checksum) {
            return "contents checksum mismatch";
        }
        if (decoder.dctx == nullptr) {
            decoder.dctx = ZSTD_createDCtx();
            if (decoder.dctx == nullptr) {
                throw std::bad_alloc();
            }
        }
        if (ZSTD_getFrameContentSize(decoder.stored.data(), decoder.stored.size()) !=
            header.raw_bytes) {
            return "contents do not decompress to " + std::to_string(header.raw_bytes) + " bytes";
        }
        decoder.raw.resize(header.raw_bytes);
        const std::size_t raw =
            ZSTD_decompressDCtx(decoder.dctx, decoder.raw.data(), decoder.raw.size(),
                                decoder.stored.data(), decoder.stored.size());
        if (ZSTD_isError(raw)) {
            return std::string("contents cannot be decompressed: ") + ZSTD_getErrorName(raw);
        }
        if (raw != header.raw_bytes) {
            return "contents do not decompress to " + std::to_string(header.raw_bytes) + " bytes";
        }
        std::uint32_t first = 0;
        std::uint32_t last = 0;
        if (!decodeColumns(decoder.raw.data(), decoder.raw.size(), header.frames, into.frames,
                           into.offsets) ||
            !frameNumberOf(into.frames.data(), into.offsets[1], first) ||
            !frameNumberOf(into.frames.data() + into.offsets[into.offsets.size() - 2],
                           into.offsets.back() - into.offsets[into.offsets.size() - 2], last) ||
            first != header.first_frame || last != header.last_frame) {
            return "contents are not the frames the header describes";
        }
        return {};
    }

    // Loads the chunk at `index` of the search list and places the read position at its first
    // frame that `reached` accepts; past the end when there is none.
    template <class Reached>
    void seekWithin(std::size_t index, Reached reached) {
        release();
        _next_chunk = index;
        if (index >= _chunks.size()) {
            return;
        }
        _next_chunk = index + 1;
        load(index, true);
        for (_position = 0; _position + 1 < _current->offsets.size(); ++_position) {
            if (reached(_current->frames.data() + _current->offsets[_position],
                        _current->offsets[_position + 1] - _current->offsets[_position])) {
                return;
            }
        }
    }

    std::string byteRange(std::size_t index) const {
        const Chunk& chunk = _chunks[index];
        return std::to_string(chunk.offset) + "-" + std::to_string(chunk.offset + chunk.bytes - 1);
    }

    std::string describe(std::size_t index) const {
        const Chunk& chunk = _chunks[index];
        std::string frames;
        if (chunk.frames != 0) {
            frames = "frames " + std::to_string(chunk.first_frame) + "-" +
                     std::to_string(chunk.last_frame);
        } else {
            // The frames its intact neighbours leave.
            const Chunk* before = nullptr;
            const Chunk* after = nullptr;
            for (std::size_t i = index; i-- > 0;) {
                if (_chunks[i].frames != 0) {
                    before = &_chunks[i];
                    break;
                }
            }
            for (std::size_t i = index + 1; i < _chunks.size(); ++i) {
                if (_chunks[i].frames != 0) {
                    after = &_chunks[i];
                    break;
                }
            }
            if (before != nullptr && after != nullptr &&
                before->last_frame + 1ull < after->first_frame) {
                frames = "frames " + std::to_string(before->last_frame + 1) + "-" +
                         std::to_string(after->first_frame - 1) + " by its neighbours";
            } else if (before != nullptr && after != nullptr) {
                frames = "no frames by its neighbours";
            } else {
                frames = "frames unknown";
            }
        }
        return "DecompressingFileReader - damaged chunk at bytes " + byteRange(index) + " (" +
               frames + "): " + chunk.damage;
    }

    int _fd = -1;
    std::uint64_t _size = 0;
    std::uint64_t _footer_offset = 0;  // of a damaged footer, which scans stop before
    bool _has_footer = false;
    std::vector<Chunk> _chunks;
    std::vector<std::string> _header_damage;  // file header and footer
    Summary _summary;
    std::vector<std::size_t> _by_frame;
    std::vector<std::size_t> _by_time;

    // Reading.
    Decoder _decoder;  // the caller's
    std::size_t _next_chunk = 0;
    std::size_t _loaded = NONE;   // the chunk read
    std::size_t _position = 0;    // its next frame
    Decoded* _current = nullptr;  // its frames: the chunk of _held
    Slot* _held = nullptr;        // its slot

    // The slots: at most three chunks in memory, the one read and two decoded ahead. The
    // prefetching thread decodes the PENDING slots' chunks, lowest first, and so does the caller
    // while the chunk it needs is being decoded. Each slot's state, index, damage and failure,
    // and _stopping, under _mutex; whoever marked a slot WORKING owns its chunk, the caller the
    // chunks of every other slot.
    static constexpr std::size_t SLOTS = 3;
    std::thread _prefetcher;
    std::mutex _mutex;
    std::condition_variable _wake;  // a chunk to decode, or the thread is to stop
    std::condition_variable _done;  // a chunk is decoded
    bool _stopping = false;
    std::array<Slot, SLOTS> _slots;
    Decoder _ahead_decoder;  // the prefetching thread's
};

DecompressingFileReader::DecompressingFileReader() : _impl(std::make_unique<Impl>()) {}

DecompressingFileReader::~DecompressingFileReader() = default;

bool DecompressingFileReader::isCompressedFrameFile(const std::string& path) {
    if (!isNativePath(path)) {
        return false;
    }
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    unsigned char magic[sizeof FILE_MAGIC] = {};
    const bool found = ::read(fd, magic, sizeof magic) == static_cast<ssize_t>(sizeof magic) &&
                       std::memcmp(magic, FILE_MAGIC, sizeof magic) == 0;
    ::close(fd);
    return found;
}

void DecompressingFileReader::open(const std::string& path) {
    _impl->open(path);
}

void DecompressingFileReader::open(const std::wstring& path) {
    _impl->open(narrowPath(path));
}

bool DecompressingFileReader::isOpen() const {
    return _impl->isOpen();
}

void DecompressingFileReader::close() {
    _impl->close();
}

bool DecompressingFileReader::hasFooter() const {
    return _impl->hasFooter();
}

const std::vector<DecompressingFileReader::Chunk>& DecompressingFileReader::chunks() const {
    return _impl->chunks();
}

DecompressingFileReader::Summary DecompressingFileReader::summary() const {
    return _impl->summary();
}

std::vector<std::string> DecompressingFileReader::damage() const {
    return _impl->damage();
}

std::vector<std::string> DecompressingFileReader::verify() {
    return _impl->verify();
}

boost::shared_ptr<EngineOutputData> DecompressingFileReader::readData() {
    return _impl->readData();
}

bool DecompressingFileReader::readFrameBytes(const unsigned char*& data, std::size_t& size) {
    return _impl->next(data, size);
}

bool DecompressingFileReader::readFrameBlock(const unsigned char*& base,
                                             const std::size_t*& offsets, std::size_t& count) {
    return _impl->nextBlock(base, offsets, count);
}

bool DecompressingFileReader::endOfData() {
    return _impl->endOfData();
}

void DecompressingFileReader::seekFrame(std::uint32_t frame_num) {
    _impl->seekFrame(frame_num);
}

void DecompressingFileReader::seekTime(double time) {
    _impl->seekTime(time);
}

void DecompressingFileReader::rewind() {
    _impl->rewind();
}

void DecompressingFileReader::readChunk(std::size_t index, ByteBuffer& frames,
                                        std::vector<std::size_t>& offsets) {
    _impl->readChunk(index, frames, offsets);
}

}  // namespace vq::eod::io
