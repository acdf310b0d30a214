// The machine runs out of something, or something of it is missing, or its clock jumps.
#include "gatewaytest.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>

namespace e2e {

namespace {

class SystemFaultsTest : public GatewayTest {
  protected:
    // Only the one that counts: the other could not be raised again.
    static void limit(pid_t id, int resource, rlim_t value) {
        const auto which = static_cast<__rlimit_resource>(resource);
        rlimit both = {};
        ASSERT_EQ(prlimit(id, which, nullptr, &both), 0);
        both.rlim_cur = value;
        ASSERT_EQ(prlimit(id, which, &both, nullptr), 0);
    }

    void limit(int resource, rlim_t value) { limit(daemon->process().id(), resource, value); }

    // The n-th from now on, of a daemon with the shim; 0: none.
    static void failAllocation(long number) {
        const int file = ::open("/tmp/allocations", O_RDWR | O_CREAT | O_CLOEXEC, 0644);
        EXPECT_EQ(::pwrite(file, &number, sizeof number, 0), static_cast<ssize_t>(sizeof number));
        ::close(file);
    }

    static rlim_t addressSpace(pid_t id) {
        const std::string status = readFile("/proc/" + std::to_string(id) + "/status");
        return std::strtoull(status.c_str() + status.find("VmSize:") + 7, nullptr, 10) * 1024;
    }

    void expectStopLeavesNothing() {
        EXPECT_EQ(daemon->stop(SIGTERM), 0);
        EXPECT_THAT(daemon->commands().objects(), IsEmpty());
    }

