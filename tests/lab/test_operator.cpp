// The gateway as its operator meets it: the WAN follows its interface by itself, and pacerctl says what the
// kernel has.
#include "labtest.h"
#include "packets.h"

#include <algorithm>
#include <iostream>

namespace lab {

namespace {

using Clock = std::chrono::steady_clock;
using e2e::Milliseconds;

class OperatorTest : public LabTest {
  protected:
    // With the cable out.
    void SetUp() override {
        buildGateway(e2e::exampleGateway("ethernet-wan"));
        fresh_ = gatewayState();
        ip("link set eth1 down");
        netwatchd_ = e2e::Process(
            e2e::Command{{"ip", "netns", "exec", "gw", "netwatchd"}, {}, "", "/tmp/netwatchd.log"});
        startDaemon();
    }

    static void ip(const std::string& arguments) { shellIn("gw", "ip " + arguments); }

    // Returns how long it took until the daemon decided, when it has done what follows from that.
    Milliseconds set(const char* state, const char* transition) {
        log.clear();
        const auto begin = Clock::now();
        ip(std::string("link set eth1 ") + state);
        const std::string decision = std::string("info: WAN up statue ") + transition;
        EXPECT_TRUE(log.waitFor(decision));
        EXPECT_TRUE(settlesOrEnds());
        for (const e2e::LogLine& line : log.lines()) {
            if (e2e::levelAndText(line) == decision) {
                return std::chrono::duration_cast<Milliseconds>(line.received - begin);
            }
        }
        return Milliseconds::max();
    }
    Milliseconds plugIn() {
        const Milliseconds time = set("up", "0 => 1");
        ip("route replace default via 203.0.113.1"); // went with the interface
        return time;
    }
    Milliseconds pullOut() { return set("down", "1 => 0"); }

    static e2e::Outcome pacerctl(std::vector<std::string> words) {
        words.insert(words.begin(), {"ip", "netns", "exec", "gw", "pacerctl"});
        return e2e::run(words);
    }
    static Json json(std::vector<std::string> words) {
        words.emplace_back("--json");
        return Json::parse(pacerctl(words).output);
    }

    std::string fresh_;

  private:
    e2e::Process netwatchd_;
};

TEST_F(OperatorTest, TheQosOfAnInterfaceGoesWithItAndComesBackWithItWithinATenthOfASecond) {
    plugIn();
    const std::string applied = gatewayState();
    EXPECT_NE(difference(fresh_, applied), "");
    const auto lines = [](const std::string& text) { return std::count(text.begin(), text.end(), '\n'); };
    std::vector<Milliseconds> downs;
    std::vector<Milliseconds> ups;
    for (int round = 0; round < 5; ++round) {
        downs.push_back(pullOut());
        EXPECT_EQ(pacerctl({"verify"}).status, 0);
        EXPECT_THAT(gatewayState(), ::testing::Not(::testing::HasSubstr("htb")));
        ups.push_back(plugIn());
        EXPECT_EQ(lines(gatewayState()), lines(applied)); // the kernel numbers its objects anew
        EXPECT_EQ(pacerctl({"verify"}).status, 0);
    }
    expectNoErrors();
    stopDaemon();
    EXPECT_EQ(difference(fresh_, gatewayState()), "");
    std::sort(downs.begin(), downs.end());
    std::sort(ups.begin(), ups.end());
    std::cout << "until the daemon decides: down " << downs[2].count() << " ms, up " << ups[2].count()
              << " ms (median of five)\n";
    EXPECT_LT(downs[2], Milliseconds(100));
    EXPECT_LT(ups[2], Milliseconds(100));
}

TEST_F(OperatorTest, VerifyAgreesWithTheKernelUntilSomebodyChangesIt) {
    EXPECT_EQ(pacerctl({"verify"}).output, "WAN is down: nothing should be configured\nas it should be\n");
    plugIn();
    EXPECT_EQ(pacerctl({"verify"}).status, 0);
    shellIn("gw", "tc qdisc del dev eth1 root");
    const e2e::Outcome drift = pacerctl({"verify"});
    EXPECT_EQ(drift.status, 1);
    EXPECT_THAT(drift.output, ::testing::HasSubstr("missing"));
}

TEST_F(OperatorTest, StatusAndMetricsCountWhatTheKernelCounts) {
    plugIn();
    constexpr int calls = 17;
    PacketSender("lan").send(
        {.source = "192.168.1.10", .destination = "198.51.100.10", .destinationPort = 3478}, calls);
    EXPECT_TRUE(e2e::eventually([] { return queueOfLength("eth1", 128).packets == calls; }));
    const Json status = json({"status"});
    for (const Json& rule : status["rules"]) {
        EXPECT_EQ(rule["applied"], true) << rule;
        EXPECT_EQ(rule["packets"], rule["name"] == "home_video_calls" ? calls : 0) << rule;
    }
    for (const Json& queue : status["queues"]) {
        EXPECT_EQ(queue["applied"], true) << queue;
        if (queue["fapiName"] == "eth1_q4") {
            EXPECT_EQ(queue["counters"]["packets"], calls);
        }
    }
    EXPECT_THAT(pacerctl({"metrics"}).output,
                ::testing::HasSubstr(
                    "\npacerd_rule_packets_total{rule=\"home_video_calls\",interface=\"br0\"} 17\n"));
}

} // namespace

} // namespace lab
