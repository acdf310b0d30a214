// Packets made to measure, sent past the sockets' own ideas of addresses and ports.
#pragma once

#include "net/unique_fd.h"

#include <netinet/in.h>

#include <cstdint>
#include <string>

namespace lab {

struct Packet {
    std::string source; // both IPv4 or both IPv6
    std::string destination;
    int protocol = IPPROTO_UDP; // or IPPROTO_TCP, IPPROTO_IGMP, IPPROTO_ICMP
    uint16_t sourcePort = 40000;
    uint16_t destinationPort = 40000;
    int dscp = 0;
    int ecn = 0;
    uint8_t tcpFlags = 0x10; // ACK
    uint16_t payload = 0;    // bytes
    // Carried in the IPv4 identification or the IPv6 flow label, which routers and address translation leave
    // alone.
    uint16_t tag = 1;
};

inline constexpr uint8_t tcpAck = 0x10;
inline constexpr uint8_t tcpSyn = 0x02;
inline constexpr uint8_t tcpFin = 0x01;

bool isIpv6(const Packet& packet);

// The whole IP packet. Throws std::invalid_argument for addresses that are none.
std::string bytesOf(const Packet& packet);

// Sends from a namespace, by its routes. Throws std::system_error.
class PacketSender {
  public:
    explicit PacketSender(const std::string& space);
    void send(const Packet& packet, int times = 1) const;

  private:
    UniqueFd v4_;
    UniqueFd v6_;
};

} // namespace lab