    void expectWorks() {
        bringUp();
        EXPECT_EQ(daemon->commands().objects().size(), 11U);
        takeDown();
        EXPECT_THAT(daemon->commands().objects(), IsEmpty());
    }
};

TEST_F(SystemFaultsTest, WithoutDescriptorsItHoldsOutAndGoesOnAfterwards) {
    startDaemon(smallGateway());
    bringUp();
    limit(RLIMIT_NOFILE, 3);
    server.crash();
    waitForOutage();
    server.start();
    pause(Milliseconds(1200)); // two attempts that cannot be made
    limit(RLIMIT_NOFILE, 1024);
    settle();
    takeDown();
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
}

#ifndef E2E_SANITIZED // which need memory and descriptors of their own
// From the very start, with one more each time, until there are enough. (With 3 no program can be loaded.)
TEST_F(SystemFaultsTest, WithTooFewDescriptorsForAStartItSaysSoOrWaits) {
    startServer(smallGateway());
    bool works = false;
    for (int count = 4; !works && count < 12; ++count) {
        SCOPED_TRACE(std::to_string(count) + " descriptors");
        const std::string errors = "/tmp/limited." + std::to_string(count); // there may be none for the log
        ::unlink(errors.c_str());
        Process limited(
            Command{{"sh", "-c",
                     "ulimit -n " + std::to_string(count) + "; exec " + programFolder() + "/pacerd_ng -d 2"},
                    {{"PATH", toolsFolder() + ":/usr/bin:/bin"}, {"PACERD_RECORD", "/tmp/limited.commands"}},
                    "",
                    errors});
        const auto says = [&](const char* text) { return readFile(errors).find(text) != std::string::npos; };
        EXPECT_TRUE(eventually([&] {
            works = says("initial startup in progress");
            return works || says("Too many open files");
        }));
        limited.signal(SIGTERM);
        const int status = limited.exitStatus();
        EXPECT_TRUE(status == 0 || status == 1) << status;
    }
    EXPECT_TRUE(works);
}

// The tools have none either. The first of them fails, and so does what would take it back.
TEST_F(SystemFaultsTest, WithoutDescriptorsForTheToolsItEndsInGoodOrder) {
    startDaemon(smallGateway());
    limit(RLIMIT_NOFILE, 3);
    db.update(statusTable, internetRow, internetUp());
    EXPECT_EQ(daemon->exitStatus(), 0);
    EXPECT_TRUE(log.waitFor("error: failed appliing qos config"));
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
}

// The tables grow beyond what it may have: an outage, and the decisions stay.
TEST_F(SystemFaultsTest, TablesThatDoNotFitIntoItsMemoryAreAnOutage) {
    startDaemon(smallGateway());
    bringUp();
    daemon->commands().clear();
    limit(RLIMIT_AS, addressSpace(daemon->process().id()) + (512U << 10));
    Json operations = Json::array({Database::updating(statusTable, internetRow, internetDown())});
    for (int id = 100; id < 10100; ++id) {
        operations.push_back(Database::insertion(
            "QoSShaper", {{"Id", id}, {"Enable", 0}, {"InterfaceName", "eth9"}, {"ShapingRate", id}}));
    }
    db.transact(operations);
    ASSERT_TRUE(log.waitFor("error: configuration server at '" + std::string(serverSocket) +
                            "' sent more than the memory holds"));
    pause(Milliseconds(600)); // another attempt
    EXPECT_THAT(daemon->commands().all(), IsEmpty());
    limit(RLIMIT_AS, RLIM_INFINITY);
    ASSERT_TRUE(log.waitFor("info: WAN up statue 1 => 0"));
    settle();
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
    expectWorks();
    expectStopLeavesNothing();
}

// Wherever the memory ends on the way up, it ends in good order, and the next life puts everything right.
TEST_F(SystemFaultsTest, WithoutMemoryForADecisionItEndsInGoodOrder) {
    startServer(smallGateway());
    int ended = 0;
    for (const long allocation : {1, 3, 10, 100, 200, 400, 600, 800, 1000}) {
        SCOPED_TRACE("allocation " + std::to_string(allocation));
        log.clear();
        db.update(statusTable, internetRow, internetDown());
        failAllocation(0);
        daemon.emplace(Texts{"-d", "2"},
                       std::map<std::string, std::string>{{"LD_PRELOAD", E2E_ALLOCATION_SHIM},
                                                          {"PATH", toolsFolder() + ":/usr/bin:/bin"}});
        ASSERT_TRUE(log.waitFor("info: initial startup in progress"));
        settle();
        failAllocation(allocation);
        db.update(statusTable, internetRow, internetUp());
        const std::string record = daemon->commands().file();
        std::optional<int> status;
        ASSERT_TRUE(eventually([&] {
            status = daemon->process().wait(Milliseconds(0));
            return status || daemon->commands().objects().size() == 11;
        }));
        if (status) { // otherwise it was an outage
            ++ended;
            EXPECT_TRUE(WIFEXITED(*status) && WEXITSTATUS(*status) == 1) << *status;
            EXPECT_EQ(log.messages().back(), "error: std::bad_alloc");
        }
        daemon->stop(SIGTERM);
        log.clear();
        daemon.emplace(Texts{"-d", "2"}, std::map<std::string, std::string>{}, record);
        ASSERT_TRUE(log.waitFor("info: WAN up statue 0 => 1"));
        settle();
        EXPECT_EQ(daemon->commands().objects().size(), 11U);
        EXPECT_EQ(daemon->stop(SIGTERM), 0);
        for (const std::string& object : daemon->commands().objects()) {
            EXPECT_THAT(object, ::testing::StartsWith("ifmap ")) << "only what docs/faults.md says";
        }
    }
    EXPECT_GT(ended, 3);
}

// By contract it follows the parents for ever, heeding nothing else, and notes each of them.
TEST_F(SystemFaultsTest, WithoutMemoryForACircleOfParentsItEndsWithNothingApplied) {
    Json configuration = smallGateway();
    configuration["NetworkSetupNode"][0]["ParentInterface"] = "ptm0.7";
    startServer(configuration);
    daemon.emplace(Texts{"-b", "-d", "0"});
    EXPECT_EQ(daemon->exitStatus(), 0) << "the parent";
    ASSERT_TRUE(log.waitFor("info: initial startup in progress"));
    settle();
    Process background = Process::adopt(std::atoi(readFile(pidFile).c_str()));
    limit(background.id(), RLIMIT_AS, addressSpace(background.id()) + (12U << 20));
    db.update(statusTable, internetRow, internetUp());
    ASSERT_TRUE(log.waitFor("info: found enabled low WAN path device 'ptm0' [XDSL]"));
    background.signal(SIGTERM);
    EXPECT_EQ(background.exitStatus(), 1);
    EXPECT_EQ(log.messages().back(), "error: std::bad_alloc");
    EXPECT_FALSE(std::filesystem::exists(pidFile));
    EXPECT_THAT(daemon->commands().all(), IsEmpty());
}
#endif

// Everything that waits goes by the clock that cannot be set, or by no clock.
TEST_F(SystemFaultsTest, AClockThatJumpsChangesNothing) {
    startServer(smallGateway());
    const auto setClock = [](const char* seconds) { writeFile("/tmp/clock-shift", seconds); };
    setClock("0");
    daemon.emplace(Texts{"-d", "2"},
                   std::map<std::string, std::string>{{"LD_PRELOAD", E2E_CLOCK_SHIM},
                                                      {"PATH", toolsFolder() + ":/usr/bin:/bin"}});
    ASSERT_TRUE(log.waitFor("info: initial startup in progress"));
    const std::string daemonsFiles = readFile("/proc/" + std::to_string(daemon->process().id()) + "/maps");
    ASSERT_THAT(daemonsFiles, HasSubstr(E2E_CLOCK_SHIM));
    for (const char* jump : {"-1000000000", "1000000000"}) {
        SCOPED_TRACE(jump);
        setClock(jump);
        const Outcome shifted = run({"env", "LD_PRELOAD=" E2E_CLOCK_SHIM, "date", "+%s"});
        ASSERT_NEAR(std::atof(shifted.output.c_str()),
                    static_cast<double>(std::time(nullptr)) + std::atof(jump), 60);
        setClock("0");
        log.clear();
        bringUp();
        server.crash();
        waitForOutage();
        setClock(jump); // while it waits for its next attempt
        server.start();
        settle();
        EXPECT_EQ(daemon->commands().objects().size(), 11U);
        setClock("0");
        takeDown();
        EXPECT_THAT(daemon->commands().objects(), IsEmpty());
    }
    expectStopLeavesNothing();
}

// The library waits until the log takes more, as for every program that logs. Nothing is lost by it.
TEST_F(SystemFaultsTest, ALogThatTakesNothingHoldsItUpOnlyForAsLong) {
    startDaemon(smallGateway());
    // In place of the log: a socket that nobody reads.
    ::rename("/dev/log", "/dev/log.away");
    const int blocked = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {AF_UNIX, {}};
    std::strcpy(address.sun_path, "/dev/log");
    ASSERT_EQ(::bind(blocked, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    daemon.reset();
    db.update(statusTable, internetRow, internetUp());
    daemon.emplace(Texts{"-d", "2"}); // says more than fits there
    pause(Milliseconds(500));
    EXPECT_THAT(daemon->commands().objects(), IsEmpty()) << "it is not held up";
    log.clear();
    ::unlink("/dev/log");
    ::rename("/dev/log.away", "/dev/log");
    // What it took is read; it takes no more, so that the daemon says the next message to the log again.
    ::shutdown(blocked, SHUT_RD);
    std::string taken;
    std::array<char, 8192> message = {};
    for (ssize_t size = 0; (size = ::recv(blocked, message.data(), message.size(), MSG_DONTWAIT)) > 0;) {
        taken.append(message.data(), static_cast<std::size_t>(size)) += '\n';
    }
    ::close(blocked);
    settle();
    EXPECT_EQ(daemon->commands().objects().size(), 11U);
    for (const LogLine& line : log.lines()) {
        taken += line.text + '\n';
    }
    expectStopLeavesNothing();

    log.clear();
    startDaemon(); // says the same to a log that takes everything
    std::size_t at = 0;
    for (const LogLine& line : log.lines()) {
        if (!line.text.starts_with("DSL has state ")) {
            const std::size_t found = taken.find(line.text + '\n', at);
            EXPECT_NE(found, std::string::npos) << line.text;
            at = found == std::string::npos ? at : found + line.text.size();
        }
        if (line.text.starts_with("apply success: 'qcfg --port -A shape_wan_ing ")) {
            break;
        }
    }
}

TEST_F(SystemFaultsTest, WithoutALogItWorksAllTheSame) {
    ::rename("/dev/log", "/dev/log.away");
    startServer(smallGateway());
    daemon.emplace(Texts{"-d", "2"});
    db.update(statusTable, internetRow, internetUp());
    EXPECT_TRUE(eventually([&] { return daemon->commands().objects().size() == 11; }));
    expectStopLeavesNothing();
    ::rename("/dev/log.away", "/dev/log");
}

TEST_F(SystemFaultsTest, AReadOnlyRunFolderOnlyCostsThePidFile) {
    startServer(smallGateway());
    ASSERT_EQ(run({"mount", "-t", "tmpfs", "-o", "ro", "none", "/run"}).status, 0);
    daemon.emplace(Texts{"-b", "-d", "2"});
    EXPECT_EQ(daemon->exitStatus(), 0) << "the parent";
    EXPECT_TRUE(
        log.waitFor("error: pid file '/var/run/pacerd_ng.pid' cannot be written: Read-only file system"));
    ASSERT_TRUE(log.waitFor("info: initial startup in progress"));
    settle();
    bringUp();
    // No pid file tells who it is.
    Process background = Process::adopt(log.lines().back().process);
    background.signal(SIGTERM);
    EXPECT_EQ(background.exitStatus(), 0);
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
    EXPECT_EQ(daemon->commands().changes().size(), 22U);
    run({"umount", "/run"});
}

} // namespace

} // namespace e2e
