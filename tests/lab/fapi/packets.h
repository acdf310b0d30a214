// Single packets put on a wire and taken off it.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace fapi::test {

struct Packet {
    int family = 4;
    uint8_t protocol = 17;
    std::string src = "192.168.1.10";
    std::string dst = "10.0.0.2";
    uint16_t sport = 40000;
    uint16_t dport = 9;
    uint8_t dscp = 0;
    uint8_t ecn = 0;
    uint8_t tcpFlags = 0x10;         // ACK
    size_t payload = 20;             // bytes
    uint16_t fragmentOffset = 0;     // in units of 8 bytes; IPv4 only
    bool destinationOptions = false; // an IPv6 extension header in front of the transport header
    uint8_t icmpType = 0;
    uint16_t vlan = 0; // tag, 0 for none
    uint16_t id = 0;   // found again in what arrives: IPv4 identification, IPv6 flow label

    std::vector<uint8_t> bytes() const;
};

struct Arrived {
    int family = 0;
    uint8_t dscp = 0;
    uint8_t ecn = 0;
    uint16_t id = 0;
    bool checksumRight = true; // of the IPv4 header
    uint16_t vlan = 0;         // tag, 0 for none
    uint8_t pcp = 0;
};

// One end of a cable in a network namespace.
class Wire {
  public:
    // netns: name below /run/netns.
    Wire(const std::string& netns, const std::string& interface);
    Wire(const Wire&) = delete;
    Wire& operator=(const Wire&) = delete;
    ~Wire();

    // toMac: six bytes in hexadecimal with colons.
    void send(const std::string& toMac, const Packet& packet);
    // Packets that another host forwarded to this end of the cable: until one with the identification `last`,
    // or as many as asked for, or the time is over.
    std::vector<Arrived> receiveUntil(uint16_t last, size_t count = SIZE_MAX,
                                      std::chrono::milliseconds atMost = std::chrono::seconds(30));

  private:
    int fd_;
    int index_;
};

} // namespace fapi::test
