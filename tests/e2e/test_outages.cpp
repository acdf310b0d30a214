// The database server is absent, goes, hangs, comes back.
#include "gatewaytest.h"

#include <csignal>

namespace e2e {

namespace {

constexpr int watchedTables = 7;

class OutagesTest : public GatewayTest {
  protected:
    // Changes the database's file while no server runs.
    void bringUpBehindTheDaemonsBack() {
        server.start();
        db.update(statusTable, internetRow, internetUp());
        server.stop();
    }
};

TEST_F(OutagesTest, AnAbsentServerIsReportedOnceAndWaitedFor) {
    daemon.emplace();
    ASSERT_TRUE(log.waitFor("info: Now starting confighandler..."));
    pause(Milliseconds(1700)); // three attempts
    EXPECT_EQ(outagesReported(), 1U);
    EXPECT_FALSE(log.has("info: initial startup in progress"));

    Json configuration = smallGateway();
    configuration["StatusNetifWatchLogical"][2].update(internetUp());
    startServer(configuration);
    ASSERT_TRUE(log.waitFor("info: initial startup in progress"));
    settle();
    EXPECT_EQ(log.count("info: initial startup in progress"), 1U);
    EXPECT_EQ(daemon->commands().objects().size(), 11U);
    EXPECT_EQ(outagesReported(), 1U);
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
}

TEST_F(OutagesTest, AStopWhileTheServerIsAbsentIsPrompt) {
    daemon.emplace();
    ASSERT_TRUE(log.waitFor("info: Now starting confighandler..."));
    waitForOutage();
    expectPromptStop();
    EXPECT_TRUE(log.has("info: pacerd_ng is called to go down, do so..."));
}

TEST_F(OutagesTest, AfterAnOutageEveryWatchedTableCountsAsChanged) {
    startDaemon(smallGateway());
    bringUp();
    log.clear();
    server.crash();
    waitForOutage();
    pause(Milliseconds(1200));
    EXPECT_EQ(outagesReported(), 1U);
    EXPECT_EQ(daemon->commands().objects().size(), 11U);
    EXPECT_EQ(log.count("info: detected 'ProviderInternet' is up"), 0U);

    daemon->commands().clear();
    server.start();
    EXPECT_TRUE(log.waitFor("info: detected 'ProviderInternet' is up", watchedTables));
    log.clear();
    settle();
    EXPECT_EQ(looks(), 2U) << "more than the settling changes was looked at";
    EXPECT_FALSE(log.has("info: initial startup in progress"));
    EXPECT_THAT(daemon->commands().all(), IsEmpty()) << "nothing has changed, so nothing is to be done";
}

TEST_F(OutagesTest, WhatChangedDuringAnOutageIsFollowedAfterIt) {
    startDaemon(smallGateway());
    daemon->signal(SIGSTOP); // so that it sees only the second server
    server.stop();
    bringUpBehindTheDaemonsBack();
    server.start();
    daemon->signal(SIGCONT);
    EXPECT_TRUE(log.waitFor("info: WAN up statue 0 => 1"));
    settle();
    EXPECT_EQ(daemon->commands().objects().size(), 11U);

    log.clear();
    server.crash();
    server.start();
    EXPECT_TRUE(log.waitFor("info: detected 'ProviderInternet' is up", watchedTables));
    takeDown();
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
}

TEST_F(OutagesTest, EachOutageIsReportedAnew) {
    startDaemon(smallGateway());
    for (std::size_t outage = 1; outage <= 3; ++outage) {
        server.crash();
        EXPECT_TRUE(eventually([&] { return outagesReported() == outage; }));
        server.start();
        settle();
        EXPECT_EQ(outagesReported(), outage);
    }
}

TEST_F(OutagesTest, AStopWhileTheServerIsGoneRevertsEverything) {
    startDaemon(smallGateway());
    bringUp();
    server.crash();
    waitForOutage();
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
    EXPECT_THAT(log.messages(), Not(Contains(HasSubstr("DB access failed"))));
}

TEST_F(OutagesTest, AServerThatGoesDuringApplyDoesNotDisturbIt) {
    startServer(smallGateway());
    startDaemonWithSlow("qcfg");
    db.update(statusTable, internetRow, internetUp());
    ASSERT_TRUE(log.waitFor("info: apply success: 'ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0 -g2'"));
    server.crash();
    ASSERT_TRUE(log.waitFor(
        "info: apply success: 'qcfg --port -A shape_wan_ing -i ptm0 -s cb --pir 20000 -t ingress'"));
    waitForOutage();
    EXPECT_EQ(daemon->commands().objects().size(), 11U);
    EXPECT_THAT(log.messages(), Not(Contains(HasSubstr("DB access failed"))));

    server.start();
    takeDown();
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
}

// The rules' actions and the interfaces are looked up after the server has gone: from the snapshot.
TEST_F(OutagesTest, AServerThatGoesDuringDiscoveryDoesNotDisturbIt) {
    startServer(smallGateway());
    startDaemonWithSlow("ifcfg"); // its listings are the first commands, before most of the look-ups
    db.update(statusTable, internetRow, internetUp());
    ASSERT_TRUE(log.waitFor("trace: check cmd: 'ifcfg --ifmap -L | grep -q \"CAT 2.*ptm0.*\"'"));
    server.crash();
    ASSERT_TRUE(log.waitFor("info: got 2 fapi qos shaper commands for interface 'ptm0'"));
    waitForOutage();
    EXPECT_EQ(daemon->commands().objects().size(), 11U);
    EXPECT_THAT(daemon->commands().changes(), Contains(HasSubstr("-o ppp0 -j dscp")));
    EXPECT_THAT(log.messages(), Not(Contains(HasSubstr("DB access failed"))));
}

TEST_F(OutagesTest, AChangeThatArrivedBeforeTheServerWentIsStillSeenInTheEnd) {
    startDaemon(smallGateway());
    daemon->signal(SIGSTOP);
    db.update(statusTable, internetRow, internetUp());
    server.crash();
    daemon->signal(SIGCONT);
    waitForOutage();
    server.start();
    EXPECT_TRUE(log.waitFor("info: WAN up statue 0 => 1"));
    settle();
    EXPECT_EQ(daemon->commands().objects().size(), 11U);
}

TEST_F(OutagesTest, AFrozenServerDelaysNeitherAStopNorTheReverting) {
    startDaemon(smallGateway());
    bringUp();
    server.freeze();
    pause(Milliseconds(50));
    expectPromptStop();
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
}

TEST_F(OutagesTest, AServerThatIsFrozenAtStartIsWaitedFor) {
    startServer(smallGateway());
    server.freeze();
    daemon.emplace();
    ASSERT_TRUE(log.waitFor("info: Now starting confighandler..."));
    pause(Milliseconds(300));
    EXPECT_FALSE(log.has("info: initial startup in progress"));
    server.thaw();
    EXPECT_TRUE(log.waitFor("info: initial startup in progress"));
    settle();

    daemon->stop(SIGTERM);
    server.freeze();
    log.clear();
    daemon.emplace();
    ASSERT_TRUE(log.waitFor("info: Now starting confighandler..."));
    expectPromptStop();
}

TEST_F(OutagesTest, AServerWithoutOurDatabaseIsReportedOnceAndWaitedFor) {
    writeFile("/tmp/other.schema",
              R"({"name": "Other", "tables": {"QoSQueues": {"columns": {"Id": {"type": "integer"}}}}})");
    OvsdbServer other("/tmp/other.schema");
    other.start();
    daemon.emplace();
    ASSERT_TRUE(log.waitFor("info: Now starting confighandler..."));
    waitForOutage();
    pause(Milliseconds(1200));
    EXPECT_EQ(outagesReported(), 1U);
    EXPECT_THAT(log.messages(), Contains(HasSubstr("Gateway")));

    other.stop();
    startServer(smallGateway());
    EXPECT_TRUE(log.waitFor("info: initial startup in progress"));
    settle();
}

} // namespace

} // namespace e2e
