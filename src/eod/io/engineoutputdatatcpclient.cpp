#include "vq/eod/io/engineoutputdatatcpclient.h"

#include <string>

#include "eod/bufferrefill_internal.h"
#include "eod/precondition_internal.h"
#include "vq/eod/recordheader.h"
#include "vq/eod/serializableerror.h"
#include "vq/eod/serializablefactory.h"

namespace vq::eod::io {

EngineOutputDataTcpClient::EngineOutputDataTcpClient() : _pending_pos(0), _socket(INVALID_SOCKET) {}

EngineOutputDataTcpClient::~EngineOutputDataTcpClient() = default;

void EngineOutputDataTcpClient::connect(const InetAddress& server) {
    _pending.clear();
    _pending_pos = 0;
    _wait_for = 0;
    _socket.open();
    _socket.connect(server);
}

void EngineOutputDataTcpClient::disconnect() {
    _pending.clear();
    _pending_pos = 0;
    _wait_for = 0;
    _socket.close();
}

bool EngineOutputDataTcpClient::connected() const {
    return _socket.connected();
}

bool EngineOutputDataTcpClient::isConnected() const {
    return _socket.connected();
}

boost::shared_ptr<EngineOutputData> EngineOutputDataTcpClient::receive(int timeoutMillis) {
    VQ_REQUIRE(_socket.connected(), "not connected");
    for (;;) {
        // A record is decoded once all of its bytes are pending, including the bytes that
        // records with labelled intersection blocks hold beyond their announced size. A decoding
        // error leaves _pending_pos where it was: the bytes stay pending.
        bool incomplete = true;
        boost::shared_ptr<Serializable> object;
        const std::size_t available = _pending.size() - static_cast<std::size_t>(_pending_pos);
        if (available > 0 && available >= _wait_for) {
            refuseOversizeRecord();
            int read_pos = _pending_pos;
            _wait_for = 0;
            object = detail::newObjectIfComplete(_pending, read_pos, incomplete, &_wait_for);
            if (!incomplete) {
                _pending_pos = read_pos;
            }
        }
        if (incomplete) {
            dropConsumedBytes();
            if (_socket.receive(_pending, timeoutMillis, true) == 0) {
                return boost::shared_ptr<EngineOutputData>();
            }
            continue;
        }
        if (object && object->objectID() == EngineOutputData::THIS_OBJECT_ID) {
            boost::shared_ptr<EngineOutputData> frame =
                boost::dynamic_pointer_cast<EngineOutputData>(object);
            if (frame) {
                return frame;
            }
        }
    }
}

// Raises when the header of the next record is there and announces more than the maximum, before
// any of its data is waited for.
void EngineOutputDataTcpClient::refuseOversizeRecord() const {
    const std::size_t available = _pending.size() - static_cast<std::size_t>(_pending_pos);
    RecordHeader header;
    if (parseRecordHeader(_pending.data() + _pending_pos, available, header) ==
        RecordExtent::HEADER_INCOMPLETE) {
        return;
    }
    const std::uint32_t data_size = header.data_size;
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
