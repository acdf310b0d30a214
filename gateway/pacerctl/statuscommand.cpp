#include "pacerctl/applied.h"
#include "pacerctl/built.h"
#include "pacerctl/commands.h"
#include "pacerctl/stacktree.h"
#include "pacerctl/wanstate.h"

#include <optional>
#include <ostream>

namespace pacerctl {

namespace {

struct Status {
    const Snapshot& snapshot;
    const Gateway& gateway;
    const Built& built; // with every provider up, so that each queue and rule is shown
    WanState wan;
    std::optional<Applied> applied; // nothing: the tools could not be asked
    std::string whyNotApplied;
};

std::string directionOf(bool ingress) {
    return ingress ? "ingress" : "egress";
}

const AppliedQueue* appliedOf(const Status& status, const BuiltQueue& queue) {
    return status.applied
               ? status.applied->findQueue(queue.interface, directionOf(queue.ingress), queue.fapiName)
               : nullptr;
}

const AppliedRule* appliedOf(const Status& status, const BuiltRule& rule) {
    return status.applied ? status.applied->findRule(rule.interface, rule.rule->name) : nullptr;
}

std::string rank(const Queue& queue) {
    return queue.scheduler == "SP" ? "SP " + std::to_string(queue.precedence)
                                   : queue.scheduler + " " + std::to_string(queue.weight);
}

class StatusPrinter {
  public:
    StatusPrinter(const Terminal& terminal, const Status& status)
        : out_(terminal.out), style_(terminal.colour), width_(terminal.size().columns), status_(status) {}

    void print() {
        printWan();
        printTree();
        printShapers();
        printQueues();
        printRules();
        if (!status_.applied) {
            out_ << "\n" << style_.warn("What is applied is not known: " + status_.whyNotApplied) << '\n';
        }
    }

  private:
    std::string appliedCell(bool isApplied) const {
        return !status_.applied ? "?" : isApplied ? style_.good("yes") : "no";
    }

    void printWan() {
        out_ << style_.heading("WAN is ") << (status_.wan.up ? style_.good("up") : style_.bad("down"))
             << '\n';
        Columns columns("llll");
        for (const WanCheck& check : status_.wan.checks) {
            const std::string verdict = !check.looked ? style_.dim("not asked")
                                        : check.ok    ? style_.good("yes")
                                                      : style_.bad("no");
            const std::string row =
                check.rowId == 0 ? check.table : check.table + " Id=" + std::to_string(check.rowId);
            columns.add({check.name, verdict, row, printable(check.why)});
        }
        out_ << columns.text(2);
    }

    void printTree() {
        out_ << '\n' << style_.heading("Data paths") << '\n';
        for (const StackLine& line : stackLines(status_.gateway)) {
            const std::string state = line.isBroken ? style_.bad(line.note) : line.note;
            out_ << "  " << line.lead << printable(line.text) << (state.empty() ? "" : "  " + state) << '\n';
        }
    }

    void printShapers() {
        Columns columns("llrll");
        columns.add({"PORT", "DIRECTION", "KBIT/S", "APPLIED", ""});
        for (const Shaper& shaper : status_.gateway.shapers) {
            for (const bool ingress : {false, true}) {
                if (shaper.enable != 1 || (ingress ? shaper.ingress : shaper.egress) != 1) {
                    continue;
                }
                const AppliedShaper* applied =
                    status_.applied ? status_.applied->findShaper(shaper.interface, directionOf(ingress))
                                    : nullptr;
                const bool other = applied != nullptr && applied->rate != shaper.rate;
                columns.add({printable(shaper.interface), directionOf(ingress), std::to_string(shaper.rate),
                             appliedCell(applied != nullptr),
                             other ? style_.warn("with " + std::to_string(applied->rate)) : ""});
            }
        }
        printTable("Shapers", columns);
    }

    void printQueues() {
        Columns columns("lllllrlrrrr");
        columns.add({"QUEUE", "INTERFACE", "DIRECTION", "IN THE SYSTEM", "RANK", "LENGTH", "APPLIED",
                     "PACKETS", "BYTES", "DROPS", "BACKLOG"});
        for (const BuiltQueue& queue : status_.built.queues) {
            const AppliedQueue* applied = appliedOf(status_, queue);
            std::vector<std::string> cells = {printable(queue.queue->name),
                                              printable(queue.interface),
                                              directionOf(queue.ingress),
                                              printable(queue.fapiName),
                                              rank(*queue.queue),
                                              std::to_string(queue.queue->length),
                                              appliedCell(applied != nullptr)};
            if (applied != nullptr) {
                const Counters& count = applied->counters;
                for (const auto number : {count.packets, count.bytes, count.drops, count.backlogPackets}) {
                    cells.push_back(std::to_string(number));
                }
            }
            columns.add(std::move(cells));
        }
        printTable("Queues", columns);
    }

    void printRules() {
        Columns columns("rlllrlr");
        columns.add({"ID", "RULE", "ENTERS", "LEAVES", "MARK", "APPLIED", "PACKETS"});
        for (const BuiltRule& rule : status_.built.rules) {
            const AppliedRule* applied = appliedOf(status_, rule);
            columns.add({std::to_string(rule.rule->id), printable(rule.rule->name), printable(rule.interface),
                         rule.leaving.empty() ? "any" : printable(rule.leaving),
                         rule.action == nullptr ? "?" : std::to_string(rule.action->trafficClass),
                         appliedCell(applied != nullptr),
                         applied == nullptr ? "" : std::to_string(applied->counters.packets)});
        }
        printTable("Rules", columns);
    }

