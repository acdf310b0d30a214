// The plan against the model of the daemon, which shares no code with it, and lint against the plan: random
// gateways, nothing of them run.
#include "daemonmodel.h"
#include "generator.h"
#include "options.h"
#include "pacerctl/lint/lint.h"
#include "pacerctl/plan.h"
#include "pacerctl/wanstate.h"
#include "ruletext.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <sstream>

namespace pacerctl {

namespace {

using e2e::Json;
using e2e::model::DaemonModel;
using e2e::model::Random;
using e2e::model::ToolAnswers;
using Lines = std::vector<std::string>;

#ifdef E2E_SANITIZED
constexpr unsigned seeds = 200;
#else
constexpr unsigned seeds = 800;
#endif
// A file of the form that pacerctl reads has every table and column.
constexpr unsigned wholeSchemas = 7;

struct RandomGateway {
    explicit RandomGateway(unsigned seed)
        : random(seed), schema(e2e::model::looseSchema(random.below(wholeSchemas), random)),
          generator(random, schema), json(generator.gateway()) {}

    // With the WAN up, whatever else it is.
    void bringUp() {
        for (auto& row : json["StatusNetifWatchLogical"]) {
            if (row.value("Name", "") == "ProviderInternet") {
                row["IsUp"] = row.contains("IsUp") && row["IsUp"].is_string() ? Json("1") : Json(1);
                row["Addr"] = "192.0.2.7";
            }
        }
        if (!json["StatusDsl"].empty()) {
            auto& status = json["StatusDsl"][0]["Status"];
            status = status.is_string() ? Json("4") : Json(4);
        }
    }

    Snapshot snapshot() const {
        Snapshot parsed = parseSnapshot("random.json", json.dump());
        parsed.dropRefusedRows();
        return parsed;
    }

    Random random;
    Json schema;
    e2e::model::Generator generator;
    Json json;
};

// The commands that the model has run, those of the existence checks left out.
Lines commandsIn(const DaemonModel& model, std::size_t from) {
    Lines commands;
    for (std::size_t i = from; i < model.events().size(); ++i) {
        const std::string& event = model.events()[i];
        const std::size_t colon = event.find("): ");
        if (event.rfind("run (", 0) == 0 && event.find(" | grep ") == std::string::npos) {
            commands.push_back(event.substr(colon + 3));
        }
    }
    return commands;
}

Lines flat(const std::vector<CommandGroup>& groups) {
    Lines all;
    for (const CommandGroup& group : groups) {
        all.insert(all.end(), group.commands.begin(), group.commands.end());
    }
    return all;
}

bool hasError(const std::vector<Finding>& findings) {
    return std::any_of(findings.begin(), findings.end(),
                       [](const Finding& finding) { return finding.severity == Severity::error; });
}

TEST(RandomGateways, ArePlannedAsTheModelRunsThem) {
    unsigned up = 0;
    unsigned fatal = 0;
    for (unsigned seed = 1; seed <= seeds; ++seed) {
        RandomGateway gateway(seed);
        if (gateway.random.chance(80)) {
            gateway.bringUp();
        }
        SCOPED_TRACE("seed " + std::to_string(seed) + ": " + gateway.json.dump());
        const e2e::model::Snapshot seen(gateway.json, gateway.schema);
        DaemonModel model(ToolAnswers(seed, 0, 0, 0, 0), false, seen);
        const std::size_t applied = model.events().size();
        const Lines apply = commandsIn(model, 0);
        const bool ended = model.wantsToStop();

        const Snapshot snapshot = gateway.snapshot();
        const bool wanUp = findWanState(snapshot).up;
        const Plan plan = makePlan(snapshot, {Assume::nothing, CheckMode::assumeAbsent});
        if (!wanUp) {
            ASSERT_EQ(apply, Lines());
            continue;
        }
        ++up;
        ASSERT_EQ(!plan.obstacle.empty(), ended) << plan.obstacle;
        ASSERT_EQ(plan.obstacle.empty() ? flat(plan.apply) : Lines(), apply);
        if (ended) {
            ++fatal;
            continue;
        }
        model.stop();
        ASSERT_EQ(flat(plan.undo), commandsIn(model, applied));
    }
    EXPECT_GT(up, seeds / 3); // so many that it means something
    EXPECT_GT(fatal, seeds / 100);
    EXPECT_LT(fatal, up / 2);
}

TEST(RandomGateways, HaveAnErrorForLintWhereTheDaemonEndsOrCannotTakeBack) {
    unsigned bad = 0;
    unsigned clean = 0;
    for (unsigned seed = 1; seed <= seeds; ++seed) {
        RandomGateway gateway(seed);
        gateway.bringUp();
        SCOPED_TRACE("seed " + std::to_string(seed) + ": " + gateway.json.dump());
        const Snapshot snapshot = gateway.snapshot();
        const Plan plan = makePlan(snapshot, {Assume::allUp, CheckMode::assumeAbsent});
        const bool refused = std::any_of(plan.undo.begin(), plan.undo.end(),
                                         [](const CommandGroup& group) { return !group.refusal.empty(); });
        const bool error = hasError(lint(snapshot));
        if (!plan.obstacle.empty() || refused) {
            ++bad;
            ASSERT_TRUE(error) << plan.obstacle;
        }
        clean += error ? 0 : 1;
    }
    EXPECT_GT(bad, seeds / 20);
    EXPECT_GT(clean, seeds / 20); // lint does not simply call everything an error
}

fapi_rule readByTool(const std::string& command) {
    std::istringstream words(command.substr(command.find(' ') + 1));
    return fapi::readRule(fapi::ruleOptions({std::istream_iterator<std::string>(words), {}}));
}

TEST(RandomGateways, ThatAreCleanForLintHaveRulesThatTheToolTakesAndNamesOfTheirOwn) {
    unsigned rules = 0;
    for (unsigned seed = 1; seed <= seeds; ++seed) {
        RandomGateway gateway(seed);
        gateway.bringUp();
        const Snapshot snapshot = gateway.snapshot();
        if (hasError(lint(snapshot))) {
            continue;
        }
        SCOPED_TRACE("seed " + std::to_string(seed) + ": " + gateway.json.dump());
        const Plan plan = makePlan(snapshot, {Assume::allUp, CheckMode::assumeAbsent});
        Lines names;
        for (const CommandGroup& group : plan.apply) {
            for (const std::string& command : group.commands) {
                if (command.rfind("classcfg ", 0) == 0) {
                    ASSERT_NO_THROW(readByTool(command)) << command;
                    ++rules;
                }
                // Interface maps may be added again, and a shaper replaces the one before.
                if (group.name == "queues" || group.name == "classifiers") {
                    const std::string direction =
                        command.find(" -t ingress ") == std::string::npos ? "" : " in";
                    const std::size_t interface = command.find(" -i ") + 4;
                    names.push_back(command.substr(0, command.find(' ', interface)) + direction);
                }
            }
        }
        std::sort(names.begin(), names.end());
        ASSERT_EQ(std::adjacent_find(names.begin(), names.end()), names.end());
    }
    EXPECT_GT(rules, seeds / 5);
}

} // namespace

} // namespace pacerctl
