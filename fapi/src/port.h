// A port's scheduler: from the configured queues and the shaper to a tree of qdiscs and classes, and from
// what the kernel has to that tree.
//
//   fa91: htb                       root of the port
//     fa91:1    rate = ceil         the shaper; without one, no limit
//       fa91:3    prio 0            frames that keep the link itself going: ARP, PPPoE discovery, LCP
//       fa91:MM   prio 0 to 6       one class per strict queue of precedence 0 to 6
//       fa91:2    prio 7            everything behind those
//         fa92: htb                 no limits of its own: HTB has only eight priorities
//           fa92:MM   prio 0 to 2   strict queues of precedence 7, 8, 9
//           fa92:MM   prio 3        weighted queues
//           fa92:1    prio 7        packets that no queue is for
//
// Under each leaf class stands MM: tbf, which cuts offloaded super-packets, and on that the
// queue itself, 1MM: pfifo or 2MM: red.
#pragma once

#include "links.h"
#include "model.h"
#include "tc.h"

#include <cstdint>
#include <map>
#include <vector>

namespace fapi {

constexpr uint32_t portMajor = 0xfa91;
constexpr uint32_t restMajor = 0xfa92;
constexpr uint32_t shaperClass = tc::handleOf(portMajor, 1);
constexpr uint32_t restClass = tc::handleOf(portMajor, 2);
constexpr uint32_t controlClass = tc::handleOf(portMajor, 3); // FAPI_CONTROL_CLASS
constexpr uint32_t unclassifiedClass = tc::handleOf(restMajor, 1);
constexpr uint16_t firstQueueMinor = 0x10;
constexpr uint16_t lastQueueMinor = 0xeff;

// The class a queue has on its port.
uint32_t classOf(const Queue& queue);

// What a port is to look like. Two plans that are equal give the same tree.
struct PortPlan {
    Interface port;
    Direction direction = Direction::egress;
    uint64_t kbit = 0; // of the shaper, 0 without one
    std::vector<Queue> queues;
    bool operator==(const PortPlan&) const = default;
};
// One plan per port and direction that has anything.
std::vector<PortPlan> plansOf(const State& state);

struct LeafPlan {
    uint32_t handle = 0;
    uint32_t parent = 0;
    tc::HtbClass htb;
    uint32_t packets = 0;
    Drop drop = Drop::tail;
};
struct TreePlan {
    tc::HtbClass shaper;
    tc::HtbClass rest;
    std::vector<LeafPlan> leaves; // those without a queue of their own included
    uint32_t frame = 0;           // bytes of the longest packet on the port
};
// mtu: of the port, bytes.
TreePlan treeOf(const PortPlan& plan, uint32_t mtu);

// What the kernel has on one device.
struct PortTree {
    uint32_t root = 0; // handle of the root qdisc; 0 when it is the kernel's own choice
    std::string rootKind;
    std::map<uint32_t, tc::Class> classes;       // htb classes by handle
    std::map<uint32_t, tc::Qdisc> qdiscByParent; // qdiscs by the class they hang on
    bool ours() const { return root == tc::handleOf(portMajor, 0) && rootKind == "htb"; }
    bool free() const { return root == 0; }
};
PortTree treeOn(const std::vector<tc::Qdisc>& qdiscs, nl::Socket& socket, int index);

// Requests that turn `tree` into the plan's tree. A root that is not ours is replaced: whoever calls has
// asked before. cutting: whether the kernel has tbf.
struct Build {
    nl::Batch strangers; // run first: what nobody asked for goes, unless others have come to use it
    nl::Batch essential;
    nl::Batch red; // run after it; a kernel without RED fails only here
};
Build build(const TreePlan& plan, const PortTree& tree, int index, bool cutting);

// The device whose root carries the ingress queues of the port with this index.
std::string ifbNameOf(int portIndex);

} // namespace fapi
