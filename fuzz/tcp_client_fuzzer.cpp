// The frame client's reassembly: a stream fed to EngineOutputDataTcpClient through a byte source
// in pieces whose sizes the input chooses, taken as objects and as views.
//
// Input: a byte whose low 4 bits are the number k of piece sizes that follow and whose high 4
// bits say which calls take views: call i uses receiveView() when bit (i mod 4) is set, else
// receive(); then k bytes each giving a piece of (byte + 1) bytes, used in turn, then the stream
// itself (all of it in one piece when k is 0). After each piece the client takes what has arrived.
//
// The check: however the stream is cut and whichever way frames are taken, the client hands out
// exactly the frames that reading the whole stream at once gives, and raises exactly the error
// that it meets there, if any. A view that is OK holds the frame's number and, when exact, bytes
// whose objects are the frame.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
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

// Hands the client the pieces it is given, one a read; the stream never ends.
class Pieces : public vq::eod::io::ByteSource {
public:
    std::size_t read(ByteBuffer& data, int) override {
        const std::size_t size = next.size();
        data.insert(data.end(), next.begin(), next.end());
        next.clear();
        return size;
    }
    bool ended() const override { return false; }

    ByteBuffer next;  // what the next read hands out
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::size_t piece_count = data[0] & 0x0Fu;
    const unsigned int view_calls = data[0] >> 4;
    if (size < 1 + piece_count) {
        return 0;
    }
    const std::uint8_t* const pieces = data + 1;
    const ByteBuffer stream(data + 1 + piece_count, data + size);
    const Expected expected = readWhole(stream);

    EngineOutputDataTcpClient client;
    auto source = std::make_unique<Pieces>();
    Pieces& feed = *source;
    client.connect(std::move(source));

    std::vector<ByteBuffer> frames;
    std::string error;
    unsigned int calls = 0;
    // Takes frames until none is complete; false once the client raised.
    auto take = [&]() {
        for (;;) {
            boost::shared_ptr<vq::eod::EngineOutputData> frame;
            try {
                if ((view_calls >> (calls++ % 4)) & 1u) {
                    const vq::eod::FrameView* view = client.receiveView(0);
                    if (view == nullptr) {
                        return true;
                    }
                    frame = client.viewedFrame();
                    if (!frame || (view->ok() && view->frameNum() != frame->frameNum())) {
                        vqfuzz::fail("a view and its frame disagree");
                    }
                    if (view->exact()) {
                        ByteBuffer bytes(view->data(), view->data() + view->bytes());
                        int pos = 0;
                        auto again = vq::eod::SerializableFactory::newObject(bytes, pos);
                        if (!again || vqfuzz::serialized(*again) != vqfuzz::serialized(*frame) ||
                            static_cast<std::size_t>(pos) != bytes.size()) {
                            vqfuzz::fail("an exact view holds other bytes than its frame");
                        }
                    }
                } else {
                    frame = client.receive(0);
                }
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
        feed.next.assign(stream.begin() + static_cast<long>(offset),
                         stream.begin() + static_cast<long>(offset + piece));
        offset += piece;
        open = take();
    }

    if (frames != expected.frames) {
        vqfuzz::fail("the client handed out other frames than the whole stream holds");
    }
    // A record whose damage lies in the bytes it may hold beyond its announced size (16 per
    // labelled record) is decided once those have arrived: until then the client holds it, and
    // exactly it, with nothing handed out past it.
    const bool still_waiting = error.empty() && !expected.error.empty() &&
                               client.pendingBytes() == stream.size() - expected.error_pos;
    if (error != expected.error && !still_waiting) {
        std::fprintf(stderr, "client: '%s'\nwhole stream: '%s'\n", error.c_str(),
                     expected.error.c_str());
        vqfuzz::fail("the client raised another error than the whole stream gives");
    }
    return 0;
}
