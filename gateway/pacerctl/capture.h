// Packets out of a capture file.
#pragma once

#include "pacerctl/match.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>

namespace pacerctl {

// what() says which file and why.
class CaptureError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Packet `number` (from 1) of a pcap or pcapng file. Throws CaptureError, also if it is no IP packet.
Packet readCapturedPacket(const std::string& file, std::size_t number);

// A packet that begins with its IP header, cut short or not; nothing if it is none.
std::optional<Packet> parseIpPacket(std::span<const std::uint8_t> bytes);

} // namespace pacerctl
