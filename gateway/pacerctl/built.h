// What the daemon makes of the rows: which queue and which rule ends up on which interface, and in what
// order.
#pragma once

#include "pacerctl/gatewayview.h"

#include <string>
#include <vector>

namespace pacerctl {

struct BuiltPath {
    enum class Kind { wan, lan, gateway };
    Kind kind = Kind::wan;
    std::string interface;
    std::string port; // the root of its stack; the interface itself for a local path
};

struct BuiltQueue {
    const Queue* queue = nullptr;
    std::string interface;
    std::string port;
    bool ingress = false;
    std::string fapiName;
};

struct BuiltRule {
    const Rule* rule = nullptr;
    const Action* action = nullptr; // nullptr: there is none, and the daemon ends
    std::string interface;          // where the packet enters
    bool ingress = false;           // built for what comes in from the WAN
    std::string leaving;            // where it must leave; empty: anywhere
};

// The rows of `gateway`, which must outlive it, with the providers up that are up there. Broken stacks are
// left out. All three lists are in the order of the commands: WAN paths, home network, gateway itself.
struct Built {
    explicit Built(const Gateway& gateway);

    std::vector<BuiltPath> paths;
    std::vector<BuiltQueue> queues;
    std::vector<BuiltRule> rules; // also disabled and unusable ones

    bool hasPath(const std::string& interface) const;
    const BuiltPath* findPath(const std::string& interface) const;
    // The queue that a mark leads to on an interface: its own, else the default one; nullptr if there is
    // neither.
    const BuiltQueue* queueFor(const std::string& interface, long long mark, bool ingress) const;

  private:
    void addWanPaths(const Gateway& gateway);
    void addLocalPaths(const Gateway& gateway, const char* service, BuiltPath::Kind kind);
    void addQueues(const Gateway& gateway, const BuiltPath& path);
    void addRules(const Gateway& gateway, const BuiltPath& path);
};

} // namespace pacerctl
