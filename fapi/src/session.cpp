#include "session.h"

#include "failure.h"
#include "rule.h"

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <utility>

namespace fapi {

namespace {

constexpr int loopbackIndex = 1; // in every network namespace

} // namespace

void needPrivileges() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3]{};
    const bool known = syscall(SYS_capget, &header, data) == 0;
    if (known && (data[0].effective & (1U << CAP_NET_ADMIN)) == 0) {
        throw Failure("the capability CAP_NET_ADMIN is missing (run as root)");
    }
}

Session::Session(Access access)
    : store_(access), links_(socket_), ports_(socket_, links_), classifier_(socket_, links_, ports_, store_),
      stored_(store_.load()), state_(present(stored_)) {
    if (access == Access::write) {
        repair();
    }
}

// Whatever becomes of this call's own change: what is lost or was interrupted leaves no trace.
void Session::repair() {
    if (lost_ || !damage().empty()) {
        commit(state_, false);
    } else if (store_.interrupted()) {
        try {
            commit(state_, false);
        } catch (const Failure&) {
            return; // this call's own change may succeed where that cannot: a deletion on a full disk
        }
    }
}

Interface Session::interface(const std::string& name) {
    const Link* link = links_.byName(name);
    if (link == nullptr) {
        throw Failure("no such interface '" + name + "'");
    }
    if (link->name != name) { // under the other name nothing would be listed, nor be found for its removal
        throw Failure("'" + name + "' is an alternative name; the interface is called '" + link->name + "'");
    }
    return {link->name, link->index};
}

State Session::present(const State& stored) {
    const auto there = [&](const Interface& interface) {
        const Link* link = links_.byName(interface.name);
        return link != nullptr && link->index == interface.index;
    };
    const auto drop = [&](auto& objects, const auto& isLost) {
        lost_ = std::erase_if(objects, isLost) != 0 || lost_;
    };
    State present = stored;
    drop(present.ifMaps,
         [&](const IfMap& map) { return !there(map.upper) || !there(map.base) || !there(map.lowest); });
    drop(present.shapers, [&](const Shaper& shaper) { return !ports_.has(shaper.port, shaper.direction); });
    drop(present.queues, [&](const Queue& queue) {
        return !there(queue.owner) || !ports_.has(portOf(stored, queue.owner), queue);
    });
    // These outlive the interface's name, and have to be found again for their removal.
    drop(present.clsacts,
         [&](const Interface& interface) { return links_.byIndex(interface.index) == nullptr; });
    drop(present.pcps, [&](const auto& entry) { return links_.byIndex(entry.first.index) == nullptr; });
    dropLostRules(present);
    return present;
}

void Session::dropLostRules(State& present) {
    const auto there = [&](const Interface& interface) {
        const Link* link = links_.byName(interface.name);
        return link != nullptr && link->index == interface.index;
    };
    const auto alive = [&](const Rule& rule) {
        return there(rule.in()) && (rule.inIndex == loopbackIndex || classifier_.standsAt(rule.in())) &&
               (!rule.hasOut() || there(rule.out()));
    };
    std::map<std::pair<int32_t, int32_t>, bool> known; // by entering and leaving interface
    for (uint32_t slot = 1; slot <= present.rules.size(); ++slot) {
        const Rule& rule = present.rules.at(slot);
        if (rule.used == 0) {
            continue;
        }
        const auto [verdict, fresh] = known.try_emplace({rule.inIndex, rule.outIndex}, true);
        if (fresh) {
            verdict->second = alive(rule);
        }
        if (!verdict->second) {
            present.rules.edit(slot) = {};
            lost_ = true;
        }
    }
}

Missing Session::apply(const State& stored, const State& there, State& next, bool force, bool all) {
    const std::vector<PortPlan> wanted = plansOf(next);
    if (!force) {
        ports_.refuseForeign(wanted);
    }
    const ClassifierPlan held = classifierPlan(stored, links_);
    const ClassifierPlan standing = lost_ ? classifierPlan(there, links_) : held;
    all = all || !classifier_.intact(standing);
    ClassifierPlan after = classifierPlan(next, links_);
    classifier_.retreat(stored, held, after, all);
    const Missing missing = ports_.bring(plansOf(stored), wanted, all);
    if (ports_.madeDevices()) {
        after = classifierPlan(next, links_); // an ifb that was just made has an index now
    }
    classifier_.advance(stored, held, standing.hooks, next, after, all);
    classifier_.tidy(next, after);
    return missing;
}

Missing Session::commit(State next, bool force) {
    const bool all = store_.markBusy();
    try {
        const Missing missing = apply(stored_, state_, next, force, all);
        State same = next; // while an exception still finds what was before
        store_.save(next, stored_);
        ports_.refresh();
        store_.markDone(); // nothing fails any more
        stored_ = std::move(same);
        state_ = std::move(next);
        lost_ = false;
        return missing;
    } catch (const std::exception& error) {
        try {
            ports_.refresh();
            State back = state_;
            back.clsacts = next.clsacts; // what was made on the way there must be seen to go
            back.pcps = next.pcps;
            apply(next, back, back, true, true);
            State same = back;
            store_.saveBack(back, stored_, next);
            ports_.refresh();
            store_.markDone();
            stored_ = std::move(same);
            state_ = std::move(back);
            lost_ = false;
        } catch (const std::exception&) {
            ports_.refresh(); // another change of this call's asks the kernel anew
            throw Failure(reasonOf(error) + std::string("; the next call cleans up")); // the busy mark stays
        }
        throw Failure(reasonOf(error));
    }
}

} // namespace fapi
