// InetAddress: an IPv4 end point (address and port) with a lazily resolved host name.
//
// A value type: copies are independent. The address is held as the system's socket address
// record (family AF_INET, port and address in network byte order), so the socket classes pass it
// to the system as it is. The host name is either a name that need not be looked up again or,
// until a resolving getHostName(true), the text the address was given as.
//
// Every constructor except the one from a socket address record starts the socket layer
// (initNetLib) and, once per process, builds the table of this machine's addresses from its host
// name (at most 16 addresses, in the order the resolver lists them). This machine's own name
// always resolves: when the hosts file and the name servers do not know it, its addresses are
// those of the interfaces that are up, loop-back aside (127.0.0.1 when there are none), and
// setHost of that name gives 127.0.0.1 like any name of this machine. When the host name cannot
// be read, or neither the resolver nor the interface list answers for it, the constructor raises
// SocketError "Error resolving hostname: ..." or "gethostbyname() failed for local hostname:
// ..." (with the resolver's error). A host name that does not resolve is not an error: the address
// falls back to the local host, 127.0.0.1, and setHost reports false.
//
// Thread safety: the process-wide table is built under a lock; one InetAddress is used by one
// thread at a time (the const name operations change the cached name).
#pragma once

#include <netinet/in.h>

#include <iosfwd>
#include <string>

#include "vq/eod/export.h"

namespace vq::eod::io {

class VQ_EOD_API InetAddress {
public:
    // The local host (127.0.0.1, named by this machine's host name) at `port`.
    explicit InetAddress(int port);
    // `port` on `host`, set as by setHost (whose result is ignored).
    InetAddress(int port, const std::string& host);
    // `port` on this machine's address number `adapter` of the local table, named by this
    // machine's host name (not yet marked as known). An index outside the table is a
    // programming error.
    InetAddress(int port, int adapter);
    // The record as given, named by its dotted address; the socket layer is not started.
    explicit InetAddress(const sockaddr_in& address);

    // Sets the address from a host name or a dotted address, in this order: "localhost"
    // (exactly) is the local host, true; a dotted address is taken as it is and named by its
    // text, true, except 0.0.0.0, which gives the local host and false; anything else is
    // resolved, and the first IPv4 address with the official name is taken, true (a name of this
    // machine becomes 127.0.0.1); a name that does not resolve gives the local host and false.
    // The text 255.255.255.255 is resolved as a name: use setBroadcastAddress instead.
    bool setHost(const std::string& host);

    // A negative port becomes 0; larger ports keep their low 16 bits (70000 becomes 4464).
    void setPort(int port);
    int getPort() const;

    // The address as dotted decimal text, "10.1.2.3".
    std::string getHostIP() const;
    // The host name when it is known. Otherwise, with `resolve` false, the dotted address
    // (nothing is stored); with `resolve` true, the name a reverse lookup finds, or the dotted
    // address when the lookup fails. A lookup is made once: its result, found or not, is kept
    // until resetHostName().
    std::string getHostName(bool resolve) const;
    // Forgets that the name is known, so that the next getHostName(true) looks it up again.
    void resetHostName() const;

    // True for the any-address 0.0.0.0, for 127.0.0.1 and for every address of the local table.
    bool isLocal() const;
    // The address becomes 255.255.255.255, for sending broadcasts.
    void setBroadcastAddress();
    // The address becomes 0.0.0.0, every local address, for binding.
    void setReceiverAddress();

    // Equal when address and port are equal; the host names are not compared.
    bool operator==(const InetAddress& other) const;

    // "name(10.1.2.3) : 5000": the host name as stored (not resolved), the dotted address and the
    // port.
    std::string toString() const;

    // The socket address record, for the system's socket calls.
    const sockaddr_in& sockAddr() const { return _address; }

private:
    void setLocalHost();
    void setLocalAdapter(unsigned int index);
    void initialise(int port);
    static void buildLocalAddressTable();

    sockaddr_in _address;           // family AF_INET, port and address in network byte order
    mutable std::string _hostname;  // the host name, or the dotted address text
    mutable bool _name_known;       // _hostname need not be looked up again
};

// Writes toString().
VQ_EOD_API std::ostream& operator<<(std::ostream& stream, const InetAddress& address);

}  // namespace vq::eod::io
