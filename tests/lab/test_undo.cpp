// What was before is there again: after many rounds (LAB_ROUNDS; ./run soak: 100), and after the daemon was
// killed between any two of its commands and started anew.
#include "labtest.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace lab {

namespace {

std::string withoutDashes(const ::testing::TestParamInfo<const char*>& example) {
    std::string name = example.param;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

class UndoTest : public LabTest, public ::testing::WithParamInterface<const char*> {
  protected:
    void SetUp() override {
        buildGateway(e2e::exampleGateway(GetParam()));
        before_ = gatewayState();
    }

    void expectEverythingUndone() { EXPECT_EQ(difference(before_, gatewayState()), ""); }

  private:
    std::string before_;
};

INSTANTIATE_TEST_SUITE_P(Examples, UndoTest, ::testing::Values("dsl-tripleplay", "ethernet-wan", "minimal"),
                         withoutDashes);

TEST_P(UndoTest, DownRestoresWhatWasBeforeUp) {
    const std::string before = gatewayState();
    startDaemon();
    bringUp();
    EXPECT_NE(difference(before, gatewayState()), "");
    takeDown();
    expectEverythingUndone();
    expectNoErrors();
}

TEST_P(UndoTest, StopRestoresWhatWasBeforeUp) {
    startDaemon();
    bringUp();
    stopDaemon();
    expectEverythingUndone();
}

TEST_P(UndoTest, ManyRoundsLeaveNothing) {
    const char* chosen = std::getenv("LAB_ROUNDS");
    const int rounds = chosen == nullptr ? 15 : std::atoi(chosen);
    startDaemon();
    for (int round = 0; round < rounds; ++round) {
        bringUp();
        takeDown();
    }
    expectEverythingUndone();
    expectNoErrors();
}

// The tools, and after so many changes of theirs the daemon that ran them is killed.
class KillTest : public UndoTest {
  protected:
    void SetUp() override {
        UndoTest::SetUp();
        shell(std::string("mkdir -p ") + tools + "; for tool in ifcfg qcfg classcfg; do ln -sf " +
              LAB_CUTTING_TOOL + " " + tools + "/$tool; done");
    }

    void startVictim() {
        e2e::writeFile(plan, "0 0");
        startDaemon(tools);
    }

    void killAfter(int changes) {
        e2e::writeFile(plan, std::to_string(changes) + " 0 " + std::to_string(daemon->id()));
    }

    void startAndStopAsUsual() {
        daemon.reset();
        setWan(true);
        log.clear();
        startDaemon();
        expectNoErrors();
        stopDaemon();
    }

    static constexpr const char* tools = "/tmp/cutting-tools";
    static constexpr const char* plan = "/tmp/cut";
    static constexpr int endless = 1000;

    // The others have so many commands that each of them is for ./run soak.
    const int step_ = cutStep(std::string_view(GetParam()) == "minimal" ? 1 : 5);
};

INSTANTIATE_TEST_SUITE_P(Examples, KillTest, ::testing::Values("dsl-tripleplay", "ethernet-wan", "minimal"),
                         withoutDashes);

TEST_P(KillTest, KilledOnTheWayUpLeavesNothingAfterTheNextLife) {
    int changes = 1;
    for (; changes < endless; changes += step_) {
        setWan(false);
        startVictim();
        killAfter(changes);
        setWan(true);
        const bool done = settlesOrEnds();
        startAndStopAsUsual();
        expectEverythingUndone();
        if (done || HasFailure()) {
            break; // it came all the way up
        }
    }
    EXPECT_GT(changes, 3) << "the daemon ran hardly a command";
    EXPECT_LT(changes, endless);
}

TEST_P(KillTest, KilledOnTheWayDownLeavesNothingAfterTheNextLife) {
    int changes = 1;
    for (; changes < endless; changes += step_) {
        setWan(true);
        startVictim();
        killAfter(changes);
        setWan(false);
        const bool done = settlesOrEnds();
        startAndStopAsUsual();
        expectEverythingUndone();
        if (done || HasFailure()) {
            break;
        }
    }
    EXPECT_GT(changes, 3) << "the daemon ran hardly a command";
    EXPECT_LT(changes, endless);
}

} // namespace

} // namespace lab
