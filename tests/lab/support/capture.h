// Packets as they pass an interface.
#pragma once

#include "net/unique_fd.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lab {

struct Captured {
    bool ipv6 = false;
    int protocol = 0;
    int dscp = 0;
    int ecn = 0;
    uint16_t tag = 0;       // see Packet
    std::optional<int> pcp; // of the VLAN tag, if there is one
    size_t ipBytes = 0;
};

// Captures what arrives on `interface` from its construction on. Throws std::system_error.
class Capture {
  public:
    Capture(const std::string& space, const std::string& interface);

    // The IP packets so far. Returns once `count` packets with that tag are there, or after `limit`.
    std::vector<Captured> take(uint16_t tag, size_t count,
                               std::chrono::milliseconds limit = std::chrono::milliseconds(3000));

  private:
    std::optional<Captured> receive();

    UniqueFd socket_;
};

} // namespace lab
