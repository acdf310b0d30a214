// The lab itself: what it leaves behind, whom it disturbs, and whether its meter measures.
#include "kernel.h"
#include "meter/stream.h"
#include "meter/summary.h"
#include "process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <thread>

namespace lab {

namespace {

using e2e::Command;
using e2e::Process;
using ::testing::HasSubstr;

constexpr const char* gatewayFile = LAB_SOURCE_FOLDER "/share/examples/dsl-tripleplay.json";

// This test's own run and its own files, run.* and the like, are not counted.
std::string otherRuns() {
    return shell("lab status | grep -v \"^$LAB_RUN \" || :");
}
std::string whatARunCouldLeave() {
    return shell("ip -br link; mount; ls -A /run /run/netns /mnt; "
                 "ls -A /tmp | sed '/^run[.]/d; /^before$/d; /^after$/d'") +
           otherRuns();
}

bool sleeps(const std::string& seconds) {
    return e2e::run({"pgrep", "-xf", "sleep " + seconds}).status == 0;
}

TEST(LabTest, PassesTheCommandsStatusOn) {
    EXPECT_EQ(e2e::run({"lab", "-g", gatewayFile, "run", "sh", "-c", "exit 5"}).status, 5);
    EXPECT_EQ(e2e::run({"lab", "-g", gatewayFile, "run", "ip", "netns", "exec", "lan", "true"}).status, 0);
}

TEST(LabTest, LeavesNothingBehindHoweverItEnds) {
    const std::string before = whatARunCouldLeave();
    constexpr int whenItIsUp = 0;
    for (const int milliseconds : {20, 100, 250, 500, whenItIsUp}) {
        SCOPED_TRACE("after " + std::to_string(milliseconds) + " ms");
        const std::vector<int> signals = {SIGKILL, SIGTERM, SIGINT, SIGHUP};
        std::vector<Process> runs;
        for (const int signal : signals) {
            runs.emplace_back(
                Command{{"lab", "-g", gatewayFile, "run", "sleep", std::to_string(98000 + signal)}});
        }
        if (milliseconds == whenItIsUp) {
            for (const int signal : signals) {
                EXPECT_TRUE(e2e::eventually([&] { return sleeps(std::to_string(98000 + signal)); }));
            }
        }
        e2e::pause(e2e::Milliseconds(milliseconds));
        for (std::size_t i = 0; i < signals.size(); ++i) {
            runs[i].signal(signals[i]);
            EXPECT_GT(runs[i].exitStatus(), 0) << "signal " << signals[i];
        }
        EXPECT_TRUE(e2e::eventually([] { return !sleeps("98[0-9]*"); }));
        EXPECT_TRUE(e2e::eventually([&] { return whatARunCouldLeave() == before; }))
            << difference(before, whatARunCouldLeave());
    }
}

TEST(LabTest, LeavesNothingBehindWhenItEndsBeforeTheRunDependsOnIt) {
    shell("mkdir -p /tmp/slow; printf '%s\\n' '#!/bin/sh' 'echo $$ >/tmp/slow/pid'"
          " 'while [ ! -e /tmp/slow/go ]; do sleep 0.01; done' 'PATH=${PATH#/tmp/slow:} exec setpriv \"$@\"'"
          " >/tmp/slow/setpriv; chmod +x /tmp/slow/setpriv");
    Process run(Command{{"lab", "-g", gatewayFile, "run", "sleep", "98766"},
                        {{"PATH", "/tmp/slow:" + std::string(std::getenv("PATH"))}}});
    pid_t waiting = 0;
    EXPECT_TRUE(e2e::eventually([&] {
        waiting = std::atoi(e2e::readFile("/tmp/slow/pid").c_str());
        return waiting > 0;
    }));
    run.signal(SIGKILL);
    run.wait();
    e2e::writeFile("/tmp/slow/go", "");
    EXPECT_TRUE(e2e::eventually([&] { return kill(waiting, 0) != 0; })) << otherRuns();
    EXPECT_EQ(otherRuns(), "");
    shell("rm -r /tmp/slow");
}

TEST(LabTest, LeavesNothingBehindWhenItCannotBeBuilt) {
    const std::string before = whatARunCouldLeave();
    e2e::writeFile("/tmp/broken.json", R"({"NetworkSetupNode": 7})");
    EXPECT_NE(e2e::run({"lab", "-g", "/tmp/broken.json", "run", "true"}).status, 0);
    EXPECT_NE(e2e::run({"lab", "-g", "/tmp/broken.json", "up"}).status, 0);
    EXPECT_NE(e2e::run({"lab", "-g", "/tmp/absent.json", "run", "true"}).status, 0);
    shell("rm /tmp/broken.json");
    EXPECT_EQ(whatARunCouldLeave(), before);
}

TEST(LabTest, TwoRunsDoNotDisturbEachOther) {
    const std::string up = std::string("lab -g ") + gatewayFile + " up";
    std::string one = shell(up);
    std::string two = shell(up);
    one.pop_back();
    two.pop_back();
    const auto inLan = [](const std::string& run, const std::string& command) {
        return e2e::run({"sh", "-c", "lab exec " + run + " lan " + command}).status;
    };
    EXPECT_EQ(inLan(one, "touch /tmp/mine"), 0);
    EXPECT_NE(inLan(two, "test -e /tmp/mine"), 0);
    EXPECT_EQ(inLan(one, "ip link del eth0"), 0);
    EXPECT_NE(inLan(one, "ping -c 1 -W 1 198.51.100.10"), 0);
    EXPECT_EQ(inLan(two, "ping -c 1 -W 1 198.51.100.10"), 0);
    shell("lab down " + one);
    EXPECT_EQ(inLan(two, "ping -c 1 -W 1 2001:db8:8:1::10"), 0);
    EXPECT_THAT(otherRuns(), HasSubstr(two));
    shell("lab down " + two);
    EXPECT_EQ(otherRuns(), "");
}

class MeterTest : public ::testing::Test {
  protected:
    void SetUp() override { shell(std::string("lab build ") + gatewayFile); }
    void TearDown() override { shell("lab clear"); }

