// What the classifier needs in the kernel for a state: contents of its maps, and the places its programs
// stand at.
#pragma once

#include "links.h"
#include "model.h"

#include <map>
#include <set>
#include <tuple>

namespace fapi {

// Where a program stands.
enum class Place {
    ingress,  // clsact ingress of an interface that rules name with -i
    egress,   // clsact egress of an interface that has queues or that rules name with -o
    port,     // HTB of a port
    inbound,  // HTB of a port's ifb
    redirect, // clsact ingress of a port with ingress queues: to the ifb
};

struct Hook {
    Interface interface; // the port for port, inbound and redirect
    Place place = Place::ingress;
    bool operator<(const Hook& other) const {
        return std::tie(interface.index, place) < std::tie(other.interface.index, other.place);
    }
    bool operator==(const Hook& other) const { return !(*this < other) && !(other < *this); }
};

struct QueueKey {
    uint32_t ifindex;
    uint32_t ingress;
    uint32_t mark;
    bool operator<(const QueueKey& other) const {
        return std::tie(ifindex, ingress, mark) < std::tie(other.ifindex, other.ingress, other.mark);
    }
};

struct ClassifierPlan {
    std::map<uint32_t, fapi_iface> ifaces;
    std::map<QueueKey, uint32_t> queues;
    std::map<uint32_t, fapi_uppers> uppers; // by the ifb's index
    std::vector<uint32_t> next;             // by slot: the slot of the following rule
    std::set<Hook> hooks;
    std::set<std::pair<int, uint32_t>> pcps; // VLAN interface, PCP
};

ClassifierPlan classifierPlan(const State& state, Links& links);

// The VLAN interfaces that frames of `upper` pass on their way to its port.
std::vector<Link> vlansBelow(const State& state, const Interface& upper, Links& links);

} // namespace fapi
