#include "vq/eod/io/engineoutputdatatcpclient.h"

#include <string>
#include <typeinfo>
#include <utility>

#include "eod/bufferrefill_internal.h"
#include "eod/precondition_internal.h"
#include "vq/eod/recordheader.h"
#include "vq/eod/serializableerror.h"
#include "vq/eod/serializablefactory.h"

namespace vq::eod::io {

ByteSource::~ByteSource() = default;

// The client's socket as a byte source: one receive() of up to the socket's receive buffer.
class EngineOutputDataTcpClient::SocketSource : public ByteSource {
public:
    explicit SocketSource(TcpSocket& socket) : _socket(socket) {}
    std::size_t read(ByteBuffer& data, int timeoutMillis) override {
        if (!_socket.connected()) {
            return 0;
        }
        return static_cast<std::size_t>(_socket.receive(data, timeoutMillis, true));
    }
    bool ended() const override { return !_socket.connected(); }

private:
    TcpSocket& _socket;
};

namespace {

// The record as a frame, or null when it is not one. Records of exactly the frame's class, the
// usual case, are recognised without a dynamic cast.
boost::shared_ptr<EngineOutputData> asFrame(boost::shared_ptr<Serializable> record) {
    const Serializable* const object = record.get();
    if (object == nullptr || object->objectID() != EngineOutputData::THIS_OBJECT_ID) {
        return boost::shared_ptr<EngineOutputData>();
    }
    if (typeid(*object) == typeid(EngineOutputData)) {
        return boost::static_pointer_cast<EngineOutputData>(std::move(record));
    }
    return boost::dynamic_pointer_cast<EngineOutputData>(record);
}

}  // namespace

EngineOutputDataTcpClient::EngineOutputDataTcpClient()
    : _pending_pos(0),
      _socket(INVALID_SOCKET),
      _socket_source(new SocketSource(_socket)),
      _view(new FrameView) {}

EngineOutputDataTcpClient::~EngineOutputDataTcpClient() = default;

void EngineOutputDataTcpClient::reset() {
    _pending.clear();
    _pending_pos = 0;
    _wait_for = 0;
    _frame.reset();
    _view_pos = -1;
    _viewed = false;
}

void EngineOutputDataTcpClient::connect(const InetAddress& server) {
    VQ_REQUIRE(!_own_source, "byte source open");
    reset();
    _socket.open();
    _socket.connect(server);
    _source = _socket_source.get();
}

void EngineOutputDataTcpClient::connect(std::unique_ptr<ByteSource> source) {
    VQ_REQUIRE(source, "no byte source");
    VQ_REQUIRE(_source == nullptr && !_socket.opened(), "already connected: disconnect() first");
    reset();
    _own_source = std::move(source);
    _source = _own_source.get();
}

void EngineOutputDataTcpClient::disconnect() {
    reset();
    _socket.close();
    _own_source.reset();
    _source = nullptr;
}

bool EngineOutputDataTcpClient::connected() const {
    return _source != nullptr && !_source->ended();
}

bool EngineOutputDataTcpClient::isConnected() const {
    return connected();
}

boost::shared_ptr<EngineOutputData> EngineOutputDataTcpClient::receive(int timeoutMillis) {
    VQ_REQUIRE(connected(), "not connected");
    if (!nextFrame(timeoutMillis, true)) {
        return boost::shared_ptr<EngineOutputData>();
    }
    return std::move(_frame);
}

const FrameView* EngineOutputDataTcpClient::receiveView(int timeoutMillis) {
    VQ_REQUIRE(connected(), "not connected");
    if (!nextFrame(timeoutMillis, false)) {
        return nullptr;
    }
    _viewed = true;
    return _view.get();
}

boost::shared_ptr<EngineOutputData> EngineOutputDataTcpClient::viewedFrame() {
    VQ_REQUIRE(_viewed, "no frame viewed");
    if (!_frame) {
        // An exact view: the objects read exactly its bytes, which are still pending.
        int pos = _view_pos;
        _frame = asFrame(SerializableFactory::newObject(_pending, pos));
    }
    return _frame;
}

// Finds the next frame: in _frame when `objects`, else in _view (and in _frame when the objects
// judged it). False when the source has no more bytes now, or has ended.
bool EngineOutputDataTcpClient::nextFrame(int timeoutMillis, bool objects) {
    _frame.reset();
    _view_pos = -1;
    _viewed = false;
    for (;;) {
        // A record is decoded once all of its bytes are pending, including the bytes that
        // records with labelled intersection blocks hold beyond their announced size. A decoding
        // error leaves _pending_pos where it was: the bytes stay pending.
        const std::size_t available = _pending.size() - static_cast<std::size_t>(_pending_pos);
        if (available > 0 && available >= _wait_for) {
            const Step step = decodeNext(objects);
            if (step == Step::FRAME) {
                return true;
            }
            if (step == Step::OTHER) {
                continue;
            }
        }
        dropConsumedBytes();
        if (_source->read(_pending, timeoutMillis) == 0) {
            return false;
        }
    }
}

// Takes the record at _pending_pos when all of its bytes are there.
EngineOutputDataTcpClient::Step EngineOutputDataTcpClient::decodeNext(bool objects) {
    const std::size_t available = _pending.size() - static_cast<std::size_t>(_pending_pos);
    const unsigned char* const start = _pending.data() + _pending_pos;
    RecordHeader header;
    if (parseRecordHeader(start, available, header) == RecordExtent::HEADER_INCOMPLETE) {
        return Step::INCOMPLETE;
    }
    refuseOversizeRecord(header.data_size);
    if (available < header.totalBytes()) {
        _wait_for = static_cast<std::size_t>(header.totalBytes());
        return Step::INCOMPLETE;
    }
    _wait_for = 0;
    // A frame that the view takes as it stands reads exactly so as objects: no decoding needed.
    if (!objects && header.object_id == EngineOutputData::THIS_OBJECT_ID &&
        _view->reset(start, available) == ViewStatus::OK && _view->exact()) {
        _view_pos = _pending_pos;
        _pending_pos += static_cast<int>(_view->bytes());
        return Step::FRAME;
    }
    // Every other record is judged by the objects. Read in place first; a read that fails there
    // may have met bytes still to come, which only the read of a copy tells from damage.
    boost::shared_ptr<Serializable> object;
    int read_pos = _pending_pos;
    try {
        object = SerializableFactory::newObject(_pending, read_pos);
    } catch (const SerializableError&) {
        read_pos = _pending_pos;
        bool incomplete = false;
        object = detail::newObjectIfComplete(_pending, read_pos, incomplete, &_wait_for);
        if (incomplete) {
            return Step::INCOMPLETE;
        }
    }
    _pending_pos = read_pos;
    _frame = asFrame(std::move(object));
    if (!_frame) {
        return Step::OTHER;
    }
    if (!objects) {
        viewObjects();
    }
    return Step::FRAME;
}

// Views the bytes that the objects of _frame write back. A disabled frame is written enabled,
// which serialize() requires, and its flag byte then cleared, so the view holds what it read.
void EngineOutputDataTcpClient::viewObjects() {
    _rewritten.clear();
    const bool enabled = _frame->serializeEnabled();
    _frame->setSerializeEnabled(true);
    try {
        _frame->serialize(_rewritten);
    } catch (...) {
        _frame->setSerializeEnabled(enabled);
        throw;
    }
    _frame->setSerializeEnabled(enabled);
    RecordHeader header;
    if (!enabled &&
        parseRecordHeader(_rewritten.data(), _rewritten.size(), header) == RecordExtent::COMPLETE &&
        header.data_size > 0) {
        _rewritten[header.header_bytes] = 0;
    }
    _view->reset(_rewritten.data(), _rewritten.size());
}

// Raises when the header of the next record announces more than the maximum, before any of its
// data is waited for.
void EngineOutputDataTcpClient::refuseOversizeRecord(std::uint32_t data_size) const {
    if (data_size > MAX_RECORD_BYTES) {
        throw SerializableError("EngineOutputDataTcpClient::receive - record of " +
                                std::to_string(data_size) +
                                " bytes exceeds the maximum record size of " +
                                std::to_string(MAX_RECORD_BYTES) + " bytes");
    }
}

// Moves the undecoded bytes to the front before the next read, so the buffer holds at most one
// record plus one read.
void EngineOutputDataTcpClient::dropConsumedBytes() {
    if (_pending_pos > 0) {
        _pending.erase(_pending.begin(), _pending.begin() + _pending_pos);
        _pending_pos = 0;
    }
}

}  // namespace vq::eod::io
