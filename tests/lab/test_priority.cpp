// What the queues do to packets under load, counted.
#include "meter/stream.h"
#include "meter/summary.h"
#include "workbench.h"

#include <thread>

namespace lab {

namespace {

using std::chrono::duration;

constexpr uint16_t callPort = 5060;
constexpr uint16_t bulkPort = 9000;

class PriorityTest : public WorkbenchTest {
  protected:
    // The workbench, shaped at 20 Mbit/s, with rules for both classes by destination port.
    void bringUpShaped(const Json& queueChanges) {
        Json gateway = workbench();
        gateway["QoSShaper"][0]["ShapingRate"] = 20000;
        for (Json& queue : gateway["QoSQueues"]) {
            if (queue["InterfaceName"] == "ProviderInternet") {
                queue.update(queueChanges.value(queue["TrafficClasses"].get<std::string>(), Json::object()));
            }
        }
        gateway["QoSClassificationAction"] = Json::array();
        gateway["QoSClassification"] = Json::array();
        for (const int number : {1, 2}) {
            gateway["QoSClassificationAction"].push_back({{"Id", number},
                                                          {"Name", "class" + std::to_string(number)},
                                                          {"TrafficClass", number},
                                                          {"QueueInterface", "ProviderInternet"}});
            gateway["QoSClassification"].push_back({{"Id", number},
                                                    {"Enable", 1},
                                                    {"Name", "rule" + std::to_string(number)},
                                                    {"ClassifyInterface", "LocalLAN"},
                                                    {"Protocol", "udp"},
                                                    {"DestPortRange", std::to_string(callPort + number - 1)},
                                                    {"QoSClassificationActionId", number}});
        }
        bringUpGateway(gateway);
    }

    // Waits until there are some: the line is saturated now.
    void expectDrops(Counters QueueCounts::*queue) {
        EXPECT_TRUE(e2e::eventually([&] { return (countsOf("eth1", internetQueue).*queue).drops > 0; }));
    }

    static StreamPlan stream(uint16_t port, uint32_t bytes, double kbit, double seconds) {
        StreamPlan plan;
        plan.from = "lan";
        plan.to = "internet";
        plan.destination = "198.51.100.10";
        plan.destinationPort = port;
        plan.packetBytes = bytes;
        plan.packetsPerSecond = kbit * 1000 / 8 / bytes;
        plan.duration = duration<double>(seconds);
        return plan;
    }
};

TEST_F(PriorityTest, TelephonyLosesNothingUnderASaturatingLoad) {
    bringUpShaped(Json::object());
    std::jthread bulk([] { runStream(stream(bulkPort, 1500, 40'000, 2.5)); });
    expectDrops(&QueueCounts::rest);

    const Summary call = summarize(runStream(stream(callPort, 200, 1000, 1.6)).samples);
    bulk.join();
    EXPECT_EQ(call.sent, 1000U);
    EXPECT_EQ(call.lost, 0U);
    const QueueCounts counts = countsOf("eth1", internetQueue);
    EXPECT_EQ(counts.first.packets, 1000U);
    EXPECT_GT(counts.rest.drops, 1000U) << "the load did not saturate the line";
}

TEST_F(PriorityTest, ALowerNumberGoesFirst) {
    bringUpShaped(Json::object());
    std::jthread second([] { runStream(stream(callPort + 1, 1500, 40'000, 2.5)); });
    expectDrops(&QueueCounts::second);

    const Summary first = summarize(runStream(stream(callPort, 1500, 15'000, 1.6)).samples);
    second.join();
    EXPECT_EQ(first.lost, 0U);
    EXPECT_GT(countsOf("eth1", internetQueue).second.drops, 1000U) << "the load did not saturate the line";
}

TEST_F(PriorityTest, WeightedQueuesShareByTheirWeights) {
    bringUpShaped(
        {{"1", {{"Scheduler", "WFQ"}, {"WFQWeight", 75}}}, {"2", {{"Scheduler", "WFQ"}, {"WFQWeight", 25}}}});
    std::jthread other([] { runStream(stream(callPort + 1, 1500, 40'000, 3)); });
    std::jthread one([] { runStream(stream(callPort, 1500, 40'000, 3)); });
    expectDrops(&QueueCounts::first);
    expectDrops(&QueueCounts::second);
    const QueueCounts before = countsOf("eth1", internetQueue);
    std::this_thread::sleep_for(duration<double>(2));
    const QueueCounts after = countsOf("eth1", internetQueue);

    const auto first = static_cast<double>((after.first - before.first).bytes);
    const auto second = static_cast<double>((after.second - before.second).bytes);
    EXPECT_GT((after.second - before.second).drops, 100U) << "the load did not saturate the line";
    // A generator that is not scheduled for some time costs its queue turns; the benchmark measures exactly.
    EXPECT_NEAR(first / (first + second), 0.75, 0.05);
}

} // namespace

} // namespace lab
