#include "fakepath.h"
#include "linttraps.h"
#include "pacerctl/built.h"
#include "pacerctl/plan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace pacerctl {

namespace {

using testing::HasSubstr;

Plan planOf(const Snapshot& snapshot, Assume assume = Assume::nothing) {
    return makePlan(snapshot, {assume, CheckMode::assumeAbsent});
}

Plan planWith(const test::Change& change) {
    Json gateway = test::cleanGateway();
    change(gateway);
    return planOf(test::toSnapshot(gateway));
}

const CommandGroup& groupOf(const std::vector<CommandGroup>& groups, const std::string& name) {
    for (const CommandGroup& group : groups) {
        if (group.name == name) {
            return group;
        }
    }
    throw std::out_of_range(name);
}

TEST(Plan, RunsTheGroupsInTheDaemonsOrder) {
    const Plan plan = planOf(test::example("minimal"), Assume::internet);
    std::vector<std::string> apply;
    std::vector<std::string> undo;
    for (std::size_t i = 0; i < plan.apply.size(); ++i) {
        apply.push_back(plan.apply[i].name);
        undo.push_back(plan.undo[i].name);
    }
    EXPECT_EQ(apply, (std::vector<std::string>{"interface maps", "queues", "classifiers", "shapers"}));
    EXPECT_EQ(undo, (std::vector<std::string>{"classifiers", "queues", "shapers", "interface maps"}));
}

TEST(Plan, UndoesTheLastCommandOfAGroupFirst) {
    const Plan plan = planOf(test::example("minimal"), Assume::internet);
    EXPECT_EQ(
        groupOf(plan.undo, "queues").commands,
        (std::vector<std::string>{
            "qcfg --queue -D eth1_def_queue -i eth1 -t egress -l 128 -m sp --priority 8 -d tail --map 8",
            "qcfg --queue -D eth1_q1 -i eth1 -t egress -l 64 -m sp --priority 1 -d tail --map 1"}));
}

TEST(Plan, TakesTheInternetAsUpAndNothingElse) {
    const Plan plan = planOf(test::example("dsl-tripleplay"), Assume::internet);
    EXPECT_EQ(plan.takenAsUp, std::vector<std::string>{"ProviderInternet"});
    EXPECT_EQ(plan.leftOut, (std::vector<std::string>{"ProviderIPTV", "ProviderVoIP", "ProviderTR069"}));
    EXPECT_EQ(plan.paths.size(), 3U);
}

TEST(Plan, TakesEveryProviderWithAnInterfaceAsUpIfAsked) {
    const Plan plan = planOf(test::example("ethernet-wan"), Assume::allUp);
    EXPECT_EQ(plan.takenAsUp, (std::vector<std::string>{"ProviderInternet", "ProviderVoIP"}));
    EXPECT_EQ(plan.leftOut, std::vector<std::string>{"ProviderIPTV"});
}

TEST(Plan, AsTheTablesAreHasNoWanPathWhileTheWanIsDown) {
    const Plan plan = planOf(test::example("minimal"), Assume::nothing);
    EXPECT_TRUE(plan.takenAsUp.empty());
    ASSERT_EQ(plan.paths.size(), 1U);
    EXPECT_EQ(plan.paths[0].kind, "lan");
}

TEST(Plan, ModifiesWhatTheToolsListAlready) {
    const test::FakePath path;
    path.add("qcfg", "[ \"$3\" = -ieth1 ] && echo eth1_q1\n");
    path.add("classcfg", "exit 0\n");
    path.add("ifcfg", "echo eth1 CAT 1 eth1\n");
    const Plan plan = makePlan(test::example("minimal"), {Assume::internet, CheckMode::run});
    EXPECT_THAT(groupOf(plan.apply, "queues").commands[0], HasSubstr("qcfg --queue -M eth1_q1 "));
    EXPECT_THAT(groupOf(plan.apply, "queues").commands[1], HasSubstr("qcfg --queue -A eth1_def_queue "));
    EXPECT_TRUE(groupOf(plan.apply, "interface maps").commands.empty());
    EXPECT_TRUE(plan.notes.empty());
}

TEST(Plan, SaysWhichToolItCouldNotAsk) {
    const test::FakePath path;
    const Plan plan = makePlan(test::example("minimal"), {Assume::internet, CheckMode::run});
    ASSERT_EQ(plan.notes.size(), 3U);
    EXPECT_EQ(plan.notes[0], "classcfg is not in PATH: taken as if nothing were configured");
}

TEST(Plan, DoesNotRunWhatARowSmugglesIntoACheck) {
    const test::FakePath path;
    path.add("qcfg", "exit 0\n");
    path.add("classcfg", "exit 0\n");
    path.add("ifcfg", "exit 0\n");
    Json gateway = test::cleanGateway();
    test::rule(gateway, 2)["Name"] = "x; /bin/touch " + path.directory() + "/ran";
    const Plan plan = makePlan(test::toSnapshot(gateway), {Assume::nothing, CheckMode::run});
    EXPECT_NE(::access((path.directory() + "/ran").c_str(), F_OK), 0);
    ASSERT_EQ(plan.notes.size(), 1U);
    EXPECT_THAT(plan.notes[0],
                HasSubstr("not run, because a shell would interpret it: classcfg -Lall -ibr0"));
}

TEST(Plan, OfParentsThatGoInACircleSaysThatTheDaemonWouldHang) {
    const Plan plan = planWith([](Json& g) { test::node(g, 1)["ParentInterface"] = "ppp0"; });
    EXPECT_EQ(plan.obstacle,
              "the daemon would hang: the parents of ppp0 (ProviderInternet) lead back to ppp0");
    EXPECT_TRUE(plan.apply.empty());
}

TEST(Plan, IsPossibleWhileTheServiceOnACircleIsDown) {
    const Plan plan = planWith([](Json& g) {
        test::node(g, 3)["ParentInterface"] = "ptm0.9";
        test::service(g, 1)["IsUp"] = 0;
    });
    EXPECT_EQ(plan.obstacle, "");
}

// The checks of lint that say "the daemon ends" are right if its own classes say so.
TEST(Plan, AgreesWithLintOnWhatEndsTheDaemon) {
    const std::pair<test::Change, const char*> fatal[] = {
        {[](Json& g) { test::node(g, 1)["ParentInterface"] = "ptm1"; }, "findUpperDataInterface()"},
        {[](Json& g) { test::queue(g, 0)["TrafficClasses"] = "x"; }, "extractTrafficClasses()"},
        {[](Json& g) { test::rule(g, 3)["DSCPMatch"] = "EF"; }, "stoi"},
        {[](Json& g) { test::rule(g, 3)["QoSClassificationActionId"] = 77; }, "findClassifyAction()"},
        {[](Json& g) {
             Json other = test::action(g, 0);
             other["Id"] = 9;
             other["EthPriorityMark"] = 5;
             g["QoSClassificationAction"].push_back(other);
         },
         "findEgressQToPcpMap()"},
    };
    for (const auto& [change, expression] : fatal) {
        const Plan plan = planWith(change);
        EXPECT_THAT(plan.obstacle, HasSubstr("the daemon would stop: "));
        EXPECT_THAT(plan.obstacle, HasSubstr(expression));
    }
}

TEST(Plan, AgreesWithLintOnWhatKeepsRulesFromBeingRemoved) {
    const test::Change changes[] = {
        [](Json& g) { test::rule(g, 3)["Enable"] = 0; },
        [](Json& g) { test::rule(g, 3)["Protocol"] = "UDP"; },
        [](Json& g) { test::rule(g, 3)["TCPACK"] = 1; },
        [](Json& g) { test::rule(g, 3)["DSCPMatchExclude"] = 1; },
    };
    for (const test::Change& change : changes) {
        const Plan plan = planWith(change);
        const CommandGroup& undo = groupOf(plan.undo, "classifiers");
        EXPECT_TRUE(undo.commands.empty());
        EXPECT_THAT(undo.refusal, HasSubstr("one of its commands is empty"));
    }
}

TEST(Plan, AgreesWithLintOnWhatDerailsTheUndo) {
    const test::FakePath path;
    path.add("qcfg", "exit 0\n");
    path.add("ifcfg", "exit 0\n");
    path.add("classcfg", "echo tier-A\n");
    Json gateway = test::cleanGateway();
    test::rule(gateway, 2)["Name"] = "tier-A";
    const Plan plan = makePlan(test::toSnapshot(gateway), {Assume::nothing, CheckMode::run});
    EXPECT_THAT(groupOf(plan.undo, "classifiers").commands,
                testing::Contains(testing::StartsWith("classcfg -M tier-D -i br0")));
}

// What lint, explain and graph believe the daemon to build, against what it builds.
class BuiltAndPlanned : public testing::TestWithParam<const char*> {};

TEST_P(BuiltAndPlanned, AreTheSameQueuesAndRulesInTheSameOrder) {
    std::vector<std::string> takenAsUp;
    const Snapshot snapshot = assumeUp(test::example(GetParam()), Assume::allUp, takenAsUp);
    const Gateway gateway(snapshot);
    const Built built(gateway);
    const Plan plan = planOf(snapshot);

    const auto& queueCommands = groupOf(plan.apply, "queues").commands;
    ASSERT_EQ(queueCommands.size(), built.queues.size());
    for (std::size_t i = 0; i < queueCommands.size(); ++i) {
        const BuiltQueue& queue = built.queues[i];
        EXPECT_THAT(queueCommands[i],
                    testing::StartsWith("qcfg --queue -A " + queue.fapiName + " -i " + queue.interface +
                                        (queue.ingress ? " -t ingress " : " -t egress ")));
    }
    const auto& ruleCommands = groupOf(plan.apply, "classifiers").commands;
    ASSERT_EQ(ruleCommands.size(), built.rules.size());
    for (std::size_t i = 0; i < ruleCommands.size(); ++i) {
        const BuiltRule& rule = built.rules[i];
        EXPECT_THAT(ruleCommands[i],
                    testing::StartsWith("classcfg -A " + rule.rule->name + " -i " + rule.interface + " "));
        EXPECT_EQ(ruleCommands[i].find("--mark_ing ") != std::string::npos, rule.ingress);
        if (rule.leaving.empty()) {
            EXPECT_THAT(ruleCommands[i], testing::Not(HasSubstr(" -o ")));
        } else {
            EXPECT_THAT(ruleCommands[i], HasSubstr(" -o " + rule.leaving + " "));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Examples, BuiltAndPlanned,
                         testing::Values("dsl-tripleplay", "ethernet-wan", "minimal"));

} // namespace

} // namespace pacerctl
