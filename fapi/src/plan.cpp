#include "plan.h"

#include "port.h"

#include <algorithm>
#include <tuple>

namespace fapi {

namespace {

constexpr int deepestStack = 8; // interfaces above one another

class Planner {
  public:
    Planner(const State& state, Links& links) : state_(state), links_(links) {}

    ClassifierPlan run() {
        rules();
        queues();
        ports();
        return std::move(plan_);
    }

  private:
    fapi_iface& iface(const Interface& interface) {
        const auto [slot, fresh] = plan_.ifaces.try_emplace(static_cast<uint32_t>(interface.index));
        if (fresh) {
            slot->second = {};
            const Link* link = links_.byIndex(interface.index);
            slot->second.header_bytes = link == nullptr ? 0 : link->headerBytes();
        }
        return slot->second;
    }

    // Chains the rules of each entering interface in the order of their sequence numbers.
    void rules() {
        plan_.next.assign(state_.rules.size() + 1, 0);
        std::map<int32_t, uint32_t> last;
        for (const uint32_t slot : state_.rules.inOrder()) {
            const Rule& rule = state_.rules.at(slot);
            uint32_t& before = last[rule.inIndex];
            if (before == 0) {
                iface(rule.in()).head = slot;
            } else {
                plan_.next[before] = slot;
            }
            before = slot;
            if (placed_.emplace(rule.inIndex, rule.outIndex, rule.match.new_pcp).second) {
                place(rule);
            }
        }
    }

    // Rules of the same interfaces and PCP need the same.
    void place(const Rule& rule) {
        if (!isLoopback(rule)) {
            plan_.hooks.insert({rule.in(), Place::ingress});
        }
        if (!rule.hasOut()) {
            return;
        }
        plan_.hooks.insert({rule.out(), Place::egress});
        iface(rule.in()).outs[rule.match.out - 1] = static_cast<uint32_t>(rule.outIndex);
        iface(rule.out());
        if (rule.match.new_pcp != FAPI_NONE) {
            for (const Link& vlan : vlansBelow(state_, rule.out(), links_)) {
                plan_.pcps.emplace(vlan.index, rule.match.new_pcp);
            }
        }
    }

    static bool isLoopback(const Rule& rule) { return rule.inIndex == 1; }

    void queues() {
        for (const Queue& queue : state_.queues) {
            const bool inwards = queue.direction == Direction::ingress;
            fapi_iface& owner = iface(queue.owner);
            uint32_t& fallback = inwards ? owner.ingress_default : owner.egress_default;
            if (queue.mark == defaultQueueMark) {
                fallback = classOf(queue);
            } else if (fallback == 0) {
                fallback = unclassifiedClass;
            }
            plan_.queues[{static_cast<uint32_t>(queue.owner.index), inwards ? 1U : 0U, queue.mark}] =
                classOf(queue);
            if (!inwards) {
                plan_.hooks.insert({queue.owner, Place::egress});
            }
        }
    }

    void ports() {
        for (const PortPlan& port : plansOf(state_)) {
            if (port.direction == Direction::ingress) {
                plan_.hooks.insert({port.port, Place::redirect});
                plan_.hooks.insert({port.port, Place::inbound});
                uppers(port);
            } else {
                plan_.hooks.insert({port.port, Place::port});
            }
        }
    }

    // More particular descriptions first; the port's own packets last.
    void uppers(const PortPlan& port) {
        const Link* device = links_.byName(ifbNameOf(port.port.index));
        if (device == nullptr) {
            return;
        }
        std::vector<fapi_upper> found;
        for (const Queue& queue : port.queues) {
            const bool known = std::any_of(found.begin(), found.end(), [&](const fapi_upper& upper) {
                return upper.ifindex == static_cast<uint32_t>(queue.owner.index);
            });
            if (!known) {
                found.push_back(describe(queue.owner, port.port));
            }
        }
        std::stable_sort(found.begin(), found.end(),
                         [](const fapi_upper& a, const fapi_upper& b) { return weight(a) > weight(b); });
        fapi_uppers& value = plan_.uppers[static_cast<uint32_t>(device->index)];
        value = {};
        value.count = static_cast<uint32_t>(std::min<size_t>(found.size(), FAPI_UPPERS));
        std::copy_n(found.begin(), value.count, value.upper);
    }

    static int weight(const fapi_upper& upper) {
        return 4 * upper.pppoe + 2 * upper.has_mac + (upper.vlan != 0 && upper.vlan != 0xffff ? 1 : 0);
    }

    fapi_upper describe(const Interface& upper, const Interface& port) {
        fapi_upper description{};
        description.ifindex = static_cast<uint32_t>(upper.index);
        const Link* link = links_.byIndex(upper.index);
        for (int depth = 0; link != nullptr && link->index != port.index && depth < deepestStack; ++depth) {
            if (link->kind == "vlan" && description.vlan == 0) {
                description.vlan = link->vlanId;
            } else if (link->kind == "macvlan") {
                description.has_mac = 1;
                std::copy(link->mac.begin(), link->mac.end(), description.mac);
            } else if (link->hardware == hardwarePpp) {
                description.pppoe = 1;
                description.vlan = 0xffff; // a PPP device does not tell what it stands on
            }
            link = links_.byIndex(link->lower);
        }
        return description;
    }

    const State& state_;
    Links& links_;
    ClassifierPlan plan_;
    std::set<std::tuple<int32_t, int32_t, uint8_t>> placed_; // entering, leaving interface, PCP
};

} // namespace

ClassifierPlan classifierPlan(const State& state, Links& links) {
    return Planner(state, links).run();
}

std::vector<Link> vlansBelow(const State& state, const Interface& upper, Links& links) {
    std::vector<Link> found;
    const Link* link = links.byIndex(upper.index);
    for (int depth = 0; link != nullptr && depth < deepestStack; ++depth) {
        if (link->kind == "vlan") {
            found.push_back(*link);
        }
        if (link->hardware == hardwarePpp) {
            // A PPP device does not tell what it stands on. All VLANs of its port get the entry: it acts on
            // packets with our priorities only.
            const Interface port = portOf(state, upper);
            for (const Link& other : links.all()) {
                if (other.kind == "vlan" && other.lower == port.index) {
                    found.push_back(other);
                }
            }
        }
        link = links.byIndex(link->lower);
    }
    return found;
}

} // namespace fapi
