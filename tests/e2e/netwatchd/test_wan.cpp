// netwatchd and the daemon together: pulling the cable removes the QoS, plugging it in brings it back.
#include "daemonprocess.h"
#include "netwatchdtest.h"
#include "syslogcapture.h"

#include <algorithm>

using namespace netwatchd::test;

namespace {

class Wan : public NetwatchdTest {
  protected:
    Wan() { ip("address add 192.0.2.1/24 dev eth1"); }

    // netwatchd and the daemon run, the WAN is up and everything is applied.
    void bringUpTheWan() {
        record.emplace();
        startNetwatchd();
        ASSERT_TRUE(record->waitForRow("ProviderInternet up 192.0.2.1"));
        daemon.emplace(Texts{"-d", "2"});
        ASSERT_TRUE(syslog.waitFor("info: initial startup in progress"));
        settle();
    }
    void pullAndPlug(const std::string& command, const std::string& row) {
        ip(command);
        ASSERT_TRUE(record->waitForRow(row));
        settle();
    }
    // Until the daemon has done all that the changes so far ask for: it takes in one after the other.
    void settle() {
        const std::string mark = "settled " + std::to_string(++marks_);
        db.update("StatusDsl", 1, {{"StatusString", mark}});
        ASSERT_TRUE(syslog.waitFor("info: DSL has state '" + mark + "'"));
    }
    std::ptrdiff_t count(const std::string& flag) const {
        const Texts changes = daemon->commands().changes();
        return std::count_if(changes.begin(), changes.end(), [&](const std::string& command) {
            return command.find(" " + flag + " ") != std::string::npos;
        });
    }

    e2e::SyslogCapture syslog;
    std::optional<e2e::Daemon> daemon;

  private:
    int marks_ = 0;
};

TEST_F(Wan, GoesUpAndDownWithItsInterface) {
    bringUpTheWan();
    const std::ptrdiff_t all = count("-A");
    EXPECT_GT(all, 10);
    EXPECT_EQ(count("-D"), 0);

    pullAndPlug("link set eth1 down", "ProviderInternet down 192.0.2.1");
    EXPECT_EQ(count("-D"), all);
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());

    pullAndPlug("link set eth1 up", "ProviderInternet up 192.0.2.1");
    EXPECT_EQ(count("-A"), 2 * all);
    EXPECT_EQ(count("-D"), all);

    pullAndPlug("address flush dev eth1", "ProviderInternet up 0.0.0.0");
    EXPECT_EQ(count("-D"), 2 * all);
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
}

TEST_F(Wan, IsBackWithinATenthOfASecondPlusTheCommands) {
    bringUpTheWan();
    std::vector<Milliseconds> times;
    for (int round = 0; round < 5; ++round) {
        pullAndPlug("link set eth1 down", "ProviderInternet down 192.0.2.1");
        daemon->commands().clear();
        const auto begin = std::chrono::steady_clock::now();
        ip("link set eth1 up");
        ASSERT_TRUE(e2e::eventually([&] { return !daemon->commands().all().empty(); }));
        times.push_back(std::chrono::duration_cast<Milliseconds>(std::chrono::steady_clock::now() - begin));
        ASSERT_TRUE(record->waitForRow("ProviderInternet up 192.0.2.1"));
        settle();
    }
    std::sort(times.begin(), times.end());
    RecordProperty("median_ms", static_cast<int>(times[2].count()));
    EXPECT_LT(times[2], Milliseconds(100)) << "until the first command";
}

} // namespace
