#include "import/words.h"
#include "pacerctl/capture.h"
#include "pacerctl/commands.h"
#include "pacerctl/explain.h"

#include <optional>
#include <ostream>

namespace pacerctl {

namespace {

std::optional<IpAddress> addressOption(const std::string& option, const std::string& text) {
    if (text.empty()) {
        return std::nullopt;
    }
    const auto address = parseAddress(text);
    if (!address) {
        throw WrongUsage(option + ": '" + text + "' is no IP address");
    }
    return address;
}

unsigned dscpOption(const std::string& text) {
    const auto dscp = importers::toDscp(text);
    if (!dscp) {
        throw WrongUsage("--dscp: '" + text + "' is no DSCP: it is a number from 0 to 63, or a name like EF");
    }
    return static_cast<unsigned>(*dscp);
}

Packet packetFrom(const ExplainOptions& options) {
    if (!options.captureFile.empty()) {
        return readCapturedPacket(options.captureFile, options.captureNumber);
    }
    if (options.protocol.empty()) {
        throw WrongUsage("--proto or --pcap is needed");
    }
    Packet packet;
    packet.protocol = options.protocol;
    packet.source = addressOption("--src", options.source);
    packet.destination = addressOption("--dst", options.destination);
    if (packet.source && packet.destination && packet.source->v6 != packet.destination->v6) {
        throw WrongUsage("--src and --dst are of different IP versions");
    }
    packet.v6 = (packet.source && packet.source->v6) || (packet.destination && packet.destination->v6);
    if (options.protocol == "tcp" || options.protocol == "udp") {
        packet.ports = Ports{options.sourcePort, options.destinationPort};
    }
    packet.dscp = dscpOption(options.dscp);
    packet.pureAck = options.ack;
    if (options.ack && options.protocol != "tcp") {
        throw WrongUsage("--ack goes with --proto tcp only");
    }
    return packet;
}

// A Linux interface or a logical one; it must be one that the daemon builds a path for.
std::string interfaceOption(const Gateway& gateway, const Built& built, const std::string& option,
                            const std::string& text) {
    std::string interface = gateway.findService(text) != nullptr ? gateway.interfaceOf(text) : text;
    if (!built.hasPath(interface)) {
        std::vector<std::string> known;
        for (const BuiltPath& path : built.paths) {
            known.push_back(path.interface);
        }
        throw WrongUsage(option + ": '" + text + "' is none of this gateway's interfaces " + listed(known));
    }
    return interface;
}

std::string describe(const BuiltQueue& queue) {
    const Queue& row = *queue.queue;
    const std::string rank = row.scheduler == "SP" ? "SP " + std::to_string(row.precedence)
                                                   : "WFQ weight " + std::to_string(row.weight);
    return row.name + ": " + queue.fapiName + ", " + rank + (row.isDefault() ? ", default queue" : "");
}

std::string shaped(const std::string& port, long long rate) {
    return "on " + port + (rate == 0 ? ", not shaped" : ", shaped to " + std::to_string(rate) + " kbit/s");
}

std::string marks(const Outcome& outcome, const Packet& packet) {
    const Action& action = *outcome.rule->action;
    std::string text = "mark " + std::to_string(action.trafficClass) + ", DSCP ";
    text += action.marksDscp() ? std::to_string(packet.dscp) + " -> " + std::to_string(action.dscp)
                               : std::to_string(packet.dscp) + " unchanged";
    if (action.marksPcp()) {
        text += ", PCP " + std::to_string(action.pcp) + (outcome.pcpIsSet ? "" : " not set (no VLAN)");
    } else {
        text += ", PCP unchanged";
    }
    return text;
}

std::string queueText(const Built& built, const Outcome& outcome) {
    if (outcome.queue != nullptr) {
        return describe(*outcome.queue) + ", " + shaped(outcome.queue->port, outcome.rate);
    }
    if (outcome.hasQueues) {
        return "none of its own and no default queue on " + outcome.leaving + ": behind all queues, " +
               shaped(built.findPath(outcome.leaving)->port, outcome.rate);
    }
    return outcome.leaving + " has no queues";
}

class ExplanationPrinter {
  public:
    ExplanationPrinter(std::ostream& out, Style style, const Built& built)
        : out_(out), style_(style), built_(built) {}

    void print(const Explanation& explanation, const Packet& packet) {
        out_ << style_.heading("Packet") << "  " << packet.text() << ", enters " << explanation.entering
             << "\n\n";
        printTrials(explanation.trials);
        if (explanation.ingressQueue != nullptr) {
            out_ << '\n'
                 << style_.heading("On its way in") << "\n  queue  " << describe(*explanation.ingressQueue)
                 << ", " << shaped(explanation.ingressQueue->port, explanation.ingressRate) << '\n';
        }
        for (const Outcome& outcome : explanation.outcomes) {
            printOutcome(outcome, packet);
        }
        if (explanation.outcomes.empty()) {
            out_ << '\n'
                 << style_.warn("It leaves through no interface that the daemon knows a path for.") << '\n';
        }
    }

