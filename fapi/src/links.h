// Network interfaces as the kernel lists them.
#pragma once

#include "netlink.h"

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace fapi {

constexpr uint16_t hardwarePpp = 512; // ARPHRD_PPP

struct Link {
    int index = 0;
    std::string name;
    std::string kind;      // "vlan", "ppp", "macvlan", "ifb"...; empty for hardware and loopback
    uint16_t hardware = 0; // ARPHRD_ value
    uint32_t mtu = 0;      // bytes, without the link header
    int lower = 0;         // index of the interface it stands on, 0 for none
    uint16_t vlanId = 0;   // of a VLAN interface
    std::array<uint8_t, 6> mac{};
    std::vector<std::pair<uint32_t, uint32_t>> egressPcp; // of a VLAN interface: (skb priority, PCP)

    // Bytes before the network header in a frame of this interface.
    uint8_t headerBytes() const;
};

class Links {
  public:
    explicit Links(nl::Socket& socket) : socket_(socket) {}

    // Asked from the kernel once per call of the tool.
    const Link* byName(const std::string& name);
    const Link* byIndex(int index);
    // All interfaces of this network namespace.
    std::vector<Link> all();

    void forget() { cache_.clear(); }

  private:
    const Link* ask(const std::string& name, int index);
    nl::Socket& socket_;
    std::map<std::pair<std::string, int>, std::optional<Link>> cache_;
};

// Appends requests.
void addIfb(nl::Batch& batch, const std::string& name, const std::string& alias);
void deleteLink(nl::Batch& batch, int index, const std::string& name);
void setEgressPcp(nl::Batch& batch, const Link& vlan, uint32_t priority, uint32_t pcp);

} // namespace fapi
