// The ports of this network namespace: what of the configuration they carry, and changing them.
#pragma once

#include "links.h"
#include "model.h"
#include "netlink.h"
#include "port.h"

#include <optional>
#include <vector>

namespace fapi {

// What a kernel without a piece, or others, made impossible, though the rest was done.
struct Missing {
    bool red = false;
    bool cutter = false; // tbf
    bool freed = true;   // false: a class that nobody asked for stays, because others use it
};

class Ports {
  public:
    Ports(nl::Socket& socket, Links& links) : socket_(socket), links_(links) {}

    void refresh();
    // Asked from the kernel when first needed: most listings find nothing configured and need none.
    const std::vector<tc::Qdisc>& qdiscs();

    // The device that carries a port's scheduler: the port itself, or its ifb for ingress; nullptr when it is
    // gone.
    const Link* deviceOf(const Interface& port, Direction direction);

    // What the kernel has there; nothing when the device is gone.
    const PortTree& tree(const Interface& port, Direction direction);

    // Does the kernel have the scheduler of this port, and this queue's class in it?
    bool has(const Interface& port, Direction direction);
    bool has(const Interface& port, const Queue& queue);

    // Throws Failure when the root of a port that `after` needs belongs to someone else.
    void refuseForeign(const std::vector<PortPlan>& after);
    // Takes the ports from one set of plans to another; `all` also compares what the plans have in common,
    // and removes schedulers that neither knows (left by a killed call). Throws nl::KernelError.
    Missing bring(const std::vector<PortPlan>& before, const std::vector<PortPlan>& after, bool all);

    bool madeDevices() const { return madeDevices_; }

  private:
    const PortTree& treeAt(int index);
    void raise(const PortPlan& plan, Missing& missing);
    void removeStrangers(nl::Batch& strangers, Missing& missing);
    void remove(const PortPlan& plan);
    void removeStrays(const std::vector<PortPlan>& after);

    nl::Socket& socket_;
    Links& links_;
    std::optional<std::vector<tc::Qdisc>> qdiscs_;
    std::map<int, PortTree> trees_;
    bool madeDevices_ = false;
};

} // namespace fapi
