// End points and the connecting client.
#include "vq/eod/io/tcpendpoint.h"

#include <gtest/gtest.h>

#include "vq/eod/io/socketerror.h"
#include "vq/eod/io/tcpclient.h"
#include "vqtest/expect.h"
#include "vqtest/hex.h"
#include "vqtest/loopback.h"

namespace {

using namespace vq::eod::io;
using vqtest::bytes;
using vqtest::PATIENCE_MILLIS;
using Bytes = std::vector<unsigned char>;

// The server's end of an accepted connection.
class Served : public TcpEndPoint {
public:
    explicit Served(TcpSocket* socket) : TcpEndPoint(socket) {}
};

// An end point bound to a local address.
class Bound : public TcpEndPoint {
public:
    explicit Bound(const InetAddress& local) : TcpEndPoint(local) {}
};

TEST(TcpEndPoint, TimeLimitAndSendRules) {
    TcpClient client;
    EXPECT_FALSE(client.opened());  // open but not connected
    EXPECT_EQ(client.receiveTimeoutMillis(), 100);
    EXPECT_ERROR_MESSAGE(client.setReceiveTimeoutMillis(-1), SocketError, "Invalid timeout value");
    EXPECT_EQ(client.receiveTimeoutMillis(), 100);
    client.setReceiveTimeoutMillis(0);
    EXPECT_EQ(client.receiveTimeoutMillis(), 0);

    const Bytes data{1};
    const char* const source = "src/eod/io/tcpendpoint.cpp";
    EXPECT_PRECONDITION(client.send(data), source, "not open");
    EXPECT_PRECONDITION(client.send(data.data(), std::uint64_t{1}), source, "not open");
    EXPECT_PRECONDITION(client.send(data.data(), 1, 0), source, "not open");

    EXPECT_NE(Bound(vqtest::loopback(0)).localAddress().getPort(), 0);
}

TEST(TcpEndPoint, AClientAndAServedEndPointTalk) {
    vqtest::LoopbackListener listener;
    TcpClient client;
    client.open(listener.address());
    EXPECT_TRUE(client.opened());
    std::unique_ptr<TcpSocket> accepted = listener.accept();
    ASSERT_TRUE(accepted);
    Served server(accepted.release());
    server.setReceiveTimeoutMillis(PATIENCE_MILLIS);
    client.enableNagleAlgortihm(true);

    client.send(bytes("0A 0B"));
    Bytes data;
    EXPECT_EQ(server.receive(data, false), 2);
    const unsigned char reply[] = {1, 2, 3};
    EXPECT_EQ(server.send(reply, 3, PATIENCE_MILLIS), 3u);
    client.setReceiveTimeoutMillis(PATIENCE_MILLIS);
    EXPECT_EQ(client.receive(data, true), 3);
    EXPECT_EQ(vqtest::hex(data), "0A 0B 01 02 03");

    client.setReceiveTimeoutMillis(0);
    EXPECT_FALSE(client.dataReady());
    EXPECT_EQ(client.receive(data, false), 0);
    server.close();
    client.setReceiveTimeoutMillis(PATIENCE_MILLIS);
    EXPECT_EQ(client.receive(data, false), 0);
    EXPECT_FALSE(client.opened());

    // A refused connection closes the socket: the client cannot be opened again.
    TcpClient refused;
    EXPECT_THROW(refused.open(vqtest::loopback(vqtest::closedPort())), SocketError);
    EXPECT_PRECONDITION(refused.open(listener.address()), "src/eod/io/tcpsocket.cpp",
                        "un-open socket.");
}

}  // namespace
