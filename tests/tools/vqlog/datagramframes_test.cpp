// DatagramFrames: frames from datagrams sent on 127.0.0.1, whole, several to a datagram, in
// pieces, and around unreadable datagrams.
#include "vqlog/datagramframes.h"

#include "toolfixture.h"
#include "vqtest/loopback.h"

namespace vqtest {
namespace {

using vq::eod::ByteBuffer;

TEST(DatagramFrames, WholeJoinedPiecedAndUnreadable) {
    const Frames frames = timedFrames(3);
    const ByteBuffer one = bytesOf({frames[0]});
    const ByteBuffer second = bytesOf({frames[1]});
    const ByteBuffer two = bytesOf({frames[1], frames[2]});
    const ByteBuffer garbage{0x0A, 0x00, 0x01, 0x07};
    const ByteBuffer piece(one.begin(), one.begin() + 10);
    ByteBuffer tailed = one;
    tailed.insert(tailed.end(), garbage.begin(), garbage.end());
    struct Case {
        const char* name;
        std::vector<ByteBuffer> datagrams;
        std::size_t send_size;  // larger datagrams leave in pieces of this size
        ByteBuffer expected;    // the frames received, serialised
        std::uint64_t damaged;
    };
    const std::vector<Case> cases{
        {"one frame a datagram", {one, second}, 65507, join({one, second}), 0},
        {"two frames in one datagram", {two}, 65507, two, 0},
        {"a frame in pieces of 16 bytes", {one}, 16, one, 0},
        {"garbage, then a frame", {garbage, one}, 65507, one, 1},
        {"a frame cut off by a whole one", {piece, two}, 65507, two, 1},
        {"a frame, then bytes that start none", {tailed}, 65507, one, 1},
    };
    for (const Case& c : cases) {
        vqlog::DatagramFrames receiver(0, "");
        vq::eod::io::DatagramSocket sender(0, 65536, static_cast<int>(c.send_size));
        for (const ByteBuffer& datagram : c.datagrams) {
            sender.sendDatagram(datagram, loopback(receiver.port()));
        }
        ByteBuffer received;
        for (int i = 0; i < 20 && received.size() < c.expected.size(); ++i) {
            if (auto frame = receiver.receive(PATIENCE_MILLIS / 20)) {
                frame->serialize(received);
            }
        }
        // What is left (an unreadable tail) is taken in without a frame.
        EXPECT_FALSE(receiver.receive(50)) << c.name;
        EXPECT_EQ(received, c.expected) << c.name;
        EXPECT_EQ(receiver.damaged(), c.damaged) << c.name;
    }
}

}  // namespace
}  // namespace vqtest
