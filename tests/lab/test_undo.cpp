// What was before is there again: after a hundred rounds, and after the daemon was killed between any two of
// its commands and started anew.
#include "labtest.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>

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

#ifdef E2E_SANITIZED
constexpr int rounds = 10;
#else
constexpr int rounds = 100;
#endif

TEST_P(UndoTest, ManyRoundsLeaveNothing) {
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
        shell(std::string("mkdir -p ") + tools);
        for (const char* tool : {"ifcfg", "qcfg", "classcfg"}) {
            const std::string file = std::string(tools) + "/" + tool;
            e2e::writeFile(file, "#!/bin/sh\n"
                                 "PATH=" +
                                     std::string(std::getenv("PATH")) + "\n" + tool +
                                     " \"$@\"\n"
                                     "status=$?\n"
                                     "case \" $* \" in *' -A '* | *' -M '* | *' -D '*)\n"
                                     "    left=$(($(cat /tmp/changes-left) - 1))\n"
                                     "    echo $left >/tmp/changes-left\n"
                                     "    [ $left != 0 ] || kill -KILL $(cat /tmp/daemon.pid) ;;\n"
                                     "esac\n"
                                     "exit $status\n");
            chmod(file.c_str(), 0755);
        }
    }

    void startVictim(int changes) {
        e2e::writeFile("/tmp/changes-left", "0");
        startDaemon(tools);
        e2e::writeFile("/tmp/daemon.pid", std::to_string(daemon->id()));
        e2e::writeFile("/tmp/changes-left", std::to_string(changes));
    }

    void startAndStopAsUsual() {
        daemon.reset();
        setWan(true);
        log.clear();
        startDaemon();
        expectNoErrors();
        stopDaemon();
    }

    static constexpr const char* tools = "/tmp/killing-tools";
    static constexpr int endless = 1000;
};

INSTANTIATE_TEST_SUITE_P(Examples, KillTest, ::testing::Values("dsl-tripleplay", "ethernet-wan", "minimal"),
                         withoutDashes);

TEST_P(KillTest, KilledOnTheWayUpLeavesNothingAfterTheNextLife) {
    int changes = 1;
    for (; changes < endless; ++changes) {
        setWan(false);
        startVictim(changes);
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
    for (; changes < endless; ++changes) {
        setWan(true);
        startVictim(0);
        e2e::writeFile("/tmp/changes-left", std::to_string(changes));
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
