// The frame client against a real server socket on 127.0.0.1: reassembly, skipping, time
// limits, peer close and oversize records; and fed by a byte source of the test: views against
// objects, and the rules of sources. Hostile streams in any pieces are the fuzz target's.
#include "vq/eod/io/engineoutputdatatcpclient.h"

#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <random>
#include <thread>

#include "vq/eod/enginestateoutputdata.h"
#include "vq/eod/headintersectionoutputdatav2.h"
#include "vq/eod/io/socketerror.h"
#include "vq/eod/serializableerror.h"
#include "vq/eod/timingoutputdata.h"
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

// Frames 0 to count - 1, those below `others` with another record before them.
ByteBuffer framesBytes(unsigned int count, unsigned int others) {
    ByteBuffer stream;
    for (unsigned int i = 0; i < count; ++i) {
        const ByteBuffer more = frameBytes(i, i < others);
        stream.insert(stream.end(), more.begin(), more.end());
    }
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
    const ByteBuffer stream = framesBytes(1000, 1000);
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

// A burst of frames in one write, then the peer closes: what is pending comes out first, with no
// wait, before the close is seen.
TEST_F(EngineOutputDataTcpClientTest, ABurstBeforeAPeerCloseComesOutWhole) {
    send(framesBytes(1000, 2));
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

TEST_F(EngineOutputDataTcpClientTest, OversizeRecordsAreWaitedForOrRefused) {
    send(bytes("7F FF FF 04 00 00 00"));  // the largest record allowed is waited for
    EXPECT_FALSE(client.receive(20));
    EXPECT_TRUE(client.connected());
    reconnect();
    send(bytes("09 FF FF FF FF FF FF"));  // 4 GiB: refused at once, and again
    const char* const oversize =
        "EngineOutputDataTcpClient::receive - record of 4294967295 bytes exceeds the maximum "
        "record size of 67108864 bytes";
    EXPECT_SERIALIZABLE_ERROR(client.receive(PATIENCE_MILLIS), oversize);
    EXPECT_SERIALIZABLE_ERROR(client.receive(PATIENCE_MILLIS), oversize);
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

// Hands out the pieces it is given, one a read, and ends when told to once they are all read.
class FedSource : public ByteSource {
public:
    std::size_t read(ByteBuffer& data, int) override {
        if (pieces.empty()) {
            _ended = closing;
            return 0;
        }
        data.insert(data.end(), pieces.front().begin(), pieces.front().end());
        const std::size_t size = pieces.front().size();
        pieces.pop_front();
        return size;
    }
    bool ended() const override { return _ended; }

    std::deque<ByteBuffer> pieces;
    bool closing = false;

private:
    bool _ended = false;
};

// Connects `client` to a new FedSource, which it returns.
FedSource& connectFed(EngineOutputDataTcpClient& client) {
    auto source = std::make_unique<FedSource>();
    FedSource& fed = *source;
    client.connect(std::move(source));
    return fed;
}

// A frame the view takes as it stands: timing, a labelled intersection record (16 bytes more
// than announced) and an engine state. Fed a byte at a time, such frames come out whole and
// exact, never as damage before their last byte.
ByteBuffer exactFrameBytes(unsigned int number) {
    EngineOutputData frame;
    frame.setFrameNum(number);
    boost::shared_ptr<vq::eod::TimingOutputData> timing(new vq::eod::TimingOutputData);
    timing->setExperimentTime(number * 0.25);
    frame.addSubObject(timing);
    boost::shared_ptr<vq::eod::HeadIntersectionOutputDataV2> head(
        new vq::eod::HeadIntersectionOutputDataV2);
    head->addIntersection("screen", {1, 2, static_cast<float>(number)}, {4, 5}, {6, 7});
    frame.addSubObject(head);
    frame.addSubObject(
        boost::shared_ptr<vq::eod::EngineStateOutputData>(new vq::eod::EngineStateOutputData));
    return vqtest::serialized(frame);
}

TEST(EngineOutputDataTcpClientSource, ViewsAndObjectsTakeTheSameFramesInAnyPieces) {
    vqtest::registerTestRecords();
    // Frames the view takes as they stand, frames with a test record (the objects judge them),
    // and records that are not frames between them.
    ByteBuffer stream;
    std::vector<ByteBuffer> frames;
    for (unsigned int i = 0; i < 60; ++i) {
        frames.push_back(i % 3 == 0 ? frameBytes(i) : exactFrameBytes(i));
        const ByteBuffer more = i % 3 == 0 ? frameBytes(i, true) : frames.back();
        stream.insert(stream.end(), more.begin(), more.end());
    }
    for (const std::size_t piece : {std::size_t{1}, std::size_t{7}, std::size_t{100000}}) {
        SCOPED_TRACE(piece);
        EngineOutputDataTcpClient client;
        FedSource& source = connectFed(client);
        for (std::size_t at = 0; at < stream.size(); at += piece) {
            source.pieces.emplace_back(
                stream.begin() + static_cast<long>(at),
                stream.begin() + static_cast<long>(std::min(stream.size(), at + piece)));
        }
        source.closing = true;
        for (unsigned int i = 0; i < frames.size(); ++i) {
            const std::string expected = vqtest::hex(frames[i]);
            if (i % 2 == 0) {
                const Frame frame = client.receive(0);
                ASSERT_TRUE(frame) << i;
                EXPECT_EQ(vqtest::hex(vqtest::serialized(*frame)), expected);
                EXPECT_PRECONDITION(client.viewedFrame(),
                                    "src/eod/io/engineoutputdatatcpclient.cpp", "no frame viewed");
                continue;
            }
            const vq::eod::FrameView* view = client.receiveView(0);
            ASSERT_TRUE(view) << i;
            ASSERT_TRUE(view->ok()) << i;
            EXPECT_EQ(view->exact(), i % 3 != 0);
            EXPECT_EQ(view->frameNum(), i);
            EXPECT_EQ(vqtest::hex(ByteBuffer(view->data(), view->data() + view->bytes())),
                      expected);
            const Frame frame = client.viewedFrame();
            ASSERT_TRUE(frame);
            EXPECT_EQ(client.viewedFrame(), frame);  // built once
            EXPECT_EQ(vqtest::hex(vqtest::serialized(*frame)), expected);
        }
        EXPECT_EQ(client.receiveView(0), nullptr);
        EXPECT_FALSE(client.connected());
        EXPECT_EQ(client.pendingBytes(), 0u);
    }
}

TEST(EngineOutputDataTcpClientSource, DamageAndTheRulesOfSources) {
    const char* const source = "src/eod/io/engineoutputdatatcpclient.cpp";
    EngineOutputDataTcpClient client;
    EXPECT_PRECONDITION(client.receiveView(0), source, "not connected");
    EXPECT_PRECONDITION(client.connect(std::unique_ptr<ByteSource>()), source, "no byte source");
    FedSource& bytes_in = connectFed(client);
    EXPECT_PRECONDITION(client.connect(std::make_unique<FedSource>()), source,
                        "already connected: disconnect() first");
    EXPECT_PRECONDITION(client.connect(vqtest::loopback(1)), source, "byte source open");

    // A frame one byte longer than what it reads: both ways raise, and again, the bytes pending.
    bytes_in.pieces.push_back(bytes("09 00 07 | 01 | 00 00 00 07 | 00 | 00"));
    const char* const damaged = "SerializableFactory::newObject - could not unSerialize object";
    EXPECT_SERIALIZABLE_ERROR(client.receiveView(0), damaged);
    EXPECT_SERIALIZABLE_ERROR(client.receive(0), damaged);
    EXPECT_SERIALIZABLE_ERROR(client.receiveView(0), damaged);
    EXPECT_EQ(client.pendingBytes(), 10u);
    EXPECT_PRECONDITION(client.viewedFrame(), source, "no frame viewed");

    // A labelled record's frame cut in its unannounced tail is waited for, not damage.
    client.disconnect();
    FedSource& tail_in = connectFed(client);
    const ByteBuffer frame = exactFrameBytes(5);
    tail_in.pieces.emplace_back(frame.begin(), frame.end() - 3);
    EXPECT_EQ(client.receiveView(0), nullptr);
    EXPECT_EQ(client.pendingBytes(), frame.size() - 3);
    tail_in.pieces.emplace_back(frame.end() - 3, frame.end());
    const vq::eod::FrameView* view = client.receiveView(0);
    ASSERT_TRUE(view);
    EXPECT_EQ(view->frameNum(), 5u);
    EXPECT_EQ(view->bytes(), frame.size());
    EXPECT_TRUE(client.connected());
}

}  // namespace
