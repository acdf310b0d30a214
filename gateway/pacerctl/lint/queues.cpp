// Traps in the queues.
#include "config/tables.h"
#include "pacerctl/lint/lint.h"

#include <algorithm>

namespace pacerctl {

namespace {

namespace queue = zel::pacerd::dbm::qosQueue;

// What the FAPI tools take.
constexpr long long highestPriority = 9;
constexpr long long highestWeight = 1000;
constexpr long long highestLength = 100000; // packets

std::string outOfRange(const std::string& number, const std::string& range) {
    return number + " is not within " + range + ": the queue tool refuses the command, and the daemon ends";
}

void sameName(const LintInput& input, Findings& findings) {
    const auto& queues = input.built.queues;
    for (std::size_t i = 0; i < queues.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            if (queues[j].fapiName == queues[i].fapiName && queues[j].queue != queues[i].queue) {
                findings.add(rowOf(*queues[i].queue), queue::colPreced,
                             "is " + queues[i].fapiName + " in the system, and so is '" +
                                 queues[j].queue->name + "' (Id " + std::to_string(queues[j].queue->id) +
                                 "): adding the second fails, and the daemon ends",
                             "Use each precedence once for each interface and direction.");
                break;
            }
        }
    }
}

void unknownScheduler(const LintInput& input, Findings& findings) {
    for (const Queue& row : input.gateway.queues) {
        if (row.enable != 0 && row.scheduler != queue::colSchedVal::sp &&
            row.scheduler != queue::colSchedVal::wfq) {
            findings.add(rowOf(row), queue::colSchedule,
                         "'" + row.scheduler + "' is no scheduler: the queue is not created",
                         "Write SP or WFQ, in capitals.");
        }
    }
}

void unknownDrop(const LintInput& input, Findings& findings) {
    for (const Queue& row : input.gateway.queues) {
        if (row.enable != 0 && row.dropAlgorithm != queue::colDropVal::tail &&
            row.dropAlgorithm != queue::colDropVal::red) {
            findings.add(rowOf(row), queue::colDropAlgo,
                         "'" + row.dropAlgorithm + "' is no drop algorithm: the queue is not created",
                         "Write DT or RED, in capitals.");
        }
    }
}

void noTrafficClass(const LintInput& input, Findings& findings) {
    for (const Queue& row : input.gateway.queues) {
        if (row.trafficClasses.empty()) {
            findings.add(
                rowOf(row), queue::colTrClass,
                "'" + row.trafficClassText +
                    "' begins with no number: the WAN coming up ends the daemon, even if the queue is "
                    "disabled",
                "Write the queue's traffic classes, separated by commas.");
        }
    }
}

void cutTrafficClasses(const LintInput& input, Findings& findings) {
    for (const Queue& row : input.gateway.queues) {
        if (!row.trafficClasses.empty() && row.trafficClassesCut) {
            findings.add(rowOf(row), queue::colTrClass,
                         "the list '" + row.trafficClassText + "' is read up to " +
                             std::to_string(row.trafficClasses.back()) + " only: what follows is no number",
                         "Separate the numbers by commas or blanks.");
        }
    }
}

void ownMarkNotServed(const LintInput& input, Findings& findings) {
    for (const Queue& row : input.gateway.queues) {
        const auto& classes = row.trafficClasses;
        if (row.enable != 0 && !classes.empty() &&
            std::find(classes.begin(), classes.end(), row.precedence) == classes.end()) {
            findings.add(rowOf(row), queue::colTrClass,
                         "packets reach the queue by the mark " + std::to_string(row.precedence) +
                             ", its precedence, which is not among its traffic classes " +
                             row.trafficClassText + ": the classes listed do not lead here",
                         "List the precedence among the traffic classes, and let the actions set it.");
        }
    }
}

void badWeight(const LintInput& input, Findings& findings) {
    for (const Queue& row : input.gateway.queues) {
        if (row.enable != 0 && row.scheduler == queue::colSchedVal::wfq &&
            (row.weight < 1 || row.weight > highestWeight)) {
            findings.add(rowOf(row), queue::colWfgWeight,
                         outOfRange("the weight " + std::to_string(row.weight), "1 to 1000"),
                         "Give a WFQ queue its share.");
        }
    }
}

void badPriority(const LintInput& input, Findings& findings) {
    for (const Queue& row : input.gateway.queues) {
        if (row.enable != 0 && row.scheduler == queue::colSchedVal::sp &&
            (row.precedence < 0 || row.precedence > highestPriority)) {
            findings.add(
                rowOf(row), queue::colPreced,
                outOfRange("the precedence " + std::to_string(row.precedence), "0 to 9 of an SP queue"),
                "Use a precedence from 0 to 9; 8 is the default queue's.");
        }
    }
}

void badLength(const LintInput& input, Findings& findings) {
    for (const Queue& row : input.gateway.queues) {
        if (row.enable != 0 && (row.length < 0 || row.length > highestLength)) {
            findings.add(rowOf(row), queue::colBuf,
                         outOfRange("the length " + std::to_string(row.length), "0 to 100000 packets"),
                         "Give the queue a length that the tool takes.");
        }
    }
}

void noDirection(const LintInput& input, Findings& findings) {
    for (const Queue& row : input.gateway.queues) {
        if (row.enable != 0 && row.egress != 1 && row.ingress != 1) {
            findings.add(rowOf(row), queue::colEgress, "neither Egress nor Ingress is 1: no queue is created",
                         "Say in which direction the queue is wanted, or disable it.");
        }
    }
}

void notBuilt(const LintInput& input, Findings& findings) {
    for (const Queue& row : input.gateway.queues) {
        const bool wanted = row.enable != 0 && (row.egress == 1 || row.ingress == 1);
        if (wanted && input.isNowhere(row.service)) {
            const bool isOff = input.gateway.findService(row.service) != nullptr;
            findings.add(rowOf(row), queue::colLogIf,
                         row.service + (isOff ? " is off" : " has no row in StatusNetifWatchLogical") +
                             ": the queue is not created",
                         "Give " + row.service + " an interface, or disable the queue.");
        }
    }
}

// Packets come here by a rule's mark, or because the queue is the default one.
void unreached(const LintInput& input, Findings& findings) {
    for (const BuiltQueue& built : input.built.queues) {
        const auto leadsHere = [&](const BuiltRule& rule) {
            return rule.rule->hasCommand() && rule.action != nullptr &&
                   rule.action->trafficClass == built.queue->precedence &&
                   (rule.ingress || rule.leaving.empty() || rule.leaving == built.interface);
        };
        if (!built.queue->isDefault() &&
            std::none_of(input.built.rules.begin(), input.built.rules.end(), leadsHere)) {
            findings.add(rowOf(*built.queue), queue::colPreced,
                         "no rule sets the mark " + std::to_string(built.queue->precedence) + " for " +
                             built.interface + ": " + built.fapiName + " stays empty",
                         "Add a rule whose action has this traffic class, or remove the queue.");
        }
    }
}

void noDefault(const LintInput& input, Findings& findings) {
    // A provider that a broken stack keeps away may have it.
    const auto& services = input.gateway.services;
    if (std::any_of(services.begin(), services.end(), [&](const Service& service) {
            return !service.isOff() && !input.built.hasPath(service.interface);
        })) {
        return;
    }
    std::vector<std::string> seen;
    for (const BuiltQueue& built : input.built.queues) {
        const bool hasDefault =
            std::any_of(input.built.queues.begin(), input.built.queues.end(), [&](const BuiltQueue& other) {
                return other.port == built.port && other.ingress == built.ingress && other.queue->isDefault();
            });
        const std::string key = built.port + (built.ingress ? " ingress" : "");
        if (!hasDefault && std::find(seen.begin(), seen.end(), key) == seen.end()) {
            seen.push_back(key);
            findings.add(rowOf(*built.queue), queue::colPreced,
                         "no queue on " + built.port + (built.ingress ? " (ingress)" : "") +
                             " is a default queue: packets without a mark pass behind all queues",
                         "Give one queue of the port the precedence 8.");
        }
    }
}

constexpr LintCheck checksOfQueues[] = {
    {"queue-name-clash", Severity::error, "Two queues have one name in the system", sameName},
    {"queue-scheduler", Severity::error, "A queue's scheduler is unknown", unknownScheduler},
    {"queue-drop-algorithm", Severity::error, "A queue's drop algorithm is unknown", unknownDrop},
    {"queue-no-traffic-class", Severity::error, "A queue has no traffic class", noTrafficClass},
    {"queue-traffic-classes-cut", Severity::warning, "A list of traffic classes ends early",
     cutTrafficClasses},
    {"queue-own-mark", Severity::warning, "A queue's precedence is none of its traffic classes",
     ownMarkNotServed},
    {"queue-weight", Severity::error, "A WFQ queue has no usable weight", badWeight},
    {"queue-priority", Severity::error, "An SP queue has no usable precedence", badPriority},
    {"queue-length", Severity::error, "A queue has no usable length", badLength},
    {"queue-no-direction", Severity::warning, "A queue is enabled in no direction", noDirection},
    {"queue-not-built", Severity::warning, "A queue is on no path", notBuilt},
    {"queue-unreached", Severity::note, "No rule leads to a queue", unreached},
    {"no-default-queue", Severity::note, "A port has queues, but no default queue", noDefault},
};

} // namespace

std::span<const LintCheck> queueChecks() {
    return checksOfQueues;
}

} // namespace pacerctl
