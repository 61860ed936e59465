// DatagramSocket: one IPv4 UDP socket, bound from construction to destruction to a local port on
// every interface.
//
// It sends byte vectors as datagrams of at most the send size each: a larger vector leaves as
// several consecutive datagrams, which the receiver sees as separate datagrams with nothing to
// mark their boundaries or order. It receives one datagram per call, up to the receive size; a
// larger datagram is dropped whole and reported as 0 bytes. Both sizes are set with
// setReceiveBufferSize / setSendBufferSize (which also set the socket's buffers); until then they
// are 0, and sending or receiving raises SocketError (see sendDatagram, receiveDatagram).
//
// It can join multicast groups (the multicast constructor; memberships last until destruction),
// send broadcasts once enabledBroadcast(true) is set, and be "connected" to one peer, which
// sendDatagram(data) then uses; the system then delivers only that peer's datagrams.
//
// Time limits are milliseconds: 0 only looks, a negative limit waits without limit.
//
// Errors are SocketError: failing socket calls carry ": " and the error text (netLibErrorString);
// the state and size checks carry plain texts ("Socket is not connected.", "Must connect socket
// before sending.", "Buffers exceeds maximum size for a datagram.").
//
// Not locked: one thread uses a socket at a time (also for the const send operations).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "vq/eod/export.h"
#include "vq/eod/io/inetaddress.h"
#include "vq/eod/io/sockethandle.h"

namespace vq::eod::io {

class VQ_EOD_API DatagramSocket {
public:
    // The largest vector that the connected form of sendDatagram takes.
    static constexpr std::size_t MAX_CONNECTED_SEND_BYTES = 0xFFFF;

    // Bound to `port` on every interface (0: a port the system chooses), then both sizes set.
    // SocketError "Failed to build socket.: ...", "Could not bind UDP command socket to address.:
    // ...", or that of a size setter.
    DatagramSocket(int port, int receiveBufferSize, int sendBufferSize);
    // Bound to `port` with SO_REUSEADDR (so that several processes can share the port), then a
    // member of every group (dotted text), joined from the last to the first. The sizes stay 0:
    // set them before sending or receiving. SocketError "Could not set socket to REUSEADDR mode:
    // ...", the bind error above, or "Failed to request membership of multicast group <group>:
    // ...".
    DatagramSocket(std::vector<std::string> groups, int port);
    DatagramSocket(const DatagramSocket&) = delete;
    DatagramSocket& operator=(const DatagramSocket&) = delete;
    // Leaves every group and closes the socket; never throws (a group that cannot be left is
    // left anyway when the socket closes).
    ~DatagramSocket();

    // Sets SO_RCVBUF and the largest datagram received; `size` must be positive.
    // SocketError "Failed to set socket recv buffer size.: ...".
    void setReceiveBufferSize(int size);
    // Sets SO_SNDBUF and the largest datagram sent; `size` must be positive.
    // SocketError "Failed to set socket send buffer size.: ...".
    void setSendBufferSize(int size);
    int receiveBufferSize() const { return _receive_size; }
    int sendBufferSize() const { return _send_size; }

    // Sets SO_BROADCAST; sending to a broadcast address fails without it.
    // SocketError "Failed to set socket broadcast option.: ...".
    void enabledBroadcast(bool enable);

    // Sets the default peer of sendDatagram(data). SocketError "Could not connect socket to
    // address.: ..." (the socket is then unconnected).
    void connectSocket(const InetAddress& peer);
    // Clears the default peer: connected() becomes false and the remote address becomes the
    // local one. The system keeps the socket associated with the old peer (no call is made), so
    // datagrams from other senders stay filtered out.
    void disconnectSocket();
    bool connected() const { return _connected; }

    // The connected peer; SocketError "Socket is not connected." when there is none.
    const InetAddress& getInetAddress() const;
    // 0.0.0.0 and the bound port.
    const InetAddress& getLocalAddress() const { return _local_address; }
    int getSocket() const;
    // The groups this socket is a member of, as dotted text, in the order joined.
    const std::vector<std::string>& subscribedGroups() const { return _groups; }

    // True when a datagram is waiting; does not wait.
    bool dataReady() const;

    // Sends `data` to the connected peer, at most the send size per datagram. SocketError "Must
    // connect socket before sending." when not connected, "Buffers exceeds maximum size for a
    // datagram." above MAX_CONNECTED_SEND_BYTES, "DatagramSocket::sendDatagram - send size is 0:
    // set it with setSendBufferSize before sending." and "Failed to send datagram.: ...". An empty
    // vector sends nothing.
    void sendDatagram(const std::vector<unsigned char>& data) const;
    // Sends `data` to `to`, at most the send size per datagram, with no overall limit. The same
    // errors except the two of the connected form.
    void sendDatagram(const std::vector<unsigned char>& data, const InetAddress& to) const;

    // Waits up to `timeoutMillis` for one datagram and reads it. Returns its size and appends it
    // to `data` (emptied first unless `append`), with the sender in `from` (its name not looked
    // up). Returns 0 with `data` untouched when nothing came in time or when the datagram was
    // larger than the receive size (it is dropped). SocketError "DatagramSocket::receiveDatagram
    // - receive size is 0: set it with setReceiveBufferSize before receiving.", "Failed to
    // receive datagram.: ...".
    int receiveDatagram(std::vector<unsigned char>& data, InetAddress& from, int timeoutMillis,
                        bool append) const;

private:
    void bindLocal(int port);
    void subscribeMulticast(std::string group);
    void unsubscribeMulticast(std::string group);
    bool waitForData(int timeoutMillis) const;
    void sendChunks(const std::vector<unsigned char>& data, const sockaddr_in* to) const;

    SocketHandle _handle;                            // the descriptor
    std::vector<std::string> _groups;                // joined groups, in the order joined
    int _receive_size = 0;                           // largest datagram received; 0 until set
    int _send_size = 0;                              // largest datagram sent; 0 until set
    std::unique_ptr<unsigned char[]> _receive_data;  // room for one datagram
    InetAddress _local_address;                      // 0.0.0.0 and the bound port
    InetAddress _remote_address{0};                  // the connected peer
    bool _connected = false;                         // a default peer is set
};

}  // namespace vq::eod::io
