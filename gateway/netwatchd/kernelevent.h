// What the kernel says about links and IPv4 addresses, taken out of rtnetlink messages.
#pragma once

#include <netinet/in.h>

#include <optional>
#include <string>
#include <variant>

struct nlmsghdr;

namespace netwatchd {

struct LinkSeen {
    int index = 0;
    std::string name;
    // The interface carries packets: administratively up, carrier present, and operational state UP; or
    // UNKNOWN, which is all that PPP links, tunnels and the loopback interface ever report.
    bool up = false;
    bool loopback = false;
    int lower = 0; // index of the interface that it stands on, as a VLAN does on a port; 0 if there is none
};

struct LinkGone {
    int index = 0;
};

struct Ipv4Address {
    in_addr_t local = 0; // network byte order, as the peer
    in_addr_t peer = 0;
    unsigned prefixLength = 0;
    unsigned scope = 0; // RT_SCOPE_...
    bool secondary = false;

    // The same address of one interface, whatever else has changed about it.
    bool isSameAs(const Ipv4Address& other) const {
        return local == other.local && peer == other.peer && prefixLength == other.prefixLength;
    }
};

struct AddressSeen {
    int index = 0;
    Ipv4Address address;
};

struct AddressGone {
    int index = 0;
    Ipv4Address address;
};

using KernelEvent = std::variant<LinkSeen, LinkGone, AddressSeen, AddressGone>;

// Nothing for messages about other things, and for ones that are damaged.
std::optional<KernelEvent> parseKernelEvent(const nlmsghdr& message);

} // namespace netwatchd
