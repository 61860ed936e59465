// The frame client against a real server socket on 127.0.0.1: reassembly, skipping, time
// limits, peer close, and hostile streams.
#include "vq/eod/io/engineoutputdatatcpclient.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <thread>

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

const char* const SOURCE = "src/eod/io/engineoutputdatatcpclient.cpp";

// Frame `number` holding one test record.
ByteBuffer frameBytes(unsigned int number) {
    EngineOutputData frame;
    frame.setFrameNum(number);
    frame.addSubObject(vqtest::testRecord(vqtest::TEST_RECORD_A, static_cast<int>(number) * 3));
    return vqtest::serialized(frame);
}

// A record that is not a frame: a known engine record, a plain record, or an unknown object.
ByteBuffer otherRecord(unsigned int kind) {
    switch (kind % 3) {
        case 0:
            return vqtest::serialized(vqtest::TestRecord(vqtest::TEST_RECORD_B, 5));
        case 1:
            return vqtest::serialized(vqtest::PlainRecord("not a frame"));
        default:
            return bytes("7F 00 02 AA BB");
    }
}

void append(ByteBuffer& stream, const ByteBuffer& more) {
    stream.insert(stream.end(), more.begin(), more.end());
}

class EngineOutputDataTcpClientTest : public ::testing::Test {
protected:
    void SetUp() override {
        vqtest::registerTestRecords();
        reconnect();
    }

    // A fresh connection; the client must be disconnected.
    void reconnect() {
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
    std::vector<ByteBuffer> frames;
    ByteBuffer stream;
    for (unsigned int i = 0; i < 1000; ++i) {
        frames.push_back(frameBytes(i));
        append(stream, otherRecord(i));
        append(stream, frames.back());
    }
    const unsigned int seed = 20240611;
    std::thread writer([&] {
        std::mt19937 random(seed);
        server->enableNagleAlgortihm(true);
        for (std::size_t offset = 0; offset < stream.size();) {
            const std::size_t piece =
                std::min<std::size_t>(stream.size() - offset, 1 + random() % 300);
            server->send(stream.data() + offset, static_cast<unsigned int>(piece));
            offset += piece;
            if (random() % 16 == 0) {
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
        }
    });
    for (unsigned int i = 0; i < frames.size(); ++i) {
        const boost::shared_ptr<EngineOutputData> frame = client.receive(PATIENCE_MILLIS);
        if (!frame) {
            ADD_FAILURE() << "frame " << i << " missing (seed " << seed << ")";
            break;
        }
        EXPECT_EQ(vqtest::hex(vqtest::serialized(*frame)), vqtest::hex(frames[i])) << i;
    }
    writer.join();
    server->close();
    EXPECT_FALSE(client.receive(PATIENCE_MILLIS));
    EXPECT_FALSE(client.connected());
}

TEST_F(EngineOutputDataTcpClientTest, AFrameInPiecesIsReturnedOnceItsLastByteArrives) {
    const ByteBuffer frame = frameBytes(7);
    send(ByteBuffer(frame.begin(), frame.begin() + 5));
    EXPECT_FALSE(client.receive(30));
    EXPECT_TRUE(client.connected());
    send(ByteBuffer(frame.begin() + 5, frame.end()));
    const boost::shared_ptr<EngineOutputData> received = client.receive(PATIENCE_MILLIS);
    ASSERT_TRUE(received);
    EXPECT_EQ(received->frameNum(), 7u);
}

TEST_F(EngineOutputDataTcpClientTest, FramesOfOneReadComeOutOneByOne) {
    ByteBuffer stream = otherRecord(1);
    append(stream, frameBytes(1));
    append(stream, otherRecord(2));
    append(stream, frameBytes(2));
    send(stream);
    server->close();

    // The record in front of frame 1 is skipped in the same call.
    boost::shared_ptr<EngineOutputData> frame = client.receive(PATIENCE_MILLIS);
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->frameNum(), 1u);
    // Frame 2 is already pending: no wait, and the peer's close is not yet seen.
    frame = client.receive(0);
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->frameNum(), 2u);
    EXPECT_TRUE(client.connected());
    EXPECT_FALSE(client.receive(PATIENCE_MILLIS));
    EXPECT_FALSE(client.isConnected());

