// Changes of the configuration while the daemon runs.
#include "gatewaytest.h"

#include <algorithm>
#include <csignal>

namespace e2e {

namespace {

using ChangesTest = GatewayTest;

TEST_F(ChangesTest, AQosChangeWhileUpHasNoEffectUntilDownAndUp) {
    startDaemon(smallGateway());
    bringUp();
    daemon->commands().clear();
    log.clear();
    db.update("QoSQueues", 3, {{"BufferLen", 99}});
    db.remove("QoSClassification", 2);
    db.update("QoSShaper", 1, {{"ShapingRate", 5000}});
    db.insert("QoSQueues", {{"Id", 9},
                            {"Enable", 1},
                            {"Name", "new"},
                            {"InterfaceName", "ProviderInternet"},
                            {"Egress", 1},
                            {"TrafficClasses", "5"},
                            {"BufferLen", 10},
                            {"Scheduler", "SP"},
                            {"Precedence", 5},
                            {"DropAlgorithm", "DT"}});
    settle();
    EXPECT_THAT(daemon->commands().all(), IsEmpty());
    EXPECT_EQ(looks(), 6U); // each change, and the two settling ones is looked at

    takeDown();
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
    EXPECT_THAT(daemon->commands().all(),
                Contains(HasSubstr("qcfg --queue -D br0_q1 -i br0 -t egress -l 32 ")));
    EXPECT_THAT(daemon->commands().all(), Contains(HasSubstr("classcfg -D calls ")));
    EXPECT_THAT(daemon->commands().all(), Contains(HasSubstr("--pir 20000 ")));

    daemon->commands().clear();
    bringUp();
    EXPECT_THAT(daemon->commands().changes(),
                Contains(HasSubstr("qcfg --queue -A br0_q1 -i br0 -t egress -l 99 ")));
    EXPECT_THAT(daemon->commands().changes(), Contains(HasSubstr("qcfg --queue -A ppp0_q5 ")));
    EXPECT_THAT(daemon->commands().changes(), Not(Contains(HasSubstr("classcfg -A calls "))));
    EXPECT_THAT(daemon->commands().changes(), Contains(HasSubstr("--pir 5000 ")));
}

TEST_F(ChangesTest, OneTransactionIsLookedAtOncePerChangedTable) {
    startDaemon(smallGateway());
    log.clear();
    db.transact(Json::array({Database::updating("QoSQueues", 1, {{"BufferLen", 1}}),
                             Database::updating("QoSQueues", 2, {{"BufferLen", 2}}),
                             Database::updating("StatusDsl", 1, {{"StatusString", "both"}}),
                             Database::updating("QoSShaper", 1, {{"ShapingRate", 7}})}));
    settle();
    EXPECT_EQ(log.count("info: DSL has state 'both'"), 3U);
}

TEST_F(ChangesTest, ATransactionIsSeenWholeAndActedOnOnce) {
    Json configuration = smallGateway();
    configuration["StatusDsl"][0]["Status"] = 0;
    startDaemon(configuration);
    log.clear();
    db.transact(Json::array({Database::updating(statusTable, internetRow, internetUp()),
                             Database::updating("StatusDsl", 1, {{"Status", 4}}),
                             Database::updating("QoSQueues", 3, {{"BufferLen", 77}})}));
    settle();
    EXPECT_EQ(log.count("info: WAN up statue 0 => 1"), 1U);
    EXPECT_THAT(daemon->commands().changes(), Contains(HasSubstr("-l 77 ")));
    EXPECT_EQ(daemon->commands().objects().size(), 11U);
}

TEST_F(ChangesTest, AnUpdateThatChangesNothingIsNoChange) {
    startDaemon(smallGateway());
    log.clear();
    db.update("QoSQueues", 1, {{"BufferLen", 64}});
    db.update(statusTable, internetRow, internetDown());
    settle();
    EXPECT_EQ(looks(), 2U) << "more than the settling changes was looked at";
}

TEST_F(ChangesTest, DeletingTheInternetsRowTakesTheWanDown) {
    startDaemon(smallGateway());
    bringUp();
    log.clear();
    db.remove(statusTable, internetRow);
    settle();
    EXPECT_TRUE(log.has("info: current ProviderInternet state: isUp: 0, Address: ''"));
    EXPECT_TRUE(log.has("info: WAN up statue 1 => 0"));
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
}

TEST_F(ChangesTest, DeletingTheLinesRowTakesTheWanDown) {
    startDaemon(smallGateway());
    bringUp();
    log.clear();
    db.remove("StatusDsl", 1);
    EXPECT_TRUE(log.waitFor("info: WAN up statue 1 => 0"));
    EXPECT_TRUE(log.has("warning: DB access failed @table 'StatusDsl', operation: '8' (fail reason: nothing "
                        "there), retry (1)"));
    EXPECT_TRUE(
        log.has("error: DB access failed @table 'StatusDsl', operation: 8 (fail reason: nothing there), "
                "retry (1)"));
    EXPECT_TRUE(log.has("error: could not get values at offset 0 for table 'StatusDsl'"));
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
}

TEST_F(ChangesTest, AnEthernetUplinkTakesOverWhenTheLineGoes) {
    Json configuration = smallGateway();
    configuration["NetworkSetupNode"].push_back({{"Id", 9},
                                                 {"Enable", 1},
                                                 {"Type", "WANoE"},
                                                 {"InterfaceName", "eth1"},
                                                 {"ParentInterface", "root"}});
    startDaemon(configuration);
    bringUp();
    log.clear();
    db.update("StatusDsl", 1, {{"Status", 0}});
    settle();
    EXPECT_TRUE(log.has("info: detected WANoE node enabled"));
    EXPECT_FALSE(log.has("info: WAN up statue 1 => 0")) << "up is up, whichever way";
    EXPECT_EQ(daemon->commands().objects().size(), 11U);
}

// Every up must be followed by its down, whatever was coming in meanwhile.
TEST_F(ChangesTest, QuickFlapsAreFollowedOneByOne) {
    startDaemon(smallGateway(), {});
    const std::size_t flaps = patience > Milliseconds(20'000) ? 4 : 15; // slow tools, fewer flaps
    for (std::size_t flap = 0; flap < flaps; ++flap) {
        db.update(statusTable, internetRow, internetUp());
        db.update(statusTable, internetRow, internetDown());
    }
    db.update(statusTable, internetRow, internetUp());
    settle();
    const std::size_t ups = log.count("info: WAN up statue 0 => 1");
    const std::size_t downs = log.count("info: WAN up statue 1 => 0");
    EXPECT_EQ(ups, downs + 1);
    EXPECT_EQ(log.count("info: apply WAN QoS settings..."), ups);
    EXPECT_EQ(log.count("info: remove WAN QoS settings..."), downs);
    EXPECT_EQ(daemon->commands().changes().size(), (ups + downs) * 11);
    EXPECT_EQ(daemon->commands().objects().size(), 11U);
    expectNoErrors();
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
}

TEST_F(ChangesTest, AWholeConfigurationCanBeExchangedInOneTransaction) {
    startDaemon(smallGateway());
    bringUp();
    Json other = exampleGateway("minimal");
    db.replaceAll(other);
    ASSERT_TRUE(log.waitFor("info: WAN up statue 1 => 0"));
    EXPECT_TRUE(eventually([&] { return daemon->commands().objects().empty(); }));
    db.transact(Json::array({{{"op", "update"},
                              {"table", statusTable},
                              {"where", Json::array({Json::array({"Name", "==", "ProviderInternet"})})},
                              {"row", internetUp()}}}));
    ASSERT_TRUE(log.waitFor("info: WAN up statue 0 => 1", 2));
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
    expectNoErrors();
}

class ExamplesTest : public GatewayTest, public ::testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Shipped, ExamplesTest,
                         ::testing::Values("dsl-tripleplay", "ethernet-wan", "minimal"),
                         [](const auto& test) {
                             std::string name = test.param;
                             name.erase(std::remove(name.begin(), name.end(), '-'), name.end());
                             return name;
                         });

TEST_P(ExamplesTest, GoUpAndDownWithoutAnErrorAndLeaveNothing) {
    Json configuration = exampleGateway(GetParam());
    startDaemon(configuration);
    Json operations = Json::array();
    for (const Json& row : configuration["StatusNetifWatchLogical"]) {
        if (row["Interface"] != "off") {
            operations.push_back(Database::updating(statusTable, row["Id"], internetUp()));
        }
    }
    operations.push_back(
        {{"op", "update"}, {"table", "StatusDsl"}, {"where", Json::array()}, {"row", {{"Status", 4}}}});
    db.transact(operations);
    ASSERT_TRUE(log.waitFor("info: WAN up statue 0 => 1"));
    db.transact(Json::array(
        {{{"op", "update"}, {"table", statusTable}, {"where", Json::array()}, {"row", internetDown()}}}));
    ASSERT_TRUE(log.waitFor("info: WAN up statue 1 => 0"));
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
    expectNoErrors();
    const Texts changes = daemon->commands().changes();
    EXPECT_GT(changes.size(), 6U);
    EXPECT_EQ(changes.size() % 2, 0U);
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
}

} // namespace

} // namespace e2e
