// What becomes of one packet.
#pragma once

#include "pacerctl/built.h"
#include "pacerctl/match.h"

#include <string>
#include <vector>

namespace pacerctl {

// One rule of the entering interface.
struct Trial {
    const BuiltRule* rule = nullptr;
    bool matches = false;
    std::string why; // it does not; empty if it does
};

// What holds if the packet leaves through one interface.
struct Outcome {
    std::string leaving;
    std::string service;             // the logical interfaces there
    const BuiltRule* rule = nullptr; // that decides; nullptr: none
    const BuiltQueue* queue = nullptr;
    bool hasQueues = false; // the leaving interface's port sorts packets at all
    long long rate = 0;     // kbit/s of the port's shaper; 0: there is none
    bool pcpIsSet = false;  // the action marks a PCP, and there is a VLAN to carry it
};

struct Explanation {
    std::string entering;
    std::vector<Trial> trials;     // in the order in which the rules are tried
    std::vector<Outcome> outcomes; // for each way out
    // What comes in from the WAN may be queued on its way in, before anything else.
    const BuiltQueue* ingressQueue = nullptr;
    long long ingressRate = 0;
};

// `leaving` empty: for every interface through which a packet that enters there may leave.
Explanation explain(const Gateway& gateway, const Built& built, const Packet& packet,
                    const std::string& entering, const std::string& leaving);

} // namespace pacerctl
