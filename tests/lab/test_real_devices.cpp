// What only a kernel with VLAN and PPPoE devices and RED can show: lab/vm runs these.
#include "capture.h"
#include "labtest.h"
#include "meter/stream.h"
#include "meter/summary.h"
#include "packets.h"

#include <thread>

namespace lab {

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr int packets = 20;

// The triple-play gateway: telephony on ptm0.9 and television on ptm0.8, the internet on ppp0 over ptm0.7.
class RealDevicesTest : public LabTest {
  protected:
    void SetUp() override {
        buildGateway(e2e::exampleGateway("dsl-tripleplay"));
        ASSERT_THAT(shell("lab describe"), Not(HasSubstr("stands in")))
            << "this kernel lacks the real devices";
        shell("ip netns exec gw ping -qc 1 -W 5 10.9.1.10; ip netns exec lan ping -qc 1 -W 5 198.51.100.10");
    }

    // How many of the packets with that tag pass the WAN port with which VLAN priority.
    static std::map<int, int> pcpsOf(Capture& capture, uint16_t tag) {
        std::map<int, int> result;
        for (const Captured& packet : capture.take(tag, packets)) {
            if (packet.tag == tag && packet.pcp) {
                ++result[*packet.pcp];
            }
        }
        return result;
    }

    static Packet call() {
        return {.source = "10.9.0.2", .destination = "10.9.1.10", .sourcePort = 16384, .tag = 11};
    }
    // No rule of the example is for it: it does not come from a telephony port.
    static Packet stray() { return {.source = "192.168.1.10", .destination = "10.9.1.10", .tag = 12}; }
};

TEST_F(RealDevicesTest, CallsLeaveWithTheirVlanPriorityAndOthersWithout) {
    Capture capture("wan", "ptm0");
    startDaemon();
    bringUp();
    expectNoErrors();
    PacketSender("gw").send(call(), packets);
    EXPECT_EQ(pcpsOf(capture, 11), (std::map<int, int>{{6, packets}}));
    PacketSender("lan").send(stray(), packets);
    EXPECT_EQ(pcpsOf(capture, 12), (std::map<int, int>{{0, packets}}));
    takeDown();

    Packet later = call();
    later.tag = 13;
    PacketSender("gw").send(later, packets);
    EXPECT_EQ(pcpsOf(capture, 13), (std::map<int, int>{{0, packets}}));
}

TEST_F(RealDevicesTest, AForeignEntryOfTheVlanMapStays) {
    shell("ip -n gw link set ptm0.9 type vlan egress 3:5");
    const std::string before = gatewayState();
    startDaemon();
    bringUp();
    EXPECT_THAT(shellIn("gw", "ip -d link show ptm0.9"), HasSubstr("3:5"));
    takeDown();
    EXPECT_EQ(difference(before, gatewayState()), "");
}

TEST_F(RealDevicesTest, VlanMapAndQueuesAreRestored) {
    const std::string before = gatewayState();
    startDaemon();
    for (int round = 0; round < 2; ++round) {
        bringUp();
        EXPECT_NE(difference(before, gatewayState()), "");
        takeDown();
        EXPECT_EQ(difference(before, gatewayState()), "");
    }
    bringUp();
    stopDaemon();
    EXPECT_EQ(difference(before, gatewayState()), "");
}

TEST_F(RealDevicesTest, PppPacketsWaitInThePortsQueues) {
    // A length of its own by which the queue of interactive traffic, SSH here, is found on the port.
    constexpr uint32_t length = 77;
    Json configuration = e2e::exampleGateway("dsl-tripleplay");
    for (Json& queue : configuration["QoSQueues"]) {
        if (queue["Name"] == "internet_interactive") {
            queue["BufferLen"] = length;
        }
    }
    configure(configuration);
    startDaemon();
    bringUp();
    Packet login = {.source = "192.168.1.10",
                    .destination = "198.51.100.10",
                    .protocol = IPPROTO_TCP,
                    .destinationPort = 22,
                    .tcpFlags = tcpSyn};
    PacketSender("lan").send(login, packets);
    login.source = "2001:db8:1::10";
    login.destination = "2001:db8:7:1::10";
    PacketSender("lan").send(login, packets);
    const auto passed = [] { return queueOfLength("ptm0", length).packets; };
    e2e::eventually([&] { return passed() >= 2U * packets; });
    EXPECT_EQ(passed(), 2U * packets);
    EXPECT_THAT(shellIn("gw", "tc qdisc show dev ppp0"), Not(HasSubstr("htb")));
}

TEST_F(RealDevicesTest, ARedQueueIsARedAndDropsEarly) {
    Json configuration = e2e::exampleGateway("dsl-tripleplay");
    configuration["QoSShaper"][0]["ShapingRate"] = 1000; // which an emulated machine can saturate
    configure(configuration);
    startDaemon();
    bringUp();
    EXPECT_THAT(shellIn("gw", "tc qdisc show dev ptm0"), HasSubstr("qdisc red"));
    StreamPlan plan;
    plan.from = "lan";
    plan.to = "internet";
    plan.destination = "198.51.100.10";
    plan.destinationPort = 9000;
    plan.packetBytes = 1400;
    plan.packetsPerSecond = 1.5e6 / 8 / 1400;
    plan.duration = std::chrono::duration<double>(8);
    const Summary bulk = summarize(runStream(plan).samples);
    EXPECT_GT(bulk.lost, 0U);
    EXPECT_LT(bulk.lossPercent(), 50.0);
    // "marked 0 early 31 pdrop 0 other 0"
    EXPECT_THAT(shellIn("gw", "tc -s qdisc show dev ptm0"), ::testing::ContainsRegex("early [1-9]"));
}

} // namespace

} // namespace lab
