// The serial link's frame decoder on arbitrary line bytes.
//
// Checks: every payload found is at most the largest datagram and is found again, alone and
// unchanged, when framed anew; and whatever the decoder has read before, once the receive is
// interrupted (as a time-out does), a frame of the input taken as a payload arrives unchanged.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "eod/io/serialframing_internal.h"
#include "fuzz_support.h"

namespace {

using vq::eod::io::detail::SerialFrameDecoder;
using Event = SerialFrameDecoder::Event;
using Bytes = std::vector<unsigned char>;
namespace framing = vq::eod::io::detail;

// Feeds `wire` and checks that only its last byte completes something: the payload `payload`.
void expectOnlyFrame(SerialFrameDecoder& decoder, const Bytes& wire, const Bytes& payload) {
    for (std::size_t i = 0; i < wire.size(); ++i) {
        const Event event = decoder.push(wire[i]);
        if (i + 1 < wire.size()) {
            if (event == Event::PAYLOAD || event == Event::OVERSIZE || event == Event::NOISE) {
                vqfuzz::fail("a frame gave an event before its end");
            }
            continue;
        }
        if (event != Event::PAYLOAD ||
            Bytes(decoder.payload(), decoder.payload() + decoder.payloadSize()) != payload) {
            vqfuzz::fail("a framed payload did not come back unchanged");
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    SerialFrameDecoder decoder;
    for (std::size_t i = 0; i < size; ++i) {
        if (decoder.push(data[i]) != Event::PAYLOAD) {
            continue;
        }
        if (decoder.payloadSize() > framing::MAX_FRAME_PAYLOAD_BYTES) {
            vqfuzz::fail("a payload longer than the largest datagram");
        }
        const Bytes payload(decoder.payload(), decoder.payload() + decoder.payloadSize());
        Bytes wire;
        framing::appendFrame(wire, payload.data(), payload.size());
        SerialFrameDecoder fresh;
        expectOnlyFrame(fresh, wire, payload);
    }

    decoder.interrupt();
    const Bytes payload(data, data + std::min(size, framing::MAX_FRAME_PAYLOAD_BYTES));
    Bytes wire;
    framing::appendFrame(wire, payload.data(), payload.size());
    // The frame's opening marker may first close a body the input left open.
    for (std::size_t i = 0; i + 1 < wire.size(); ++i) {
        if (decoder.push(wire[i]) == Event::OVERSIZE) {
            vqfuzz::fail("a frame after an interruption was taken as part of a body");
        }
    }
    if (decoder.push(wire.back()) != Event::PAYLOAD ||
        Bytes(decoder.payload(), decoder.payload() + decoder.payloadSize()) != payload) {
        vqfuzz::fail("a frame after an interruption did not come back unchanged");
    }
    return 0;
}
