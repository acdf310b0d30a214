// Traps in the actions.
#include "config/tables.h"
#include "pacerctl/lint/lint.h"

#include <algorithm>
#include <map>
#include <set>

namespace pacerctl {

namespace {

namespace action = zel::pacerd::dbm::qosClassAction;
namespace nsn = zel::pacerd::dbm::nsn;
namespace value = zel::pacerd::dbm::statusNifWLogic::colLogicNameVal;

constexpr long long highestMark = 4294967295; // what the classifier tool takes

// The egress rules that lead to an action decide whether its interface matters.
bool hasEgressRule(const LintInput& input, const Action& row) {
    return std::any_of(input.built.rules.begin(), input.built.rules.end(), [&](const BuiltRule& built) {
        return built.action == &row && !built.ingress && built.rule->hasCommand();
    });
}

bool isUsed(const LintInput& input, const Action& row) {
    return std::any_of(input.gateway.rules.begin(), input.gateway.rules.end(),
                       [&](const Rule& rule) { return input.gateway.findAction(rule.actionId) == &row; });
}

void noInterface(const LintInput& input, Findings& findings) {
    for (const Action& row : input.gateway.actions) {
        if (row.queueService != value::pLan && hasEgressRule(input, row) &&
            input.gateway.interfaceOf(row.queueService).empty()) {
            findings.add(rowOf(row), action::colLogicQIf,
                         row.queueService +
                             " has no interface: the rules of this action match whatever interface "
                             "a packet leaves through",
                         "Add the row " + row.queueService + " with its interface, or name another one.");
        }
    }
}

void interfaceOff(const LintInput& input, Findings& findings) {
    for (const Action& row : input.gateway.actions) {
        if (row.queueService != value::pLan && hasEgressRule(input, row) &&
            input.gateway.interfaceOf(row.queueService) == "off") {
            findings.add(rowOf(row), action::colLogicQIf,
                         row.queueService +
                             " is off: the rules of this action are added with an interface named "
                             "off, which fails and ends the daemon",
                         "Delete the rules of this action while " + row.queueService + " is off.");
        }
    }
}

// Where the packets of a rule are queued: what the action names; for rules of what comes in also the queues
// that the incoming interface has in that direction.
bool reachesOwnQueue(const LintInput& input, const BuiltRule& built, const std::string& target) {
    const long long mark = built.action->trafficClass;
    const BuiltQueue* queue = input.built.queueFor(target, mark, false);
    const BuiltQueue* incoming = built.ingress ? input.built.queueFor(built.interface, mark, true) : nullptr;
    return (queue != nullptr && queue->queue->precedence == mark) ||
           (incoming != nullptr && incoming->queue->precedence == mark);
}

void markWithoutQueue(const LintInput& input, Findings& findings) {
    std::set<const Action*> seen;
    for (const BuiltRule& built : input.built.rules) {
        if (built.action == nullptr || !built.rule->hasCommand()) {
            continue;
        }
        const std::string target = input.gateway.interfaceOf(built.action->queueService);
        if (!input.built.hasPath(target) || reachesOwnQueue(input, built, target) ||
            !seen.insert(built.action).second) {
            continue;
        }
        const BuiltQueue* fallback = input.built.queueFor(target, built.action->trafficClass, false);
        findings.add(rowOf(*built.action), action::colTC,
                     "no queue on " + target + " takes the mark " +
                         std::to_string(built.action->trafficClass) + ": the packets go to " +
                         (fallback == nullptr ? "no queue at all, behind all others"
                                              : "the default queue " + fallback->fapiName),
                     "Use the precedence of a queue of " + built.action->queueService + ".");
    }
}

void conflictingPcp(const LintInput& input, Findings& findings) {
    for (const BuiltPath& path : input.built.paths) {
        std::map<long long, const Action*> first;
        for (const Action& row : input.gateway.actions) {
            if (row.pcp <= 0 || input.gateway.interfaceOf(row.queueService) != path.interface) {
                continue;
            }
            const auto [known, isNew] = first.emplace(row.trafficClass, &row);
            if (!isNew && known->second->pcp != row.pcp) {
                findings.add(rowOf(row), action::colEthPrio,
                             "gives traffic class " + std::to_string(row.trafficClass) + " on " +
                                 path.interface + " the PCP " + std::to_string(row.pcp) + ", the action '" +
                                 known->second->name + "' (Id " + std::to_string(known->second->id) +
                                 ") gives it " + std::to_string(known->second->pcp) +
                                 ": the WAN coming up ends the daemon",
                             "Give both the same EthPriorityMark, or different traffic classes.");
            }
        }
    }
}

void pcpWithoutVlan(const LintInput& input, Findings& findings) {
    for (const Action& row : input.gateway.actions) {
        const std::string interface = input.gateway.interfaceOf(row.queueService);
        const Stack stack = findStack(input.gateway, interface);
        const bool hasVlan =
            std::any_of(stack.interfaces.begin(), stack.interfaces.end(), [&](const std::string& each) {
                return input.gateway.findNode(each)->type == nsn::colTypeVal::vlan;
            });
        if (row.marksPcp() && isUsed(input, row) && input.built.hasPath(interface) && !hasVlan) {
            findings.add(rowOf(row), action::colEthPrio,
                         "there is no VLAN below " + interface + ": no packet has a tag for the PCP " +
                             std::to_string(row.pcp),
                         "Set EthPriorityMark to 0, or lead the packets to an interface on a VLAN.");
        }
    }
}

void markOutOfRange(const LintInput& input, Findings& findings) {
    for (const Action& row : input.gateway.actions) {
        if (row.dscp < -1 || row.dscp > 63) {
            findings.add(rowOf(row), action::colDscp,
                         std::to_string(row.dscp) + " is no DSCP: the packets keep theirs",
                         "Write a number from 1 to 63, or 0 to leave the DSCP alone.");
        }
        if (row.pcp < -1 || row.pcp > 7) {
            findings.add(rowOf(row), action::colEthPrio,
                         std::to_string(row.pcp) + " is no PCP: rules do not set it",
                         "Write a number from 1 to 7, or 0 to leave the PCP alone.");
        }
    }
}

void badTrafficClass(const LintInput& input, Findings& findings) {
    for (const Action& row : input.gateway.actions) {
        if (row.trafficClass < 0 || row.trafficClass > highestMark) {
            findings.add(
                rowOf(row), action::colTC,
                std::to_string(row.trafficClass) +
                    " cannot be a mark: the classifier tool refuses the command, and the daemon ends",
                "Use the precedence of a queue.");
        }
    }
}

void unused(const LintInput& input, Findings& findings) {
    for (const Action& row : input.gateway.actions) {
        if (!isUsed(input, row)) {
            findings.add(rowOf(row), action::colId, "no rule refers to this action",
                         "Remove it if it is not wanted.");
        }
    }
}

constexpr LintCheck checksOfActions[] = {
    {"action-no-interface", Severity::warning, "An action's queue interface does not exist", noInterface},
    {"action-interface-off", Severity::error, "An action's queue interface is off", interfaceOff},
    {"mark-without-queue", Severity::warning, "A mark reaches no queue of its own", markWithoutQueue},
    {"pcp-conflict", Severity::error, "One traffic class has two PCPs", conflictingPcp},
    {"pcp-without-vlan", Severity::warning, "A PCP is set where there is no VLAN", pcpWithoutVlan},
    {"action-mark-range", Severity::warning, "An action's mark is out of range", markOutOfRange},
    {"action-traffic-class", Severity::error, "An action's traffic class cannot be a mark", badTrafficClass},
    {"action-unused", Severity::note, "No rule refers to an action", unused},
};

} // namespace

std::span<const LintCheck> actionChecks() {
    return checksOfActions;
}

} // namespace pacerctl
