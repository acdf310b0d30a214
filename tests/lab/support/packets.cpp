#include "packets.h"

#include "net/namespaces.h"
#include "net/throw_errno.h"

#include <arpa/inet.h>
#include <netinet/ip.h>
#include <netinet/ip6.h>
#include <sys/socket.h>

#include <cstring>
#include <stdexcept>

namespace lab {

namespace {

void append16(std::string& bytes, uint16_t value) {
    bytes += static_cast<char>(value >> 8);
    bytes += static_cast<char>(value & 0xff);
}

void append32(std::string& bytes, uint32_t value) {
    append16(bytes, static_cast<uint16_t>(value >> 16));
    append16(bytes, static_cast<uint16_t>(value & 0xffff));
}

void put16(std::string& bytes, size_t at, uint16_t value) {
    bytes[at] = static_cast<char>(value >> 8);
    bytes[at + 1] = static_cast<char>(value & 0xff);
}

std::string addressBytes(int family, const std::string& text) {
    std::string bytes(family == AF_INET ? 4 : 16, '\0');
    if (inet_pton(family, text.c_str(), bytes.data()) != 1) {
        throw std::invalid_argument("not an address: " + text);
    }
    return bytes;
}

// RFC 1071
uint16_t checksum(const std::string& bytes) {
    uint32_t sum = 0;
    for (size_t at = 0; at < bytes.size(); at += 2) {
        const auto high = static_cast<uint8_t>(bytes[at]);
        const auto low = at + 1 < bytes.size() ? static_cast<uint8_t>(bytes[at + 1]) : uint8_t{0};
        sum += static_cast<uint32_t>(high << 8 | low);
    }
    while (sum >> 16 != 0) {
        sum = (sum & 0xffff) + (sum >> 16);
    }
    return static_cast<uint16_t>(~sum);
}

// Header and payload of the protocol above IP, the checksum still zero; and where the checksum is.
std::pair<std::string, size_t> upperBytes(const Packet& packet) {
    std::string bytes;
    switch (packet.protocol) {
    case IPPROTO_UDP:
        append16(bytes, packet.sourcePort);
        append16(bytes, packet.destinationPort);
        append16(bytes, static_cast<uint16_t>(8 + packet.payload));
        append16(bytes, 0);
        return {bytes.append(packet.payload, 'u'), 6};
    case IPPROTO_TCP:
        append16(bytes, packet.sourcePort);
        append16(bytes, packet.destinationPort);
        append32(bytes, 1000); // sequence
        append32(bytes, 2000); // acknowledgement
        bytes += '\x50';       // five words of header
        bytes += static_cast<char>(packet.tcpFlags);
        append16(bytes, 65000); // window
        append32(bytes, 0);     // checksum and urgent pointer
        return {bytes.append(packet.payload, 't'), 16};
    case IPPROTO_IGMP:
        append16(bytes, 0x1600); // version 2 membership report
        append16(bytes, 0);
        return {bytes + addressBytes(AF_INET, packet.destination), 2};
    default:
        append16(bytes, 0x0800); // ICMP echo request
        append16(bytes, 0);
        append32(bytes, 0);
        return {bytes.append(packet.payload, 'i'), 2};
    }
}

std::string header4(const Packet& packet, size_t length) {
    std::string bytes;
    bytes += '\x45';
    bytes += static_cast<char>(packet.dscp << 2 | packet.ecn);
    append16(bytes, static_cast<uint16_t>(20 + length));
    append16(bytes, packet.tag);
    append16(bytes, 0x4000); // do not fragment
    bytes += '\x40';         // time to live
    bytes += static_cast<char>(packet.protocol);
    append16(bytes, 0);
    bytes += addressBytes(AF_INET, packet.source) + addressBytes(AF_INET, packet.destination);
    put16(bytes, 10, checksum(bytes));
    return bytes;
}

std::string header6(const Packet& packet, size_t length) {
    std::string bytes;
    append32(bytes, 0x60000000U | static_cast<uint32_t>(packet.dscp << 2 | packet.ecn) << 20 | packet.tag);
    append16(bytes, static_cast<uint16_t>(length));
    bytes += static_cast<char>(packet.protocol);
    bytes += '\x40';
    return bytes + addressBytes(AF_INET6, packet.source) + addressBytes(AF_INET6, packet.destination);
}

} // namespace

bool isIpv6(const Packet& packet) {
    return packet.destination.find(':') != std::string::npos;
}

std::string bytesOf(const Packet& packet) {
    auto [upper, at] = upperBytes(packet);
    const int family = isIpv6(packet) ? AF_INET6 : AF_INET;
    if (packet.protocol == IPPROTO_UDP || packet.protocol == IPPROTO_TCP) {
        std::string pseudo = addressBytes(family, packet.source) + addressBytes(family, packet.destination);
        append16(pseudo, static_cast<uint16_t>(packet.protocol));
        append16(pseudo, static_cast<uint16_t>(upper.size()));
        put16(upper, at, checksum(pseudo + upper));
    } else {
        put16(upper, at, checksum(upper));
    }
    return (family == AF_INET6 ? header6(packet, upper.size()) : header4(packet, upper.size())) + upper;
}

PacketSender::PacketSender(const std::string& space)
    : v4_(socketIn(space, AF_INET, SOCK_RAW, IPPROTO_RAW)),
      v6_(socketIn(space, AF_INET6, SOCK_RAW, IPPROTO_RAW)) {
    const int yes = 1;
    throwIfNegative(setsockopt(v6_.get(), IPPROTO_IPV6, IPV6_HDRINCL, &yes, sizeof yes), "IPV6_HDRINCL");
}

void PacketSender::send(const Packet& packet, int times) const {
    const std::string bytes = bytesOf(packet);
    sockaddr_in v4{};
    v4.sin_family = AF_INET;
    sockaddr_in6 v6{};
    v6.sin6_family = AF_INET6;
    const bool six = isIpv6(packet);
    if (six) {
        inet_pton(AF_INET6, packet.destination.c_str(), &v6.sin6_addr);
    } else {
        inet_pton(AF_INET, packet.destination.c_str(), &v4.sin_addr);
    }
    const auto* address =
        six ? reinterpret_cast<const sockaddr*>(&v6) : reinterpret_cast<const sockaddr*>(&v4);
    const socklen_t length = six ? sizeof v6 : sizeof v4;
    for (int i = 0; i < times; ++i) {
        throwIfNegative(sendto(six ? v6_.get() : v4_.get(), bytes.data(), bytes.size(), 0, address, length),
                        "send a packet to " + packet.destination);
    }
}

} // namespace lab