    static StreamPlan plan(double kbit, double seconds) {
        StreamPlan result;
        result.from = "lan";
        result.to = "internet";
        result.destination = "198.51.100.10";
        result.destinationPort = 9000;
        result.packetBytes = 1000;
        result.packetsPerSecond = kbit / 8;
        result.duration = std::chrono::duration<double>(seconds);
        result.linger = std::chrono::duration<double>(1);
        return result;
    }
};

TEST_F(MeterTest, CountsEveryPacketOnAFreeLine) {
    StreamPlan stream = plan(4000, 1);
    stream.dscp = 46;
    const StreamResult result = runStream(stream);
    const Summary summary = summarize(result.samples);
    EXPECT_EQ(summary.sent, 500U);
    EXPECT_EQ(summary.lost, 0U);
    EXPECT_EQ(result.duplicates, 0U);
    EXPECT_EQ(result.dscps, (std::map<int, uint64_t>{{46, 500}}));
}

TEST_F(MeterTest, MeasuresALinesLossAndDelay) {
    // 2 Mbit/s of line, 4 Mbit/s of 1014-byte frames, a buffer of 150 kB: half of what comes after the
    // first 0.6 s is lost, and what arrives then has waited 0.6 s.
    shell("lab line 2000 2000");
    const Summary summary = summarize(runStream(plan(4000, 1)).samples);
    EXPECT_EQ(summary.sent, 500U);
    EXPECT_NEAR(static_cast<double>(summary.lost), 500 - 250 - 148, 25);
    EXPECT_NEAR(static_cast<double>(summary.most) / 1e9, 0.6, 0.05);
}

TEST_F(MeterTest, ReportsWhatItHasSentWhenItIsStopped) {
    std::atomic<bool> stop = false;
    StreamPlan stream = plan(400, 3600);
    stream.stop = &stop;
    std::jthread stopping([&] {
        e2e::pause(e2e::Milliseconds(300));
        stop = true;
    });
    const Summary summary = summarize(runStream(stream).samples);
    EXPECT_GT(summary.sent, 0U);
    EXPECT_LT(summary.sent, 10'000U);
    EXPECT_EQ(summary.lost, 0U);
}

TEST_F(MeterTest, CountsWhatNeverArrives) {
    shell("ip -n wan link set internet down");
    const Summary summary = summarize(runStream(plan(400, 0.5)).samples);
    EXPECT_EQ(summary.sent, 25U);
    EXPECT_EQ(summary.lost, 25U);
}

TEST(SummaryTest, TakesPercentilesByRank) {
    std::vector<Sample> samples;
    for (int64_t delay = 200; delay >= 1; --delay) {
        samples.push_back({1000 - delay, delay});
    }
    const Summary summary = summarize(samples);
    EXPECT_EQ(summary.sent, 200U);
    EXPECT_EQ(summary.least, 1);
    EXPECT_EQ(summary.median, 100);
    EXPECT_EQ(summary.p99, 198);
    EXPECT_EQ(summary.most, 200);
}

TEST(SummaryTest, LeavesTheLostOutOfTheDelays) {
    const Summary summary = summarize({{1, 10}, {2, Sample::lost}, {3, 30}, {4, Sample::lost}});
    EXPECT_EQ(summary.lost, 2U);
    EXPECT_DOUBLE_EQ(summary.lossPercent(), 50.0);
    EXPECT_EQ(summary.median, 10);
    EXPECT_EQ(summary.p99, 30);
}

TEST(SummaryTest, LooksAtAPeriodWithoutItsEnd) {
    const Summary summary = summarize({{1, 10}, {2, 20}, {3, 30}}, 2, 3);
    EXPECT_EQ(summary.sent, 1U);
    EXPECT_EQ(summary.median, 20);
}

TEST(SummaryTest, IsAllZeroWithoutPackets) {
    const Summary summary = summarize({});
    EXPECT_EQ(summary.sent, 0U);
    EXPECT_EQ(summary.p99, 0);
    EXPECT_DOUBLE_EQ(summary.lossPercent(), 0.0);
}

} // namespace

} // namespace lab
