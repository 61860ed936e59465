// IPv4 end points: ports, setHost in its order, lazy names, equality.
#include "vq/eod/io/inetaddress.h"

#include <arpa/inet.h>
#include <netdb.h>

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "vqtest/expect.h"

namespace {

using vq::eod::io::InetAddress;

// This machine's host name as the local table holds it.
std::string localName() {
    return InetAddress(0).getHostName(false);
}

// What a reverse lookup of 127.0.0.1 finds, asked of the resolver directly.
std::string reverseLoopbackName() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    char name[NI_MAXHOST] = {};
    if (getnameinfo(reinterpret_cast<const sockaddr*>(&address), sizeof(address), name,
                    sizeof(name), nullptr, 0, NI_NAMEREQD) != 0) {
        return "127.0.0.1";
    }
    return name;
}

TEST(InetAddress, PortsAndTheSocketRecord) {
    EXPECT_EQ(InetAddress(-5, "10.1.2.3").getPort(), 0);
    EXPECT_EQ(InetAddress(70000, "10.1.2.3").getPort(), 4464);

    InetAddress address(65535, "10.1.2.3");
    const sockaddr_in& record = address.sockAddr();
    EXPECT_EQ(record.sin_family, AF_INET);
    EXPECT_EQ(record.sin_port, htons(65535));
    EXPECT_EQ(record.sin_addr.s_addr, inet_addr("10.1.2.3"));
    const unsigned char zero[sizeof(record.sin_zero)] = {};
    EXPECT_EQ(std::memcmp(record.sin_zero, zero, sizeof(zero)), 0);
}

TEST(InetAddress, SetHostTakesNamesAndAddressesInItsOrder) {
    const std::string local = localName();
    InetAddress address(5000, "10.1.2.3");
    EXPECT_EQ(address.toString(), "10.1.2.3(10.1.2.3) : 5000");
    EXPECT_FALSE(address.isLocal());

    EXPECT_TRUE(address.setHost("localhost"));
    EXPECT_EQ(address.toString(), local + "(127.0.0.1) : 5000");

    EXPECT_TRUE(address.setHost("10.1.2.3"));
    EXPECT_FALSE(address.setHost("0.0.0.0"));
    EXPECT_EQ(address.toString(), local + "(127.0.0.1) : 5000");

    // A label of 64 characters cannot be looked up, so the resolver refuses it without asking.
    EXPECT_TRUE(address.setHost("10.1.2.3"));
    EXPECT_FALSE(address.setHost(std::string(64, 'a') + ".invalid"));
    EXPECT_EQ(address.toString(), local + "(127.0.0.1) : 5000");

    // This machine's own name resolves to one of its addresses and becomes the loop-back one.
    EXPECT_TRUE(address.setHost("10.1.2.3"));
    EXPECT_TRUE(address.setHost(local));
    EXPECT_EQ(address.getHostIP(), "127.0.0.1");
}

TEST(InetAddress, NamesAreLookedUpOnlyWhenAskedForAndThenKept) {
    const InetAddress address(80, "127.0.0.1");
    EXPECT_EQ(address.getHostName(false), "127.0.0.1");
    EXPECT_EQ(address.toString(), "127.0.0.1(127.0.0.1) : 80");

    const std::string name = reverseLoopbackName();
    EXPECT_EQ(address.getHostName(true), name);
    EXPECT_EQ(address.getHostName(false), name);
    EXPECT_EQ(address.toString(), name + "(127.0.0.1) : 80");

    address.resetHostName();
    EXPECT_EQ(address.getHostName(false), "127.0.0.1");
    std::ostringstream printed;
    printed << address;
    EXPECT_EQ(printed.str(), name + "(127.0.0.1) : 80");
}

TEST(InetAddress, EqualityComparesAddressAndPortOnly) {
    const InetAddress numeric(5000, "127.0.0.1");
    const InetAddress named(5000, "localhost");
    EXPECT_NE(numeric.toString(), named.toString());
    EXPECT_TRUE(numeric == named);
    EXPECT_FALSE(numeric == InetAddress(5001, "127.0.0.1"));

    InetAddress copy = numeric;
    copy.setPort(1);
    EXPECT_EQ(numeric.getPort(), 5000);
}

TEST(InetAddress, SpecialAddressesAdaptersAndRecords) {
    InetAddress address(7, "10.1.2.3");
    address.setReceiverAddress();
    EXPECT_EQ(address.getHostIP(), "0.0.0.0");
    EXPECT_TRUE(address.isLocal());
    address.setBroadcastAddress();
    EXPECT_EQ(address.getHostIP(), "255.255.255.255");
    EXPECT_FALSE(address.isLocal());

    const InetAddress adapter(9, 0);
    EXPECT_TRUE(adapter.isLocal());
    EXPECT_EQ(adapter.toString(), localName() + "(" + adapter.getHostIP() + ") : 9");
    EXPECT_EQ(adapter.getHostName(false), adapter.getHostIP());  // the name is not yet known
    EXPECT_PRECONDITION(InetAddress(9, 1000), "src/eod/io/inetaddress.cpp",
                        "adapter index out of range");

    sockaddr_in record{};
    record.sin_family = AF_INET;
    record.sin_port = htons(4321);
    record.sin_addr.s_addr = inet_addr("10.9.8.7");
    EXPECT_EQ(InetAddress(record).toString(), "10.9.8.7(10.9.8.7) : 4321");
}

}  // namespace
