#include "pacerctl/commands.h"
#include "pacerctl/findings.h"

#include <algorithm>
#include <ostream>

namespace pacerctl {

namespace {

const char* pathHeading(const std::string& kind) {
    if (kind == "wan") {
        return "WAN";
    }
    return kind == "lan" ? "home network" : "gateway itself";
}

std::string joined(const std::vector<std::string>& items, const char* separator) {
    std::string text;
    for (const std::string& item : items) {
        text += (text.empty() ? "" : separator) + item;
    }
    return text;
}

Json toJson(const CommandGroup& group) {
    Json json;
    json["group"] = group.name;
    json["commands"] = group.commands;
    return json;
}

Json toJson(const Plan& plan, const std::vector<Finding>& findings, const std::string& source) {
    Json json = jsonHead("plan", source);
    json["takenAsUp"] = plan.takenAsUp;
    json["leftOut"] = plan.leftOut;
    json["wanPort"] = plan.wanPort.empty() ? Json() : Json(plan.wanPort);
    json["paths"] = Json::array();
    for (const PlannedPath& path : plan.paths) {
        json["paths"].push_back({{"kind", path.kind}, {"stack", path.stack}, {"services", path.services}});
    }
    json["apply"] = Json::array();
    for (const CommandGroup& group : plan.apply) {
        json["apply"].push_back(toJson(group));
    }
    json["undo"] = Json::array();
    for (const CommandGroup& group : plan.undo) {
        json["undo"].push_back(toJson(group));
        json["undo"].back()["refusal"] = group.refusal.empty() ? Json() : Json(group.refusal);
    }
    json["notRun"] = plan.notRun;
    json["obstacle"] = plan.obstacle.empty() ? Json() : Json(plan.obstacle);
    json["findings"] = toJson(findings);
    json["messages"] = Json::array();
    for (const ModelMessage& message : plan.messages) {
        if (message.level == MessageLevel::trace) {
            continue;
        }
        json["messages"].push_back(
            {{"level", nameOf(message.level)}, {"source", message.source}, {"text", message.text}});
    }
    json["notes"] = plan.notes;
    return json;
}

class PlanPrinter {
  public:
    explicit PlanPrinter(const Terminal& terminal)
        : terminal_(terminal), out_(terminal.out), style_(terminal.colour) {}

    void print(const Plan& plan, const std::vector<Finding>& findings, const PlanOptions& options) {
        printAssumptions(plan, options);
        printPaths(plan);
        if (plan.obstacle.empty()) {
            printGroups("Apply", plan.apply);
            printGroups("Undo", plan.undo);
            printNotRun(plan);
        } else {
            out_ << '\n' << style_.bad("No plan: " + printable(plan.obstacle)) << '\n';
        }
        printMessages(plan);
        printFindings(findings);
    }

  private:
    void printAssumptions(const Plan& plan, const PlanOptions& options) {
        if (!plan.takenAsUp.empty()) {
            out_ << "Taken as up, though down now: " << listed(plan.takenAsUp) << '\n';
        }
        if (!plan.leftOut.empty()) {
            out_ << "Left out, because down: " << listed(plan.leftOut)
                 << (options.assume == Assume::internet ? style_.dim("  (--all-up takes them as up)") : "")
                 << '\n';
        }
        out_ << (plan.takenAsUp.empty() && plan.leftOut.empty() ? "" : "\n");
    }

    void printPaths(const Plan& plan) {
        out_ << style_.heading("Data paths") << '\n';
        Columns columns("lll");
        for (const PlannedPath& path : plan.paths) {
            columns.add({pathHeading(path.kind), joined(path.stack, " <=> "), listed(path.services)});
        }
        out_ << (columns.empty() ? "  none\n" : columns.text(2));
        if (plan.wanPort.empty()) {
            out_ << "  " << style_.bad("no WAN port: no enabled node of type MPoA, XDSL or WANoE") << '\n';
        }
    }

    void printGroups(const std::string& verb, const std::vector<CommandGroup>& groups) {
        for (const CommandGroup& group : groups) {
            const std::string count =
                group.refusal.empty() ? " (" + std::to_string(group.commands.size()) + ")" : "";
            out_ << '\n' << style_.heading(std::string(verb).append(" ").append(group.name) + count) << '\n';
            for (const std::string& command : group.commands) {
                out_ << "  "
                     << (command.empty() ? style_.bad("(empty: a rule without a command)")
                                         : printable(command))
                     << '\n';
            }
            if (!group.refusal.empty()) {
                out_ << "  " << style_.bad("nothing would be removed: " + printable(group.refusal)) << '\n';
            }
        }
    }

    void printNotRun(const Plan& plan) {
        if (plan.notRun.empty()) {
            return;
        }
        out_ << '\n' << style_.heading("Computed for the log, never run") << '\n';
        for (const std::string& command : plan.notRun) {
            out_ << "  " << style_.dim(printable(command)) << '\n';
        }
    }

    void printMessages(const Plan& plan) {
        Columns columns("lll");
        const auto& messages = plan.messages;
        for (auto each = messages.begin(); each != messages.end(); ++each) {
            const bool isComplaint =
                each->level == MessageLevel::error || each->level == MessageLevel::warning;
            if (!isComplaint || std::find(messages.begin(), each, *each) != each) {
                continue;
            }
            const std::string level = nameOf(each->level);
            const auto count = std::count(each, messages.end(), *each);
            columns.add(
                {each->level == MessageLevel::error ? style_.bad(level) : style_.warn(level), each->source,
                 printable(each->text) + (count > 1 ? " (" + std::to_string(count) + " times)" : "")});
        }
        if (!columns.empty()) {
            out_ << '\n' << style_.heading("What the daemon would complain about") << '\n' << columns.text(2);
        }
        for (const std::string& note : plan.notes) {
            out_ << "\nNote: " << printable(note) << '\n';
        }
    }

    void printFindings(const std::vector<Finding>& findings) {
        if (!findings.empty()) {
            out_ << '\n' << style_.heading("What will not work as it seems (pacerctl lint)") << '\n';
            pacerctl::printFindings(terminal_, findings);
        }
    }

    const Terminal& terminal_;
    std::ostream& out_;
    Style style_;
};

bool isWhole(const Plan& plan) {
    const auto& groups = plan.apply;
    const bool everyRuleHasCommand = std::all_of(groups.begin(), groups.end(), [](const CommandGroup& group) {
        return std::find(group.commands.begin(), group.commands.end(), "") == group.commands.end();
    });
    return plan.obstacle.empty() && !plan.wanPort.empty() && everyRuleHasCommand;
}

} // namespace

ExitStatus planCommand(const Terminal& terminal, const Snapshot& snapshot, const PlanOptions& options) {
    const Plan plan = makePlan(snapshot, options);
    std::vector<Finding> findings = lint(snapshot);
    std::erase_if(findings, [](const Finding& finding) { return finding.severity == Severity::note; });
    if (terminal.json) {
        writeJson(terminal.out, toJson(plan, findings, snapshot.source()));
    } else {
        PlanPrinter(terminal).print(plan, findings, options);
    }
    return isWhole(plan) && findings.empty() ? ExitStatus::fine : ExitStatus::finding;
}

} // namespace pacerctl
