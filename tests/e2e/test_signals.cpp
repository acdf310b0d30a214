// Signals: which stop the daemon, how fast, and what it does before it ends.
#include "gatewaytest.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <random>

namespace e2e {

namespace {

using Clock = std::chrono::steady_clock;

#ifdef E2E_SANITIZED
constexpr Milliseconds usually{1000}; // sanitizers look for leaks at the end
#else
constexpr Milliseconds usually{100};
#endif

Clock::duration median(std::vector<Clock::duration> times) {
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

const std::string goingDown = "info: pacerd_ng is called to go down, do so...";

class SignalsTest : public GatewayTest, public ::testing::WithParamInterface<int> {};

INSTANTIATE_TEST_SUITE_P(Stop, SignalsTest, ::testing::Values(SIGINT, SIGTERM, SIGQUIT),
                         [](const auto& test) { return std::string(sigabbrev_np(test.param)); });

TEST_P(SignalsTest, AStopSignalRevertsEverythingAndEndsWithStatus0) {
    startDaemon(smallGateway());
    bringUp();
    EXPECT_EQ(daemon->commands().objects().size(), 11U);
    log.clear();
    EXPECT_EQ(daemon->stop(GetParam()), 0);
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
    EXPECT_TRUE(log.has(goingDown));
    EXPECT_TRUE(log.has("info: skip removing PCP egress map, done by fapi"));
}

TEST_P(SignalsTest, AStopSignalWithTheWanDownHasNothingToRevert) {
    startDaemon(smallGateway());
    log.clear();
    EXPECT_EQ(daemon->stop(GetParam()), 0);
    EXPECT_THAT(from(log.messages(), goingDown),
                ElementsAre(goingDown, "info: qos config hasn't been applied yet, skip revert"));
    EXPECT_THAT(daemon->commands().all(), IsEmpty());
}

TEST_F(SignalsTest, ABrokenPipeIsHarmless) {
    startDaemon(smallGateway());
    daemon->signal(SIGPIPE);
    bringUp();
    daemon->signal(SIGPIPE);
    EXPECT_EQ(daemon->commands().objects().size(), 11U);
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
}

TEST_F(SignalsTest, AStopThatArrivesWhileACommandRunsIsKept) {
    startServer(smallGateway());
    run({"mkdir", "-p", "/tmp/slow"});
    writeFile("/tmp/slow/ifcfg", "#!/bin/sh\nsleep 0.3\nexec " + toolsFolder() + "/ifcfg \"$@\"\n");
    run({"chmod", "+x", "/tmp/slow/ifcfg"});
    daemon.emplace(Texts{}, std::map<std::string, std::string>{
                                {"PATH", "/tmp/slow:" + toolsFolder() + ":/usr/bin:/bin"}});
    ASSERT_TRUE(log.waitFor("info: initial startup in progress"));
    db.update(statusTable, internetRow, internetUp());
    ASSERT_TRUE(log.waitFor("info: apply WAN QoS settings..."));
    daemon->signal(SIGTERM);
    EXPECT_EQ(daemon->exitStatus(), 0);
    EXPECT_TRUE(log.has("info: skip setting PCP egress map, done by fapi"))
        << "what was begun was not finished";
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
}

// The moments lie between start and well into the loop; some fall between the flag's test and the wait.
TEST_F(SignalsTest, AStopAtAnyMomentEndsPromptly) {
    startServer(smallGateway());
    std::mt19937 random(4711); // NOLINT(cert-msc51-cpp): the same moments each time
    std::vector<Clock::duration> times;
    for (int attempt = 0; attempt < 200; ++attempt) {
        log.clear();
        daemon.emplace();
        ASSERT_TRUE(log.waitFor("info: Do Inits..")); // the handlers are in place
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
        const auto begin = Clock::now();
        daemon->signal(SIGTERM);
        ASSERT_EQ(daemon->exitStatus(), 0) << "attempt " << attempt;
        times.push_back(Clock::now() - begin);
        ASSERT_LT(times.back(), promptly) << "attempt " << attempt;
    }
    EXPECT_LT(median(times), usually);
}

TEST_F(SignalsTest, AStopWhileChangesPourInEndsPromptly) {
    startDaemon(smallGateway(), {});
    std::mt19937 random(815); // NOLINT(cert-msc51-cpp)
    std::vector<Clock::duration> times;
    for (int attempt = 0; attempt < 30; ++attempt) {
        log.clear();
        daemon.emplace();
        ASSERT_TRUE(log.waitFor("info: initial startup in progress"));
        const auto changes = random() % 20;
        for (unsigned change = 0; change < changes; ++change) {
            db.update("StatusDsl", 1, {{"StatusString", std::to_string(change)}});
        }
        const auto begin = Clock::now();
        daemon->signal(SIGTERM);
        ASSERT_EQ(daemon->exitStatus(), 0);
        times.push_back(Clock::now() - begin);
        ASSERT_LT(times.back(), promptly) << "attempt " << attempt;
    }
    EXPECT_LT(median(times), usually);
}

} // namespace

} // namespace e2e
