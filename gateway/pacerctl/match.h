// Addresses, ports and packets, and whether a rule's criteria match.
#pragma once

#include "pacerctl/gatewayview.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace pacerctl {

struct IpAddress {
    bool v6 = false;
    std::array<std::uint8_t, 16> bytes = {}; // IPv4: the first four

    bool operator==(const IpAddress&) const = default;
    std::string text() const;
};

std::optional<IpAddress> parseAddress(const std::string& text);

struct Prefix {
    IpAddress address;
    unsigned length = 0; // bits

    bool contains(const IpAddress& other) const;
    bool contains(const Prefix& other) const;
    bool overlaps(const Prefix& other) const { return contains(other) || other.contains(*this); }
};

// "198.51.100.0/24", "2001:db8::/32", or an address alone.
std::optional<Prefix> parsePrefix(const std::string& text);

struct PortRange {
    unsigned first = 0;
    unsigned last = 0;

    bool contains(unsigned port) const { return first <= port && port <= last; }
    bool contains(const PortRange& other) const { return first <= other.first && other.last <= last; }
    bool overlaps(const PortRange& other) const { return first <= other.last && other.first <= last; }
};

// "5060" or "5060:5061".
std::optional<PortRange> parsePorts(const std::string& text);

struct Ports {
    std::optional<unsigned> source; // nothing: not known
    std::optional<unsigned> destination;
};

// A packet as a rule sees it.
struct Packet {
    std::string protocol; // "tcp", "udp", "igmp" (with IPv6: multicast listener discovery), or any other word
    bool v6 = false;
    std::optional<IpAddress> source; // nothing: not known
    std::optional<IpAddress> destination;
    std::optional<Ports> ports; // nothing: there are none, as in all but the first fragment of a packet
    unsigned dscp = 0;
    bool pureAck = false; // TCP acknowledgement without payload, SYN, FIN or RST

    std::string text() const; // "udp 192.168.1.5:40000 -> 198.51.100.7:5060, DSCP 0"
};

// Why the packet does not match the rule's criteria; empty if it does. The FAPI tools' answer, with reasons.
// The rule must have a command.
std::string whyNoMatch(const Rule& rule, const Packet& packet);

} // namespace pacerctl
