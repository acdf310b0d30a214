#include "fakepath.h"
#include "gateways.h"
#include "goldengateways.h"
#include "pacerctl/commands.h"
#include "pacerctl/top.h"

#include <gtest/gtest.h>

#include <sstream>

namespace pacerctl {

namespace {

Applied reading(unsigned long long packets, unsigned long long bytes, unsigned long long drops) {
    Applied applied;
    addCommand("qcfg --port -A shape_wan -i ptm0 -s cb --pir 1000 -t egress", applied);
    addCommand("qcfg --queue -A ppp0_q4 -i ppp0 -t egress -l 64 -m sp --priority 4 -d tail --map 4", applied);
    applied.queues[0].port = "ptm0";
    applied.queues[0].counters = {packets, bytes, drops, 3, 4542};
    return applied;
}

// Each sleep takes as long as it says, and lets traffic pass.
class FakeClock final : public Clock {
  public:
    double now() override { return now_; }
    void sleep(double seconds) override {
        now_ += seconds;
        if (onSleep) {
            onSleep();
        }
    }
    std::function<void()> onSleep;

  private:
    double now_ = 100;
};

TEST(QueueRate, IsTheGrowthOfTheCountersPerSecond) {
    const auto rates = ratesBetween(reading(100, 10'000, 1), reading(300, 260'000, 5), 4);
    ASSERT_EQ(rates.size(), 1U);
    EXPECT_DOUBLE_EQ(rates[0].kbitPerSecond, 500);
    EXPECT_DOUBLE_EQ(rates[0].packetsPerSecond, 50);
    EXPECT_DOUBLE_EQ(rates[0].dropsPerSecond, 1);
    EXPECT_DOUBLE_EQ(rates[0].share, 0.5);
    EXPECT_EQ(rates[0].backlogPackets, 3U);
    EXPECT_EQ(rates[0].rank, "SP 4");
}

TEST(QueueRate, CountsFromNothingForANewQueueAndForCountersThatStartAnew) {
    EXPECT_DOUBLE_EQ(ratesBetween(Applied(), reading(40, 0, 0), 2)[0].packetsPerSecond, 20);
    EXPECT_DOUBLE_EQ(ratesBetween(reading(1000, 0, 0), reading(40, 0, 0), 2)[0].packetsPerSecond, 20);
}

TEST(QueueRate, HasNoShareWhereThePortIsNotShaped) {
    Applied applied = reading(1, 1, 1);
    applied.shapers.clear();
    EXPECT_LT(ratesBetween(applied, applied, 1)[0].share, 0);
}

TEST(QueueRate, StandsWithTheOthersOfItsPort) {
    Applied applied = reading(1, 1, 1);
    addCommand("qcfg --queue -A br0_q1 -i br0 -t egress -l 64 -m sp --priority 1 -d tail --map 1", applied);
    applied.rests.push_back({"ptm0", "egress", {}});
    const auto rates = ratesBetween(applied, applied, 1);
    ASSERT_EQ(rates.size(), 3U);
    EXPECT_EQ(rates[0].fapiName, "ppp0_q4");
    EXPECT_EQ(rates[1].fapiName, "");
    EXPECT_EQ(rates[1].interface, "ptm0");
    EXPECT_EQ(rates[2].fapiName, "br0_q1");
}

class Top : public testing::Test {
  protected:
    std::string show(const TopOptions& options, bool json = false, TerminalSize size = {}) {
        gateways_.apply("minimal");
        clock_.onSleep = [this] {
            gateways_.replace("qcfg", "\"bytes\": 228000", "\"bytes\": 503000"); // 2200 kbit in two seconds
            gateways_.replace("qcfg", "\"packets\": 2000", "\"packets\": 2200");
            gateways_.replace("qcfg", "\"drops\": 9", "\"drops\": 10");
            clock_.onSleep = nullptr;
        };
        std::ostringstream out;
        const Terminal terminal{out, out, false, json, [size] { return size; }};
        EXPECT_EQ(topCommand(terminal, test::example("minimal"), options, clock_), ExitStatus::fine);
        return out.str();
    }

    test::GoldenGateways gateways_;
    FakeClock clock_;
};

TEST_F(Top, ShowsALineForEachQueue) {
    EXPECT_EQ(show({2, 1, false}),
              "QUEUE                INTERFACE  RANK  KBIT/S  PACKETS/S  DROPS/S  BACKLOG  SHARE\n"
              "fast                 eth1       SP 1  1100.0      100.0      0.0        2  11.6%  "
              "██··················\n"
              "everything_else      eth1       SP 8     0.0        0.0      0.5        0   0.0%  "
              "····················\n"
              "(behind all queues)  eth1       -        0.0        0.0      0.0        1   0.0%  "
              "····················\n");
}

TEST_F(Top, ShowsAgainWhatHasPassedSince) {
    const std::string shown = show({2, 2, false});
    EXPECT_NE(shown.find("fast                 eth1       SP 1  1100.0"), std::string::npos);
    EXPECT_NE(shown.find("\n\nQUEUE"), std::string::npos);
    EXPECT_NE(shown.find("fast                 eth1       SP 1     0.0"), std::string::npos);
}

TEST_F(Top, BeginsOnAnEmptyScreenAndWritesOverItFromThenOn) {
    const std::string shown = show({2, 2, true});
    EXPECT_EQ(shown.rfind("\033[2J\033[?7l\033[HQUEUE", 0), 0U);
    EXPECT_EQ(shown.find("\033[2J", 1), std::string::npos);
    EXPECT_NE(shown.find("\033[K\n\033[J\033[?7h\033[?7l\033[HQUEUE"), std::string::npos);
    EXPECT_EQ(shown.substr(shown.size() - 8), "\033[J\033[?7h");
}

TEST_F(Top, FitsANarrowTerminal) {
    EXPECT_EQ(show({2, 1, false}, false, {40, 0}), "QUEUE                KBIT/S  DROPS/S\n"
                                                   "fast                 1100.0      0.0\n"
                                                   "everything_else         0.0      0.5\n"
                                                   "(behind all queues)     0.0      0.0\n");
}

TEST_F(Top, LeavesOutWhatTheTerminalHasNoRowsFor) {
    const std::string shown = show({2, 1, true}, false, {40, 3});
    EXPECT_NE(shown.find("fast"), std::string::npos);
    EXPECT_EQ(shown.find("everything_else"), std::string::npos);
}

TEST_F(Top, WritesOneJsonDocumentALine) {
    std::istringstream lines(show({2, 2, false}, true));
    std::string line;
    int count = 0;
    while (std::getline(lines, line)) {
        const Json json = Json::parse(line);
        EXPECT_EQ(json["format"], "pacerctl top");
        EXPECT_EQ(json["seconds"], 2.0);
        EXPECT_EQ(json["queues"].size(), 3U);
        EXPECT_EQ(json["queues"][0]["name"], "fast");
        EXPECT_EQ(json["queues"][0]["kbitPerSecond"], count == 0 ? 1100.0 : 0.0);
        EXPECT_TRUE(json["queues"][2]["name"].is_null());
        ++count;
    }
    EXPECT_EQ(count, 2);
}

TEST_F(Top, SaysThatThereIsNoQueue) {
    std::ostringstream out;
    const Terminal terminal{out, out, false, false};
    topCommand(terminal, test::example("minimal"), {2, 1, false}, clock_);
    EXPECT_EQ(out.str(), "no queue is configured\n");
}

} // namespace

} // namespace pacerctl
