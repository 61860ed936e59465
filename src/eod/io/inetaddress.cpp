#include "vq/eod/io/inetaddress.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <ostream>
#include <vector>

#include "eod/io/socketcall_internal.h"
#include "eod/precondition_internal.h"
#include "vq/eod/io/netinitialiser.h"
#include "vq/eod/io/socketerror.h"

namespace vq::eod::io {

namespace {

constexpr std::size_t MAX_LOCAL_ADDRESSES = 16;
constexpr std::size_t HOST_NAME_BUFFER = 254;

// This machine's official host name and addresses (network byte order), built once.
struct LocalTable {
    std::mutex mutex;
    std::atomic<bool> built{false};
    std::string hostname;
    std::vector<in_addr_t> addresses;
};

LocalTable& localTable() {
    static LocalTable table;
    return table;
}

in_addr_t loopback() {
    return htonl(INADDR_LOOPBACK);
}

// Appends this machine's IPv4 addresses (at most `max`): those of the interfaces that are up,
// loop-back aside, in the order the system lists them; 127.0.0.1 when there are none. False
// when the interfaces cannot be listed.
bool interfaceAddresses(std::size_t max, std::vector<in_addr_t>& addresses) {
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) {
        return false;
    }
    for (const ifaddrs* entry = list; entry != nullptr && addresses.size() < max;
         entry = entry->ifa_next) {
        if (entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_INET &&
            (entry->ifa_flags & IFF_UP) != 0 && (entry->ifa_flags & IFF_LOOPBACK) == 0) {
            addresses.push_back(
                reinterpret_cast<const sockaddr_in*>(entry->ifa_addr)->sin_addr.s_addr);
        }
    }
    ::freeifaddrs(list);
    if (addresses.empty() && max > 0) {
        addresses.push_back(loopback());
    }
    return true;
}

bool isThisMachinesName(const std::string& host) {
    char name[HOST_NAME_BUFFER] = {};
    return detail::systemCalls().gethostname(name, sizeof(name) - 1) == 0 && host == name;
}

// Resolves `host` to its IPv4 addresses (at most `max`, in the resolver's order) and its
// official name. False, with the resolver's error recorded, when the name does not resolve.
//
// This machine's own name always resolves: where the hosts file and the name servers do not know
// it (containers, fresh or minimal installations), its addresses come from the interfaces, and
// the name is its own official name.
bool resolve(const std::string& host, std::size_t max, std::vector<in_addr_t>& addresses,
             std::string& official_name) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;  // one entry per address, not one per socket type
    hints.ai_flags = AI_CANONNAME;
    addrinfo* list = nullptr;
    const int result = ::getaddrinfo(host.c_str(), nullptr, &hints, &list);
    addresses.clear();
    if (result != 0) {
        if (isThisMachinesName(host) && interfaceAddresses(max, addresses) && !addresses.empty()) {
            official_name = host;
            return true;
        }
        addresses.clear();
        detail::recordResolverError(result);
        return false;
    }
    official_name = (list->ai_canonname != nullptr) ? list->ai_canonname : host;
    for (const addrinfo* entry = list; entry != nullptr && addresses.size() < max;
         entry = entry->ai_next) {
        addresses.push_back(reinterpret_cast<const sockaddr_in*>(entry->ai_addr)->sin_addr.s_addr);
    }
    ::freeaddrinfo(list);
    return !addresses.empty();
}

}  // namespace

InetAddress::InetAddress(int port) : _address{}, _name_known(false) {
    initialise(port);
    setLocalHost();
}

InetAddress::InetAddress(int port, const std::string& host) : _address{}, _name_known(false) {
    initialise(port);
    setHost(host);
}

InetAddress::InetAddress(int port, int adapter) : _address{}, _name_known(false) {
    initialise(port);
    VQ_REQUIRE(adapter >= 0 && static_cast<std::size_t>(adapter) < localTable().addresses.size(),
               "adapter index out of range");
    setLocalAdapter(static_cast<unsigned int>(adapter));
}

InetAddress::InetAddress(const sockaddr_in& address)
    : _address(address), _hostname(getHostIP()), _name_known(false) {}

void InetAddress::initialise(int port) {
    initNetLib();
    buildLocalAddressTable();
    std::memset(&_address, 0, sizeof(_address));
    _address.sin_family = AF_INET;
    setPort(port);
}

