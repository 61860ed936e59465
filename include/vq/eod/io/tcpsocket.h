// TcpSocket: one IPv4 stream socket.
//
// States: closed (no handle) -> open() -> open; then either bind() -> listen() -> accept() on a
// server (every accepted socket starts connected) or connect() on a client -> connected. A
// receive of 0 bytes (the peer closed) returns a socket to open-but-unconnected; close() or
// destruction returns it to closed from any state.
//
// Time limits are milliseconds: 0 only looks (never waits), a negative limit waits without
// limit. Waits use poll; nothing busy-waits.
//
// Errors: a call in the wrong state is a programming error and raises std::invalid_argument
// "src/eod/io/tcpsocket.cpp:<line>: <text>" (texts below). A failing socket call raises
// SocketError "<what failed>: <error text>" (see netLibErrorString) and leaves the state as it
// was, except connect, which closes the socket on both of its failures.
//
// A peer that went away is a SocketError from send ("Failed to send data.: The connection was
// forcibly closed by the remote host."), never a SIGPIPE, and a 0 from receive.
//
// Not locked: one thread uses a socket at a time; different sockets may be used by different
// threads.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "vq/eod/export.h"
#include "vq/eod/io/inetaddress.h"
#include "vq/eod/io/sockethandle.h"

namespace vq::eod::io {

class VQ_EOD_API TcpSocket {
public:
    // The receive buffer: an owned array of bytes, sized from the socket's receive-buffer option.
    class VQ_EOD_API Buffer {
    public:
        Buffer() = default;
        // Replaces the array by a new one of `size` bytes when the size differs; the contents
        // are not kept.
        void setSize(int size);
        int size() const { return _size; }
        unsigned char* buffer() { return _data.get(); }

    private:
        std::unique_ptr<unsigned char[]> _data;  // null until sized
        int _size = 0;                           // bytes in _data
    };

    // The socket options setSocketFlag and socketFlag know.
    enum SocketOptionFlag {
        REUSE_ADDRESS = 0,  // SO_REUSEADDR
        TCP_NO_DELAY = 1,   // TCP_NODELAY: true turns the Nagle algorithm off
    };

    // Takes ownership of `handle`; TcpSocket(INVALID_SOCKET) makes a closed socket for open().
    // Local and remote addresses start as the local host, port 0.
    explicit TcpSocket(std::uint64_t handle);
    TcpSocket(const TcpSocket&) = delete;
    TcpSocket& operator=(const TcpSocket&) = delete;
    // Closes the socket if open.
    ~TcpSocket();

    // Requires a closed socket ("socket already open"). Creates the socket; SocketError "Failed
    // to build socket.: ...".
    void open();
    // Closes an open socket (it is then unconnected); does nothing when closed.
    void close();
    bool opened() const { return _handle.valid(); }
    bool connected() const { return _connected; }

    // ---- server side -------------------------------------------------------------------------
    // Requires an open ("socket not open"), unconnected ("socket connected") socket. Binds to
    // `address`; port 0 lets the system choose one, which getLocalAddress() then holds.
    // SocketError "Could not bind TCP socket to address.: ...".
    void bind(const InetAddress& address);
    // Requires an open socket ("un-open socket"). SocketError "Socket Error try to set listening
    // state: ...".
    void listen();
    // Requires an open socket ("un-open socket"). Waits up to `timeoutMillis` for a connection;
    // null when none came. The caller owns the returned socket, which is connected and holds
    // this socket's local address and the peer's address (its name not yet looked up).
    // SocketError "Socket Error trying to accept connection: ...".
    TcpSocket* accept(int timeoutMillis);

    // ---- client side -------------------------------------------------------------------------
    // Requires an open socket ("un-open socket."). A connected socket is closed and then raises
    // "already connected socket.". Connects, blocking without a time limit of its own; on failure
    // the socket is closed and SocketError "Could not connect TCP socket to address.: ..." is
    // raised. A closed socket must be opened again before the next connect.
    void connect(const InetAddress& address);

    // ---- data transfer (all require a connected socket: "unconnected socket") ----------------
    // Waits up to `timeoutMillis` for data, then reads once, at most the receive buffer's size,
    // and appends what it read to `data` (which is emptied first unless `append`). Returns the
    // number of bytes read: 0 when nothing came within the limit (`data` untouched) or when the
    // peer closed the connection (the socket is then unconnected). SocketError "Failed to
    // receive data.: ..." (for example when the peer reset the connection).
    int receive(std::vector<unsigned char>& data, int timeoutMillis, bool append);
    // Sends every byte, blocking as long as the peer lets it; returns when all is handed to the
    // system. SocketError "Failed to send data.: ...".
    void send(const std::vector<unsigned char>& data);
    void send(const unsigned char* data, unsigned int size);
    // Sends in chunks of at most the send-buffer size minus one, waiting up to `timeoutMillis`
    // for room before each chunk, and stops when a wait runs out. A send never blocks past a
    // wait: a chunk that does not fit whole goes partly. Returns the bytes sent, fewer than
    // `size` when the peer stopped reading. The limit applies to each wait, not to the call.
    std::uint64_t send(const unsigned char* data, std::uint64_t size, int timeoutMillis);
    // True when data (or the peer's close) is waiting; does not wait.
    bool dataReady() const;

    // ---- addresses and options ---------------------------------------------------------------
    // The peer; requires a connected socket ("unconnected socket").
    const InetAddress& getInetAddress() const;
    const InetAddress& getLocalAddress() const { return _local_address; }
    const InetAddress& getRemoteAddress() const { return _remote_address; }

    // Sets or reads an option of the table above. A value outside the table raises SocketError
    // "Socket option not supported: ..."; a failing call "Failed to set socket option.: ..."
    // (reading too).
    void setSocketFlag(SocketOptionFlag flag, bool value);
    bool socketFlag(SocketOptionFlag flag) const;
    // Sets TCP_NODELAY to `value` (name and sense kept for existing callers): true turns the
    // Nagle algorithm OFF, so small writes leave at once.
    void enableNagleAlgortihm(bool value);

private:
    // An accepted socket: connected, with both addresses.
    TcpSocket(std::uint64_t handle, const InetAddress& local, const InetAddress& remote);

    void initialiseBufferSizes();
    std::uint64_t socketBufferSize(int option) const;
    void setBufferSize(int option, Buffer& buffer);
    std::uint64_t sendBytes(const unsigned char* data, std::uint64_t size, int flags);
    bool waitForData(int timeoutMillis) const;
    bool waitForSend(int timeoutMillis) const;

    SocketHandle _handle;           // the descriptor; invalid when closed
    bool _connected;                // connected to a peer
    InetAddress _local_address;     // bound address (port as bound)
    InetAddress _remote_address;    // the peer
    Buffer _receive_buffer;         // SO_RCVBUF bytes
    std::uint64_t _max_send_chunk;  // SO_SNDBUF - 1, the largest chunk of the timed send
};

}  // namespace vq::eod::io
