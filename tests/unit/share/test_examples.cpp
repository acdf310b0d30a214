// The example gateways are right: not only for the database, but for what they say they do.

#include "config/rowchecker.h"
#include "sharefiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

using gateway::Json;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

using Rows = std::vector<Json>;

class Example : public ::testing::TestWithParam<std::string> {
  protected:
    void SetUp() override {
        gateway::Complaints complaints;
        const auto tables = gateway::checkFile(gateway::test::schema(), gateway::test::example(GetParam()),
                                               GetParam() + ".json", complaints);
        ASSERT_THAT(complaints, IsEmpty());
        for (const gateway::CheckedTable& table : tables) {
            tables_[table.name] = table.rows;
        }
        ASSERT_EQ(tables_.size(), 7U) << "an example is a whole gateway";
    }

    const Rows& rows(const std::string& table) const { return tables_.at(table); }

    Rows rowsWhere(const std::string& table, const std::string& column, const Json& value) const {
        Rows found;
        std::copy_if(rows(table).begin(), rows(table).end(), std::back_inserter(found),
                     [&](const Json& row) { return row.at(column) == value; });
        return found;
    }

    Json onlyRow(const std::string& table, const std::string& column, const Json& value) const {
        const Rows found = rowsWhere(table, column, value);
        EXPECT_EQ(found.size(), 1U) << table << "." << column << " = " << value;
        return found.empty() ? Json::object() : found.front();
    }

    // Precedences of the queues that take what the logical interface sends.
    std::multiset<int> egressPrecedences(const std::string& logicalInterface) const {
        std::multiset<int> precedences;
        for (const Json& queue : rowsWhere("QoSQueues", "InterfaceName", logicalInterface)) {
            if (queue.at("Enable") == 1 && queue.at("Egress") == 1) {
                precedences.insert(queue.at("Precedence").get<int>());
            }
        }
        return precedences;
    }

    static bool isProvider(const std::string& logicalInterface) {
        return logicalInterface.starts_with("Provider");
    }

  private:
    std::map<std::string, Rows> tables_;
};

TEST_P(Example, StartsWithTheWanDown) {
    EXPECT_NE(rows("StatusDsl").at(0).at("Status"), 4);
    for (const Json& logical : rows("StatusNetifWatchLogical")) {
        const bool provider = isProvider(logical.at("Name"));
        EXPECT_EQ(logical.at("IsUp"), provider ? 0 : 1) << logical;
        EXPECT_EQ(logical.at("Addr") == "0.0.0.0", provider) << logical;
    }
    onlyRow("StatusNetifWatchLogical", "Name", "ProviderInternet");
}

TEST_P(Example, HasOneEnabledWanPort) {
    std::size_t ports = 0;
    for (const char* type : {"XDSL", "MPoA", "WANoE"}) {
        for (const Json& node : rowsWhere("NetworkSetupNode", "Type", type)) {
            ports += node.at("Enable") == 1 ? 1U : 0U;
            EXPECT_EQ(node.at("ParentInterface"), "root");
        }
    }
    EXPECT_EQ(ports, 1U);
}

TEST_P(Example, LeadsEveryStackOfAProviderDownToTheWanPort) {
    for (const Json& logical : rows("StatusNetifWatchLogical")) {
        std::string interface = logical.at("Interface");
        if (!isProvider(logical.at("Name")) || interface == "off") {
            continue;
        }
        Json node;
        for (int depth = 0; interface != "root"; ++depth) {
            ASSERT_LT(depth, 8) << logical;
            node = onlyRow("NetworkSetupNode", "InterfaceName", interface);
            ASSERT_FALSE(node.empty());
            interface = node.at("ParentInterface");
        }
        EXPECT_EQ(node.at("Enable"), 1) << logical;
        EXPECT_THAT((std::set<std::string>{"XDSL", "MPoA", "WANoE"}), testing::Contains(node.at("Type")))
            << logical;
    }
}

TEST_P(Example, ShapesAWanPort) {
    EXPECT_THAT(rows("QoSShaper"), Not(IsEmpty()));
    for (const Json& shaper : rows("QoSShaper")) {
        const Json port = onlyRow("NetworkSetupNode", "InterfaceName", shaper.at("InterfaceName"));
        EXPECT_EQ(port.at("ParentInterface"), "root") << shaper;
        EXPECT_EQ(shaper.at("Enable"), 1) << shaper;
        EXPECT_EQ(shaper.at("ShapeEgress").get<int>() + shaper.at("ShapeIngress").get<int>(), 1) << shaper;
    }
}

TEST_P(Example, UsesEachPrecedenceOnceForEachInterface) {
    std::set<std::pair<Json, Json>> used;
    for (const Json& queue : rows("QoSQueues")) {
        const Json carrier =
            onlyRow("StatusNetifWatchLogical", "Name", queue.at("InterfaceName")).at("Interface");
        EXPECT_TRUE(used.emplace(carrier, queue.at("Precedence")).second) << queue;
    }
}

TEST_P(Example, HasQueuesThatSendAndServeTheirOwnMark) {
    for (const Json& queue : rows("QoSQueues")) {
        EXPECT_EQ(queue.at("Enable"), 1) << queue;
        EXPECT_EQ(queue.at("Egress"), 1) << queue;
        EXPECT_EQ(queue.at("TrafficClasses"), queue.at("Precedence").dump()) << queue;
        EXPECT_EQ(queue.at("WFQWeight") > 0, queue.at("Scheduler") == "WFQ") << queue;
    }
}

