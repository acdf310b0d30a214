#include "pacerctl/explain.h"

#include "config/tables.h"

#include <algorithm>

namespace pacerctl {

namespace {

namespace nsn = zel::pacerd::dbm::nsn;

std::string whyUnusable(const Rule& rule) {
    return rule.enable == 0 ? "the rule is disabled" : "the rule has no command (see pacerctl lint)";
}

std::vector<Trial> tryRules(const Built& built, const Packet& packet, const std::string& entering) {
    std::vector<Trial> trials;
    for (const BuiltRule& rule : built.rules) {
        if (rule.interface == entering) {
            const bool usable = rule.rule->hasCommand() && rule.action != nullptr;
            const std::string why = usable ? whyNoMatch(*rule.rule, packet) : whyUnusable(*rule.rule);
            trials.push_back({&rule, why.empty(), why});
        }
    }
    return trials;
}

// The first match for each way out counts; a rule without a leaving interface is for all of them.
const BuiltRule* decide(const std::vector<Trial>& trials, const std::string& leaving) {
    const auto found = std::find_if(trials.begin(), trials.end(), [&](const Trial& trial) {
        return trial.matches && (trial.rule->leaving.empty() || trial.rule->leaving == leaving);
    });
    return found == trials.end() ? nullptr : found->rule;
}

// The tool keeps the last of several.
long long rateOf(const Gateway& gateway, const std::string& port, bool ingress) {
    long long rate = 0;
    for (const Shaper& shaper : gateway.shapers) {
        if (shaper.enable == 1 && shaper.interface == port &&
            (ingress ? shaper.ingress : shaper.egress) == 1) {
            rate = shaper.rate;
        }
    }
    return rate;
}

bool hasVlan(const Gateway& gateway, const std::string& interface) {
    const Stack stack = findStack(gateway, interface);
    return std::any_of(stack.interfaces.begin(), stack.interfaces.end(), [&](const std::string& each) {
        return gateway.findNode(each)->type == nsn::colTypeVal::vlan;
    });
}

std::string serviceNames(const Gateway& gateway, const std::string& interface) {
    std::string names;
    for (const Service* service : gateway.servicesOn(interface)) {
        names += (names.empty() ? "" : ", ") + service->name;
    }
    return names;
}

Outcome outcomeFor(const Gateway& gateway, const Built& built, const std::vector<Trial>& trials,
                   const std::string& leaving) {
    Outcome outcome;
    outcome.leaving = leaving;
    outcome.service = serviceNames(gateway, leaving);
    outcome.rule = decide(trials, leaving);
    constexpr long long noMark = -1;
    outcome.queue =
        built.queueFor(leaving, outcome.rule == nullptr ? noMark : outcome.rule->action->trafficClass, false);
    const BuiltPath* path = built.findPath(leaving);
    if (path != nullptr) {
        outcome.hasQueues =
            std::any_of(built.queues.begin(), built.queues.end(),
                        [&](const BuiltQueue& queue) { return queue.port == path->port && !queue.ingress; });
        // A rate on a port's base holds for all stacks above it.
        outcome.rate = rateOf(gateway, path->port, false);
    }
    outcome.pcpIsSet =
        outcome.rule != nullptr && outcome.rule->action->marksPcp() && hasVlan(gateway, leaving);
    return outcome;
}

// From the WAN into the home network; from there to the WAN; from the gateway itself to both.
std::vector<std::string> waysOut(const Built& built, const std::string& entering) {
    using Kind = BuiltPath::Kind;
    const BuiltPath* from = built.findPath(entering);
    std::vector<std::string> ways;
    for (const BuiltPath& path : built.paths) {
        const bool possible = from != nullptr && path.interface != entering && path.kind != from->kind &&
                              path.kind != Kind::gateway;
        if (possible && std::find(ways.begin(), ways.end(), path.interface) == ways.end()) {
            ways.push_back(path.interface);
        }
    }
    return ways;
}

} // namespace

Explanation explain(const Gateway& gateway, const Built& built, const Packet& packet,
                    const std::string& entering, const std::string& leaving) {
    Explanation explanation;
    explanation.entering = entering;
    explanation.trials = tryRules(built, packet, entering);
    const std::vector<std::string> ways = leaving.empty() ? waysOut(built, entering) : std::vector{leaving};
    for (const std::string& way : ways) {
        explanation.outcomes.push_back(outcomeFor(gateway, built, explanation.trials, way));
    }
    const BuiltPath* path = built.findPath(entering);
    if (path != nullptr && path->kind == BuiltPath::Kind::wan) {
        const BuiltRule* rule = decide(explanation.trials, "");
        explanation.ingressQueue =
            built.queueFor(entering, rule == nullptr ? -1 : rule->action->trafficClass, true);
        explanation.ingressRate = rateOf(gateway, path->port, true);
    }
    return explanation;
}

} // namespace pacerctl
