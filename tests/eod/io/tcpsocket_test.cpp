// TCP sockets on 127.0.0.1: state rules, connection set-up, transfer, time limits and options.
#include "vq/eod/io/tcpsocket.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "vq/eod/io/socketerror.h"
#include "vqtest/expect.h"
#include "vqtest/hex.h"
#include "vqtest/loopback.h"
#include "vqtest/systemcalls.h"

namespace {

using namespace vq::eod::io;
using vqtest::loopback;
using vqtest::PATIENCE_MILLIS;
using Bytes = std::vector<unsigned char>;

const char* const SOURCE = "src/eod/io/tcpsocket.cpp";

TEST(TcpSocket, CallsInTheWrongStateArePreconditionErrors) {
    TcpSocket socket(INVALID_SOCKET);
    EXPECT_PRECONDITION(socket.bind(loopback(0)), SOURCE, "socket not open");
    EXPECT_PRECONDITION(socket.listen(), SOURCE, "un-open socket");
    EXPECT_PRECONDITION(socket.accept(0), SOURCE, "un-open socket");
    EXPECT_PRECONDITION(socket.connect(loopback(1)), SOURCE, "un-open socket.");
    socket.open();
    EXPECT_PRECONDITION(socket.open(), SOURCE, "socket already open");
    Bytes data{1, 2};
    EXPECT_PRECONDITION(socket.receive(data, 0, false), SOURCE, "unconnected socket");
    EXPECT_PRECONDITION(socket.send(data), SOURCE, "unconnected socket");
    EXPECT_PRECONDITION(socket.send(data.data(), 2, 0), SOURCE, "unconnected socket");
    EXPECT_PRECONDITION(socket.getInetAddress(), SOURCE, "unconnected socket");
    EXPECT_EQ(data, (Bytes{1, 2}));

    // A connected socket may not bind; connecting it again closes it.
    vqtest::LoopbackPair pair = vqtest::connectedPair();
    EXPECT_PRECONDITION(pair.client->bind(loopback(0)), SOURCE, "socket connected");
    EXPECT_PRECONDITION(pair.client->connect(loopback(1)), SOURCE, "already connected socket.");
    EXPECT_FALSE(pair.client->opened());
    EXPECT_FALSE(pair.client->connected());
}

TEST(TcpSocket, BindListenAcceptAndConnect) {
    TcpSocket server(INVALID_SOCKET);
    server.open();
    server.bind(loopback(0));
    const int port = server.getLocalAddress().getPort();
    EXPECT_NE(port, 0);
    server.listen();
    EXPECT_EQ(server.accept(20), nullptr);

    TcpSocket taken(INVALID_SOCKET);
    taken.open();
    EXPECT_ERROR_MESSAGE(taken.bind(loopback(port)), SocketError,
                         "Could not bind TCP socket to address.: The specified address is already "
                         "in use.");
    EXPECT_TRUE(taken.opened());

    taken.connect(loopback(port));
    EXPECT_TRUE(taken.getInetAddress() == loopback(port));
    const std::unique_ptr<TcpSocket> accepted(server.accept(PATIENCE_MILLIS));
    ASSERT_TRUE(accepted);
    EXPECT_TRUE(accepted->connected());
    EXPECT_EQ(accepted->getLocalAddress().getPort(), port);
    EXPECT_EQ(accepted->getInetAddress().getHostName(false), "127.0.0.1");
}

TEST(TcpSocket, ReceiveWaitsAppendsAndSeesThePeerClose) {
    vqtest::LoopbackPair pair = vqtest::connectedPair();
    ASSERT_TRUE(pair.server);
    Bytes data{9};
    EXPECT_EQ(pair.client->receive(data, 0, false), 0);
    EXPECT_EQ(pair.client->receive(data, 20, false), 0);
    EXPECT_EQ(data, Bytes{9});

    pair.server->send(vqtest::bytes("01 02 03"));
    EXPECT_EQ(pair.client->receive(data, PATIENCE_MILLIS, true), 3);
    EXPECT_EQ(vqtest::hex(data), "09 01 02 03");
    pair.server->send(vqtest::bytes("04"));
    EXPECT_EQ(pair.client->receive(data, PATIENCE_MILLIS, false), 1);
    EXPECT_EQ(vqtest::hex(data), "04");

    pair.server->close();
    EXPECT_EQ(pair.client->receive(data, PATIENCE_MILLIS, true), 0);
    EXPECT_FALSE(pair.client->connected());
    EXPECT_TRUE(pair.client->opened());
    EXPECT_EQ(vqtest::hex(data), "04");
}

TEST(TcpSocket, APeerThatWentAwayIsASocketErrorNotASignal) {
    vqtest::LoopbackPair pair = vqtest::connectedPair();
    ASSERT_TRUE(pair.server);
    pair.server->close();
    // The first send may still be accepted locally; the peer's reset fails a later one.
    std::string message;
    for (int attempt = 0; attempt < 100 && message.empty(); ++attempt) {
        try {
            pair.client->send(Bytes(1000));
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        } catch (const SocketError& error) {
            message = error.what();
        }
    }
    EXPECT_EQ(message,
              "Failed to send data.: The connection was forcibly closed by the remote host.");
}

TEST(TcpSocket, AFailingWaitIsASocketError) {
    vqtest::LoopbackPair pair = vqtest::connectedPair();
    auto calls = detail::realSystemCalls();
    calls.poll = [](pollfd*, nfds_t, int) { return errno = ENOMEM, -1; };
    const vqtest::SystemCallsOverride failing(calls);
    Bytes data;
    EXPECT_ERROR_MESSAGE(pair.client->receive(data, PATIENCE_MILLIS, false), SocketError,
                         "Socket Error while waiting for data: No buffer space is available. The "
                         "socket cannot be created.");
}

TEST(TcpSocket, TimedSendStopsWhenThePeerStopsReading) {
    vqtest::LoopbackPair pair = vqtest::connectedPair();
    ASSERT_TRUE(pair.server);
    Bytes block(64u << 20);
    for (std::size_t i = 0; i < block.size(); ++i) {
        block[i] = static_cast<unsigned char>(i * 7 + (i >> 12));
    }
    const std::uint64_t sent = pair.client->send(block.data(), block.size(), 50);
    EXPECT_GT(sent, 0u);
    EXPECT_LT(sent, block.size());
    // Exactly the bytes reported as sent arrive, in order, and nothing after them.
    Bytes received;
    while (received.size() < sent && pair.server->receive(received, PATIENCE_MILLIS, true) > 0) {
    }
    ASSERT_EQ(received.size(), sent);
    EXPECT_TRUE(std::equal(received.begin(), received.end(), block.begin()));
    EXPECT_EQ(pair.server->receive(received, 20, true), 0);
}

TEST(TcpSocket, SocketFlags) {
    TcpSocket socket(INVALID_SOCKET);
    socket.open();
    socket.enableNagleAlgortihm(true);  // sets TCP_NODELAY: Nagle off
    EXPECT_TRUE(socket.socketFlag(TcpSocket::TCP_NO_DELAY));
    socket.enableNagleAlgortihm(false);
    EXPECT_FALSE(socket.socketFlag(TcpSocket::TCP_NO_DELAY));
    const auto unknown = static_cast<TcpSocket::SocketOptionFlag>(2);
    const char* const text =
        "Socket option not supported: No error message is defined for this exception.";
    EXPECT_ERROR_MESSAGE(socket.setSocketFlag(unknown, true), SocketError, text);
    EXPECT_ERROR_MESSAGE(socket.socketFlag(unknown), SocketError, text);
}

}  // namespace
