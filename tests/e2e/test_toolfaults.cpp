// A tool is killed, hangs, or cannot be started.
#include "gatewaytest.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>

namespace e2e {

namespace {

namespace fs = std::filesystem;

constexpr const char* homeQueue =
    "qcfg --queue -A br0_q1 -i br0 -t egress -l 32 -m sp --priority 1 -d tail --map 1";

class ToolFaultsTest : public GatewayTest {
  protected:
    // When the home network's queue is to be made, qcfg does this; its own work is "$real" "$@".
    void startDaemonWhoseQcfg(const std::string& does) {
        fs::create_directory("/tmp/faulty");
        writeFile("/tmp/faulty/qcfg", "#!/bin/sh\nreal=" + toolsFolder() +
                                          "/qcfg\ncase \" $* \" in *' -A br0_q1 '*)\n" + does +
                                          "\n;; esac\nexec \"$real\" \"$@\"\n");
        fs::permissions("/tmp/faulty/qcfg", fs::perms(0755));
        startServer(smallGateway());
        daemon.emplace(Texts{"-d", "2"}, std::map<std::string, std::string>{
                                             {"PATH", "/tmp/faulty:" + toolsFolder() + ":/usr/bin:/bin"}});
        ASSERT_TRUE(log.waitFor("info: initial startup in progress"));
    }

    void expectTakenBack() {
        EXPECT_EQ(daemon->exitStatus(), 0);
        EXPECT_TRUE(log.waitFor("error: failed appliing qos config"));
        EXPECT_TRUE(log.waitFor("info: pacerd_ng is called to go down, do so..."));
        EXPECT_THAT(log.messages(),
                    Contains(HasSubstr("error: failed cmd '" + std::string(homeQueue) + "' (retcode: ")));
        EXPECT_THAT(daemon->commands().objects(), IsEmpty());
    }

    // The child whose command line an operator sees below the daemon; 0 if there is none.
    pid_t childThatSays(const std::string& words) {
        const std::string parent = "\nPPid:\t" + std::to_string(daemon->process().id()) + "\n";
        for (const fs::directory_entry& entry : fs::directory_iterator("/proc")) {
            const std::string process = entry.path();
            try {
                std::string line = readFile(process + "/cmdline");
                std::replace(line.begin(), line.end(), '\0', ' ');
                if (readFile(process + "/status").find(parent) != std::string::npos &&
                    line.find(words) != std::string::npos) {
                    return std::atoi(entry.path().filename().c_str());
                }
            } catch (const std::exception&) { // it has ended meanwhile
            }
        }
        return 0;
    }
};

TEST_F(ToolFaultsTest, OneThatIsKilledBeforeItsWorkCountsAsFailed) {
    startDaemonWhoseQcfg("kill -KILL $$");
    db.update(statusTable, internetRow, internetUp());
    expectTakenBack();
}

TEST_F(ToolFaultsTest, OneThatIsKilledAfterItsWorkIsTakenBackToo) {
    startDaemonWhoseQcfg("\"$real\" \"$@\"; kill -SEGV $$");
    db.update(statusTable, internetRow, internetUp());
    expectTakenBack();
}

// The shell cannot start it in so little memory.
TEST_F(ToolFaultsTest, OneWithoutMemoryCountsAsFailed) {
    startDaemonWhoseQcfg("ulimit -v 64");
    db.update(statusTable, internetRow, internetUp());
    expectTakenBack();
}

// By design the daemon waits for it; the manual page says so, and how to see it and what helps.
TEST_F(ToolFaultsTest, OneThatHangsIsWaitedForAndCanBeSeenAndEnded) {
    startDaemonWhoseQcfg("sleep 1000");
    db.update(statusTable, internetRow, internetUp());
    pid_t hanging = 0;
    ASSERT_TRUE(eventually([&] { return (hanging = childThatSays("qcfg --queue -A br0_q1")) != 0; }));
    daemon->signal(SIGTERM);
    EXPECT_EQ(daemon->exitStatus(Milliseconds(300)), -1) << "it does not leave a command behind";
    ::kill(hanging, SIGKILL);
    expectTakenBack();
    EXPECT_THAT(readFile(manualPage("pacerd_ng.8")), HasSubstr("ps \\-f \\-\\-ppid"));
}

// The daemon as a user whose processes are counted: root's are not.
class NoProcessesTest : public GatewayTest {
  protected:
    NoProcessesTest() {
        fs::remove_all(programs);
        fs::create_directories(std::string(programs) + "/real");
        fs::copy(programFolder() + "/pacerd_ng", programs);
        for (const char* tool : {"ifcfg", "classcfg", "real/qcfg"}) {
            fs::copy(toolsFolder() + "/" + fs::path(tool).filename().string(),
                     std::string(programs) + "/" + tool);
        }
        // The first queue waits until it may be made.
        writeFile(std::string(programs) + "/qcfg",
                  "#!/bin/sh\ncase \" $* \" in *' -A ppp0_q3 '*)\n"
                  "touch /tmp/waits\nwhile [ ! -e /tmp/go ]; do sleep 0.01; done;; esac\n"
                  "exec " +
                      std::string(programs) + "/real/qcfg \"$@\"\n");
        fs::permissions(std::string(programs) + "/qcfg", fs::perms(0755));
        writeFile("/tmp/go", "");
        fs::remove("/tmp/waits");
        fs::remove(commands.file());
        fs::remove(commands.file() + ".objects");
        fs::permissions("/dev/log", fs::perms(0666));
        startServer(smallGateway());
        fs::permissions(serverSocket, fs::perms(0666));
    }

