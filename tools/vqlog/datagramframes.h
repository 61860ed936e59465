// DatagramFrames: the frames of a UDP stream, as `vqlog serve --udp` or a tracker sends them.
//
// Each datagram holds one serialised frame, or several back to back; a frame larger than a
// datagram leaves as consecutive datagrams (as DatagramSocket sends a large buffer), which are
// gathered here until the frame is whole. UDP may lose, repeat and reorder datagrams: nothing is
// refused for that. What cannot be read is counted and dropped, and receiving goes on:
// - a datagram that does not start with a frame's header (another record, garbage),
// - a frame whose header announces more than MAX_RECORD_BYTES of data,
// - gathered pieces that do not decode as a frame, or that a datagram holding a whole frame of
//   its own interrupts (a piece was lost),
// - bytes after the last whole frame of a datagram that do not start a frame.
//
// Memory: the pieces of one frame, at most twice MAX_RECORD_BYTES (a frame's labelled records
// hold 16 bytes beyond what they announce), plus one datagram. Time: linear in the bytes
// received; a frame whose announced bytes are all there is decoded at most MAX_ATTEMPTS times
// while the bytes its labelled records hold beyond them arrive (a sender's large datagrams bring
// them in one or two), then dropped.
//
// Not locked: one thread uses it.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "vqlog/recording.h"

namespace vqlog {

class DatagramFrames {
public:
    // The frame client's limit on one frame's data.
    static constexpr std::uint64_t MAX_RECORD_BYTES =
        vq::eod::io::EngineOutputDataTcpClient::MAX_RECORD_BYTES;
    // The largest datagram taken (UDP's payload limit over IPv4).
    static constexpr int MAX_DATAGRAM_BYTES = 65507;
    static constexpr unsigned int MAX_ATTEMPTS = 16;

    // Listens on `port` of every interface (0: one the system chooses), and with `group` (dotted
    // text, empty for none) as a member of that multicast group. SocketError when it cannot.
    DatagramFrames(int port, const std::string& group);
    // Without a socket: frames come only through add().
    DatagramFrames() = default;

    // The port listened on (0 without a socket).
    int port() const;
    // The next whole frame, or null when none came within `wait_millis` (0 only looks). A
    // SocketError of the socket passes through.
    FramePtr receive(int wait_millis);
    // Datagrams and gathered pieces dropped as unreadable.
    std::uint64_t damaged() const { return _damaged; }

    // Takes one datagram as if it had arrived (what receive() does with each), and the next
    // whole frame taken so far, or null: without a socket, for the fuzzer.
    void add(const vq::eod::ByteBuffer& datagram);
    FramePtr next();

private:
    // Takes the frames at the front of `_pending`; keeps a frame still in pieces.
    void takeFrames();
    void drop();

    std::unique_ptr<vq::eod::io::DatagramSocket> _socket;
    vq::eod::ByteBuffer _pending;  // a frame in pieces
    std::deque<FramePtr> _ready;   // whole frames not handed out yet
    std::uint64_t _damaged = 0;
    unsigned int _attempts = 0;  // decodings of the frame in pieces
};

}  // namespace vqlog