  private:
    void printTrials(const std::vector<Trial>& trials) {
        out_ << style_.heading("Rules tried, in this order") << '\n';
        Columns columns("rlll");
        for (const Trial& trial : trials) {
            const std::string condition =
                trial.rule->leaving.empty() ? "" : "if it leaves through " + trial.rule->leaving;
            columns.add({std::to_string(trial.rule->rule->id), printable(trial.rule->rule->name),
                         trial.matches ? style_.good("yes") : "no",
                         trial.matches ? condition : style_.dim(printable(trial.why))});
        }
        out_ << (trials.empty() ? "  there are none\n" : columns.text(2));
    }

    void printOutcome(const Outcome& outcome, const Packet& packet) {
        out_ << '\n'
             << style_.heading("Leaving through " + outcome.leaving + " (" + outcome.service + ")") << '\n';
        Columns columns("ll");
        if (outcome.rule == nullptr) {
            columns.add({"rule", style_.warn("none matches")});
        } else {
            const BuiltRule& rule = *outcome.rule;
            columns.add({"rule", style_.good(printable(rule.rule->name)) + " (Id " +
                                     std::to_string(rule.rule->id) + "), action " +
                                     printable(rule.action->name) + " (Id " +
                                     std::to_string(rule.action->id) + ")"});
            columns.add({"sets", marks(outcome, packet)});
        }
        columns.add({"queue", printable(queueText(built_, outcome))});
        out_ << columns.text(2);
    }

    std::ostream& out_;
    Style style_;
    const Built& built_;
};

Json toJson(const BuiltQueue* queue, long long rate) {
    if (queue == nullptr) {
        return {};
    }
    Json json;
    json["name"] = queue->queue->name;
    json["id"] = queue->queue->id;
    json["fapiName"] = queue->fapiName;
    json["scheduler"] = queue->queue->scheduler;
    json["isDefault"] = queue->queue->isDefault();
    json["port"] = queue->port;
    json["rateKbit"] = rate == 0 ? Json() : Json(rate);
    return json;
}

Json toJson(const Outcome& outcome) {
    Json json;
    json["leaving"] = outcome.leaving;
    for (const char* key : {"rule", "action", "mark", "dscp", "pcp"}) {
        json[key] = Json();
    }
    if (outcome.rule != nullptr) {
        const Action& action = *outcome.rule->action;
        json["rule"] = {{"id", outcome.rule->rule->id}, {"name", outcome.rule->rule->name}};
        json["action"] = {{"id", action.id}, {"name", action.name}};
        json["mark"] = action.trafficClass;
        json["dscp"] = action.marksDscp() ? Json(action.dscp) : Json();
        json["pcp"] = outcome.pcpIsSet ? Json(action.pcp) : Json();
    }
    json["queue"] = toJson(outcome.queue, outcome.rate);
    json["hasQueues"] = outcome.hasQueues;
    return json;
}

Json toJson(const Explanation& explanation, const Packet& packet, const std::string& source) {
    Json json = jsonHead("explain", source);
    json["packet"] = packet.text();
    json["entering"] = explanation.entering;
    json["tried"] = Json::array();
    for (const Trial& trial : explanation.trials) {
        json["tried"].push_back(
            {{"id", trial.rule->rule->id},
             {"name", trial.rule->rule->name},
             {"matches", trial.matches},
             {"leaving", trial.rule->leaving.empty() ? Json() : Json(trial.rule->leaving)},
             {"why", trial.matches ? Json() : Json(trial.why)}});
    }
    json["ingressQueue"] = toJson(explanation.ingressQueue, explanation.ingressRate);
    json["outcomes"] = Json::array();
    for (const Outcome& outcome : explanation.outcomes) {
        json["outcomes"].push_back(toJson(outcome));
    }
    return json;
}

} // namespace

ExitStatus explainCommand(const Terminal& terminal, const Snapshot& snapshot, const ExplainOptions& options) {
    std::vector<std::string> takenAsUp;
    const Snapshot assumed = assumeUp(snapshot, Assume::allUp, takenAsUp);
    const Gateway gateway(assumed);
    const Built built(gateway);
    const std::string entering = interfaceOption(gateway, built, "--in", options.entering);
    const std::string leaving =
        options.leaving.empty() ? "" : interfaceOption(gateway, built, "--out", options.leaving);
    const Packet packet = packetFrom(options);
    const Explanation explanation = explain(gateway, built, packet, entering, leaving);
    if (terminal.json) {
        writeJson(terminal.out, toJson(explanation, packet, snapshot.source()));
    } else {
        ExplanationPrinter(terminal.out, Style(terminal.colour), built).print(explanation, packet);
    }
    return ExitStatus::fine;
}

} // namespace pacerctl
