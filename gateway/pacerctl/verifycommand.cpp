#include "pacerctl/applied.h"
#include "pacerctl/commands.h"
#include "pacerctl/verify.h"
#include "pacerctl/wanstate.h"

#include <ostream>

namespace pacerctl {

namespace {

// With the WAN down nothing should be there.
Applied wantedNow(const Snapshot& snapshot, bool wanIsUp) {
    Applied wanted;
    if (!wanIsUp) {
        return wanted;
    }
    const Plan plan = makePlan(snapshot, {Assume::nothing, CheckMode::assumeAbsent});
    if (!plan.obstacle.empty()) {
        throw WrongUsage("there is nothing to compare with: " + plan.obstacle);
    }
    for (const CommandGroup& group : plan.apply) {
        for (const std::string& command : group.commands) {
            if (!command.empty()) { // a rule without a command leaves nothing behind
                addCommand(command, wanted);
            }
        }
    }
    return wanted;
}

Json toJson(const std::vector<Difference>& differences, const std::string& source, bool wanIsUp) {
    Json json = jsonHead("verify", source);
    json["wanUp"] = wanIsUp;
    json["differences"] = Json::array();
    for (const Difference& difference : differences) {
        json["differences"].push_back(
            {{"kind", nameOf(difference.kind)},
             {"object", difference.object},
             {"detail", difference.detail.empty() ? Json() : Json(difference.detail)}});
    }
    return json;
}

std::string painted(const Style& style, Difference::Kind kind) {
    return kind == Difference::Kind::different ? style.warn(nameOf(kind)) : style.bad(nameOf(kind));
}

void print(std::ostream& out, const Style& style, const std::vector<Difference>& differences,
           const Applied& wanted, bool wanIsUp) {
    const std::size_t count =
        wanted.ifMaps.size() + wanted.shapers.size() + wanted.queues.size() + wanted.rules.size();
    out << (wanIsUp ? "WAN is up: " + std::to_string(count) + " objects should be configured\n"
                    : "WAN is down: nothing should be configured\n");
    Columns columns("ll");
    for (const Difference& difference : differences) {
        columns.add(
            {painted(style, difference.kind),
             printable(difference.object + (difference.detail.empty() ? "" : ": " + difference.detail))});
    }
    out << columns.text(2);
    if (differences.empty()) {
        out << style.good("as it should be") << '\n';
    } else if (wanIsUp) {
        out << style.dim("Tables that were changed while the WAN was up take effect when it has been down "
                         "and up again.")
            << '\n';
    }
}

} // namespace

ExitStatus verifyCommand(const Terminal& terminal, const Snapshot& snapshot) {
    const bool wanIsUp = findWanState(snapshot).up;
    const Applied wanted = wantedNow(snapshot, wanIsUp);
    const std::vector<Difference> differences = compare(wanted, readApplied());
    if (terminal.json) {
        writeJson(terminal.out, toJson(differences, snapshot.source(), wanIsUp));
    } else {
        print(terminal.out, Style(terminal.colour), differences, wanted, wanIsUp);
    }
    return differences.empty() ? ExitStatus::fine : ExitStatus::finding;
}

} // namespace pacerctl
