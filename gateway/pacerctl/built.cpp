#include "pacerctl/built.h"

#include "config/tables.h"

#include <algorithm>

namespace pacerctl {

namespace {

namespace value = zel::pacerd::dbm::statusNifWLogic::colLogicNameVal;

bool isOn(const Gateway& gateway, const std::string& service, const std::string& interface) {
    return std::any_of(gateway.services.begin(), gateway.services.end(), [&](const Service& each) {
        return each.name == service && each.interface == interface;
    });
}

bool isProviderName(const std::string& name) {
    Service service;
    service.name = name;
    return service.isProvider();
}

} // namespace

Built::Built(const Gateway& gateway) {
    addWanPaths(gateway);
    addLocalPaths(gateway, value::pLan, BuiltPath::Kind::lan);
    addLocalPaths(gateway, value::pLocal, BuiltPath::Kind::gateway);
    for (const BuiltPath& path : paths) {
        addQueues(gateway, path);
        addRules(gateway, path);
    }
}

bool Built::hasPath(const std::string& interface) const {
    return findPath(interface) != nullptr;
}

const BuiltPath* Built::findPath(const std::string& interface) const {
    const auto found = std::find_if(paths.begin(), paths.end(),
                                    [&](const BuiltPath& path) { return path.interface == interface; });
    return found == paths.end() ? nullptr : &*found;
}

const BuiltQueue* Built::queueFor(const std::string& interface, long long mark, bool ingress) const {
    const BuiltQueue* fallback = nullptr;
    for (const BuiltQueue& queue : queues) {
        if (queue.interface != interface || queue.ingress != ingress) {
            continue;
        }
        if (queue.queue->precedence == mark) {
            return &queue;
        }
        if (queue.queue->isDefault()) {
            fallback = &queue;
        }
    }
    return fallback;
}

void Built::addWanPaths(const Gateway& gateway) {
    const Node* port = gateway.wanPort();
    if (port == nullptr) {
        return;
    }
    for (const Service& service : gateway.services) {
        if (!service.isProvider() || service.isOff() || !service.isUpForPath() ||
            hasPath(service.interface)) {
            continue;
        }
        const Stack stack = findStack(gateway, service.interface);
        if (stack.isComplete() && stack.interfaces.back() == port->interface) {
            paths.push_back({BuiltPath::Kind::wan, service.interface, port->interface});
        }
    }
}

void Built::addLocalPaths(const Gateway& gateway, const char* service, BuiltPath::Kind kind) {
    std::string first; // of several rows the daemon takes the first one's interface for each of the paths
    for (const Service& each : gateway.services) {
        if (each.name == service) {
            first = first.empty() ? each.interface : first;
            paths.push_back({kind, first, first});
        }
    }
}

void Built::addQueues(const Gateway& gateway, const BuiltPath& path) {
    for (const Queue& queue : gateway.queues) {
        if (queue.enable == 0 || !isOn(gateway, queue.service, path.interface)) {
            continue;
        }
        for (const bool ingress : {false, true}) {
            if ((ingress ? queue.ingress : queue.egress) == 1) {
                queues.push_back({&queue, path.interface, path.port, ingress,
                                  fapiQueueName(path.interface, queue.precedence, ingress)});
            }
        }
    }
}

void Built::addRules(const Gateway& gateway, const BuiltPath& path) {
    bool ingress = false; // once a rule stands on a provider, all that follow are built for what comes in
    for (const Rule& rule : gateway.rules) {
        if (!isOn(gateway, rule.service, path.interface)) {
            continue;
        }
        ingress = ingress || isProviderName(rule.service);
        BuiltRule built{&rule, gateway.findAction(rule.actionId), path.interface, ingress, ""};
        if (built.action != nullptr && !ingress && built.action->queueService != value::pLan) {
            built.leaving = gateway.interfaceOf(built.action->queueService);
        }
        rules.push_back(std::move(built));
    }
}

} // namespace pacerctl
