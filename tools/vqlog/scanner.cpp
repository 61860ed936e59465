#include "vqlog/scanner.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "vq/eod/recordheader.h"
#include "vqlog/kinds.h"

namespace vqlog {

using vq::eod::ByteBuffer;
using vq::eod::EngineOutputData;
using vq::eod::parseRecordHeader;
using vq::eod::RecordExtent;
using vq::eod::RecordHeader;
using vq::eod::Serializable;
using vq::eod::SerializableFactory;
namespace status = vq::eod::status;

namespace {

constexpr std::uint64_t MIN_WINDOW_BYTES = 1024 * 1024;
// The data of a frame: flag, frame number, count.
constexpr std::uint64_t MIN_FRAME_DATA_BYTES = 6;

}  // namespace

struct RecordScanner::Decoded {
    enum Result { OK, HEADER_CUT, OVERRUN, TOO_LARGE, TRUNCATED, UNDECODABLE };
    Result result = OK;
    char id = 0;
    std::uint64_t data_size = 0;
    std::uint64_t available = 0;  // bytes of the file after the header
    std::uint64_t end = 0;        // OK: one past the record's last byte
    boost::shared_ptr<Serializable> object;
    unsigned int status = 0;
    std::string error;
};

RecordScanner::RecordScanner(const std::string& path) : _path(path) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (error) {
        throw ToolError("cannot open " + path + ": " + error.message());
    }
    if (std::filesystem::is_directory(status)) {
        throw ToolError("cannot open " + path + ": it is a directory");
    }
    if (!std::filesystem::is_regular_file(status)) {
        throw ToolError("cannot open " + path + ": it is not a regular file");
    }
    _file.open(path, std::ios::binary);
    if (!_file) {
        throw ToolError("cannot open " + path + ": " + std::strerror(errno));
    }
    _file.seekg(0, std::ios::end);
    _size = static_cast<std::uint64_t>(_file.tellg());
    _file.seekg(0);
}

void RecordScanner::load(std::uint64_t begin, std::uint64_t end) {
    const std::uint64_t window_end = _window_begin + _window.size();
    if (begin >= _window_begin && end <= window_end) {
        return;
    }
    const std::uint64_t stop = std::min(_size, std::max(end, begin + MIN_WINDOW_BYTES));
    if (begin < _window_begin || begin > window_end) {
        _window.clear();  // no overlap: start afresh
        _window_begin = begin;
    } else if (begin - _window_begin >= _window.size() / 2) {
        // The window slides on: drop the bytes before `begin` once they are at least half of it,
        // so that every byte of the file is read once and moved at most once per read.
        _window.erase(_window.begin(),
                      _window.begin() + static_cast<std::ptrdiff_t>(begin - _window_begin));
        _window_begin = begin;
    }
    const std::size_t kept = _window.size();
    const std::uint64_t from = _window_begin + kept;
    _window.resize(static_cast<std::size_t>(stop - _window_begin));
    _file.clear();
    _file.seekg(static_cast<std::streamoff>(from));
    _file.read(reinterpret_cast<char*>(_window.data() + kept),
               static_cast<std::streamsize>(_window.size() - kept));
    _bytes_read += static_cast<std::uint64_t>(_file.gcount());
    if (static_cast<std::uint64_t>(_file.gcount()) != _window.size() - kept) {
        _window.clear();
        _window_begin = 0;
        throw ToolError("cannot read " + _path);
    }
}

RecordScanner::Decoded RecordScanner::decodeAt(std::uint64_t offset) {
    Decoded d;
    if (offset + 3 > _size) {
        d.result = Decoded::HEADER_CUT;
        return d;
    }
    load(offset, std::min(_size, offset + 7));
    const std::size_t p = static_cast<std::size_t>(offset - _window_begin);
    RecordHeader parsed;
    const RecordExtent extent = parseRecordHeader(
        &_window[p], static_cast<std::size_t>(std::min<std::uint64_t>(_size - offset, 7)), parsed);
    d.id = parsed.object_id;
    if (extent == RecordExtent::HEADER_INCOMPLETE) {
        d.result = Decoded::HEADER_CUT;
        return d;
    }
    const std::uint64_t header = parsed.header_bytes;
    d.data_size = parsed.data_size;
    const std::uint64_t announced_end = offset + header + d.data_size;
    d.available = _size - (offset + header);
    if (d.data_size > MAX_RECORD_BYTES) {
        d.result = Decoded::TOO_LARGE;
        return d;
    }
    if (announced_end > _size) {
        d.result = Decoded::OVERRUN;
        return d;
    }
    // Room for the bytes a record may hold beyond its announced size.
    const std::uint64_t window_end = std::min(_size, announced_end + d.data_size + 64);
    load(offset, window_end);
    int read_pos = static_cast<int>(offset - _window_begin);
    try {
        d.object = SerializableFactory::newObjectWithStatus(_window, read_pos, d.status);
    } catch (const std::exception& error) {
        d.result = Decoded::UNDECODABLE;
        d.error = error.what();
        return d;
    }
    if ((d.status & status::INSUFFICIENT_DATA) != 0) {
        d.result = window_end == _size ? Decoded::TRUNCATED : Decoded::UNDECODABLE;
        d.error = "it holds fewer bytes than its records need";
    } else if ((d.status & status::SIZE_MISMATCH) != 0) {
        d.result = Decoded::UNDECODABLE;
        d.error = "its data does not match the size in its header";
    }
    d.end = _window_begin + static_cast<std::uint64_t>(read_pos);
    return d;
}