    // A burst of a thousand frames in one write.
    client.disconnect();
    reconnect();
    stream.clear();
    for (unsigned int i = 0; i < 1000; ++i) {
        append(stream, frameBytes(i));
    }
    send(stream);
    for (unsigned int i = 0; i < 1000; ++i) {
        frame = client.receive(PATIENCE_MILLIS);
        ASSERT_TRUE(frame) << i;
        ASSERT_EQ(frame->frameNum(), i);
    }
    EXPECT_FALSE(client.receive(0));
}

TEST_F(EngineOutputDataTcpClientTest, PeerCloseMidFrameAndTheNotConnectedRule) {
    const ByteBuffer frame = frameBytes(3);
    send(ByteBuffer(frame.begin(), frame.begin() + 6));
    server->close();
    EXPECT_FALSE(client.receive(PATIENCE_MILLIS));
    EXPECT_FALSE(client.connected());
    EXPECT_PRECONDITION(client.receive(0), SOURCE, "not connected");
    EXPECT_PRECONDITION(client.connect(listener.address()), "src/eod/io/tcpsocket.cpp",
                        "socket already open");

    client.disconnect();
    client.disconnect();
    EXPECT_PRECONDITION(client.receive(0), SOURCE, "not connected");
    reconnect();
    // The half frame of the old connection is gone: the new stream starts clean.
    send(frameBytes(4));
    const boost::shared_ptr<EngineOutputData> received = client.receive(PATIENCE_MILLIS);
    ASSERT_TRUE(received);
    EXPECT_EQ(received->frameNum(), 4u);

    client.disconnect();
    EXPECT_THROW(client.connect(vqtest::loopback(vqtest::closedPort())), SocketError);
    EXPECT_FALSE(client.connected());
}

TEST_F(EngineOutputDataTcpClientTest, OversizeAndDamagedRecordsAreRefused) {
    // The largest record allowed is waited for; one byte more is refused at once.
    send(bytes("7F FF FF 04 00 00 00"));
    EXPECT_FALSE(client.receive(20));
    client.disconnect();
    reconnect();
    send(bytes("09 FF FF 04 00 00 01"));
    EXPECT_SERIALIZABLE_ERROR(client.receive(PATIENCE_MILLIS),
                              "EngineOutputDataTcpClient::receive - record of 67108865 bytes "
                              "exceeds the maximum record size of 67108864 bytes");

    client.disconnect();
    reconnect();
    send(bytes("09 FF FF FF FF FF FF"));
    const char* const four_gib =
        "EngineOutputDataTcpClient::receive - record of 4294967295 bytes exceeds the maximum "
        "record size of 67108864 bytes";
    EXPECT_SERIALIZABLE_ERROR(client.receive(PATIENCE_MILLIS), four_gib);
    EXPECT_SERIALIZABLE_ERROR(client.receive(PATIENCE_MILLIS), four_gib);

    // A frame whose data is one byte longer than what it reads; the bytes stay pending, so the
    // error repeats until the caller disconnects.
    client.disconnect();
    reconnect();
    send(bytes("09 00 07 | 01 | 00 00 00 07 | 00 | 00"));
    const char* const damaged = "SerializableFactory::newObject - could not unSerialize object";
    EXPECT_SERIALIZABLE_ERROR(client.receive(PATIENCE_MILLIS), damaged);
    EXPECT_SERIALIZABLE_ERROR(client.receive(0), damaged);
    EXPECT_TRUE(client.connected());
}

TEST_F(EngineOutputDataTcpClientTest, GarbageNeverCrashesOrHangs) {
    const unsigned int seed = 77;
    std::mt19937 random(seed);
    for (int round = 0; round < 30; ++round) {
        // Random bytes, often starting like a frame so that decoding goes deep.
        ByteBuffer garbage = frameBytes(static_cast<unsigned int>(round));
        const std::size_t keep = random() % garbage.size();
        garbage.resize(keep);
        for (int i = 0; i < 200; ++i) {
            garbage.push_back(static_cast<unsigned char>(random()));
        }
        if (round % 2 == 0 && !garbage.empty()) {
            garbage[0] = 0x09;
        }
        send(garbage);
        server->close();
        for (int call = 0; call < 300 && client.connected(); ++call) {
            try {
                client.receive(PATIENCE_MILLIS);
            } catch (const vq::eod::SerializableError&) {
                break;
            }
        }
        client.disconnect();
        reconnect();
    }
    SUCCEED() << "seed " << seed;
}

}  // namespace
