// vqlog serve and record against each other on 127.0.0.1, and serve sending datagrams. Every
// wait is bounded; a program still running at the end of a test is killed.
#include <signal.h>

#include <chrono>
#include <thread>

#include "toolfixture.h"
#include "vqlog/recording.h"
#include "vqtest/hex.h"
#include "vqtest/loopback.h"

namespace vqtest {
namespace {

constexpr int SERVE_PATIENCE_MILLIS = 10000;

TEST(VqlogServe, RecordTakesEveryFrameThatServeSends) {
    TempDir dir;
    writeRecording(dir / "in", timedFrames(50), true);
    ChildProcess serve(
        {VQLOG_PATH, "serve", dir / "in", "--port", "0", "--wait", "1", "--rate", "max"});
    const std::string address = serveAddress(serve);

    ProcessResult record = vqlog({"record", "--connect", address, dir / "out"});
    EXPECT_EQ(record.exit_code, 0) << record.err;
    EXPECT_EQ(record.out,
              "vqlog record: 50 frames (0..49) into 2 files in " + (dir / "out") + "\n");
    ProcessResult served = serve.wait(SERVE_PATIENCE_MILLIS);
    EXPECT_EQ(served.exit_code, 0);
    EXPECT_EQ(served.out.substr(0, served.out.find(':', 40)),
              "vqlog serve: sent 50 frames to 1 client\n  client 127.0.0.1");
    EXPECT_EQ(served.out.substr(served.out.rfind(':')), ": 50 frames (0..49)\n");
    for (const char* name : {"Timing.vql", "EngineState.vql"}) {
        EXPECT_EQ(readFile(dir / "out/" + name), readFile(dir / "in/" + name)) << name;
    }
}

// Without --wait, a client that connects a moment after the start still gets the first frame;
// --split-every writes parts, each a recording, that together hold every frame.
TEST(VqlogServe, AClientOfTheFirstMomentRecordingInPartsKeepsEveryFrame) {
    TempDir dir;
    writeRecording(dir / "in.vql", timedFrames(50), false);
    ChildProcess serve({VQLOG_PATH, "serve", dir / "in.vql", "--port", "0", "--rate", "max"});
    const std::string address = serveAddress(serve);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    ProcessResult record = vqlog(
        {"record", "--connect", address, dir / "parts", "--single-file", "--split-every", "20"});
    EXPECT_EQ(record.exit_code, 0) << record.err;
    EXPECT_EQ(record.out, "vqlog record: 50 frames (0..49) into 3 files in 3 parts in " +
                              (dir / "parts") + "\n");
    EXPECT_EQ(join({readFile(dir / "parts/part-0001.vql"), readFile(dir / "parts/part-0002.vql"),
                    readFile(dir / "parts/part-0003.vql")}),
              readFile(dir / "in.vql"));
    EXPECT_EQ(serve.wait(SERVE_PATIENCE_MILLIS).exit_code, 0);
}

// A stream that ends inside a record is damaged data: exit 1, the whole frames kept.
TEST(VqlogServe, RecordOfAStreamCutShortKeepsItsFramesAndExitsOne) {
    for (const std::string tail : {"0900210100000003", "abababababababababab"}) {
        TempDir dir;
        LoopbackListener listener;
        ChildProcess record({VQLOG_PATH, "record", "--connect",
                             "127.0.0.1:" + std::to_string(listener.port()), dir / "out.vql",
                             "--single-file"});
        auto peer = listener.accept();
        ASSERT_TRUE(peer);
        const vq::eod::ByteBuffer frames = bytesOf(timedFrames(3));
        const vq::eod::ByteBuffer cut = bytes(tail);
        peer->send(join({frames, cut}));
        peer->close();
        ProcessResult recorded = record.wait(SERVE_PATIENCE_MILLIS);
        EXPECT_EQ(recorded.exit_code, 1) << tail;
        EXPECT_EQ(recorded.err.substr(recorded.err.find('\n') + 1),
                  "vqlog record: damaged stream: the stream ended inside a record (" +
                      std::to_string(cut.size()) +
                      " bytes after the last whole one); the frames received before it are "
                      "kept\n")
            << tail;
        EXPECT_EQ(readFile(dir / "out.vql"), frames) << tail;
    }
}

// --reconnect takes up a dropped stream again and reports the gap; without it, a connection
// reset keeps the frames, exits 1 and says what to try.
TEST(VqlogServe, RecordReconnectsAcrossADropAndReportsTheGap) {
    TempDir dir;
    LoopbackListener listener;
    const std::string address = "127.0.0.1:" + std::to_string(listener.port());
    ChildProcess record({VQLOG_PATH, "record", "--connect", address, dir / "out.vql",
                         "--single-file", "--reconnect", "--count", "6"});
    auto sendFrames = [](vq::eod::io::TcpSocket& peer, std::vector<unsigned int> numbers) {
        vq::eod::ByteBuffer stream;
        for (unsigned int n : numbers) {
            timedFrame(n, false)->serialize(stream);
        }
        peer.send(stream);
        return stream;
    };
    auto first = listener.accept();
    ASSERT_TRUE(first);
    vq::eod::ByteBuffer kept = sendFrames(*first, {0, 1, 2});
    first->close();
    auto second = listener.accept();  // a restarted server numbers anew, then goes on
    ASSERT_TRUE(second);
    sendFrames(*second, {0, 1});
    const vq::eod::ByteBuffer after = sendFrames(*second, {5, 6, 7});
    kept.insert(kept.end(), after.begin(), after.end());
    ProcessResult recorded = record.wait(SERVE_PATIENCE_MILLIS);
    EXPECT_EQ(recorded.exit_code, 0) << recorded.err;
    EXPECT_EQ(recorded.out, "vqlog record: 6 frames (0..7) into 1 file in " + (dir / "out.vql") +
                                "; reconnected 1 time, 2 frames missing; 2 frames not newer "
                                "than the last kept skipped\n");
    EXPECT_TRUE(contains(recorded, "vqlog record: connection to " + address +
                                       " lost after frame 2: the server closed the "
                                       "connection; reconnecting\n"))
        << recorded.err;
    EXPECT_TRUE(contains(recorded, "vqlog record: frames 3..4 missing (gap of ")) << recorded.err;
    EXPECT_EQ(readFile(dir / "out.vql"), kept);

    AbortingServer aborting;
    const std::string reset_address = "127.0.0.1:" + std::to_string(aborting.address().getPort());
    ChildProcess plain(
        {VQLOG_PATH, "record", "--connect", reset_address, dir / "reset.vql", "--single-file"});
    ASSERT_TRUE(aborting.accept());
    aborting.reset();
    ProcessResult reset = plain.wait(SERVE_PATIENCE_MILLIS);
    EXPECT_EQ(reset.exit_code, 1);
    EXPECT_TRUE(contains(reset, "forcibly closed by the remote host. (" + reset_address +
                                    " dropped the connection: the tracker or vqlog serve "
                                    "stopped or let this client go (vqlog record --reconnect "
                                    "keeps recording across drops)); the frames received before "
                                    "it are kept"))
        << reset.err;
}

TEST(VqlogServe, CtrlCStopsRecordWithEveryReceivedFrameInClosedFiles) {
    TempDir dir;
    writeRecording(dir / "in.vql", timedFrames(20), false);
    ChildProcess serve({VQLOG_PATH, "serve", dir / "in.vql", "--port", "0", "--wait", "1", "--rate",
                        "500", "--loop"});
    const std::string address = serveAddress(serve);
    ChildProcess record(
        {VQLOG_PATH, "record", "--connect", address, dir / "out.vql", "--single-file"});
    // Let a few passes of the loop arrive.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    record.signal(SIGINT);
    ProcessResult recorded = record.wait(SERVE_PATIENCE_MILLIS);
    EXPECT_EQ(recorded.exit_code, 0) << recorded.err;
    const std::string tail = "; stopped by signal\n";
    ASSERT_GT(recorded.out.size(), tail.size());
    EXPECT_EQ(recorded.out.substr(recorded.out.size() - tail.size()), tail);
    const std::uint64_t frames = std::stoull(recorded.out.substr(recorded.out.find(": ") + 2));
    EXPECT_GT(frames, 20u);

    // Every frame it counted is in the file, whole, numbered on from pass to pass.
    ProcessResult check = vqlog({"check", dir / "out.vql"});
    EXPECT_EQ(check.exit_code, 0) << check.out;
    EXPECT_EQ(check.out.substr(0, check.out.find(" (")),
              "out.vql: " + std::to_string(frames) + " frames");

    serve.signal(SIGINT);
    ProcessResult served = serve.wait(SERVE_PATIENCE_MILLIS);
    EXPECT_EQ(served.exit_code, 0);
    EXPECT_NE(served.out.find("(stopped)"), std::string::npos) << served.out;
}

TEST(VqlogServe, DatagramsCarryOneSerialisedFrameEach) {
    using namespace vq::eod;
    TempDir dir;
    const Frames frames = timedFrames(10);
    writeRecording(dir / "in.vql", frames, false);
    io::DatagramSocket receiver(0, 65536, 65536);
    const std::string address = "127.0.0.1:" + std::to_string(receiver.getLocalAddress().getPort());
    ProcessResult served = vqlog({"serve", dir / "in.vql", "--udp", address, "--rate", "200"});
    EXPECT_EQ(served.exit_code, 0) << served.err;
    EXPECT_EQ(served.out, "vqlog serve: sending " + (dir / "in.vql") + " as datagrams to " +
                              address + "\nvqlog serve: sent 10 frames\n");
    for (const auto& frame : frames) {
        ByteBuffer datagram;
        io::InetAddress from(0);
        ASSERT_GT(receiver.receiveDatagram(datagram, from, SERVE_PATIENCE_MILLIS, false), 0);
        EXPECT_EQ(datagram, bytesOf({frame})) << "frame " << frame->frameNum();
    }
}

// record --udp takes what serve --udp sends, byte for byte.
TEST(VqlogServe, RecordTakesTheFramesOfDatagrams) {
    TempDir dir;
    writeRecording(dir / "in.vql", timedFrames(10), false);
    ChildProcess record(
        {VQLOG_PATH, "record", "--udp", "0", dir / "out.vql", "--single-file", "--count", "10"});
    const std::string line = record.readLine(SERVE_PATIENCE_MILLIS);
    const std::string head = "vqlog record: listening for datagrams on port ";
    ASSERT_EQ(line.substr(0, head.size()), head);
    const std::string address = "127.0.0.1:" + line.substr(head.size());
    ProcessResult served = vqlog({"serve", dir / "in.vql", "--udp", address, "--rate", "200"});
    EXPECT_EQ(served.exit_code, 0) << served.err;
    ProcessResult recorded = record.wait(SERVE_PATIENCE_MILLIS);
    EXPECT_EQ(recorded.exit_code, 0) << recorded.err;
    EXPECT_EQ(recorded.out,
              "vqlog record: 10 frames (0..9) into 1 file in " + (dir / "out.vql") + "\n");
    EXPECT_EQ(readFile(dir / "out.vql"), readFile(dir / "in.vql"));
}

}  // namespace
}  // namespace vqtest