    void start() {
        log.clear();
        somebody_ = Process(Command{{std::string(programs) + "/pacerd_ng", "-d", "2"},
                                    {{"PATH", std::string(programs) + ":/usr/bin:/bin"},
                                     {"PACERD_RECORD", commands.file()},
                                     // A leak check would need a process.
                                     {"ASAN_OPTIONS", "detect_leaks=0"}},
                                    "",
                                    "",
                                    user});
        ASSERT_TRUE(log.waitFor("info: initial startup in progress"));
    }

    void stop() {
        somebody_.signal(SIGTERM);
        EXPECT_EQ(somebody_.exitStatus(), 0);
    }

    // While `none`, it can start nothing any more. Set by the same user: root may lack the right.
    void limitProcesses(bool none) {
        rlimit ours = {};
        ASSERT_EQ(getrlimit(RLIMIT_NPROC, &ours), 0);
        const std::string most = ours.rlim_max == RLIM_INFINITY ? "unlimited" : std::to_string(ours.rlim_max);
        Process change(Command{
            {"prlimit", "--pid", std::to_string(somebody_.id()), "--nproc=" + (none ? "0" : most) + ":"},
            {},
            "",
            "",
            user});
        ASSERT_EQ(change.exitStatus(), 0);
    }

    void expectNothingButMaps() {
        EXPECT_THAT(commands.objects(), ElementsAre("ifmap ptm0 CAT 2 ptm0", "ifmap ptm0 CAT 2 ppp0",
                                                    "ifmap ptm0 INGGRP 2 ppp0"));
    }

    static constexpr const char* programs = "/tmp/programs";
    static constexpr uid_t nobody = 65534;
    const uid_t user = ::geteuid() == 0 ? nobody : 0;
    Process somebody_;
    CommandRecord commands{std::string("/tmp/somebody.") +
                           ::testing::UnitTest::GetInstance()->current_test_info()->name()};
};

TEST_F(NoProcessesTest, FromTheOutsetEndInGoodOrder) {
    start();
    limitProcesses(true);
    db.update(statusTable, internetRow, internetUp());
    EXPECT_EQ(somebody_.exitStatus(), 0);
    EXPECT_TRUE(log.waitFor("error: failed cmd 'ifcfg --ifmap -A ptm0 -t2 -bptm0 -lptm0' (retcode: 32512)"));
    EXPECT_THAT(commands.all(), IsEmpty());
}

// Nothing can be taken back then. The next life does it.
TEST_F(NoProcessesTest, InTheMiddleOfApplyLeaveWhatIsAppliedToTheNextLife) {
    fs::remove("/tmp/go");
    start();
    db.update(statusTable, internetRow, internetUp());
    ASSERT_TRUE(eventually([] { return fs::exists("/tmp/waits"); }));
    limitProcesses(true);
    writeFile("/tmp/go", "");
    EXPECT_EQ(somebody_.exitStatus(), 0);
    EXPECT_THAT(commands.objects(), ElementsAre("ifmap ptm0 CAT 2 ptm0", "ifmap ptm0 CAT 2 ppp0",
                                                "ifmap ptm0 INGGRP 2 ppp0", "queue ppp0 egress ppp0_q3"));

    start();
    settle();
    EXPECT_EQ(commands.objects().size(), 11U);
    stop();
    expectNothingButMaps();
}

TEST_F(NoProcessesTest, OnTheWayDownLeaveEverythingToTheNextWayDown) {
    start();
    bringUp();
    limitProcesses(true);
    takeDown();
    EXPECT_EQ(commands.objects().size(), 11U);
    EXPECT_TRUE(
        log.waitFor("error: failed removing cmd 'ifcfg --ifmap -D ptm0 -t2 -bptm0 -lptm0' (retcode: 32512)"));
    limitProcesses(false);
    bringUp();
    takeDown();
    expectNothingButMaps();
    stop();
}

} // namespace

} // namespace e2e
