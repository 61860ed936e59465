// vqlog record --udp's gathering of frames from datagrams (DatagramFrames), fed without a socket.
//
// Input: datagrams, each a 2-byte big-endian length followed by that many bytes (the last one
// takes what is left). After each datagram every whole frame is taken.
//
// The checks: every frame handed out (enabled) serialises to bytes that decode to itself (it came
// whole out of the datagrams), and nothing crashes or hangs, whatever the datagrams hold.
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "fuzz_support.h"
#include "vqlog/datagramframes.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    vqlog::DatagramFrames frames;
    std::size_t pos = 0;
    while (pos < size) {
        std::size_t length = size - pos;  // the last byte alone: a datagram of its own
        if (size - pos >= 2) {
            length = std::min<std::size_t>((data[pos] << 8) | data[pos + 1], size - pos - 2);
            pos += 2;
        }
        frames.add(vq::eod::ByteBuffer(data + pos, data + pos + length));
        pos += length;
        while (vqlog::FramePtr frame = frames.next()) {
            if (!frame->serializeEnabled()) {
                continue;  // a disabled frame (its flag came so) serialises to nothing
            }
            vq::eod::ByteBuffer bytes;
            frame->serialize(bytes);
            int read = 0;
            auto again = vq::eod::SerializableFactory::newObject(bytes, read);
            if (!again || vqfuzz::serialized(*again) != bytes) {
                vqfuzz::fail("a frame handed out does not read back as itself");
            }
        }
    }
    return 0;
}
