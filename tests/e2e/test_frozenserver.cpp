// The database server stands still (SIGSTOP) at any moment, and goes on or goes away: the daemon acts on
// whole snapshots and whole changes only, waits meanwhile, and is right afterwards.
#include "gatewaytest.h"
#include "pipeline.h"
#include "relay.h"

#include <csignal>

namespace e2e {

namespace {

// What the server has sent of its answers when it stands still.
struct Moment {
    const char* name;
    int messages; // whole ones: the schema, then the tables
    bool half;    // and the first half of the next
};

class StandstillTest : public GatewayTest {
  protected:
    void freezeAtTheMoment(Relay& relay) {
        ASSERT_TRUE(relay.waitUntilStopped());
        server.freeze();
        pause(Milliseconds(100)); // in which nothing may happen
    }

    void goOn(Relay& relay) {
        server.thaw();
        relay.resume();
    }

    static Json gatewayWithInternet() {
        Json configuration = smallGateway();
        configuration["StatusNetifWatchLogical"][2].update(internetUp());
        return configuration;
    }

    void expectStopLeavesNothing() {
        EXPECT_EQ(daemon->stop(SIGTERM), 0);
        EXPECT_THAT(daemon->commands().objects(), IsEmpty());
    }

    // The change that came while nobody listened, and afterwards all as usual.
    void expectDownThenUp() {
        ASSERT_TRUE(log.waitFor("info: WAN up statue 1 => 0"));
        settle();
        EXPECT_THAT(daemon->commands().objects(), IsEmpty());
        bringUp();
        EXPECT_EQ(daemon->commands().objects().size(), 11U);
        expectStopLeavesNothing();
    }
};

class FrozenServerTest : public StandstillTest, public ::testing::WithParamInterface<Moment> {};

// How GoogleTest shows it.
void PrintTo(const Moment& moment, std::ostream* to) {
    *to << moment.name;
}

std::string nameOf(const ::testing::TestParamInfo<Moment>& moment) {
    return moment.param.name;
}

INSTANTIATE_TEST_SUITE_P(Moments, FrozenServerTest,
                         ::testing::Values(Moment{"BeforeTheSchema", 0, false},
                                           Moment{"InTheMiddleOfTheSchema", 0, true},
                                           Moment{"BeforeTheTables", 1, false},
                                           Moment{"InTheMiddleOfTheTables", 1, true}),
                         nameOf);

TEST_P(FrozenServerTest, AtTheFirstConnectionNothingIsDecidedUntilItGoesOn) {
    startServer(gatewayWithInternet());
    Relay relay;
    relay.stopAfter(GetParam().messages, GetParam().half);
    daemon.emplace(Texts{"-d", "2"});
    freezeAtTheMoment(relay);
    EXPECT_FALSE(log.has("info: initial startup in progress"));
    EXPECT_THAT(daemon->commands().all(), IsEmpty());
    goOn(relay);
    ASSERT_TRUE(log.waitFor("info: initial startup in progress"));
    settle();
    EXPECT_EQ(daemon->commands().objects().size(), 11U);
    expectNoErrors();
    expectStopLeavesNothing();
}

TEST_P(FrozenServerTest, AtTheFirstConnectionAStopIsPrompt) {
    startServer(gatewayWithInternet());
    Relay relay;
    relay.stopAfter(GetParam().messages, GetParam().half);
    daemon.emplace(Texts{"-d", "2"});
    freezeAtTheMoment(relay);
    expectPromptStop();
    EXPECT_THAT(daemon->commands().all(), IsEmpty());
    server.thaw();
}

// The internet goes down while the daemon is without a server, which it learns from the whole tables only.
TEST_P(FrozenServerTest, AtAReconnectionTheOldSnapshotStandsUntilItGoesOn) {
    startDaemon(gatewayWithInternet());
    ASSERT_EQ(daemon->commands().objects().size(), 11U);
    server.crash();
    waitForOutage();
    daemon->signal(SIGSTOP); // so that it finds the server with the relay before it
    server.start();
    db.update(statusTable, internetRow, internetDown());
    daemon->commands().clear();
    Relay relay;
    relay.stopAfter(GetParam().messages, GetParam().half);
    daemon->signal(SIGCONT);
    freezeAtTheMoment(relay);
    EXPECT_THAT(daemon->commands().all(), IsEmpty());
    goOn(relay);
    expectDownThenUp();
}

// Not frozen but gone, at the same moments: what had come of the tables counts for nothing.
TEST_P(FrozenServerTest, OrGoneAtTheFirstConnectionItIsAskedAnew) {
    startServer(gatewayWithInternet());
    Relay relay;
    relay.stopAfter(GetParam().messages, GetParam().half);
    daemon.emplace(Texts{"-d", "2"});
    ASSERT_TRUE(relay.waitUntilStopped());
    db.update(statusTable, internetRow, internetDown()); // what it was about to say is not true any more
    relay.cut();
    ASSERT_TRUE(log.waitFor("info: initial startup in progress"));
    settle();
    EXPECT_THAT(daemon->commands().all(), IsEmpty());
    bringUp();
    EXPECT_EQ(daemon->commands().objects().size(), 11U);
    expectStopLeavesNothing();
}

// One transaction of many rows, of which the daemon has half when the server stands still.
class HalfAChangeTest : public StandstillTest {
  protected:
    void haveHalf(Relay& relay) {
        relay.stopAfter(2, true);
        daemon.emplace(Texts{"-d", "2"});
        ASSERT_TRUE(eventually([this] { return daemon->commands().objects().size() == 11; }));
        Json operations = Json::array({Database::updating(statusTable, internetRow, internetDown())});
        for (int id = 100; id < 400; ++id) {
            operations.push_back(Database::insertion(
                "QoSShaper", {{"Id", id}, {"Enable", 1}, {"InterfaceName", "eth9"}, {"ShapingRate", id}}));
        }
        db.transact(operations);
        daemon->commands().clear();
        freezeAtTheMoment(relay);
        EXPECT_THAT(daemon->commands().all(), IsEmpty());
    }
};

TEST_F(HalfAChangeTest, IsNoChangeUntilTheOtherHalfComes) {
    startServer(gatewayWithInternet());
    Relay relay;
    haveHalf(relay);
    goOn(relay);
    expectDownThenUp();
}

TEST_F(HalfAChangeTest, IsForgottenWhenTheConnectionGoesAndReadAnew) {
    startServer(gatewayWithInternet());
    Relay relay;
    haveHalf(relay);
    server.thaw();
    relay.cut();
    expectDownThenUp();
}

// Half a transaction of somebody else's: the server does nothing of it, and so the daemon sees nothing.
TEST_F(StandstillTest, AWriterThatGoesInTheMiddleOfATransactionChangesNothing) {
    startDaemon(gatewayWithInternet());
    daemon->commands().clear();
    Json operations = Json::array({Database::updating(statusTable, internetRow, internetDown())});
    for (int id = 100; id < 400; ++id) {
        operations.push_back(Database::removal("QoSQueues", id));
    }
    Pipeline::sendHalf(operations);
    settle();
    EXPECT_FALSE(log.has("info: WAN up statue 1 => 0"));
    EXPECT_THAT(daemon->commands().changes(), IsEmpty());
    EXPECT_EQ(daemon->commands().objects().size(), 11U);
    expectStopLeavesNothing();
}

TEST_F(StandstillTest, WhileTheDaemonWaitsChangesAreFollowedInTheirOrderAfterwards) {
    startDaemon(smallGateway());
    bringUp();
    daemon->commands().clear();
    log.clear();
    Pipeline writer;
    server.freeze();
    for (const Json& change : {internetDown(), internetUp(), internetDown()}) {
        writer.add(Json::array({Database::updating(statusTable, internetRow, change)}));
    }
    writer.move();
    pause(Milliseconds(100));
    EXPECT_THAT(daemon->commands().all(), IsEmpty());
    EXPECT_FALSE(log.has("info: WAN up statue 1 => 0"));
    daemon->signal(SIGSTOP); // so that it finds all of them at once
    server.thaw();
    ASSERT_TRUE(writer.finish());
    daemon->signal(SIGCONT);
    settle();
    EXPECT_EQ(log.count("info: WAN up statue 1 => 0"), log.count("info: WAN up statue 0 => 1") + 1);
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
    expectNoErrors();
    bringUp();
    EXPECT_EQ(daemon->commands().objects().size(), 11U);
    expectStopLeavesNothing();
}

// They come in one piece, and nothing comes after them that would wake the daemon once more.
TEST_F(StandstillTest, ChangesThatCameBeforeItAreAllFollowed) {
    startDaemon(smallGateway());
    bringUp();
    daemon->signal(SIGSTOP);
    db.update("QoSShaper", 1, {{"ShapingRate", 5000}});
    db.update(statusTable, internetRow, internetDown());
    db.transact(Json::array({{{"op", "comment"}, {"comment", "by now the server has sent both"}}}));
    server.freeze();
    daemon->signal(SIGCONT);
    EXPECT_TRUE(log.waitFor("info: WAN up statue 1 => 0"));
    server.thaw();
    settle();
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
    expectStopLeavesNothing();
}

TEST_F(StandstillTest, DuringApplyItIsNotNeeded) {
    startServer(smallGateway());
    startDaemonWithSlow("qcfg");
    db.update(statusTable, internetRow, internetUp());
    ASSERT_TRUE(log.waitFor("info: apply success: 'ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0 -g2'"));
    server.freeze();
    ASSERT_TRUE(log.waitFor(
        "info: apply success: 'qcfg --port -A shape_wan_ing -i ptm0 -s cb --pir 20000 -t ingress'"));
    EXPECT_EQ(daemon->commands().objects().size(), 11U);
    server.thaw();
    takeDown();
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
    expectNoErrors();
}

// The daemon reads its snapshot and asks nobody.
TEST_F(StandstillTest, DuringDiscoveryItIsNotNeeded) {
    startServer(smallGateway());
    startDaemonWithSlow("ifcfg"); // its listings are the first commands, before most of the look-ups
    db.update(statusTable, internetRow, internetUp());
    ASSERT_TRUE(log.waitFor("trace: check cmd: 'ifcfg --ifmap -L | grep -q \"CAT 2.*ptm0.*\"'"));
    server.freeze();
    ASSERT_TRUE(log.waitFor(
        "info: apply success: 'qcfg --port -A shape_wan_ing -i ptm0 -s cb --pir 20000 -t ingress'"));
    EXPECT_EQ(daemon->commands().objects().size(), 11U);
    EXPECT_THAT(daemon->commands().changes(), Contains(HasSubstr("-o ppp0 -j dscp")));
    server.thaw();
    expectNoErrors();
    expectStopLeavesNothing();
}

} // namespace

} // namespace e2e