void InetAddress::buildLocalAddressTable() {
    LocalTable& table = localTable();
    if (table.built.load(std::memory_order_acquire)) {
        return;
    }
    std::lock_guard<std::mutex> lock(table.mutex);
    if (table.built.load(std::memory_order_relaxed)) {
        return;
    }
    char name[HOST_NAME_BUFFER] = {};
    if (detail::systemCalls().gethostname(name, sizeof(name) - 1) != 0) {
        detail::recordErrno();
        throw SocketError(netLibErrorString("Error resolving hostname"));
    }
    if (!resolve(name, MAX_LOCAL_ADDRESSES, table.addresses, table.hostname)) {
        throw SocketError(netLibErrorString("gethostbyname() failed for local hostname"));
    }
    table.built.store(true, std::memory_order_release);
}

void InetAddress::setLocalHost() {
    _hostname = localTable().hostname;
    _address.sin_addr.s_addr = loopback();
    _name_known = true;
}

void InetAddress::setLocalAdapter(unsigned int index) {
    _hostname = localTable().hostname;
    _address.sin_addr.s_addr = localTable().addresses[index];
}

bool InetAddress::setHost(const std::string& host) {
    if (host == "localhost") {
        setLocalHost();
        return true;
    }
    _address.sin_addr.s_addr = ::inet_addr(host.c_str());
    if (_address.sin_addr.s_addr == 0) {
        setLocalHost();
        return false;
    }
    if (_address.sin_addr.s_addr != INADDR_NONE) {
        _hostname = host;
        _name_known = false;
        return true;
    }
    std::vector<in_addr_t> addresses;
    std::string official_name;
    if (!resolve(host, 1, addresses, official_name)) {
        setLocalHost();
        return false;
    }
    _address.sin_addr.s_addr = addresses.front();
    _hostname = official_name;
    if (isLocal()) {
        _address.sin_addr.s_addr = loopback();
    }
    _name_known = true;
    return true;
}

void InetAddress::setPort(int port) {
    const auto value = static_cast<std::uint16_t>(port < 0 ? 0 : port & 0xFFFF);
    _address.sin_port = htons(value);
}

int InetAddress::getPort() const {
    return ntohs(_address.sin_port);
}

std::string InetAddress::getHostIP() const {
    char text[INET_ADDRSTRLEN] = {};
    ::inet_ntop(AF_INET, &_address.sin_addr, text, sizeof(text));
    return text;
}

std::string InetAddress::getHostName(bool resolve) const {
    if (_name_known) {
        return _hostname;
    }
    if (!resolve) {
        return getHostIP();
    }
    char name[NI_MAXHOST] = {};
    const int result = ::getnameinfo(reinterpret_cast<const sockaddr*>(&_address), sizeof(_address),
                                     name, sizeof(name), nullptr, 0, NI_NAMEREQD);
    if (result == 0) {
        _hostname = name;
    } else {
        detail::recordResolverError(result);
        _hostname = getHostIP();
    }
    _name_known = true;
    return _hostname;
}

void InetAddress::resetHostName() const {
    _name_known = false;
}

bool InetAddress::isLocal() const {
    const in_addr_t address = _address.sin_addr.s_addr;
    if (address == htonl(INADDR_ANY) || address == loopback()) {
        return true;
    }
    buildLocalAddressTable();
    for (in_addr_t local : localTable().addresses) {
        if (local == address) {
            return true;
        }
    }
    return false;
}

void InetAddress::setBroadcastAddress() {
    _address.sin_addr.s_addr = htonl(INADDR_BROADCAST);
}

void InetAddress::setReceiverAddress() {
    _address.sin_addr.s_addr = htonl(INADDR_ANY);
}

bool InetAddress::operator==(const InetAddress& other) const {
    return _address.sin_addr.s_addr == other._address.sin_addr.s_addr &&
           _address.sin_port == other._address.sin_port;
}

std::string InetAddress::toString() const {
    return _hostname + "(" + getHostIP() + ") : " + std::to_string(getPort());
}

std::ostream& operator<<(std::ostream& stream, const InetAddress& address) {
    return stream << address.toString();
}

}  // namespace vq::eod::io
