// IPv4 end points: ports, setHost in its order, lazy names, equality.
#include "vq/eod/io/inetaddress.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <vector>

#include "vqtest/expect.h"
#include "vqtest/systemcalls.h"

namespace {

using vq::eod::io::InetAddress;

TEST(InetAddress, PortsAndTheSocketRecord) {
    EXPECT_EQ(InetAddress(-5, "10.1.2.3").getPort(), 0);
    EXPECT_EQ(InetAddress(70000, "10.1.2.3").getPort(), 4464);
    const InetAddress address(65535, "10.1.2.3");
    const sockaddr_in& record = address.sockAddr();
    sockaddr_in expected{};
    expected.sin_family = AF_INET;
    expected.sin_port = htons(65535);
    expected.sin_addr.s_addr = inet_addr("10.1.2.3");
    EXPECT_EQ(std::memcmp(&record, &expected, sizeof(record)), 0);
}

TEST(InetAddress, SetHostTakesNamesAndAddressesInItsOrder) {
    const std::string local = InetAddress(0).getHostName(false);
    InetAddress address(5000, "10.1.2.3");
    EXPECT_EQ(address.toString(), "10.1.2.3(10.1.2.3) : 5000");
    EXPECT_FALSE(address.isLocal());
    EXPECT_TRUE(address.setHost("localhost"));
    EXPECT_EQ(address.toString(), local + "(127.0.0.1) : 5000");

    address.setHost("10.1.2.3");
    EXPECT_FALSE(address.setHost("0.0.0.0"));
    EXPECT_EQ(address.toString(), local + "(127.0.0.1) : 5000");
    // A label of 64 characters cannot be looked up: the resolver refuses it without asking.
    address.setHost("10.1.2.3");
    EXPECT_FALSE(address.setHost(std::string(64, 'a') + ".invalid"));
    EXPECT_EQ(address.toString(), local + "(127.0.0.1) : 5000");
    // This machine's own name becomes the loop-back address.
    address.setHost("10.1.2.3");
    EXPECT_TRUE(address.setHost(local));
    EXPECT_EQ(address.getHostIP(), "127.0.0.1");
}

TEST(InetAddress, NamesAreLookedUpOnlyWhenAskedForAndThenKept) {
    sockaddr_in loopback{};
    loopback.sin_family = AF_INET;
    loopback.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    char host[NI_MAXHOST];
    if (::getnameinfo(reinterpret_cast<const sockaddr*>(&loopback), sizeof loopback, host,
                      sizeof host, nullptr, 0, NI_NAMEREQD) != 0) {
        GTEST_SKIP() << "this machine gives 127.0.0.1 no name (none in its hosts file)";
    }
    const InetAddress address(80, "127.0.0.1");
    EXPECT_EQ(address.getHostName(false), "127.0.0.1");
    const std::string name = address.getHostName(true);  // from the hosts file
    EXPECT_NE(name, "127.0.0.1");
    EXPECT_EQ(address.getHostName(false), name);
    EXPECT_EQ(address.toString(), name + "(127.0.0.1) : 80");
    address.resetHostName();
    EXPECT_EQ(address.getHostName(false), "127.0.0.1");
}

TEST(InetAddress, EqualitySpecialAddressesAndAdapters) {
    EXPECT_TRUE(InetAddress(5000, "127.0.0.1") == InetAddress(5000, "localhost"));
    EXPECT_FALSE(InetAddress(5000, "127.0.0.1") == InetAddress(5001, "127.0.0.1"));

    InetAddress address(7, "10.1.2.3");
    address.setReceiverAddress();
    EXPECT_EQ(address.getHostIP(), "0.0.0.0");
    EXPECT_TRUE(address.isLocal());
    address.setBroadcastAddress();
    EXPECT_EQ(address.getHostIP(), "255.255.255.255");
    EXPECT_FALSE(address.isLocal());

    const InetAddress adapter(9, 0);
    EXPECT_TRUE(adapter.isLocal());
    EXPECT_EQ(adapter.getHostName(false), adapter.getHostIP());  // the name is not yet known
    EXPECT_PRECONDITION(InetAddress(9, 1000), "src/eod/io/inetaddress.cpp",
                        "adapter index out of range");
    EXPECT_EQ(InetAddress(address.sockAddr()).toString(), "255.255.255.255(255.255.255.255) : 7");
}

TEST(InetAddress, ThisMachinesNameResolvesWhenTheResolverDoesNotKnowIt) {
    // A name the resolver refuses without asking (a label of 64 characters). The table is built
    // once per process, so the check runs in a fresh one.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    static const std::string unknown = std::string(64, 'h') + ".invalid";
    EXPECT_EXIT(
        {
            // This machine is called by the unknown name.
            auto calls = vq::eod::io::detail::realSystemCalls();
            calls.gethostname = [](char* name, std::size_t length) {
                std::strncpy(name, unknown.c_str(), length);
                return 0;
            };
            const vqtest::SystemCallsOverride renamed(calls);
            // The interfaces that are up, loop-back aside, in the system's order.
            std::vector<std::string> expected;
            ifaddrs* list = nullptr;
            if (::getifaddrs(&list) != 0) {
                std::exit(2);
            }
            for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
                if (entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_INET &&
                    (entry->ifa_flags & IFF_UP) != 0 && (entry->ifa_flags & IFF_LOOPBACK) == 0) {
                    const sockaddr_in* address =
                        reinterpret_cast<const sockaddr_in*>(entry->ifa_addr);
                    expected.push_back(inet_ntoa(address->sin_addr));
                }
            }
            ::freeifaddrs(list);
            if (expected.empty()) {
                expected.push_back("127.0.0.1");
            }
            std::string table = InetAddress(80).toString();
            for (std::size_t i = 0; i < expected.size() && i < 16; ++i) {
                const InetAddress adapter(80, static_cast<int>(i));
                table += adapter.getHostIP() == expected[i] && adapter.isLocal() ? "|" : "|wrong ";
            }
            InetAddress own(80, "10.1.2.3");
            table += own.setHost(unknown) ? "|true " : "|false ";
            std::cerr << table << own.toString() << std::endl;
            std::exit(0);
        },
        testing::ExitedWithCode(0),
        "^" + unknown + "\\(127\\.0\\.0\\.1\\) : 80\\|+true " + unknown +
            "\\(127\\.0\\.0\\.1\\) : 80\n$");
}

}  // namespace
