// A constant-rate UDP stream from one namespace to another on this machine, and when each of its packets
// arrived. Both ends read the same clock, so that the difference is the one-way delay.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace lab {

struct StreamPlan {
    std::string from; // namespaces
    std::string to;
    std::string destination; // numeric address, IPv4 or IPv6
    uint16_t destinationPort = 0;
    std::string source;              // numeric address; empty: any
    uint16_t sourcePort = 0;         // 0: any
    uint32_t packetBytes = 200;      // of the IP packet
    double packetsPerSecond = 625.0; // with 200 bytes: 1 Mbit/s
    std::chrono::duration<double> duration{1};
    std::chrono::duration<double> linger{0.5}; // how long late packets are waited for
    int dscp = 0;
    const std::atomic<bool>* stop = nullptr; // ends the sending early when it becomes true
};

struct Sample {
    int64_t sent = 0; // ns since the epoch, taken right before the packet is handed to the kernel
    static constexpr int64_t lost = -1;
    int64_t delay = lost; // ns, until the receiving interface had it
};

struct StreamResult {
    std::vector<Sample> samples;   // in sending order
    std::map<int, uint64_t> dscps; // with which the packets arrived
    uint64_t duplicates = 0;       // counted once in the samples
};

// Blocks for the stream's duration plus linger. Throws std::system_error, and std::invalid_argument for a
// plan that cannot be.
StreamResult runStream(const StreamPlan& plan);

} // namespace lab
