// The database becomes another one, floods the daemon, or the machine runs out of something.
#include "gatewaytest.h"

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace e2e {

namespace {

namespace fs = std::filesystem;

class FaultsTest : public GatewayTest {
  protected:
    long residentKilobytes() {
        const std::string status = readFile("/proc/" + std::to_string(daemon->process().id()) + "/status");
        return std::atol(status.c_str() + status.find("VmRSS:") + 6);
    }

    void limitDescriptors(rlim_t count) {
        const pid_t id = daemon->process().id();
        rlimit limit = {};
        ASSERT_EQ(prlimit(id, RLIMIT_NOFILE, nullptr, &limit), 0);
        limit.rlim_cur = count; // the other limit could not be raised again
        ASSERT_EQ(prlimit(id, RLIMIT_NOFILE, &limit, nullptr), 0);
    }

    void expectStopLeavesNothing() {
        EXPECT_EQ(daemon->stop(SIGTERM), 0);
        EXPECT_THAT(daemon->commands().objects(), IsEmpty());
    }
};

TEST_F(FaultsTest, AnOlderDatabaseIsFollowedAsItIs) {
    OvsdbServer older(schemaFile());
    older.start();
    db.replaceAll(smallGateway()); // the internet is down
    older.stop();
    startDaemon(smallGateway());
    bringUp();
    ASSERT_EQ(daemon->commands().objects().size(), 11U);
    server.crash();
    ::unlink(serverSocket);
    older.start();
    settle();
    EXPECT_TRUE(eventually([&] { return daemon->commands().objects().empty(); })) << "the WAN is down there";
    bringUp();
    EXPECT_EQ(daemon->commands().objects().size(), 11U);
    expectStopLeavesNothing();
}

TEST_F(FaultsTest, ASchemaThatChangesUnderItIsReadAnew) {
    Json schema = Json::parse(readFile(schemaFile()));
    schema["tables"]["QoSQueues"]["columns"]["Comment"] = {{"type", "string"}};
    schema["tables"].erase("QoSShaper");
    writeFile("/tmp/next.schema", schema.dump());
    OvsdbServer next("/tmp/next.schema");
    startDaemon(smallGateway());
    bringUp();
    server.crash();
    ::unlink(serverSocket);
    Json configuration = smallGateway();
    configuration.erase("QoSShaper");
    next.start();
    db.replaceAll(configuration);
    settle();
    EXPECT_TRUE(eventually([&] { return daemon->commands().objects().empty(); }));
    EXPECT_TRUE(log.has("error: database 'Gateway' has no table 'QoSShaper'"));
    expectStopLeavesNothing();
}

TEST_F(FaultsTest, AFloodOfUpdatesIsTakenInToTheLastOne) {
    constexpr int updates = 5'000; // transactions, as fast as the server takes them
    startDaemon(smallGateway(), {"-d", "0"});
    bringUp();
    [[maybe_unused]] const long before = residentKilobytes();
    for (int rate = 1; rate <= updates; ++rate) {
        db.update("QoSShaper", 1, {{"ShapingRate", rate}});
    }
    takeDown();
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
    daemon->commands().clear();
    bringUp();
    EXPECT_THAT(daemon->commands().changes(),
                Contains(HasSubstr(" --pir " + std::to_string(updates) + " -t egress")));
#ifndef E2E_SANITIZED
    EXPECT_LT(residentKilobytes() - before, 4096) << "kB";
#endif
    expectStopLeavesNothing();
}

TEST_F(FaultsTest, WithoutDescriptorsItHoldsOutAndGoesOnAfterwards) {
    startDaemon(smallGateway());
    bringUp();
    limitDescriptors(3);
    server.crash();
    ASSERT_TRUE(eventually([&] {
        return log.has("error: configuration server at '" + std::string(serverSocket) +
                       "' is gone: closed by the server");
    }));
    server.start();
    pause(Milliseconds(1200)); // two attempts that cannot be made
    limitDescriptors(1024);
    settle();
    takeDown();
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
}

// The library waits until the log takes more, as for every program that logs. Nothing is lost by it.
TEST_F(FaultsTest, ALogThatTakesNothingHoldsItUpOnlyForAsLong) {
    startDaemon(smallGateway());
    // In place of the log: a socket that nobody reads.
    ::rename("/dev/log", "/dev/log.away");
    const int blocked = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {AF_UNIX, {}};
    std::strcpy(address.sun_path, "/dev/log");
    ASSERT_EQ(::bind(blocked, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    daemon.reset();
    daemon.emplace(Texts{"-d", "2"}); // says more than fits there
    db.update(statusTable, internetRow, internetUp());
    pause(Milliseconds(500));
    ::unlink("/dev/log");
    ::rename("/dev/log.away", "/dev/log");
    ::close(blocked);
    settle();
    EXPECT_EQ(daemon->commands().objects().size(), 11U);
    expectStopLeavesNothing();
}

TEST_F(FaultsTest, WithoutALogItWorksAllTheSame) {
    ::rename("/dev/log", "/dev/log.away");
    startServer(smallGateway());
    daemon.emplace(Texts{"-d", "2"});
    db.update(statusTable, internetRow, internetUp());
    EXPECT_TRUE(eventually([&] { return daemon->commands().objects().size() == 11; }));
    expectStopLeavesNothing();
    ::rename("/dev/log.away", "/dev/log");
}

TEST_F(FaultsTest, AReadOnlyRunFolderOnlyCostsThePidFile) {
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
