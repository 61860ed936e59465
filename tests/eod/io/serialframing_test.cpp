// The serial framing without a device: frames built, and the events the decoder reports for
// the bytes of a line, including noise, damage and interruptions.
#include "eod/io/serialframing_internal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "vqtest/hex.h"

namespace {

using vq::eod::io::detail::SerialFrameDecoder;
using vqtest::bytes;
using vqtest::hex;
using Bytes = std::vector<unsigned char>;
using Event = SerialFrameDecoder::Event;
namespace framing = vq::eod::io::detail;

Bytes operator+(Bytes head, const Bytes& tail) {
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
}

// The events the decoder reports for `wire`, one word each: "[07 08]" a payload, "crc",
// "oversize", "noise"; bytes that complete nothing add nothing.
std::string events(SerialFrameDecoder& decoder, const Bytes& wire) {
    std::string out;
    for (const unsigned char byte : wire) {
        const Event event = decoder.push(byte);
        if (event == Event::PAYLOAD) {
            out += "[" + hex(Bytes(decoder.payload(), decoder.payload() + decoder.payloadSize())) +
                   "] ";
        } else if (event != Event::NONE) {
            out += event == Event::CRC_ERROR  ? "crc "
                   : event == Event::OVERSIZE ? "oversize "
                   : event == Event::NOISE    ? "noise "
                                              : "? ";
        }
    }
    return out;
}

std::string events(const std::string& wire) {
    SerialFrameDecoder decoder;
    return events(decoder, bytes(wire));
}

Bytes frame(const Bytes& payload) {
    Bytes wire;
    framing::appendFrame(wire, payload.data(), payload.size());
    return wire;
}

TEST(SerialFraming, FramesAreFoundInNoiseAndStuffing) {
    // Noise with a false start, frames sharing a marker, a frame with markers of its own, an
    // empty payload; any byte after AA but 55 is stuffing.
    EXPECT_EQ(events("00 AA 13 AA | AA 55 07 70 E7 AA 55 10 20 27 11 AA 55 | AA 55 E4 BD AA 00 "
                     "AA 55 | AA 55 00 00 AA 55 | AA 55 01 AA 7F 02 E5 C7 AA 55"),
              "[07] [10 20] [E4] [] [01 AA 02] ");
}

TEST(SerialFraming, DamageIsReportedAndTheNextFrameStillComes) {
    // A hit byte; a body of one byte; two empty bodies in a row (the second is a frame too
    // short for its checksum); each is followed by a good frame.
    EXPECT_EQ(events("AA 55 01 AB 00 02 E5 C7 AA 55 | AA 55 07 70 E7 AA 55"), "crc [07] ");
    EXPECT_EQ(events("AA 55 07 AA 55 | 07 70 E7 AA 55"), "crc [07] ");
    EXPECT_EQ(events("AA 55 AA 55 AA 55 | 07 70 E7 AA 55"), "crc [07] ");

    // The longest body is taken; one byte more is refused at once, before its end, and the
    // decoder hunts again: the rest of that body is noise up to the next marker.
    SerialFrameDecoder decoder;
    const Bytes longest(framing::MAX_FRAME_PAYLOAD_BYTES, 0x01);
    EXPECT_EQ(events(decoder, frame(longest)).size(), 3 * longest.size() + 2);
    const Bytes too_long = bytes("AA 55") + Bytes(framing::MAX_FRAME_PAYLOAD_BYTES + 3, 0x01);
    EXPECT_EQ(events(decoder, too_long), "oversize ");
    EXPECT_FALSE(decoder.atFrameStart());
    EXPECT_EQ(events(decoder, bytes("01 01 AA 55 | AA 55 07 70 E7 AA 55")), "[07] ");

    // Noise is skipped for at most a longest frame's worth of bytes: a marker that completes
    // on the last of them is still found, one byte later it is noise.
    const Bytes noise(framing::MAX_FRAME_WIRE_BYTES - 2, 0x55);
    decoder.reset();
    EXPECT_EQ(events(decoder, noise + bytes("AA 55 07 70 E7 AA 55")), "[07] ");
    decoder.reset();
    EXPECT_EQ(events(decoder, noise + bytes("01 AA 55 07 70 E7 AA 55")), "noise ");
    EXPECT_EQ(events(decoder, bytes("AA 55 07 70 E7 AA 55")), "[07] ");
}

TEST(SerialFraming, InterruptionsKeepOnlyAFrameStart) {
    SerialFrameDecoder decoder;
    // Interrupted right after a marker: the next byte still starts a body.
    EXPECT_EQ(events(decoder, bytes("AA 55 07 70 E7 AA 55")), "[07] ");
    EXPECT_TRUE(decoder.atFrameStart());
    decoder.interrupt();
    EXPECT_EQ(events(decoder, bytes("10 20 27 11 AA 55")), "[10 20] ");

    // Interrupted inside a body, or between AA and 55: the partial body is gone and the
    // decoder hunts, so the bytes up to the next marker are skipped.
    for (const char* cut : {"AA 55 01 02", "AA 55 01 AA", "AA"}) {
        SCOPED_TRACE(cut);
        decoder.reset();
        EXPECT_EQ(events(decoder, bytes(cut)), "");
        decoder.interrupt();
        EXPECT_FALSE(decoder.atFrameStart());
        EXPECT_EQ(events(decoder, bytes("55 07 70 E7 AA 55 10 20 27 11 AA 55")), "[10 20] ");
    }

    // An interruption after one empty body starts the count of empty bodies again.
    decoder.reset();
    EXPECT_EQ(events(decoder, bytes("AA 55 AA 55")), "");
    decoder.interrupt();
    EXPECT_EQ(events(decoder, bytes("AA 55 07 70 E7 AA 55")), "[07] ");
}

TEST(SerialFraming, ALineThatDropsOrGainsAByteLosesAtMostTwoFrames) {
    // Five frames with markers of their own, payloads that hold AA and 55; one byte dropped, or
    // one noise byte gained, at every place in turn. The frame hit and at most the one after it
    // are lost, every later frame arrives. The checksum (no initial or final value) cannot see a
    // 0x00 gained right after the opening marker or between the two checksum bytes: such a frame
    // comes out one byte longer. No other damage gives a changed payload.
    const std::vector<Bytes> payloads = {bytes("01 AA 02"), bytes("55"), bytes("AA 55 AA"),
                                         bytes("10 20"), bytes("07")};
    Bytes wire;
    std::vector<std::size_t> frame_end;  // one past the last wire byte of each frame
    for (const Bytes& payload : payloads) {
        wire = wire + frame(payload);
        frame_end.push_back(wire.size());
    }
    std::string blind_spots;
    auto check = [&](const Bytes& line, std::size_t hit, const std::string& what) {
        SCOPED_TRACE(what + " at " + std::to_string(hit));
        std::size_t hit_frame = 0;
        while (frame_end[hit_frame] <= hit) {
            ++hit_frame;
        }
        SerialFrameDecoder decoder;
        std::vector<std::size_t> arrived;
        for (const unsigned char byte : line) {
            if (decoder.push(byte) != Event::PAYLOAD) {
                continue;
            }
            const Bytes payload(decoder.payload(), decoder.payload() + decoder.payloadSize());
            const auto known = std::find(payloads.begin(), payloads.end(), payload);
            if (known == payloads.end()) {
                blind_spots += what + " at " + std::to_string(hit) + ": " + hex(payload) + "\n";
                continue;
            }
            arrived.push_back(static_cast<std::size_t>(known - payloads.begin()));
        }
        std::vector<std::size_t> expected;
        for (std::size_t index = 0; index < payloads.size(); ++index) {
            const bool may_be_lost = index == hit_frame || index == hit_frame + 1;
            if (!may_be_lost || std::find(arrived.begin(), arrived.end(), index) != arrived.end()) {
                expected.push_back(index);
            }
        }
        EXPECT_EQ(arrived, expected);
    };
    for (std::size_t hit = 0; hit < wire.size(); ++hit) {
        Bytes dropped = wire;
        dropped.erase(dropped.begin() + static_cast<std::ptrdiff_t>(hit));
        check(dropped, hit, "dropped");
        for (const unsigned char noise : {0x00, 0x55, 0xAA, 0x13}) {
            Bytes gained = wire;
            gained.insert(gained.begin() + static_cast<std::ptrdiff_t>(hit), noise);
            check(gained, hit, "gained " + hex(Bytes{noise}));
        }
    }
    EXPECT_EQ(blind_spots,
              "gained 00 at 2: 00 01 AA 02\ngained 00 at 8: 01 AA 02 E5\n"
              "gained 00 at 12: 00 55\ngained 00 at 15: 55 0A\n"
              "gained 00 at 19: 00 AA 55 AA\ngained 00 at 26: AA 55 AA 9F\n"
              "gained 00 at 30: 00 10 20\ngained 00 at 34: 10 20 27\n"
              "gained 00 at 38: 00 07\ngained 00 at 41: 07 70\n");
}

}  // namespace
