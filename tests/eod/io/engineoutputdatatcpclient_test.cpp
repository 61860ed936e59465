// The frame client against a real server socket on 127.0.0.1: reassembly, skipping, time
// limits, peer close, and hostile streams.
#include "vq/eod/io/engineoutputdatatcpclient.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <thread>

#include "vq/eod/headintersectionoutputdatav2.h"
#include "vq/eod/io/socketerror.h"
#include "vq/eod/serializableerror.h"
#include "vqtest/expect.h"
#include "vqtest/hex.h"
#include "vqtest/loopback.h"
#include "vqtest/testrecords.h"

namespace {

using namespace vq::eod::io;
using vq::eod::ByteBuffer;
using vq::eod::EngineOutputData;
using vqtest::bytes;
using vqtest::PATIENCE_MILLIS;
using Frame = boost::shared_ptr<EngineOutputData>;

// Frame `number` holding one test record; with `other`, a record that is not a frame before it.
ByteBuffer frameBytes(unsigned int number, bool other = false) {
    ByteBuffer stream;
    if (other) {
        const ByteBuffer others[] = {vqtest::serialized(vqtest::TestRecord(vqtest::TEST_RECORD_B)),
                                     vqtest::serialized(vqtest::PlainRecord("not a frame")),
                                     bytes("7F 00 02 AA BB")};  // unknown: skipped by size
        stream = others[number % 3];
    }
    EngineOutputData frame;
    frame.setFrameNum(number);
    frame.addSubObject(vqtest::testRecord(vqtest::TEST_RECORD_A, static_cast<int>(number) * 3));
    frame.serialize(stream);
    return stream;
}

class EngineOutputDataTcpClientTest : public ::testing::Test {
protected:
    void SetUp() override {
        vqtest::registerTestRecords();
        reconnect();
    }
    void reconnect() {
        client.disconnect();
        client.connect(listener.address());
        server = listener.accept();
        ASSERT_TRUE(server);
    }
    void send(const ByteBuffer& data) { server->send(data); }

    vqtest::LoopbackListener listener;
    EngineOutputDataTcpClient client;
    std::unique_ptr<TcpSocket> server;
};

TEST_F(EngineOutputDataTcpClientTest, AThousandFramesInPiecesWithOtherRecordsBetween) {
    ByteBuffer stream;
    for (unsigned int i = 0; i < 1000; ++i) {
        const ByteBuffer more = frameBytes(i, true);
        stream.insert(stream.end(), more.begin(), more.end());
    }
    const unsigned int seed = 20240611;
    std::thread writer([&] {
        std::mt19937 random(seed);
        server->enableNagleAlgortihm(true);
        for (std::size_t offset = 0, piece = 0; offset < stream.size(); offset += piece) {
            piece = std::min<std::size_t>(stream.size() - offset, 1 + random() % 300);
            server->send(stream.data() + offset, static_cast<unsigned int>(piece));
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 100));
        }
    });
    for (unsigned int i = 0; i < 1000; ++i) {
        const Frame frame = client.receive(PATIENCE_MILLIS);
        if (!frame) {
            ADD_FAILURE() << "frame " << i << " missing (seed " << seed << ")";
            break;
        }
        EXPECT_EQ(vqtest::hex(vqtest::serialized(*frame)), vqtest::hex(frameBytes(i)));
    }
    writer.join();
}

TEST_F(EngineOutputDataTcpClientTest, PiecesAndFramesOfOneRead) {
    // A frame in two pieces comes out once its last byte has arrived.
    const ByteBuffer frame = frameBytes(7);
    send(ByteBuffer(frame.begin(), frame.begin() + 5));
    EXPECT_FALSE(client.receive(30));
    EXPECT_TRUE(client.connected());
    send(ByteBuffer(frame.begin() + 5, frame.end()));
    EXPECT_EQ(client.receive(PATIENCE_MILLIS)->frameNum(), 7u);

    // A burst of frames in one write, then the peer closes: what is pending comes out first,
    // with no wait, before the close is seen.
    ByteBuffer burst;
    for (unsigned int i = 0; i < 1000; ++i) {
        const ByteBuffer more = frameBytes(i, i < 2);
        burst.insert(burst.end(), more.begin(), more.end());
    }
    send(burst);
    server->close();
    EXPECT_EQ(client.receive(PATIENCE_MILLIS)->frameNum(), 0u);
    for (unsigned int i = 1; i < 1000; ++i) {
        const Frame next = client.receive(0);
        ASSERT_TRUE(next) << i;
        ASSERT_EQ(next->frameNum(), i);
    }
    EXPECT_TRUE(client.connected());
    EXPECT_FALSE(client.receive(PATIENCE_MILLIS));
    EXPECT_FALSE(client.isConnected());
}

