// Configurations that the daemon cannot go on with.
#include "gatewaytest.h"

#include <csignal>
#include <filesystem>

namespace e2e {

namespace {

class FatalConfigurationsTest : public GatewayTest {
  protected:
    // The internet comes up; the daemon ends with status 1 and that assertion, having changed nothing.
    void expectAssertion(const std::string& expression) {
        db.update(statusTable, internetRow, internetUp());
        EXPECT_EQ(daemon->exitStatus(), 1);
        const std::string start = "assertion failed: " + expression + " (";
        ASSERT_FALSE(log.messages().empty());
        EXPECT_THAT(log.messages().back(), ::testing::StartsWith("error: " + start));
        EXPECT_THAT(daemon->errors(), HasSubstr("\n" + start)) << "no report of its own in the foreground";
        EXPECT_THAT(daemon->commands().changes(), IsEmpty());
    }
};

TEST_F(FatalConfigurationsTest, AMissingLinkInTheChainOfParents) {
    Json configuration = smallGateway();
    configuration["NetworkSetupNode"][1]["ParentInterface"] = "ptm9";
    startDaemon(configuration);
    expectAssertion("true == this->findUpperDataInterface()");
    EXPECT_TRUE(log.has("error: could not get interface data for if 'ptm9'"));
    EXPECT_TRUE(log.has("error: could not find interface stack for 'ppp0'"));
}

TEST_F(FatalConfigurationsTest, ARuleWithoutItsAction) {
    Json configuration = smallGateway();
    configuration["QoSClassification"][1]["QoSClassificationActionId"] = 77;
    startDaemon(configuration);
    expectAssertion("true == this->findClassifyAction()");
    EXPECT_TRUE(log.has("error: did not find any classifier action for classifier 'calls' (id 2)"));
}

TEST_F(FatalConfigurationsTest, AQueueWithoutTrafficClasses) {
    Json configuration = smallGateway();
    configuration["QoSQueues"][2]["TrafficClasses"] = "none";
    startDaemon(configuration);
    expectAssertion("true == this->extractTrafficClasses()");
    EXPECT_TRUE(log.has("error: could not find any traffic classes for queue 'home'"));
}

TEST_F(FatalConfigurationsTest, ATrafficClassWithTwoPriorities) {
    Json configuration = smallGateway();
    configuration["QoSClassificationAction"].push_back({{"Id", 3},
                                                        {"Name", "other"},
                                                        {"TrafficClass", 1},
                                                        {"QueueInterface", "ProviderInternet"},
                                                        {"EthPriorityMark", 5}});
    startDaemon(configuration);
    expectAssertion("true == findEgressQToPcpMap()");
    EXPECT_TRUE(
        log.has("error: PCP for TC1 was already set to 5 previously (currently updated to 6), abort!"));
}

TEST_F(FatalConfigurationsTest, InTheBackgroundThePidFileGoesAndTheReportIsInTheLog) {
    Json configuration = smallGateway();
    configuration["QoSQueues"][2]["TrafficClasses"] = "none";
    startServer(configuration);
    daemon.emplace(Texts{"-b"});
    ASSERT_EQ(daemon->exitStatus(), 0);
    ASSERT_TRUE(log.waitFor("info: initial startup in progress"));
    Process background = Process::adopt(std::atoi(readFile(pidFile).c_str()));
    db.update(statusTable, internetRow, internetUp());
    EXPECT_EQ(background.exitStatus(), 1);
    EXPECT_FALSE(std::filesystem::exists(pidFile));
    std::size_t reports = 0;
    for (const std::string& message : log.messages()) {
        reports +=
            message.starts_with("error: assertion failed: true == this->extractTrafficClasses() (") ? 1 : 0;
    }
    EXPECT_EQ(reports, 2U) << "one where it was thrown, one where it was caught";
    EXPECT_EQ(daemon->errors(), "");
}

TEST_F(FatalConfigurationsTest, ADisabledRuleKeepsItsGroupFromBeingRemoved) {
    Json configuration = smallGateway();
    configuration["QoSClassification"][0]["Enable"] = 0;
    startDaemon(configuration);
    bringUp();
    EXPECT_TRUE(log.has("info: apply success: ''"));
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
    EXPECT_TRUE(log.has("error: failed creating rm command from ''"));
    EXPECT_TRUE(log.has("error: failed getting command remove list"));
    EXPECT_THAT(daemon->commands().objects(), ElementsAre("classifier ppp0 calls"));
}

} // namespace

} // namespace e2e
