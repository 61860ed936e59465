// EngineOutputDataTcpClient: receives the frames that a tracker streams over TCP.
//
// The stream is serialised records back to back, each with its own header (serializable.h), no
// other framing. receive() hands out one EngineOutputData frame per call; records of every other
// kind are decoded and dropped, records of unknown kinds skipped by their size. Bytes that arrive
// beyond a frame stay pending for the next call, which uses them before it reads again.
//
// Two ways to take frames, which may be mixed on one stream:
// - receive() hands out the frame as record objects.
// - receiveView() hands out a FrameView of the frame's bytes, for consumers that read values and
//   need no objects: a frame that the view takes as it stands (exact(), every frame a writer of
//   this library writes) is neither copied nor decoded. viewedFrame() builds the objects of the
//   last viewed frame, only when asked. A frame that the view does not take as it stands (one with
//   records of kinds without a published layout, disabled records, repeated records, or damage)
//   is judged by the record objects as receive() would judge it: the same frames, the same errors;
//   such a frame is handed out as the view of the bytes its objects write back. When even that
//   view is not OK (more than FrameView::MAX_RECORDS records), it is handed out with its status,
//   and viewedFrame() gives the frame.
// Both see the same frames in the same order and raise the same errors.
//
// Bytes come from a ByteSource (bytesource.h): a TCP socket after connect(InetAddress), or any
// source given to connect(std::unique_ptr<ByteSource>). The client reads them in large blocks
// (a socket: up to its receive buffer at once), so that one read of the system moves many frames.
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
// closing (the source ending). After the peer closed, receive() returns null once and the client
// is no longer connected: call disconnect() before connect() again. There is no automatic
// reconnection.
//
// Hostile or broken streams: a record whose header announces more than MAX_RECORD_BYTES of data
// is refused with SerializableError as soon as its header is there, so a client never buffers
// more than one record of at most that size plus one read, and while it decodes the record a
// copy of it (what follows a record never changes how it reads), and the objects decoded from it,
// which are bounded as for every read (Serializable::MAX_OBJECTS_PER_READ_BASE); a frame handed
// out as a view of the bytes its objects write back adds those bytes. A record whose labelled
// records hold bytes beyond its announced size is viewed and decoded again only once at least
// the bytes its last attempt found it needs have arrived, not for every piece of its tail, so the
// time is linear in the bytes received. Decoding errors of the factory (SerializableError, for
// example "SerializableFactory::newObject - could not unSerialize object") pass through
// receive() and receiveView() with the pending bytes left as they were: the stream has then lost
// its framing, and every later call raises the same error, so the caller should disconnect() (and
// connect() again when it wants more frames).
//
// Not locked: one thread uses a client at a time.
#pragma once

#include <memory>

#include <boost/shared_ptr.hpp>

#include "vq/eod/engineoutputdata.h"
#include "vq/eod/export.h"
#include "vq/eod/frameview.h"
#include "vq/eod/io/bytesource.h"
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
    // A client reading from a source other than a socket raises std::invalid_argument "...: byte
    // source open": disconnect() first.
    void connect(const InetAddress& server);
    // Drops the pending bytes and reads from `source` from now on; the client is connected until
    // the source ends. Requires a source (std::invalid_argument "...: no byte source") and a
    // disconnected client, its socket closed ("...: already connected: disconnect() first").
    void connect(std::unique_ptr<ByteSource> source);
    // Drops the pending bytes, closes the socket or releases the source; safe when not connected.
    void disconnect();
    bool connected() const;
    bool isConnected() const;  // the same as connected()

    // The next frame of the stream, or null when nothing more came within the time limit (the
    // client stays connected) or the peer closed the connection (the client is then
    // unconnected). Requires a connected client: std::invalid_argument
    // "src/eod/io/engineoutputdatatcpclient.cpp:<line>: not connected". SocketError for a failing
    // socket, SerializableError for a damaged stream (see above).
    boost::shared_ptr<EngineOutputData> receive(int timeoutMillis);
    // The next frame as a view of its bytes (see above), or null as receive(). The view and the
    // bytes it points to stay valid until the next call of receive(), receiveView(), connect() or
    // disconnect(). Requires a connected client, as receive(); raises as receive().
    const FrameView* receiveView(int timeoutMillis);
    // The record objects of the frame that the last receiveView() handed out, built on the first
    // call and the same object on later ones. Requires that the last call handed out a view
    // (std::invalid_argument "...: no frame viewed"); valid as long as the view is.
    boost::shared_ptr<EngineOutputData> viewedFrame();
    // The bytes received and not yet handed out in a frame or skipped: after the peer closed,
    // more than 0 means the stream ended inside a record. connect() and disconnect() drop them.
    std::size_t pendingBytes() const {
        return _pending.size() - static_cast<std::size_t>(_pending_pos);
    }

private:
    class SocketSource;
    // What decoding the record at the read position gave.
    enum class Step { FRAME, OTHER, INCOMPLETE };

    bool nextFrame(int timeoutMillis, bool objects);
    Step decodeNext(bool objects);
    void viewObjects();
    void refuseOversizeRecord(std::uint32_t data_size) const;
    void dropConsumedBytes();
    void reset();

    ByteBuffer _pending;  // received bytes; those before _pending_pos are consumed
    int _pending_pos;     // start of the first record not yet decoded
    // Bytes from _pending_pos that the record there needs at least before it is decoded again.
    std::size_t _wait_for = 0;
    TcpSocket _socket;                             // closed unless the client reads from a socket
    std::unique_ptr<SocketSource> _socket_source;  // reads _socket
    std::unique_ptr<ByteSource> _own_source;       // a source given to connect()
    ByteSource* _source = nullptr;                 // the one read from; null while disconnected

    // The last frame found: as objects (receive(), or a frame the objects judged), and as a view.
    boost::shared_ptr<EngineOutputData> _frame;
    std::unique_ptr<FrameView> _view;
    ByteBuffer _rewritten;  // the bytes the objects of a frame the view did not take write back
    int _view_pos = -1;     // where the viewed frame starts in _pending; -1: none there
    bool _viewed = false;   // the last call handed out a view
};

}  // namespace vq::eod::io