    void printTable(const std::string& heading, const Columns& columns) {
        // The first of these go first when a terminal is narrow. --json has them all.
        static const std::vector<std::string> expendable = {"LENGTH", "DIRECTION", "BYTES",  "INTERFACE",
                                                            "RANK",   "ENTERS",    "LEAVES", "IN THE SYSTEM"};
        out_ << '\n'
             << style_.heading(heading) << '\n'
             << (columns.size() == 1 ? "  none\n" : columns.text(2, width_, expendable));
    }

    std::ostream& out_;
    Style style_;
    std::size_t width_;
    const Status& status_;
};

// null: not known.
Json appliedJson(const Status& status, bool isApplied) {
    return status.applied ? Json(isApplied) : Json();
}

Json wanJson(const WanState& wan) {
    Json json;
    json["up"] = wan.up;
    json["checks"] = Json::array();
    for (const WanCheck& check : wan.checks) {
        json["checks"].push_back({{"check", check.name},
                                  {"ok", check.ok},
                                  {"asked", check.looked},
                                  {"table", check.table},
                                  {"id", check.rowId == 0 ? Json() : Json(check.rowId)},
                                  {"why", check.why}});
    }
    return json;
}

Json pathsJson(const Status& status) {
    Json json = Json::array();
    for (const Service& service : status.gateway.services) {
        const Stack stack = findStack(status.gateway, service.interface);
        const bool isWan = service.isProvider();
        json.push_back({{"service", service.name},
                        {"interface", service.isOff() ? Json() : Json(service.interface)},
                        {"up", service.isUpForPath()},
                        {"address", service.address},
                        {"stack", isWan && !service.isOff() ? Json(stack.interfaces) : Json()},
                        {"complete", isWan && !service.isOff() ? Json(stack.isComplete()) : Json()}});
    }
    return json;
}

Json shapersJson(const Status& status) {
    Json json = Json::array();
    for (const Shaper& shaper : status.gateway.shapers) {
        for (const bool ingress : {false, true}) {
            if (shaper.enable != 1 || (ingress ? shaper.ingress : shaper.egress) != 1) {
                continue;
            }
            const AppliedShaper* applied =
                status.applied ? status.applied->findShaper(shaper.interface, directionOf(ingress)) : nullptr;
            json.push_back({{"id", shaper.id},
                            {"port", shaper.interface},
                            {"direction", directionOf(ingress)},
                            {"rateKbit", shaper.rate},
                            {"applied", appliedJson(status, applied != nullptr)},
                            {"appliedRateKbit", applied == nullptr ? Json() : Json(applied->rate)}});
        }
    }
    return json;
}

Json queuesJson(const Status& status) {
    Json json = Json::array();
    for (const BuiltQueue& queue : status.built.queues) {
        const AppliedQueue* applied = appliedOf(status, queue);
        json.push_back({{"id", queue.queue->id},
                        {"name", queue.queue->name},
                        {"interface", queue.interface},
                        {"port", queue.port},
                        {"direction", directionOf(queue.ingress)},
                        {"fapiName", queue.fapiName},
                        {"scheduler", queue.queue->scheduler},
                        {"precedence", queue.queue->precedence},
                        {"weight", queue.queue->weight},
                        {"length", queue.queue->length},
                        {"applied", appliedJson(status, applied != nullptr)},
                        {"counters", applied == nullptr ? Json() : toJson(applied->counters)}});
    }
    return json;
}

Json rulesJson(const Status& status) {
    Json json = Json::array();
    for (const BuiltRule& rule : status.built.rules) {
        const AppliedRule* applied = appliedOf(status, rule);
        json.push_back({{"id", rule.rule->id},
                        {"name", rule.rule->name},
                        {"entering", rule.interface},
                        {"leaving", rule.leaving.empty() ? Json() : Json(rule.leaving)},
                        {"mark", rule.action == nullptr ? Json() : Json(rule.action->trafficClass)},
                        {"applied", appliedJson(status, applied != nullptr)},
                        {"packets", applied == nullptr ? Json() : Json(applied->counters.packets)}});
    }
    return json;
}

Json toJson(const Status& status) {
    Json json = jsonHead("status", status.snapshot.source());
    json["wan"] = wanJson(status.wan);
    json["paths"] = pathsJson(status);
    json["shapers"] = shapersJson(status);
    json["queues"] = queuesJson(status);
    json["rules"] = rulesJson(status);
    json["problem"] = status.applied ? Json() : Json(status.whyNotApplied);
    return json;
}

} // namespace

ExitStatus statusCommand(const Terminal& terminal, const Snapshot& snapshot) {
    std::vector<std::string> takenAsUp;
    const Gateway gateway(snapshot);
    const Snapshot assumed = assumeUp(snapshot, Assume::allUp, takenAsUp);
    const Gateway allUp(assumed);
    const Built built(allUp);
    Status status{snapshot, gateway, built, findWanState(snapshot), std::nullopt, ""};
    try {
        status.applied = readApplied();
    } catch (const ToolFailure& failure) {
        status.whyNotApplied = failure.what();
    }
    if (terminal.json) {
        writeJson(terminal.out, toJson(status));
    } else {
        StatusPrinter(terminal, status).print();
    }
    return ExitStatus::fine;
}

} // namespace pacerctl
