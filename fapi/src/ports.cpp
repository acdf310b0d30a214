#include "ports.h"

#include "failure.h"

#include <linux/rtnetlink.h>

#include <algorithm>
#include <cerrno>

namespace fapi {

namespace {

const PortPlan* planIn(const std::vector<PortPlan>& plans, const PortPlan& like) {
    for (const PortPlan& plan : plans) {
        if (plan.port == like.port && plan.direction == like.direction) {
            return &plan;
        }
    }
    return nullptr;
}

bool isIfb(const Link& link) {
    return link.kind == "ifb" && link.name.rfind("fapi-in", 0) == 0;
}

// The cutter is left out on a port that had to do without it before.
bool cuts(const PortTree& tree) {
    const auto leaf = tree.qdiscByParent.find(unclassifiedClass);
    return !tree.ours() || leaf == tree.qdiscByParent.end() || leaf->second.kind != "pfifo";
}

} // namespace

void Ports::refresh() {
    qdiscs_.reset();
    trees_.clear();
    links_.forget();
}

const std::vector<tc::Qdisc>& Ports::qdiscs() {
    if (!qdiscs_) {
        qdiscs_ = tc::qdiscs(socket_);
    }
    return *qdiscs_;
}

const PortTree& Ports::treeAt(int index) {
    const auto [slot, fresh] = trees_.try_emplace(index);
    if (fresh) {
        slot->second = treeOn(qdiscs(), socket_, index);
    }
    return slot->second;
}

const Link* Ports::deviceOf(const Interface& port, Direction direction) {
    const Link* link = links_.byName(port.name);
    if (link == nullptr || link->index != port.index) {
        return nullptr;
    }
    return direction == Direction::egress ? link : links_.byName(ifbNameOf(port.index));
}

const PortTree& Ports::tree(const Interface& port, Direction direction) {
    static const PortTree nothing;
    const Link* device = deviceOf(port, direction);
    return device == nullptr ? nothing : treeAt(device->index);
}

bool Ports::has(const Interface& port, Direction direction) {
    return tree(port, direction).ours();
}

bool Ports::has(const Interface& port, const Queue& queue) {
    return tree(port, queue.direction).classes.contains(classOf(queue));
}

void Ports::refuseForeign(const std::vector<PortPlan>& after) {
    for (const PortPlan& plan : after) {
        const Link* device = deviceOf(plan.port, plan.direction);
        if (device == nullptr) {
            continue;
        }
        const PortTree& tree = treeAt(device->index);
        if (!tree.ours() && !tree.free()) {
            throw Failure("the root qdisc of " + device->name + " is not ours (" + tree.rootKind + " " +
                          tc::textOf(tree.root) + "); --force replaces it");
        }
    }
}

Missing Ports::bring(const std::vector<PortPlan>& before, const std::vector<PortPlan>& after, bool all) {
    Missing missing;
    for (const PortPlan& plan : before) {
        if (planIn(after, plan) == nullptr) {
            remove(plan);
        }
    }
    if (all) {
        refresh();
        removeStrays(after);
    }
    for (const PortPlan& plan : after) {
        const PortPlan* old = planIn(before, plan);
        if (all || old == nullptr || *old != plan) {
            raise(plan, missing);
        }
    }
    return missing;
}

void Ports::raise(const PortPlan& plan, Missing& missing) {
    const Link* port = deviceOf(plan.port, Direction::egress);
    const Link* device = deviceOf(plan.port, plan.direction);
    if (port == nullptr) {
        throw Failure("interface " + plan.port.name + " is gone");
    }
    if (device == nullptr) {
        nl::Batch batch;
        addIfb(batch, ifbNameOf(plan.port.index), "ingress of " + plan.port.name);
        socket_.run(batch);
        madeDevices_ = true;
        refresh();
        port = deviceOf(plan.port, Direction::egress);
        device = deviceOf(plan.port, plan.direction);
    }
    if (port == nullptr || device == nullptr) {
        throw Failure("interface " + plan.port.name + " is gone");
    }
    const TreePlan tree = treeOf(plan, port->mtu);
    const bool cutting = cuts(treeAt(device->index));
    Build requests = build(tree, treeAt(device->index), device->index, cutting);
    removeStrangers(requests.strangers, missing);
    try {
        socket_.run(requests.essential);
    } catch (const nl::KernelError& error) {
        if (!cutting || error.error() != ENOENT ||
            std::string_view(error.what()).find("tbf") == std::string_view::npos) {
            throw;
        }
        missing.cutter = true;
        refresh();
        requests = build(tree, treeAt(device->index), device->index, false);
        socket_.run(requests.essential);
    }
    try {
        socket_.run(requests.red);
    } catch (const nl::KernelError& error) {
        if (error.error() != ENOENT) {
            throw;
        }
        missing.red = true; // the fifo stays
    }
}

void Ports::removeStrangers(nl::Batch& strangers, Missing& missing) {
    try {
        socket_.run(strangers);
    } catch (const nl::KernelError& error) {
        if (error.error() != EBUSY) {
            throw;
        }
        missing.freed = false;
    }
}

// By the port's index: it may have another name by now, and its ifb stays when it goes.
void Ports::remove(const PortPlan& plan) {
    const Link* device = plan.direction == Direction::ingress ? links_.byName(ifbNameOf(plan.port.index))
                                                              : links_.byIndex(plan.port.index);
    if (device == nullptr) {
        return; // it took its scheduler with it
    }
    nl::Batch batch;
    if (isIfb(*device)) {
        deleteLink(batch, device->index, device->name);
    } else if (treeAt(device->index).ours()) {
        tc::deleteQdisc(batch, device->index, TC_H_ROOT, tc::handleOf(portMajor, 0));
    }
    socket_.run(batch);
}

void Ports::removeStrays(const std::vector<PortPlan>& after) {
    for (const Link& link : links_.all()) {
        const bool planned = std::any_of(after.begin(), after.end(), [&](const PortPlan& plan) {
            const Link* device = deviceOf(plan.port, plan.direction);
            return device != nullptr && device->index == link.index;
        });
        nl::Batch batch;
        if (!planned && isIfb(link)) {
            deleteLink(batch, link.index, link.name);
        } else if (!planned && treeAt(link.index).ours()) {
            tc::deleteQdisc(batch, link.index, TC_H_ROOT, tc::handleOf(portMajor, 0));
        }
        socket_.run(batch);
    }
}

} // namespace fapi
