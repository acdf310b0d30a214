// How much passes each queue.
#pragma once

#include "pacerctl/applied.h"

#include <string>
#include <vector>

namespace pacerctl {

struct QueueRate {
    std::string interface;
    std::string port;
    std::string direction;
    std::string fapiName; // empty: what passes the port behind all queues
    std::string rank;     // "SP 1", "WFQ 50", "-"
    double kbitPerSecond = 0;
    double packetsPerSecond = 0;
    double dropsPerSecond = 0;
    unsigned long long backlogPackets = 0;
    double share = -1; // of the port's rate, 0 to 1; negative: it is not shaped
};

// From two readings, `seconds` apart. A queue that was not there before, or whose counters have started anew,
// counts from nothing. In the order of the second reading, ports one after the other.
std::vector<QueueRate> ratesBetween(const Applied& before, const Applied& after, double seconds);

} // namespace pacerctl
