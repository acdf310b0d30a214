// A gateway whose queues can be told apart by their length, and what went through each of them.
#pragma once

#include "labtest.h"
#include "packets.h"

namespace lab {

// An Ethernet WAN port eth1 with the internet on it and telephony on eth1.20; a home network br0. Each of the
// three has a queue for traffic class 1, one for 2, and a default queue, and no two the same length.
Json workbench();

inline constexpr uint32_t internetQueue = 101; // lengths; the other class's is one, the default's seven more
inline constexpr uint32_t telephonyQueue = 111;
inline constexpr uint32_t homeQueue = 201;

struct QueueCounts {
    Counters first;  // of traffic class 1
    Counters second; // of traffic class 2
    Counters rest;   // of the default queue
};

class WorkbenchTest : public LabTest {
  protected:
    void SetUp() override;

    // The workbench with these columns of its one rule and one action, WAN up.
    void bringUpWith(const Json& rule, const Json& action = Json::object());
    // A variant of the workbench.
    void bringUpGateway(const Json& gateway);

    // Packets that left each queue of an interface since the WAN came up. On a loaded machine the kernel
    // handles them some time after they were sent: waits for so many.
    QueueCounts countsOf(const std::string& interface, uint32_t firstLength, uint64_t awaited = 0);

  private:
    void remember();
    QueueCounts countsSoFar(const std::string& interface, uint32_t firstLength);

    std::map<uint32_t, Counters> before_;
};

} // namespace lab
