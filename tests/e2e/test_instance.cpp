// One instance at a time, the background, and the pid file between the two.
#include "gatewaytest.h"

#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>

namespace e2e {

namespace {

const std::string refusal = "error: Another process is already running. Exiting...\n";

class InstanceTest : public GatewayTest {
  protected:
    // Starts with -b, returns the process in the background.
    Process startInBackground() {
        const std::string before = readFile(pidFile);
        daemon.emplace(Texts{"-b"});
        EXPECT_EQ(daemon->exitStatus(), 0);
        EXPECT_EQ(daemon->output(), "Daemonize: 1\n");
        EXPECT_EQ(daemon->errors(), "");
        EXPECT_TRUE(eventually([&] { return !readFile(pidFile).empty() && readFile(pidFile) != before; }));
        return Process::adopt(std::atoi(readFile(pidFile).c_str()));
    }

    static bool pidFileExists() { return std::filesystem::exists(pidFile); }
};

TEST_F(InstanceTest, TheBackgroundProcessWritesItsIdAndRemovesItAtTheEnd) {
    startServer(smallGateway());
    Process background = startInBackground();
    ASSERT_GT(background.id(), 1);
    EXPECT_TRUE(log.waitFor("info: current ProviderInternet state: isUp: 0, Address: '0.0.0.0'"));
    EXPECT_EQ(std::atoi(readFile(pidFile).c_str()), background.id());
    for (const LogLine& line : log.lines()) {
        EXPECT_EQ(line.process, background.id()) << levelAndText(line);
        EXPECT_EQ(line.program, "pacerd_ng");
        EXPECT_EQ(line.facility, 3);
    }

    background.signal(SIGTERM);
    EXPECT_EQ(background.exitStatus(), 0);
    EXPECT_FALSE(pidFileExists());
    EXPECT_EQ(daemon->errors(), "") << "the background process still writes to the terminal";
}

TEST_F(InstanceTest, TheBackgroundProcessIsDetached) {
    Process background = startInBackground();
    EXPECT_EQ(getsid(background.id()), background.id()) << "it has no session of its own";
    const std::string proc = "/proc/" + std::to_string(background.id());
    EXPECT_EQ(std::filesystem::read_symlink(proc + "/cwd"), "/");
    for (const char* stream : {"/fd/0", "/fd/1", "/fd/2"}) {
        EXPECT_EQ(std::filesystem::read_symlink(proc + stream), "/dev/null") << stream;
    }
    background.signal(SIGTERM);
    EXPECT_EQ(background.exitStatus(), 0);
}

TEST_F(InstanceTest, TheBackgroundProcessAppliesAndRevertsLikeTheForegroundOne) {
    startServer(smallGateway());
    Process background = startInBackground();
    bringUp();
    EXPECT_EQ(daemon->commands().objects().size(), 11U);
    background.signal(SIGTERM);
    EXPECT_EQ(background.exitStatus(), 0);
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
}

TEST_F(InstanceTest, ASecondInstanceIsRefusedInForegroundAndBackground) {
    Process background = startInBackground();
    for (const Texts& options : {Texts{}, Texts{"-b"}}) {
        Daemon second(options);
        EXPECT_EQ(second.exitStatus(), 1);
        EXPECT_THAT(second.errors(), HasSubstr("Another process is already running. Exiting...\n"));
        EXPECT_EQ(std::atoi(readFile(pidFile).c_str()), background.id());
    }
    Texts fromOthers;
    for (const LogLine& line : log.lines()) {
        if (line.process != background.id()) {
            fromOthers.push_back(levelAndText(line));
        }
    }
    EXPECT_THAT(fromOthers, ElementsAre(refusal, refusal));
    background.signal(SIGTERM);
    EXPECT_EQ(background.exitStatus(), 0);
}

TEST_F(InstanceTest, TheFileOfAKilledInstanceHoldsNothingUp) {
    Process killed = startInBackground();
    ASSERT_TRUE(log.waitFor("info: Now starting confighandler..."));
    killed.signal(SIGKILL);
    killed.wait();
    ASSERT_TRUE(pidFileExists());

    Process next = startInBackground();
    EXPECT_TRUE(log.waitFor("info: Now starting confighandler...", 2));
    EXPECT_TRUE(eventually([&] { return std::atoi(readFile(pidFile).c_str()) == next.id(); }));
    EXPECT_FALSE(log.has(refusal));
    next.signal(SIGTERM);
    EXPECT_EQ(next.exitStatus(), 0);
    EXPECT_FALSE(pidFileExists());
}

// The number may belong to anybody by now; only the lock counts.
TEST_F(InstanceTest, AFileWithTheNumberOfARunningProcessHoldsNothingUp) {
    writeFile(pidFile, std::to_string(getpid()));
    daemon.emplace();
    EXPECT_TRUE(log.waitFor("info: Now starting confighandler..."));
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
    EXPECT_FALSE(log.has(refusal));
}

TEST_F(InstanceTest, TheForegroundProcessWritesNoPidFile) {
    startDaemon(smallGateway());
    EXPECT_FALSE(pidFileExists());
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
    EXPECT_FALSE(pidFileExists());
}

TEST_F(InstanceTest, TheForegroundProcessLeavesAnotherInstancesPidFile) {
    Daemon foreground;
    EXPECT_TRUE(log.waitFor("info: Now starting confighandler..."));
    Process background = startInBackground();
    EXPECT_EQ(foreground.stop(SIGTERM), 0);
    EXPECT_EQ(std::atoi(readFile(pidFile).c_str()), background.id());

    Daemon refused;
    EXPECT_EQ(refused.exitStatus(), 1) << "the lock has gone with the name";
    background.signal(SIGTERM);
    EXPECT_EQ(background.exitStatus(), 0);
}

TEST_F(InstanceTest, OfManyThatStartAtOnceOneStays) {
    constexpr int rivals = 8;
    std::vector<std::unique_ptr<Daemon>> started;
    for (int rival = 0; rival < rivals; ++rival) {
        started.push_back(std::make_unique<Daemon>(Texts{"-b"}));
    }
    for (const auto& rival : started) {
        rival->exitStatus();
    }
    EXPECT_TRUE(log.waitFor("info: Now starting confighandler..."));
    EXPECT_TRUE(log.waitFor(refusal, rivals - 1));
    EXPECT_EQ(log.count("info: Now starting confighandler..."), 1U);
    Process winner = Process::adopt(std::atoi(readFile(pidFile).c_str()));
    winner.signal(SIGTERM);
    EXPECT_EQ(winner.exitStatus(), 0);
}

} // namespace

} // namespace e2e