TEST_F(EngineOutputDataTcpClientTest, FramesAnnouncingFewerBytesThanTheyHoldComeOutWhole) {
    // A frame holding a labelled intersection record, whose header (and the frame's) announces 16
    // bytes fewer than follow, sent a byte at a time: nothing comes out and nothing is raised
    // before its last byte, then it comes out exactly, and the frame after it too.
    EngineOutputData frame;
    frame.setFrameNum(11);
    boost::shared_ptr<vq::eod::HeadIntersectionOutputDataV2> head(
        new vq::eod::HeadIntersectionOutputDataV2);
    head->addIntersection("screen", {1, 2, 3}, {4, 5}, {6, 7});
    frame.addSubObject(head);
    ByteBuffer stream = vqtest::serialized(frame);
    ASSERT_EQ(stream.size(), frame.numTotalBytes() + 16);
    const std::size_t frame_size = stream.size();
    const ByteBuffer next = frameBytes(12);
    stream.insert(stream.end(), next.begin(), next.end());
    for (std::size_t i = 0; i + 1 < frame_size; ++i) {
        send(ByteBuffer(1, stream[i]));
        ASSERT_FALSE(client.receive(i + 2 == frame_size ? 30 : 0)) << "after byte " << i;
    }
    send(ByteBuffer(stream.begin() + static_cast<long>(frame_size) - 1, stream.end()));
    const Frame whole = client.receive(PATIENCE_MILLIS);
    ASSERT_TRUE(whole);
    EXPECT_EQ(
        vqtest::hex(vqtest::serialized(*whole)),
        vqtest::hex(ByteBuffer(stream.begin(), stream.begin() + static_cast<long>(frame_size))));
    EXPECT_EQ(client.receive(PATIENCE_MILLIS)->frameNum(), 12u);
}

TEST_F(EngineOutputDataTcpClientTest, PeerCloseMidFrameAndTheNotConnectedRule) {
    const char* const source = "src/eod/io/engineoutputdatatcpclient.cpp";
    send(ByteBuffer(6, 0x09));
    server->close();
    EXPECT_FALSE(client.receive(PATIENCE_MILLIS));
    EXPECT_FALSE(client.connected());
    EXPECT_PRECONDITION(client.receive(0), source, "not connected");
    EXPECT_PRECONDITION(client.connect(listener.address()), "src/eod/io/tcpsocket.cpp",
                        "socket already open");
    // After disconnect() the half frame of the old connection is gone.
    reconnect();
    send(frameBytes(4));
    EXPECT_EQ(client.receive(PATIENCE_MILLIS)->frameNum(), 4u);

    client.disconnect();
    EXPECT_PRECONDITION(client.receive(0), source, "not connected");
    EXPECT_THROW(client.connect(vqtest::loopback(vqtest::closedPort())), SocketError);
    EXPECT_FALSE(client.connected());
}

TEST_F(EngineOutputDataTcpClientTest, OversizeDamagedAndRandomStreams) {
    send(bytes("7F FF FF 04 00 00 00"));  // the largest record allowed is waited for
    EXPECT_FALSE(client.receive(20));
    reconnect();
    send(bytes("09 FF FF FF FF FF FF"));  // 4 GiB: refused at once, and again
    const char* const oversize =
        "EngineOutputDataTcpClient::receive - record of 4294967295 bytes exceeds the maximum "
        "record size of 67108864 bytes";
    EXPECT_SERIALIZABLE_ERROR(client.receive(PATIENCE_MILLIS), oversize);
    EXPECT_SERIALIZABLE_ERROR(client.receive(PATIENCE_MILLIS), oversize);

    // A frame one byte longer than what it reads: the bytes stay pending, the error repeats.
    reconnect();
    send(bytes("09 00 07 | 01 | 00 00 00 07 | 00 | 00"));
    const char* const damaged = "SerializableFactory::newObject - could not unSerialize object";
    EXPECT_SERIALIZABLE_ERROR(client.receive(PATIENCE_MILLIS), damaged);
    EXPECT_SERIALIZABLE_ERROR(client.receive(0), damaged);

    // Cut frames followed by random bytes: frames, nulls or SerializableError, nothing else.
    std::mt19937 random(77);
    for (unsigned int round = 0; round < 30; ++round) {
        reconnect();
        ByteBuffer garbage = frameBytes(round);
        garbage.resize(random() % garbage.size());
        for (int i = 0; i < 200; ++i) {
            garbage.push_back(static_cast<unsigned char>(random()));
        }
        send(garbage);
        server->close();
        try {
            for (int call = 0; call < 300 && client.connected(); ++call) {
                client.receive(PATIENCE_MILLIS);
            }
        } catch (const vq::eod::SerializableError&) {
        }
    }
}

TEST(EngineOutputDataTcpClientFaults, APeerThatResetsKeepsTheFramesThatCameWhole) {
    vqtest::registerTestRecords();
    vqtest::AbortingServer server;
    EngineOutputDataTcpClient client;
    client.connect(server.address());
    ASSERT_TRUE(server.accept());
    // Frame 1 and half of frame 2, then the peer aborts the connection.
    ByteBuffer stream = frameBytes(1);
    const ByteBuffer second = frameBytes(2);
    stream.insert(stream.end(), second.begin(), second.begin() + 6);
    ASSERT_TRUE(server.send(stream));
    EXPECT_EQ(client.receive(PATIENCE_MILLIS)->frameNum(), 1u);
    server.reset();
    EXPECT_ERROR_MESSAGE(
        client.receive(PATIENCE_MILLIS), SocketError,
        "Failed to receive data.: The connection was forcibly closed by the remote host.");
    // The reset is reported once; then the connection reads as closed.
    EXPECT_FALSE(client.receive(PATIENCE_MILLIS));
    EXPECT_FALSE(client.connected());
}

}  // namespace
