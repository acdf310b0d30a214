// What the kernel has and has counted, as its own tools print it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace lab {

// Standard output of a shell command in a namespace. Throws std::runtime_error with what it wrote to standard
// error if it fails.
std::string shellIn(const std::string& space, const std::string& command);
std::string shell(const std::string& command);

// Everything in the gateway that a change of ours could leave a trace in: qdiscs, classes, filters, nftables,
// links, routing rules. Without counters and running timers.
std::string gatewayState();

// The lines that two states do not share, as diff -U0 prints them; empty if they are equal.
std::string difference(const std::string& before, const std::string& after);

struct Counters {
    uint64_t packets = 0;
    uint64_t bytes = 0;
    uint64_t drops = 0;

    Counters operator-(const Counters& before) const {
        return {packets - before.packets, bytes - before.bytes, drops - before.drops};
    }
    bool operator==(const Counters&) const = default;
};

// Of the qdisc on `interface` in the gateway that holds at most so many packets. A configuration that gives
// each queue another length can thus tell them apart without knowing how they were built. Throws
// std::runtime_error if not exactly one qdisc has that limit.
Counters queueOfLength(const std::string& interface, uint32_t packets);

// Of the qdisc at the root of `interface` in a namespace.
Counters rootQueue(const std::string& space, const std::string& interface);

} // namespace lab
