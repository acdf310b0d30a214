#include "session.h"

#include "failure.h"

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace fapi {

void needPrivileges() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3]{};
    const bool known = syscall(SYS_capget, &header, data) == 0;
    if (known && (data[0].effective & (1U << CAP_NET_ADMIN)) == 0) {
        throw Failure("the capability CAP_NET_ADMIN is missing (run as root)");
    }
}

Session::Session(Access access)
    : store_(access), links_(socket_), ports_(socket_, links_), stored_(store_.load()),
      state_(present(stored_)) {}

Interface Session::interface(const std::string& name) {
    const Link* link = links_.byName(name);
    if (link == nullptr) {
        throw Failure("no such interface '" + name + "'");
    }
    return {link->name, link->index};
}

State Session::present(const State& stored) {
    const auto there = [&](const Interface& interface) {
        const Link* link = links_.byName(interface.name);
        return link != nullptr && link->index == interface.index;
    };
    State present;
    for (const IfMap& map : stored.ifMaps) {
        if (there(map.upper) && there(map.base) && there(map.lowest)) {
            present.ifMaps.push_back(map);
        }
    }
    for (const Shaper& shaper : stored.shapers) {
        if (ports_.has(shaper.port, shaper.direction)) {
            present.shapers.push_back(shaper);
        }
    }
    for (const Queue& queue : stored.queues) {
        if (there(queue.owner) && ports_.has(portOf(stored, queue.owner), queue)) {
            present.queues.push_back(queue);
        }
    }
    return present;
}

Missing Session::apply(const State& next, bool force) {
    const bool all = store_.wasInterrupted();
    store_.markBusy();
    const std::vector<PortPlan> after = plansOf(next);
    if (!force) {
        ports_.refuseForeign(after);
    }
    return ports_.bring(plansOf(stored_), after, all);
}

Missing Session::commit(const State& next, bool force) {
    try {
        const Missing missing = apply(next, force);
        store_.save(next);
        store_.markDone();
        stored_ = state_ = next;
        return missing;
    } catch (const std::runtime_error& error) {
        try {
            ports_.refresh();
            ports_.bring(plansOf(next), plansOf(state_), true);
            store_.save(state_);
            store_.markDone();
        } catch (const std::runtime_error&) {
            // The busy mark stays, and the next call tries again.
        }
        throw Failure(error.what());
    }
}

} // namespace fapi
