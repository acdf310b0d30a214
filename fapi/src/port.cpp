#include "port.h"

#include <linux/rtnetlink.h>

#include <algorithm>
#include <set>
#include <tuple>

namespace fapi {

namespace {

constexpr uint32_t strictPriosInFront = 7; // HTB has prio 0 to 7; the last one is everything behind
constexpr uint32_t weightedPrio = 3;
constexpr uint32_t unclassifiedPrio = 7;

// No limit: 1 Tbit/s with 10 ms saved up is never reached, and stays readable in tc's listing.
constexpr uint64_t noLimit = 125'000'000'000; // bytes/s
constexpr uint32_t noLimitBuffer = tc::ticksOf(10'000'000);
// A strict leaf sends by borrowing from the shaper, in order of prio. What it may send without asking is
// served before any prio, so it gets the least that HTB can express: one packet a minute.
constexpr uint64_t nearlyNothing = 1; // bytes/s
constexpr uint32_t nearlyNothingBuffer = 1;

constexpr uint32_t defaultQueuePackets = 100; // 60 ms of full frames at 20 Mbit/s
constexpr uint32_t linkHeaderBytes = 14 + 8;  // Ethernet and two VLAN tags

bool behind(const Queue& queue) {
    return queue.scheduler == Scheduler::weighted || queue.value >= strictPriosInFront;
}

uint32_t prioOf(const Queue& queue) {
    if (queue.scheduler == Scheduler::weighted) {
        return weightedPrio;
    }
    return behind(queue) ? queue.value - strictPriosInFront : queue.value;
}

tc::HtbClass unlimited(uint32_t prio, uint32_t quantum) {
    return {noLimit, noLimitBuffer, noLimit, noLimitBuffer, quantum, prio};
}

tc::HtbClass borrowing(uint32_t prio, uint32_t quantum) {
    return {nearlyNothing, nearlyNothingBuffer, noLimit, noLimitBuffer, quantum, prio};
}

tc::HtbClass shaping(uint64_t kbit, uint32_t frame) {
    const uint64_t rate = kbit * 1000 / 8;
    // The burst repays time lost when the kernel serves the port late; what it saves up beyond that would
    // only flood the modem behind the port after a pause.
    constexpr uint64_t latest = 4'000'000; // ns
    const uint64_t twoFrames = 2ULL * frame * 1'000'000'000 / rate;
    const uint32_t buffer = tc::ticksOf(std::max(latest, twoFrames));
    return {rate, buffer, rate, buffer, frame, 0};
}

// The weighted queues take turns; each may send its quantum a turn. The least weight needs a whole frame, or
// the shares of the others would come out too small.
uint32_t quantumOf(const Queue& queue, uint32_t leastWeight, uint32_t frame) {
    if (queue.scheduler == Scheduler::strict) {
        return frame;
    }
    return static_cast<uint32_t>(std::min<uint64_t>(uint64_t{frame} * queue.value / leastWeight, INT32_MAX));
}

} // namespace

uint32_t classOf(const Queue& queue) {
    return tc::handleOf(behind(queue) ? restMajor : portMajor, queue.minor);
}

std::vector<PortPlan> plansOf(const State& state) {
    std::vector<PortPlan> plans;
    const auto planFor = [&](const Interface& port, Direction direction) -> PortPlan& {
        for (PortPlan& plan : plans) {
            if (plan.port == port && plan.direction == direction) {
                return plan;
            }
        }
        plans.push_back({port, direction, 0, {}});
        return plans.back();
    };
    for (const Shaper& shaper : state.shapers) {
        planFor(shaper.port, shaper.direction).kbit = shaper.kbit;
    }
    for (const Queue& queue : state.queues) {
        planFor(portOf(state, queue.owner), queue.direction).queues.push_back(queue);
    }
    return plans;
}

TreePlan treeOf(const PortPlan& plan, uint32_t mtu) {
    TreePlan tree;
    tree.frame = mtu + linkHeaderBytes;
    tree.shaper = plan.kbit == 0 ? unlimited(0, tree.frame) : shaping(plan.kbit, tree.frame);
    tree.rest = borrowing(strictPriosInFront, tree.frame);
    uint32_t leastWeight = UINT32_MAX;
    for (const Queue& queue : plan.queues) {
        if (queue.scheduler == Scheduler::weighted) {
            leastWeight = std::min(leastWeight, queue.value);
        }
    }
    tree.leaves.push_back({unclassifiedClass, tc::handleOf(restMajor, 0),
                           unlimited(unclassifiedPrio, tree.frame), defaultQueuePackets, Drop::tail});
    tree.leaves.push_back(
        {controlClass, shaperClass, borrowing(0, tree.frame), defaultQueuePackets, Drop::tail});
    for (const Queue& queue : plan.queues) {
        const uint32_t quantum = quantumOf(queue, leastWeight, tree.frame);
        LeafPlan leaf;
        leaf.handle = classOf(queue);
        leaf.parent = behind(queue) ? tc::handleOf(restMajor, 0) : shaperClass;
        leaf.htb = behind(queue) ? unlimited(prioOf(queue), quantum) : borrowing(prioOf(queue), quantum);
        leaf.packets = queue.length == 0 ? defaultQueuePackets : queue.length;
        leaf.drop = queue.drop;
        tree.leaves.push_back(leaf);
    }
    return tree;
}

PortTree treeOn(const std::vector<tc::Qdisc>& qdiscs, nl::Socket& socket, int index) {
    PortTree tree;
    for (const tc::Qdisc& qdisc : qdiscs) {
        if (qdisc.index != index) {
            continue;
        }
        if (qdisc.parent == TC_H_ROOT) {
            tree.root = qdisc.handle;
            tree.rootKind = qdisc.kind;
        }
        tree.qdiscByParent[qdisc.parent] = qdisc;
    }
    if (tree.ours()) {
        for (tc::Class& found : tc::classes(socket, index)) {
            if (found.kind == "htb") {
                tree.classes[found.handle] = std::move(found);
            }
        }
    }
    return tree;
}

namespace {

class Builder {
  public:
    Builder(const TreePlan& plan, const PortTree& tree, int index, bool cutting)
        : plan_(plan), tree_(tree), index_(index), cutting_(cutting) {}

