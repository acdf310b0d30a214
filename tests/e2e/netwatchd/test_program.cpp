// The program as a service manager and a person see it.
#include "daemonprocess.h"
#include "netwatchdtest.h"
#include "ovsdb/uniquefd.h"
#include "syslogcapture.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace netwatchd::test;

namespace {

class Program : public NetwatchdTest {
  protected:
    static std::string path() { return e2e::programFolder() + "/netwatchd"; }
};

// Far less than its patience with a server, 10 s.
constexpr Milliseconds promptly{3000};
constexpr const char* pidFile = "/var/run/netwatchd.pid";

TEST_F(Program, EndsAtOnceWhenItIsTold) {
    for (const int signal : {SIGTERM, SIGINT, SIGQUIT}) {
        startNetwatchd();
        ASSERT_TRUE(waitForLog("starting"));
        netwatchd.signal(signal);
        EXPECT_EQ(netwatchd.exitStatus(promptly), 0);
    }
}

TEST_F(Program, EndsAtOnceEvenIfTheServerDoesNotAnswer) {
    startAndSettle();
    server.freeze();
    ip("link set eth1 down");
    e2e::pause(Milliseconds(200));
    netwatchd.signal(SIGTERM);
    EXPECT_EQ(netwatchd.exitStatus(promptly), 0);
    server.thaw();
}

TEST_F(Program, LeavesTheRowsAsTheyAreWhenItEnds) {
    startAndSettle();
    netwatchd.signal(SIGTERM);
    EXPECT_EQ(netwatchd.exitStatus(), 0);
    record->listen(Milliseconds(100));
    EXPECT_THAT(record->entries(), IsEmpty());
}

TEST_F(Program, TellsTheServiceManagerWhenTheRowsAreRight) {
    const ovsdb::UniqueFd manager(::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0));
    const sockaddr_un address = {AF_UNIX, "/tmp/notify"};
    ::unlink(address.sun_path);
    ASSERT_EQ(::bind(manager.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    char text[32] = {};
    const auto received = [&] { return ::recv(manager.get(), text, sizeof text - 1, 0) > 0; };

    server.stop();
    netwatchd = e2e::Process(e2e::Command{{path()}, {{"NOTIFY_SOCKET", "/tmp/notify"}}, "", logFile});
    ASSERT_TRUE(waitForLog("cannot be reached"));
    EXPECT_FALSE(received()) << "before the database is there";
    server.start();
    ASSERT_TRUE(e2e::eventually(received));
    EXPECT_STREQ(text, "READY=1");
    EXPECT_EQ(StatusRecord().now("ProviderInternet"), "up 0.0.0.0");
}

TEST_F(Program, GoesIntoTheBackgroundAndLogsToTheSystemLogAlone) {
    const e2e::SyslogCapture syslog;
    const e2e::Outcome outcome = e2e::run({path(), "--background"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output + outcome.errors, "");
    EXPECT_TRUE(syslog.waitFor("info: ProviderInternet (eth1) is up"));
    const int id = std::stoi(e2e::readFile(pidFile));
    netwatchd = e2e::Process::adopt(id);

    const e2e::Outcome second = e2e::run({path()});
    EXPECT_EQ(second.status, 1);
    EXPECT_THAT(second.errors, HasSubstr("another netwatchd is running"));

    netwatchd.signal(SIGTERM);
    EXPECT_EQ(netwatchd.exitStatus(), 0);
    EXPECT_EQ(e2e::readFile(pidFile), "");
}

TEST_F(Program, SaysWhatItWrote) {
    startAndSettle();
    ipBatchAtOnce("link set eth1 down\naddress add 192.0.2.1/24 dev eth1\n");
    EXPECT_TRUE(waitForLog("ProviderInternet (eth1) is down, address 192.0.2.1"));
    ip("address del 192.0.2.1/24 dev eth1");
    EXPECT_TRUE(waitForLog("ProviderInternet (eth1) has the address 0.0.0.0"));
}

TEST_F(Program, RestsWhenNothingHappens) {
    startAndSettle();
    const auto cpuTicks = [this] {
        std::istringstream stat(e2e::readFile("/proc/" + std::to_string(netwatchd.id()) + "/stat"));
        std::string field;
        for (int i = 0; i < 13; ++i) {
            stat >> field;
        }
        long user = 0;
        long system = 0;
        stat >> user >> system;
        return user + system;
    };
    const long before = cpuTicks();
    record->listen(Milliseconds(1500));
    EXPECT_LE(cpuTicks() - before, 1);
}

} // namespace