bool RecordScanner::plausibleHeaderAt(std::uint64_t offset) {
    if (offset + 3 > _size) {
        return false;
    }
    load(offset, std::min(_size, offset + 8));
    const std::size_t p = static_cast<std::size_t>(offset - _window_begin);
    RecordHeader parsed;
    if (parseRecordHeader(&_window[p],
                          static_cast<std::size_t>(std::min<std::uint64_t>(_size - offset, 8)),
                          parsed) == RecordExtent::HEADER_INCOMPLETE ||
        parsed.object_id != EngineOutputData::THIS_OBJECT_ID) {
        return false;
    }
    const std::uint64_t header = parsed.header_bytes;
    const std::uint64_t size = parsed.data_size;
    // Writers never write a disabled frame, so its flag byte is 1.
    return size >= MIN_FRAME_DATA_BYTES && size <= MAX_RECORD_BYTES &&
           offset + header + size <= _size && _window[p + header] == 1;
}

bool RecordScanner::nextByteIsFrameId(std::uint64_t offset) {
    load(offset, offset + 1);
    return static_cast<char>(_window[static_cast<std::size_t>(offset - _window_begin)]) ==
           EngineOutputData::THIS_OBJECT_ID;
}

std::uint64_t RecordScanner::resynchronise(std::uint64_t from) {
    for (std::uint64_t offset = from; offset < _size; ++offset) {
        if (!plausibleHeaderAt(offset)) {
            continue;
        }
        const Decoded d = decodeAt(offset);
        if (d.result == Decoded::OK && boost::dynamic_pointer_cast<EngineOutputData>(d.object) &&
            (d.end == _size || nextByteIsFrameId(d.end))) {
            return offset;
        }
    }
    return _size;
}

bool RecordScanner::next(Item& item) {
    if (_position >= _size) {
        return false;
    }
    item = Item();
    item.begin = _position;
    Decoded d = decodeAt(_position);
    if (d.result == Decoded::OK) {
        item.end = d.end;
        _position = d.end;
        item.frame = boost::dynamic_pointer_cast<EngineOutputData>(d.object);
        if (item.frame) {
            item.unknown_inside = (d.status & status::UNKNOWN_OBJECT_ID) != 0;
            // The reader refuses to merge a frame that holds anything but engine records.
            for (const auto& record : item.frame->subObjects()) {
                if (dynamic_cast<const vq::eod::EngineOutputBase*>(record.get()) == nullptr) {
                    item.type = Item::DAMAGE;
                    item.what = "a frame holding a " + kindName(record->objectID()) +
                                " record, which is not an engine record";
                    item.frame.reset();
                    break;
                }
            }
            return true;
        }
        item.type = Item::DAMAGE;
        item.what = (d.object ? "a " + kindName(d.id) + " record"
                              : "a record of unknown kind " + hexId(d.id)) +
                    " where a frame belongs";
        return true;
    }
    const std::uint64_t resume = resynchronise(_position + 1);
    item.type = Item::DAMAGE;
    item.end = resume;
    const std::string announced = "the record announces " + std::to_string(d.data_size) +
                                  " bytes of data, the file holds " + std::to_string(d.available) +
                                  " more";
    switch (d.result) {
        case Decoded::HEADER_CUT:
            item.what = "truncated: the file ends inside a record header";
            break;
        case Decoded::OVERRUN:
            item.what =
                (resume == _size ? "truncated: " : "size header overruns the file: ") + announced;
            break;
        case Decoded::TOO_LARGE:
            item.what = "the record announces " + std::to_string(d.data_size) +
                        " bytes of data, more than vqlog reads";
            break;
        case Decoded::TRUNCATED:
            item.what = "truncated: the file ends inside the record";
            break;
        default:
            item.what = "the record does not decode: " + d.error;
            break;
    }
    _position = resume;
    return true;
}

ByteBuffer RecordScanner::bytes(std::uint64_t begin, std::uint64_t end) {
    load(begin, end);
    const auto first = _window.begin() + static_cast<std::ptrdiff_t>(begin - _window_begin);
    return ByteBuffer(first, first + static_cast<std::ptrdiff_t>(end - begin));
}

}  // namespace vqlog