    Build run() {
        // The rest class was given one frame as its quantum; a change of the port's MTU shows there.
        const auto rest = tree_.classes.find(restClass);
        frameChanged_ = rest != tree_.classes.end() && rest->second.htb.quantum != plan_.frame;
        if (!tree_.ours()) {
            tc::addHtb(result_.essential, index_, TC_H_ROOT, tc::handleOf(portMajor, 0), restClass & 0xffff,
                       true);
        }
        place(shaperClass, tc::handleOf(portMajor, 0), plan_.shaper);
        if (place(restClass, shaperClass, plan_.rest) || !holds(restClass, "htb")) {
            tc::addHtb(result_.essential, index_, restClass, tc::handleOf(restMajor, 0),
                       unclassifiedClass & 0xffff, true);
        }
        removeStrangers();
        for (const LeafPlan& leaf : plan_.leaves) {
            queueOf(leaf, place(leaf.handle, leaf.parent, leaf.htb));
        }
        return std::move(result_);
    }

  private:
    // True when the class is new.
    bool place(uint32_t handle, uint32_t parent, const tc::HtbClass& htb) {
        const auto found = tree_.classes.find(handle);
        const bool exists = found != tree_.classes.end();
        if (!exists || !same(found->second.htb, htb, handle)) {
            tc::setClass(result_.essential, index_, parent, handle, htb, exists);
        }
        return !exists;
    }

    // An inner class has no prio and quantum; the kernel shows none.
    static bool same(tc::HtbClass has, const tc::HtbClass& wanted, uint32_t handle) {
        if (handle == shaperClass) {
            has.prio = wanted.prio;
            has.quantum = wanted.quantum;
        }
        return has == wanted;
    }

    bool holds(uint32_t parent, std::string_view kind) const {
        const auto found = tree_.qdiscByParent.find(parent);
        return found != tree_.qdiscByParent.end() && found->second.kind == kind;
    }

    // A queue that has moved to the other scheduler must leave its old class: the qdisc below keeps its
    // handle.
    void removeStrangers() {
        std::set<uint32_t> wanted{shaperClass, restClass};
        std::set<uint32_t> minors;
        for (const LeafPlan& leaf : plan_.leaves) {
            wanted.insert(leaf.handle);
            minors.insert(leaf.handle & 0xffff);
        }
        for (const auto& [handle, found] : tree_.classes) {
            if (!wanted.contains(handle)) {
                const bool moved = minors.contains(handle & 0xffff);
                tc::deleteClass(moved ? result_.essential : result_.strangers, index_, handle);
            }
        }
    }

    void queueOf(const LeafPlan& leaf, bool fresh) {
        const uint32_t minor = leaf.handle & 0xffff;
        uint32_t parent = leaf.handle;
        if (cutting_) {
            const bool exists = !fresh && holds(parent, "tbf");
            if (!exists || frameChanged_) {
                tc::addCutter(result_.essential, index_, parent, tc::handleOf(minor, 0), plan_.frame, exists);
            }
            parent = tc::handleOf(minor, 1);
            fresh = fresh || !exists;
        }
        // A kind keeps its own handle: the kernel does not let one qdisc change into another.
        const uint32_t fifo = tc::handleOf(0x1000 + minor, 0);
        const uint32_t red = tc::handleOf(0x2000 + minor, 0);
        const auto found = tree_.qdiscByParent.find(parent);
        const tc::Qdisc* queue = fresh || found == tree_.qdiscByParent.end() ? nullptr : &found->second;
        const bool wantsRed = leaf.drop == Drop::red;
        if (wantsRed) {
            const tc::RedLimits limits{leaf.packets, plan_.frame};
            if (queue == nullptr || queue->handle != red || queue->limit != limits.packets * limits.frame) {
                tc::addRed(result_.red, index_, parent, red, limits);
            }
        }
        // A fifo also holds the place until RED has come.
        if (wantsRed ? queue == nullptr
                     : queue == nullptr || queue->handle != fifo || queue->limit != leaf.packets) {
            tc::addFifo(result_.essential, index_, parent, fifo, leaf.packets);
        }
    }

    const TreePlan& plan_;
    const PortTree& tree_;
    int index_;
    bool cutting_;
    bool frameChanged_ = false;
    Build result_;
};

} // namespace

Build build(const TreePlan& plan, const PortTree& tree, int index, bool cutting) {
    return Builder(plan, tree, index, cutting).run();
}

std::string ifbNameOf(int portIndex) {
    return "fapi-in" + std::to_string(portIndex);
}

} // namespace fapi