TEST_P(Example, HasADefaultQueueForTheInternet) {
    EXPECT_EQ(egressPrecedences("ProviderInternet").count(8), 1U);
}

TEST_P(Example, MarksOnlyWhatReachesAQueue) {
    for (const Json& action : rows("QoSClassificationAction")) {
        const std::string interface = action.at("QueueInterface");
        EXPECT_EQ(egressPrecedences(interface).count(action.at("TrafficClass").get<int>()), 1U) << action;
    }
}

TEST_P(Example, AgreesOnThePcpOfATrafficClass) {
    std::map<std::pair<Json, Json>, Json> pcps;
    for (const Json& action : rows("QoSClassificationAction")) {
        if (action.at("EthPriorityMark") > 0) {
            const auto key = std::pair(action.at("QueueInterface"), action.at("TrafficClass"));
            EXPECT_EQ(pcps.emplace(key, action.at("EthPriorityMark")).first->second,
                      action.at("EthPriorityMark"));
        }
    }
}

TEST_P(Example, HasRulesThatCanAllBeAppliedAndTakenBack) {
    std::set<Json> names;
    for (const Json& rule : rows("QoSClassification")) {
        EXPECT_EQ(rule.at("Enable"), 1) << rule;
        EXPECT_EQ(rule.at("DSCPMatchExclude"), 0) << rule;
        EXPECT_TRUE(rule.at("TCPACK") == 0 || rule.at("Protocol") == "tcp") << rule;
        EXPECT_TRUE(names.insert(rule.at("Name")).second) << rule;
        // A listing is searched for whole words, and only "_" is part of one.
        const std::string name = rule.at("Name");
        EXPECT_EQ(name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_"), std::string::npos) << rule;
        onlyRow("QoSClassificationAction", "Id", rule.at("QoSClassificationActionId"));
    }
}

TEST_P(Example, LeadsWhatComesInToTheHomeNetworkAndWhatGoesOutToAProvider) {
    for (const Json& rule : rows("QoSClassification")) {
        const Json action = onlyRow("QoSClassificationAction", "Id", rule.at("QoSClassificationActionId"));
        EXPECT_NE(isProvider(rule.at("ClassifyInterface")), isProvider(action.at("QueueInterface"))) << rule;
    }
}

TEST_P(Example, UsesEveryActionAndEveryLogicalInterfaceIsThere) {
    for (const Json& action : rows("QoSClassificationAction")) {
        EXPECT_THAT(rowsWhere("QoSClassification", "QoSClassificationActionId", action.at("Id")),
                    Not(IsEmpty()))
            << action;
        onlyRow("StatusNetifWatchLogical", "Name", action.at("QueueInterface"));
    }
    for (const Json& rule : rows("QoSClassification")) {
        onlyRow("StatusNetifWatchLogical", "Name", rule.at("ClassifyInterface"));
    }
}

TEST_P(Example, IsDescribedInTheReadme) {
    const std::string readme = gateway::test::readSourceFile("share/examples/README.md");
    EXPECT_THAT(readme, HasSubstr("`" + GetParam() + ".json`"));
    EXPECT_THAT(readme, HasSubstr("## " + GetParam() + "\n"));
}

INSTANTIATE_TEST_SUITE_P(Each, Example, ::testing::ValuesIn(gateway::test::exampleNames()),
                         [](const auto& each) {
                             std::string name = each.param;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

TEST(Examples, AreThree) {
    EXPECT_THAT(gateway::test::exampleNames(), ElementsAre("dsl-tripleplay", "ethernet-wan", "minimal"));
}

class DslTriplePlay : public Example {};
INSTANTIATE_TEST_SUITE_P(Alone, DslTriplePlay, ::testing::Values("dsl-tripleplay"));

TEST_P(DslTriplePlay, HasEightWanQueuesOfBothKindsAndAboutTwentyRules) {
    std::multiset<std::string> schedulers;
    std::set<Json> precedences;
    for (const Json& queue : rows("QoSQueues")) {
        if (isProvider(queue.at("InterfaceName"))) {
            schedulers.insert(queue.at("Scheduler").get<std::string>());
            precedences.insert(queue.at("Precedence"));
        }
    }
    EXPECT_EQ(schedulers.size(), 8U);
    EXPECT_EQ(schedulers.count("SP"), 5U);
    EXPECT_EQ(schedulers.count("WFQ"), 3U);
    EXPECT_EQ(precedences.size(), 8U) << "all WAN stacks share one port";
    EXPECT_EQ(rows("QoSClassification").size(), 23U);
}

TEST_P(DslTriplePlay, HasAStackForEachOfTheFourServices) {
    EXPECT_EQ(onlyRow("StatusNetifWatchLogical", "Name", "ProviderInternet").at("Interface"), "ppp0");
    EXPECT_EQ(onlyRow("StatusNetifWatchLogical", "Name", "ProviderIPTV").at("Interface"), "ptm0.8");
    EXPECT_EQ(onlyRow("StatusNetifWatchLogical", "Name", "ProviderVoIP").at("Interface"), "ptm0.9");
    EXPECT_EQ(onlyRow("StatusNetifWatchLogical", "Name", "ProviderTR069").at("Interface"), "ptm0.10");
}

} // namespace
