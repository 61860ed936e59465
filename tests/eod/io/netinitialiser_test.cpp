// Start-up, the error classes of the network layer and the texts of socket errors.
#include "vq/eod/io/netinitialiser.h"

#include <gtest/gtest.h>

#include "vq/eod/io/inetaddress.h"
#include "vq/eod/io/inetaddressexception.h"
#include "vq/eod/io/socketerror.h"
#include "vq/eod/io/tcpsocket.h"
#include "vqtest/expect.h"
#include "vqtest/loopback.h"

namespace {

using namespace vq::eod::io;

TEST(NetInitialiser, ErrorClassesAndTheLastErrorReadOnce) {
    EXPECT_STREQ(SocketError("m").className(), "SocketError");
    EXPECT_STREQ(InetAddressException("m").className(), "InetAddressException");
    initNetLib();
    initNetLib();  // later calls do nothing

    // A name that does not resolve is no error for setHost, but the resolver's answer is kept.
    InetAddress address(0);
    EXPECT_FALSE(address.setHost(std::string(64, 'a') + ".invalid"));
    EXPECT_EQ(netLibErrorString("Lookup"), "Lookup: Authoritative answer host not found.");
    EXPECT_EQ(netLibErrorString("Lookup"),
              "Lookup: No error message is defined for this exception.");

    TcpSocket socket(INVALID_SOCKET);
    socket.open();
    EXPECT_ERROR_MESSAGE(socket.connect(vqtest::loopback(vqtest::closedPort())), SocketError,
                         "Could not connect TCP socket to address.: The attempt to connect was "
                         "forcefully rejected.");
    EXPECT_EQ(netLibErrorString("Again"), "Again: No error message is defined for this exception.");
}

}  // namespace
