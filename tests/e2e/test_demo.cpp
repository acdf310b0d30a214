// ./run demo --commands, once everything is built: that it works, and that it keeps its hands off what is
// somebody else's.
#include "gatewaytest.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>

namespace e2e {

namespace {

constexpr const char* socketPath = "/tmp/cfgserver.socket";

class DemoTest : public GatewayTest {
  protected:
    static Outcome runDemo() {
        const std::string build = std::filesystem::relative(E2E_BUILD_FOLDER, E2E_SOURCE_FOLDER);
        return run({E2E_SOURCE_FOLDER "/lab/demo-commands", build}, {{"NO_COLOR", "1"}});
    }
};

TEST_F(DemoTest, AppliesEverythingAndTakesItBackAndCleansUp) {
    const Outcome demo = runDemo();
    EXPECT_EQ(demo.status, 0) << demo.output << demo.errors;
    EXPECT_EQ(demo.errors, "");
    EXPECT_THAT(demo.output, HasSubstr("    WAN stack   'ppp0 <=> ptm0.7 <=> ptm0'\n"));
    EXPECT_THAT(demo.output, HasSubstr("    qcfg --port -A shape_wan -i ptm0 -s cb --pir 20000 -t egress\n"));
    EXPECT_THAT(demo.output, HasSubstr("    qcfg --port -D shape_wan -i ptm0 -s cb --pir 20000 -t egress\n"));
    EXPECT_THAT(demo.output, HasSubstr(" commands applied, "));
    EXPECT_FALSE(std::filesystem::exists(socketPath));
    EXPECT_FALSE(std::filesystem::exists("/var/run/pacerd_ng.pid"));
    for (const auto& entry : std::filesystem::directory_iterator("/tmp")) {
        EXPECT_NE(entry.path().filename().string().substr(0, 4), "tmp.") << "a folder is left behind";
    }
}

TEST_F(DemoTest, RefusesWhereADatabaseServerRuns) {
    startServer(smallGateway());
    const Outcome demo = runDemo();
    EXPECT_EQ(demo.status, 1);
    EXPECT_THAT(demo.errors, HasSubstr("demo: /tmp/cfgserver.socket exists"));
    EXPECT_EQ(demo.output, "");
    startDaemon(); // the server still serves
    bringUp();
}

TEST_F(DemoTest, RefusesWhereADaemonRuns) {
    daemon.emplace(Texts{});
    ASSERT_TRUE(log.waitFor("info: Now starting confighandler..."));
    const Outcome demo = runDemo();
    EXPECT_EQ(demo.status, 1);
    EXPECT_THAT(demo.errors, HasSubstr("demo: a pacerd_ng is running"));
    EXPECT_EQ(demo.output, "");
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
}

TEST_F(DemoTest, RefusesWhereThePidFileIsHeld) {
    const std::string file = "/var/run/pacerd_ng.pid";
    const int holder = ::open(file.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0644);
    ASSERT_EQ(::flock(holder, LOCK_EX), 0);
    const Outcome demo = runDemo();
    EXPECT_EQ(demo.status, 1);
    EXPECT_THAT(demo.errors, HasSubstr("demo: /var/run/pacerd_ng.pid is held by a running pacerd_ng"));
    EXPECT_TRUE(std::filesystem::exists(file));
    ::close(holder);
    std::filesystem::remove(file);
}

} // namespace

} // namespace e2e
