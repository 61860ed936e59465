#include "vqlog/datagramframes.h"

#include <algorithm>

namespace vqlog {

namespace {

using vq::eod::ByteBuffer;

enum class Piece { FRAME, INCOMPLETE, DAMAGED };

// What the bytes at `pos` are: a whole frame (`pos` moves past it), the start of one, or none.
// `attempts` counts the decodings of a frame whose announced bytes are all there.
Piece decodeFrame(const ByteBuffer& bytes, int& pos, FramePtr& frame, unsigned int& attempts) {
    vq::eod::RecordHeader header;
    const vq::eod::RecordExtent extent = vq::eod::parseRecordHeader(
        bytes.data() + pos, bytes.size() - static_cast<std::size_t>(pos), header);
    if (header.object_id != vq::eod::object_id::ENGINE_OUTPUT_DATA ||
        (extent != vq::eod::RecordExtent::HEADER_INCOMPLETE &&
         header.data_size > DatagramFrames::MAX_RECORD_BYTES)) {
        return Piece::DAMAGED;
    }
    if (extent != vq::eod::RecordExtent::COMPLETE) {
        return Piece::INCOMPLETE;
    }
    ++attempts;
    unsigned int status = 0;
    int at = pos;
    const auto object = vq::eod::SerializableFactory::newObjectWithStatus(bytes, at, status);
    frame = boost::dynamic_pointer_cast<vq::eod::EngineOutputData>(object);
    if (frame) {
        pos = at;
        return Piece::FRAME;
    }
    // Labelled records hold bytes beyond the announced size: wait for them, within bounds.
    const bool tail_missing = (status & 4U) != 0 && bytes.size() - static_cast<std::size_t>(pos) <
                                                        2 * header.totalBytes();
    return tail_missing ? Piece::INCOMPLETE : Piece::DAMAGED;
}

// Whether `datagram` holds whole frames and nothing else.
bool wholeFrames(const ByteBuffer& datagram) {
    int pos = 0;
    FramePtr frame;
    unsigned int attempts = 0;
    while (static_cast<std::size_t>(pos) < datagram.size()) {
        if (decodeFrame(datagram, pos, frame, attempts) != Piece::FRAME) {
            return false;
        }
    }
    return pos > 0;
}

}  // namespace

DatagramFrames::DatagramFrames(int port, const std::string& group) {
    using vq::eod::io::DatagramSocket;
    if (group.empty()) {
        _socket = std::make_unique<DatagramSocket>(port, MAX_DATAGRAM_BYTES, MAX_DATAGRAM_BYTES);
    } else {
        _socket = std::make_unique<DatagramSocket>(std::vector<std::string>{group}, port);
        _socket->setReceiveBufferSize(MAX_DATAGRAM_BYTES);
        _socket->setSendBufferSize(MAX_DATAGRAM_BYTES);
    }
}

int DatagramFrames::port() const {
    return _socket ? _socket->getLocalAddress().getPort() : 0;
}

FramePtr DatagramFrames::receive(int wait_millis) {
    if (_ready.empty() && _socket) {
        ByteBuffer datagram;
        vq::eod::io::InetAddress from(0);
        if (_socket->receiveDatagram(datagram, from, wait_millis, false) > 0) {
            add(datagram);
        }
    }
    return next();
}

void DatagramFrames::add(const ByteBuffer& datagram) {
    // A frame in pieces that a datagram of whole frames interrupts lost a piece.
    if (!_pending.empty() && wholeFrames(datagram)) {
        drop();
    }
    _pending.insert(_pending.end(), datagram.begin(), datagram.end());
    takeFrames();
}

FramePtr DatagramFrames::next() {
    if (_ready.empty()) {
        return FramePtr();
    }
    FramePtr frame = _ready.front();
    _ready.pop_front();
    return frame;
}

void DatagramFrames::takeFrames() {
    int pos = 0;
    FramePtr frame;
    while (static_cast<std::size_t>(pos) < _pending.size()) {
        const int start = pos;
        const Piece piece = decodeFrame(_pending, pos, frame, _attempts);
        if (piece == Piece::FRAME) {
            _ready.push_back(frame);
            _attempts = 0;
            continue;
        }
        if (piece == Piece::DAMAGED || _attempts > MAX_ATTEMPTS) {
            drop();
            return;
        }
        pos = start;
        break;  // a frame still in pieces
    }
    _pending.erase(_pending.begin(), _pending.begin() + pos);
}

void DatagramFrames::drop() {
    ++_damaged;
    _pending.clear();
    _attempts = 0;
}

}  // namespace vqlog
