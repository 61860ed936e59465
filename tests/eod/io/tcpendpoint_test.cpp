// End points and the connecting client.
#include "vq/eod/io/tcpendpoint.h"

#include <gtest/gtest.h>

#include "vq/eod/io/socketerror.h"
#include "vq/eod/io/tcpclient.h"
#include "vqtest/expect.h"
#include "vqtest/loopback.h"

namespace {

using namespace vq::eod::io;

TEST(TcpEndPoint, TimeLimitSendRulesAndConnecting) {
    TcpClient client;
    EXPECT_FALSE(client.opened());  // open, but opened() reports the connection
    EXPECT_EQ(client.receiveTimeoutMillis(), 100);
    EXPECT_ERROR_MESSAGE(client.setReceiveTimeoutMillis(-1), SocketError, "Invalid timeout value");
    EXPECT_EQ(client.receiveTimeoutMillis(), 100);
    client.setReceiveTimeoutMillis(0);

    const std::vector<unsigned char> data{1};
    const char* const source = "src/eod/io/tcpendpoint.cpp";
    EXPECT_PRECONDITION(client.send(data), source, "not open");
    EXPECT_PRECONDITION(client.send(data.data(), 1, 0), source, "not open");

    vqtest::LoopbackListener listener;
    client.open(listener.address());
    EXPECT_TRUE(client.opened());
    std::vector<unsigned char> received{7};
    EXPECT_EQ(client.receive(received, false), 0);  // time limit 0: a poll
    EXPECT_EQ(received, std::vector<unsigned char>{7});

    // A refused connection closes the socket: this client cannot be opened again.
    TcpClient refused;
    EXPECT_THROW(refused.open(vqtest::loopback(vqtest::closedPort())), SocketError);
    EXPECT_PRECONDITION(refused.open(listener.address()), "src/eod/io/tcpsocket.cpp",
                        "un-open socket.");
}

}  // namespace
