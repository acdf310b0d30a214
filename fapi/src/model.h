// What the tools have been told: plain values, as they stand in the state file and in the listings.
#pragma once

#include "interface.h"
#include "ruletable.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace fapi {

enum class Direction { egress, ingress };
std::string nameOf(Direction direction);

// ifcfg --ifmap
struct IfMap {
    Interface upper;
    int category = 0;
    Interface base; // the port that carries the traffic of `upper`
    Interface lowest;
    std::optional<int> group; // only ingress mappings have one
    uint32_t uses = 1;        // how often it was added; as many deletions take it away
    bool operator==(const IfMap&) const = default;
};

// qcfg --port
struct Shaper {
    std::string name;
    Interface port;
    Direction direction = Direction::egress;
    uint64_t kbit = 0; // kbit/s
    bool operator==(const Shaper&) const = default;
};

enum class Scheduler { strict, weighted };
enum class Drop { tail, red };

constexpr uint64_t highestKbit = 100'000'000; // 100 Gbit/s
constexpr uint64_t highestLength = 100'000;   // packets
constexpr uint64_t highestWeight = 1000;
constexpr uint32_t highestPrecedence = 9;
constexpr uint32_t defaultQueueMark = 8; // the queue with this --map takes what no other queue is for

// qcfg --queue
struct Queue {
    std::string name;
    Interface owner;
    Direction direction = Direction::egress;
    uint32_t length = 0; // packets, 0 for the tools' own choice
    Scheduler scheduler = Scheduler::strict;
    uint32_t value = 0; // precedence (strict) or weight (weighted)
    Drop drop = Drop::tail;
    uint32_t mark = 0;
    uint16_t minor = 0; // of its class on the port
    bool operator==(const Queue&) const = default;
};

// What the tools keep in the kernel besides qdiscs and classes.
struct Kernel {
    uint64_t digest = 0; // of the programs; another one means that the tools were replaced by others
    std::array<uint32_t, 8> maps{};     // ids by fapi_map
    std::array<uint32_t, 5> programs{}; // ids by Place
    bool operator==(const Kernel&) const = default;
};

struct State {
    std::vector<IfMap> ifMaps;
    std::vector<Shaper> shapers;
    std::vector<Queue> queues;
    RuleTable rules;
    Kernel kernel;
    std::vector<Interface> clsacts; // clsact qdiscs that are ours
    std::vector<std::pair<Interface, uint32_t>>
        pcps; // VLAN interfaces and the PCPs in their maps that are ours

    bool empty() const; // nothing is configured
};

// The port whose scheduler the queues of `owner` join: the base that ifcfg named, or the interface itself.
Interface portOf(const State& state, const Interface& owner);

} // namespace fapi
