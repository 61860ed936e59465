// ByteSource: where a stream reader (EngineOutputDataTcpClient) takes its bytes from. A connected
// TCP socket is one source; a test, a fuzzer or an application that receives the bytes some
// other way implements the interface and feeds the reader directly.
//
// Contract of read():
// - It waits up to `timeoutMillis` for bytes (0 only looks and never waits, a negative limit
//   waits without limit), then reads once and appends what it read to `data`: the bytes that have
//   arrived, at most a bound of its own that it states, and returns how many it appended. It never
//   changes the bytes `data` already holds; it may reallocate `data`.
// - It returns 0 when nothing came within the limit, and 0 when the stream has ended (the peer
//   closed); then ended() is true, and every later read returns 0 at once.
// - It raises its own EODError subclass when reading fails (SocketError for a socket); the reader
//   passes that on.
// - A source reads in large blocks, so that each read of the system moves many frames (a socket
//   takes up to its receive buffer, usually some hundred KiB), but never without bound: a reader
//   holds at most its own bytes plus one read.
//
// Not locked: one thread uses a source at a time.
#pragma once

#include <cstddef>

#include "vq/eod/export.h"
#include "vq/eod/serializable.h"

namespace vq::eod::io {

class VQ_EOD_API ByteSource {
public:
    virtual ~ByteSource();
    // Appends the bytes that arrive within the time limit (one read); see above.
    virtual std::size_t read(ByteBuffer& data, int timeoutMillis) = 0;
    // Whether the stream has ended: no byte will come any more.
    virtual bool ended() const = 0;
};

}  // namespace vq::eod::io
