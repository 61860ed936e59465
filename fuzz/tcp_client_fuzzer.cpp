// The frame client's reassembly: a stream sent to EngineOutputDataTcpClient in pieces whose
// sizes the input chooses, over one loopback connection kept for the whole run.
//
// Input: a byte whose low 4 bits are the number k of piece sizes that follow, k bytes each
// giving a piece of (byte + 1) bytes, used in turn, then the stream itself (all of it in one
// piece when k is 0). After each piece the client takes what has arrived (receive(0)).
//
// The check: however the stream is cut, the client hands out exactly the frames that reading
// the whole stream at once gives, and raises exactly the error that it meets there, if any.
// Pieces may merge on the way; that changes nothing that is checked.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "eod/bufferrefill_internal.h"
#include "fuzz_support.h"
#include "vq/eod/byteorder.h"

namespace {

using vq::eod::ByteBuffer;
using vq::eod::io::EngineOutputDataTcpClient;

// What the whole stream holds: the frames in order, and how it ends.
struct Expected {
    std::vector<ByteBuffer> frames;
    std::string error;          // the SerializableError met, or empty
    bool partial = false;       // a record's bytes have not all arrived at the end
    std::size_t error_pos = 0;  // where the record that raised the error starts
};

// The client's own limit, checked on a record's header before its data is waited for.
std::string oversize(const ByteBuffer& stream, std::size_t pos) {
    const std::size_t available = stream.size() - pos;
    if (available < 3) {
        return "";
    }
    unsigned int data_size = vq::eod::byteorder::load<unsigned short>(stream.data() + pos + 1);
    if (data_size == 0xFFFF) {
        if (available < 7) {
            return "";
        }
        data_size = vq::eod::byteorder::load<unsigned int>(stream.data() + pos + 3);
    }
    if (data_size <= EngineOutputDataTcpClient::MAX_RECORD_BYTES) {
        return "";
    }
    return "EngineOutputDataTcpClient::receive - record of " + std::to_string(data_size) +
           " bytes exceeds the maximum record size of " +
           std::to_string(EngineOutputDataTcpClient::MAX_RECORD_BYTES) + " bytes";
}

Expected readWhole(const ByteBuffer& stream) {
    Expected expected;
    int pos = 0;
    while (static_cast<std::size_t>(pos) < stream.size()) {
        expected.error = oversize(stream, static_cast<std::size_t>(pos));
        if (!expected.error.empty()) {
            expected.error_pos = static_cast<std::size_t>(pos);
            break;
        }
        bool incomplete = false;
        boost::shared_ptr<vq::eod::Serializable> object;
        try {
            object = vq::eod::detail::newObjectIfComplete(stream, pos, incomplete);
        } catch (const vq::eod::SerializableError& error) {
            expected.error = error.what();
            expected.error_pos = static_cast<std::size_t>(pos);
            break;
        }
        if (incomplete) {
            expected.partial = true;
            break;
        }
        if (object && object->objectID() == vq::eod::EngineOutputData::THIS_OBJECT_ID) {
            expected.frames.push_back(vqfuzz::serialized(*object));
        }
    }
    return expected;
}

// A listening socket on 127.0.0.1, the client, and the server's end of their connection.
class Link {
public:
    Link() {
        _listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof(address);
        if (_listener < 0 ||
            ::bind(_listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
            ::listen(_listener, 4) != 0 ||
            ::getsockname(_listener, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
            vqfuzz::fail("no listening socket on 127.0.0.1");
        }
        _port = ntohs(address.sin_port);
        connect();
    }
    ~Link() {
        client.disconnect();
        ::close(_server);
        ::close(_listener);
    }
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    // Sends what the socket takes at once; the number of bytes taken.
    std::size_t sendSome(const std::uint8_t* data, std::size_t size) const {
        const ssize_t sent = ::send(_server, data, size, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent < 0 && errno != EAGAIN && errno != EWOULDBLOCK) {
            vqfuzz::fail("the server's send failed");
        }
        return sent < 0 ? 0 : static_cast<std::size_t>(sent);
    }
    // A fresh connection, without pending bytes. The old one is reset (no TIME_WAIT left behind,
    // so a long run never runs out of ports).
    void connect() {
        if (_server >= 0) {
            const linger reset{1, 0};
            ::setsockopt(_server, SOL_SOCKET, SO_LINGER, &reset, sizeof(reset));
            ::close(_server);
        }
        client.disconnect();
        client.connect(vq::eod::io::InetAddress(_port, "127.0.0.1"));
        _server = ::accept4(_listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (_server < 0) {
            vqfuzz::fail("the client's connection was not accepted");
        }
    }

    EngineOutputDataTcpClient client;

private:
    int _listener = -1;
    int _server = -1;
    int _port = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Link link;
    if (size == 0) {
        return 0;
    }
    const std::size_t piece_count = data[0] & 0x0Fu;
    if (size < 1 + piece_count) {
        return 0;
    }
    const std::uint8_t* const pieces = data + 1;
    const ByteBuffer stream(data + 1 + piece_count, data + size);
    const Expected expected = readWhole(stream);

    std::vector<ByteBuffer> frames;
    std::string error;
    // Takes frames until none is complete; false once the client raised.
    auto take = [&](int timeout_millis) {
        for (;;) {
            boost::shared_ptr<vq::eod::EngineOutputData> frame;
            try {
                frame = link.client.receive(timeout_millis);
            } catch (const vq::eod::SerializableError& raised) {
                error = raised.what();
                return false;
            }
            if (!frame) {
                return true;
            }
            frames.push_back(vqfuzz::serialized(*frame));
        }
    };

    bool open = true;
    for (std::size_t offset = 0, index = 0; open && offset < stream.size(); ++index) {
        std::size_t piece = stream.size() - offset;
        if (piece_count > 0) {
            piece = std::min<std::size_t>(piece, pieces[index % piece_count] + 1u);
        }
        for (int rounds = 0; open && piece > 0; ++rounds) {
            if (rounds > 100000) {
                vqfuzz::fail("the client stopped taking bytes");
            }
            const std::size_t sent = link.sendSome(stream.data() + offset, piece);
            offset += sent;
            piece -= sent;
            open = take(0);
        }
    }
    // Loopback bytes are there as soon as they are sent; a slower machine gets another chance.
    if (open && frames.size() < expected.frames.size()) {
        take(1000);
    }

    if (frames != expected.frames) {
        vqfuzz::fail("the client handed out other frames than the whole stream holds");
    }
    // A record whose damage lies in the bytes it may hold beyond its announced size (16 per
    // labelled record) is decided once those have arrived: until then the client holds it, and
    // exactly it, with nothing handed out past it.
    const bool still_waiting = error.empty() && !expected.error.empty() &&
                               link.client.pendingBytes() == stream.size() - expected.error_pos;
    if (error != expected.error && !still_waiting) {
        std::fprintf(stderr, "client: '%s'\nwhole stream: '%s'\n", error.c_str(),
                     expected.error.c_str());
        vqfuzz::fail("the client raised another error than the whole stream gives");
    }
    if (!error.empty() || !expected.error.empty() || expected.partial) {
        link.connect();  // drops the pending bytes
    }
    return 0;
}
