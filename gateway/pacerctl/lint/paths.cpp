// Traps in the interface tree and the logical interfaces.
#include "config/tables.h"
#include "pacerctl/lint/lint.h"

#include <algorithm>
#include <array>
#include <set>

namespace pacerctl {

namespace {

namespace nsn = zel::pacerd::dbm::nsn;
namespace status = zel::pacerd::dbm::statusNifWLogic;
namespace value = zel::pacerd::dbm::statusNifWLogic::colLogicNameVal;

constexpr std::array<const char*, 3> portTypes = {nsn::colTypeVal::mpoa, nsn::colTypeVal::xdsl,
                                                  nsn::colTypeVal::wanoe};

bool isPortType(const Node& node) {
    return std::any_of(portTypes.begin(), portTypes.end(),
                       [&](const char* type) { return node.type == type; });
}

bool isOnWan(const Service& service) {
    return service.isProvider() && !service.isOff();
}

void noWanPort(const LintInput& input, Findings& findings) {
    if (input.gateway.wanPort() == nullptr) {
        findings.add(
            {nsn::tblName, 0, ""}, nsn::colType,
            "no enabled node is of type MPoA, XDSL or WANoE: the daemon finds no WAN path and applies "
            "nothing for the providers",
            "Enable the node of the WAN port, or give it its type.");
    }
}

void noInternet(const LintInput& input, Findings& findings) {
    if (input.gateway.findService(value::pInet) == nullptr) {
        findings.add({status::tblName, 0, ""}, status::colName,
                     "there is no row ProviderInternet: the WAN never counts as up",
                     "Add the row, with the interface that carries the internet service.");
    }
}

void noDslRow(const LintInput& input, Findings& findings) {
    if (input.gateway.dslLines.empty()) {
        findings.add({"StatusDsl", 0, ""}, "",
                     "there is no row: the daemon logs an error each time it looks at the WAN",
                     "Keep one row with Status 0, also on a gateway without a modem.");
    }
}

void severalWanPorts(const LintInput& input, Findings& findings) {
    const Node* used = input.gateway.wanPort();
    for (const Node& node : input.gateway.nodes) {
        const bool isSeen = input.gateway.findNodeOfType(node.type) == &node;
        if (used != nullptr && &node != used && node.enable != 0 && isPortType(node) && isSeen) {
            findings.add(rowOf(node), nsn::colEn,
                         "only one enabled WAN port is used, MPoA before XDSL before WANoE: " +
                             used->interface + " (" + used->type + ") is, this one is not",
                         "Disable the node that is not the WAN port.");
        }
    }
}

void hiddenWanPort(const LintInput& input, Findings& findings) {
    for (const Node& node : input.gateway.nodes) {
        const Node* first = input.gateway.findNodeOfType(node.type);
        if (node.enable != 0 && isPortType(node) && first != &node && first->enable == 0) {
            findings.add(rowOf(node), nsn::colType,
                         "of several nodes of type " + node.type + " the daemon sees only the first, " +
                             first->interface + ", and that one is disabled",
                         "Remove the disabled node, or give it the larger Id.");
        }
    }
}

void nodeTwice(const LintInput& input, Findings& findings) {
    for (const Node& node : input.gateway.nodes) {
        const Node* first = input.gateway.findNode(node.interface);
        if (first != &node) {
            findings.add(rowOf(node), nsn::colIfName,
                         "the interface " + node.interface + " has another node, Id " +
                             std::to_string(first->id) + ": stacks are followed through that one only",
                         "Keep one node for each interface.");
        }
    }
}

void missingParent(const LintInput& input, Findings& findings) {
    for (const Service& service : input.gateway.services) {
        const Stack stack = findStack(input.gateway, service.interface);
        if (!isOnWan(service) || stack.end != Stack::End::missing) {
            continue;
        }
        const std::string chain = stack.interfaces.empty() ? "" : " (" + stack.text() + " <=> ?)";
        findings.add(
            rowOf(service), status::colPhyName,
            "the chain of parents needs a node for " + stack.culprit + chain +
                ", and there is none: as soon as this service is up, the WAN coming up ends the daemon",
            "Add the node, or correct the ParentInterface that names it.");
    }
}

void endlessParents(const LintInput& input, Findings& findings) {
    std::set<std::string> reported;
    for (const Service& service : input.gateway.services) {
        const Stack stack = findStack(input.gateway, service.interface);
        if (!isOnWan(service) || stack.end != Stack::End::cycle) {
            continue;
        }
        reported.insert(stack.interfaces.begin(), stack.interfaces.end());
        findings.add(rowOf(service), status::colPhyName,
                     "the chain of parents comes back to " + stack.culprit + " (" + stack.text() + " <=> " +
                         stack.culprit +
                         "): as soon as this service is up, the WAN coming up hangs the daemon",
                     "Let every chain of ParentInterface end in root.");
    }
    for (const Node& node : input.gateway.nodes) {
        const Stack stack = findStack(input.gateway, node.interface);
        if (stack.end == Stack::End::cycle && reported.insert(stack.culprit).second &&
            reported.count(node.interface) != 0) {
            reported.insert(stack.interfaces.begin(), stack.interfaces.end());
            findings.add(rowOf(node), nsn::colParentIf,
                         "the chain of parents comes back to " + stack.culprit +
                             ": a service on top of it would hang the daemon",
                         "Let every chain of ParentInterface end in root.");
        }
    }
}

void otherPort(const LintInput& input, Findings& findings) {
    const Node* port = input.gateway.wanPort();
    for (const Service& service : input.gateway.services) {
        const Stack stack = findStack(input.gateway, service.interface);
        if (port != nullptr && isOnWan(service) && stack.isComplete() &&
            stack.interfaces.back() != port->interface) {
            findings.add(rowOf(service), status::colPhyName,
                         "its stack " + stack.text() + " does not end in the WAN port " + port->interface +
                             ": its queues and rules are not applied",
                         "Hang the stack on the WAN port, or make its root the WAN port.");
        }
    }
}

void atmCutsStack(const LintInput& input, Findings& findings) {
    for (const Node& node : input.gateway.nodes) {
        if (node.interface.find("atm") != std::string::npos && node.parent != "root") {
            findings.add(rowOf(node), nsn::colIfName,
                         "a name with \"atm\" in it ends every stack there: its parent " + node.parent +
                             " is never looked at",
                         "Rename the interface, or make its parent root if it is the bottom.");
        }
    }
}

void sharedProviders(const LintInput& input, Findings& findings) {
    const auto& services = input.gateway.services;
    for (std::size_t i = 0; i < services.size(); ++i) {
        for (std::size_t j = 0; j < i && isOnWan(services[i]); ++j) {
            if (services[j].isProvider() && services[j].interface == services[i].interface) {
                findings.add(
                    rowOf(services[i]), status::colPhyName,
                    "shares " + services[i].interface + " with " + services[j].name +
                        ": the two have one path and one set of queue names, and are applied "
                        "together as soon as one of them is up",
                    "Give the services interfaces of their own, or put the queues and rules of both on "
                    "one of them.");
                break;
            }
        }
    }
}

void interfaceOnTwoPaths(const LintInput& input, Findings& findings) {
    const auto& paths = input.built.paths;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        const auto sameInterface = [&](const BuiltPath& other) {
            return other.interface == paths[i].interface;
        };
        const bool before =
            std::any_of(paths.begin(), paths.begin() + static_cast<std::ptrdiff_t>(i), sameInterface);
        const auto services = input.gateway.servicesOn(paths[i].interface);
        if (before && !services.empty()) {
            findings.add(
                rowOf(*services.back()), status::colPhyName,
                paths[i].interface + " is the interface of more than one path: every queue and rule on it "
                                     "is added twice, the second time fails, and the daemon ends",
                "Let each of the home network, the gateway itself and the providers have an interface "
                "of its own, and one row.");
        }
    }
}

void localOff(const LintInput& input, Findings& findings) {
    for (const BuiltPath& path : input.built.paths) {
        const bool hasObjects =
            std::any_of(input.built.queues.begin(), input.built.queues.end(),
                        [](const BuiltQueue& queue) { return queue.interface == "off"; }) ||
            std::any_of(input.built.rules.begin(), input.built.rules.end(),
                        [](const BuiltRule& rule) { return rule.interface == "off"; });
        const auto services = input.gateway.servicesOn("off");
        if (path.interface != "off" || !hasObjects) {
            continue;
        }
        for (const Service* service : services) {
            if (!service->isProvider()) {
                findings.add(
                    rowOf(*service), status::colPhyName,
                    "\"off\" is understood for providers only: queues and rules here are added on an "
                    "interface named off, which fails and ends the daemon",
                    "Name the interface, or remove the row.");
            }
        }
        return;
    }
}

void serviceTwice(const LintInput& input, Findings& findings) {
    for (const Service& service : input.gateway.services) {
        const Service* first = input.gateway.findService(service.name);
        if (first != &service && service.isProvider()) { // the local ones are interface-on-two-paths
            findings.add(rowOf(service), status::colName,
                         "there is another row " + service.name + ", Id " + std::to_string(first->id) +
                             ": actions and the WAN state look at that one only",
                         "Keep one row for each logical interface.");
        }
    }
}

constexpr LintCheck checksOfPaths[] = {
    {"no-wan-port", Severity::error, "No enabled node is a WAN port", noWanPort},
    {"no-internet", Severity::error, "There is no ProviderInternet", noInternet},
    {"no-dsl-row", Severity::warning, "StatusDsl has no row", noDslRow},
    {"several-wan-ports", Severity::warning, "More than one WAN port is enabled", severalWanPorts},
    {"hidden-wan-port", Severity::error, "A disabled node hides the WAN port", hiddenWanPort},
    {"node-twice", Severity::warning, "An interface has two nodes", nodeTwice},
    {"parent-missing", Severity::error, "A chain of parents has a missing link", missingParent},
    {"parent-cycle", Severity::error, "A chain of parents never ends", endlessParents},
    {"other-port", Severity::warning, "A provider's stack ends in another port", otherPort},
    {"atm-cuts-stack", Severity::warning, "A name with \"atm\" cuts a stack short", atmCutsStack},
    {"shared-provider-interface", Severity::warning, "Two providers share an interface", sharedProviders},
    {"interface-on-two-paths", Severity::error, "An interface belongs to two paths", interfaceOnTwoPaths},
    {"local-off", Severity::error, "A local interface is off, but has queues or rules", localOff},
    {"service-twice", Severity::warning, "A logical interface has two rows", serviceTwice},
};

} // namespace

std::span<const LintCheck> pathChecks() {
    return checksOfPaths;
}

} // namespace pacerctl
