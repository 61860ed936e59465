// EngineOutputDataTcpClient: receives the frames that a tracker streams over TCP.
//
// The stream is serialised records back to back, each with its own header (serializable.h), no
// other framing. receive() hands out one EngineOutputData frame per call; records of every other
// kind are decoded and dropped, records of unknown kinds skipped by their size. Bytes that arrive
// beyond a frame stay pending for the next call, which uses them before it reads again.
//
// A frame is handed out once all of its bytes have arrived, never earlier and without an error
// meanwhile. That includes frames holding labelled intersection records (gaze V3 and V4, head
// V2), which announce 16 bytes fewer per such record than follow: the client waits for those
// bytes too, and only a record that needs more than its announced size plus those 16 bytes per
// labelled record is damage.
//
// Time limits are milliseconds and apply to each wait for data, not to the whole call: a stream
// that keeps delivering non-frame records, or one frame in many small pieces, keeps a call
// running longer. 0 only looks at what has arrived; a negative limit waits without limit.
//
// States: disconnected -> connect() -> connected -> receive() ... -> disconnect() or the peer
// closing. After the peer closed, receive() returns null once and the client is no longer
// connected: call disconnect() before connect() again. There is no automatic reconnection.
//
// Hostile or broken streams: a record whose header announces more than MAX_RECORD_BYTES of data
// is refused with SerializableError as soon as its header is there, so a client never buffers
// more than one record of at most that size plus one read, and while it decodes the record a
// copy of it (what follows a record never changes how it reads), and the objects decoded from it,
// which are bounded as for every read (Serializable::MAX_OBJECTS_PER_READ_BASE). A record whose
// labelled records hold bytes beyond its announced size is decoded again only once at least the
// bytes its last attempt found it needs have arrived, not for every piece of its tail. Decoding
// errors of the factory (SerializableError, for example "SerializableFactory::newObject - could not
// unSerialize object") pass through receive() with the pending bytes left as they were: the stream
// has then lost its framing, and every later receive() raises the same error, so the caller should
// disconnect() (and connect() again when it wants more frames).
//
// Not locked: one thread uses a client at a time.
#pragma once

#include <boost/shared_ptr.hpp>

#include "vq/eod/engineoutputdata.h"
#include "vq/eod/export.h"
#include "vq/eod/io/inetaddress.h"
#include "vq/eod/io/tcpsocket.h"
#include "vq/eod/serializable.h"

namespace vq::eod::io {

class VQ_EOD_API EngineOutputDataTcpClient {
public:
    // The largest data size (bytes after the header) of one record on the stream: 64 MiB.
    static constexpr unsigned int MAX_RECORD_BYTES = 64u * 1024u * 1024u;

    // Not connected.
    EngineOutputDataTcpClient();
    EngineOutputDataTcpClient(const EngineOutputDataTcpClient&) = delete;
    EngineOutputDataTcpClient& operator=(const EngineOutputDataTcpClient&) = delete;
    ~EngineOutputDataTcpClient();

    // Drops the pending bytes, opens a socket and connects it to `server`. While a socket is open
    // (also after the peer closed) raises std::invalid_argument "...: socket already open":
    // disconnect() first. A refused connection raises SocketError "Could not connect TCP socket
    // to address.: ..." and leaves the client disconnected.
    void connect(const InetAddress& server);
    // Drops the pending bytes and closes the socket; safe when not connected.
    void disconnect();
    bool connected() const;
    bool isConnected() const;  // the same as connected()

    // The next frame of the stream, or null when nothing more came within the time limit (the
    // client stays connected) or the peer closed the connection (the client is then
    // unconnected). Requires a connected client: std::invalid_argument
    // "src/eod/io/engineoutputdatatcpclient.cpp:<line>: not connected". SocketError for a failing
    // socket, SerializableError for a damaged stream (see above).
    boost::shared_ptr<EngineOutputData> receive(int timeoutMillis);
    // The bytes received and not yet handed out in a frame or skipped: after the peer closed,
    // more than 0 means the stream ended inside a record. connect() and disconnect() drop them.
    std::size_t pendingBytes() const {
        return _pending.size() - static_cast<std::size_t>(_pending_pos);
    }

private:
    void refuseOversizeRecord() const;
    void dropConsumedBytes();

    ByteBuffer _pending;  // received bytes; those before _pending_pos are consumed
    int _pending_pos;     // start of the first record not yet decoded
    // Bytes from _pending_pos that the record there needs at least before it is decoded again.
    std::size_t _wait_for = 0;
    TcpSocket _socket;  // closed while disconnected
};

}  // namespace vq::eod::io
