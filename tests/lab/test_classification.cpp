// Every criterion of a rule and its exclusion, IPv4 and IPv6: packets that match it and packets that miss it
// narrowly, as the queues count them.
#include "capture.h"
#include "workbench.h"

namespace lab {

namespace {

constexpr const char* server4 = "198.51.100.10";
constexpr const char* server6 = "2001:db8:7:1::10";
constexpr int matches = 7; // times that each matching packet is sent
constexpr int misses = 5;

using Packets = std::vector<Packet>;

Packet udp4(uint16_t destinationPort = 40000) {
    return {.source = "192.168.1.10", .destination = server4, .destinationPort = destinationPort};
}
Packet udp6(uint16_t destinationPort = 40000) {
    return {.source = "2001:db8:1::10", .destination = server6, .destinationPort = destinationPort};
}
Packet from(Packet packet, const std::string& source) {
    packet.source = source;
    return packet;
}
Packet to(Packet packet, const std::string& destination) {
    packet.destination = destination;
    return packet;
}
Packet fromPort(Packet packet, uint16_t port) {
    packet.sourcePort = port;
    return packet;
}
Packet as(Packet packet, int protocol) {
    packet.protocol = protocol;
    return packet;
}
Packet marked(Packet packet, int dscp) {
    packet.dscp = dscp;
    return packet;
}

class ClassificationTest : public WorkbenchTest {
  protected:
    // Brings the WAN up with a rule, sends from the home, and compares the internet's queues.
    void expectTold(const Json& rule, const Packets& matching, const Packets& missing,
                    const char* space = "lan") {
        SCOPED_TRACE(rule.dump());
        bringUpWith(rule);
        const PacketSender sender(space);
        for (const Packet& packet : matching) {
            sender.send(packet, matches);
        }
        for (const Packet& packet : missing) {
            sender.send(packet, misses);
        }
        const QueueCounts counts =
            countsOf("eth1", internetQueue, matching.size() * matches + missing.size() * misses);
        EXPECT_EQ(counts.first.packets, matching.size() * matches) << "packets that match";
        EXPECT_EQ(counts.rest.packets, missing.size() * misses) << "packets that miss";
        EXPECT_EQ(counts.second.packets, 0U);
        takeDown();
    }
};

TEST_F(ClassificationTest, TellsProtocolsApart) {
    const Packets udp = {udp4(), udp6()};
    const Packets tcp = {as(udp4(), IPPROTO_TCP), as(udp6(), IPPROTO_TCP)};
    const Packet icmp = as(udp4(), IPPROTO_ICMP);
    expectTold({{"Protocol", "udp"}}, udp, {tcp[0], tcp[1], icmp});
    expectTold({{"Protocol", "tcp"}}, tcp, {udp[0], udp[1], icmp});
}

TEST_F(ClassificationTest, TellsIgmpApart) {
    const Packet report = {.source = "203.0.113.2", .destination = "232.1.2.3", .protocol = IPPROTO_IGMP};
    expectTold({{"Protocol", "igmp"}, {"ClassifyInterface", "LocalLoopback"}}, {report},
               {as(report, IPPROTO_UDP), from(udp4(), "203.0.113.2")}, "gw");
}

TEST_F(ClassificationTest, TellsDestinationAddressesApart) {
    const Packets there = {udp4()};
    const Packets elsewhere = {to(udp4(), "198.51.100.11"), to(udp4(), "198.51.101.10")};
    expectTold({{"DestIP", server4}}, there, elsewhere);
    expectTold({{"DestIP", server4}, {"DestIPExclude", 1}}, elsewhere, there);
    expectTold({{"DestIP", "198.51.100.8/30"}}, {udp4(), to(udp4(), "198.51.100.11")},
               {to(udp4(), "198.51.100.12"), to(udp4(), "198.51.100.7")});
    expectTold({{"DestIP", "198.51.100.8/30"}, {"DestIPExclude", 1}},
               {to(udp4(), "198.51.100.12"), to(udp4(), "198.51.100.7")},
               {udp4(), to(udp4(), "198.51.100.11")});
}

TEST_F(ClassificationTest, TellsIpv6DestinationAddressesApart) {
    const Packets there = {udp6()};
    const Packets elsewhere = {to(udp6(), "2001:db8:7:1::11"), to(udp6(), "2001:db8:7:2::10")};
    expectTold({{"DestIP", server6}}, there, elsewhere);
    expectTold({{"DestIP", server6}, {"DestIPExclude", 1}}, elsewhere, there);
    expectTold({{"DestIP", "2001:db8:7:1::/64"}}, {udp6(), elsewhere[0]}, {elsewhere[1]});
    expectTold({{"DestIP", "2001:db8:7:1::/64"}, {"DestIPExclude", 1}}, {elsewhere[1]},
               {udp6(), elsewhere[0]});
}

TEST_F(ClassificationTest, TellsSourceAddressesApart) {
    const Packets inside = {from(udp4(), "192.168.1.64"), from(udp4(), "192.168.1.79")};
    const Packets outside = {from(udp4(), "192.168.1.80"), udp4()};
    expectTold({{"SourceIP", "192.168.1.64/28"}}, inside, outside);
    expectTold({{"SourceIP", "192.168.1.64/28"}, {"SourceIPExclude", 1}}, outside, inside);
    expectTold({{"SourceIP", "192.168.1.10"}}, {udp4()}, {inside[0], outside[0]});
    expectTold({{"SourceIP", "192.168.1.10"}, {"SourceIPExclude", 1}}, {inside[0], outside[0]}, {udp4()});
}

TEST_F(ClassificationTest, TellsIpv6SourceAddressesApart) {
    const Packets there = {udp6()};
    const Packets elsewhere = {from(udp6(), "2001:db8:1::20"), from(udp6(), "2001:db8:1::64")};
    expectTold({{"SourceIP", "2001:db8:1::10"}}, there, elsewhere);
    expectTold({{"SourceIP", "2001:db8:1::10"}, {"SourceIPExclude", 1}}, elsewhere, there);
    expectTold({{"SourceIP", "2001:db8:1::10/124"}}, there, elsewhere);
    expectTold({{"SourceIP", "2001:db8:1::10/124"}, {"SourceIPExclude", 1}}, elsewhere, there);
}

TEST_F(ClassificationTest, TellsDestinationPortsApart) {
    const Packets inside = {udp4(5060), udp4(5061), udp6(5060), udp6(5061)};
    const Packets outside = {udp4(5059), udp4(5062), udp6(5059), udp6(5062)};
    expectTold({{"DestPortRange", "5060:5061"}}, inside, outside);
    expectTold({{"DestPortRange", "5060:5061"}, {"DestPortRangeExclude", 1}}, outside, inside);
    expectTold({{"DestPortRange", "5060"}}, {udp4(5060), udp6(5060)},
               {udp4(5061), udp6(5061), fromPort(udp4(40000), 5060), as(udp4(5060), IPPROTO_TCP)});
    expectTold({{"DestPortRange", "5060"}, {"DestPortRangeExclude", 1}}, {udp4(5061), udp6(5061)},
               {udp4(5060), udp6(5060), as(udp4(5061), IPPROTO_TCP)});
}

TEST_F(ClassificationTest, TellsSourcePortsApart) {
    const Packets inside = {fromPort(udp4(), 16384), fromPort(udp4(), 16482), fromPort(udp6(), 16384),
                            fromPort(udp6(), 16482)};
    const Packets outside = {fromPort(udp4(), 16383), fromPort(udp4(), 16483), fromPort(udp6(), 16383),
                             fromPort(udp6(), 16483)};
    expectTold({{"SourcePortRange", "16384:16482"}}, inside, outside);
    expectTold({{"SourcePortRange", "16384:16482"}, {"SourcePortRangeExclude", 1}}, outside, inside);
}

TEST_F(ClassificationTest, TellsTcpPortsApart) {
    const auto tcp = [](Packet packet) { return as(packet, IPPROTO_TCP); };
    expectTold({{"Protocol", "tcp"}, {"DestPortRange", "80"}}, {tcp(udp4(80)), tcp(udp6(80))},
               {tcp(udp4(81)), tcp(udp6(81)), udp4(80), udp6(80)});
    expectTold({{"Protocol", "tcp"}, {"DestPortRange", "80"}, {"DestPortRangeExclude", 1}},
               {tcp(udp4(81)), tcp(udp6(81))}, {tcp(udp4(80)), tcp(udp6(80)), udp4(81), udp6(81)});
}

TEST_F(ClassificationTest, TellsDscpsApart) {
    expectTold(
        {{"DSCPMatch", 46}}, {marked(udp4(), 46), marked(udp6(), 46)},
        {udp4(), udp6(), marked(udp4(), 47), marked(udp6(), 47), marked(udp4(), 23), marked(udp6(), 62)});
    expectTold({{"DSCPMatch", 0}}, {udp4(), udp6()}, {marked(udp4(), 1), marked(udp6(), 32)});
}

TEST_F(ClassificationTest, TellsPureAcknowledgementsApart) {
    const auto tcp = [](Packet packet, uint8_t flags, uint16_t payload) {
        packet.protocol = IPPROTO_TCP;
        packet.tcpFlags = flags;
        packet.payload = payload;
        return packet;
    };
    expectTold({{"Protocol", "tcp"}, {"TCPACK", 1}}, {tcp(udp4(), tcpAck, 0), tcp(udp6(), tcpAck, 0)},
               {tcp(udp4(), tcpAck, 1), tcp(udp6(), tcpAck, 1), tcp(udp4(80), tcpSyn, 0),
                tcp(udp6(80), tcpSyn, 0), udp4(), udp6()});
}

TEST_F(ClassificationTest, AsksForAllCriteriaAtOnce) {
    const Packet all = marked(fromPort(udp4(5060), 5000), 10);
    expectTold({{"DestIP", server4},
                {"SourceIP", "192.168.1.0/24"},
                {"DestPortRange", "5060:5061"},
                {"SourcePortRange", "5000"},
                {"DSCPMatch", 10}},
               {all}, {marked(all, 11), fromPort(all, 5001), to(all, "198.51.100.11"), as(all, IPPROTO_TCP)});
}

TEST_F(ClassificationTest, TellsApartWhereAPacketComesFrom) {
    const Packet own = from(udp4(), "203.0.113.2");
    bringUpWith({{"ClassifyInterface", "LocalLoopback"}});
    PacketSender("gw").send(own, matches);
    PacketSender("lan").send(udp4(), misses);
    const QueueCounts counts = countsOf("eth1", internetQueue, matches + misses);
    EXPECT_EQ(counts.first.packets, uint64_t{matches});
    EXPECT_EQ(counts.rest.packets, uint64_t{misses});
}

TEST_F(ClassificationTest, TellsApartWhereAPacketLeaves) {
    const Packet call = to(udp4(), "10.9.1.10");
    bringUpWith(Json::object(), {{"QueueInterface", "ProviderVoIP"}});
    PacketSender("lan").send(call, matches);
    PacketSender("lan").send(udp4(), misses);
    EXPECT_EQ(countsOf("eth1.20", telephonyQueue, matches).first.packets, uint64_t{matches});
    const QueueCounts others = countsOf("eth1", internetQueue, misses);
    EXPECT_EQ(others.first.packets, 0U);
    EXPECT_EQ(others.rest.packets, uint64_t{misses});
}

TEST_F(ClassificationTest, TellsDownstreamPacketsApart) {
    const Packet down4 = {.source = server4, .destination = "192.168.1.10", .sourcePort = 3478};
    const Packet down6 = {.source = server6, .destination = "2001:db8:1::10", .sourcePort = 3478};
    bringUpWith({{"ClassifyInterface", "ProviderInternet"}, {"SourcePortRange", "3478:3481"}},
                {{"QueueInterface", "LocalLAN"}});
    const PacketSender sender("internet");
    for (const Packet& packet : {down4, down6}) {
        sender.send(packet, matches);
        sender.send(fromPort(packet, 3482), misses);
    }
    const QueueCounts counts = countsOf("br0", homeQueue, 2U * (matches + misses));
    EXPECT_EQ(counts.first.packets, 2U * matches);
    EXPECT_EQ(counts.rest.packets, 2U * misses);
}

class MarkingTest : public ClassificationTest {
  protected:
    // How many of the packets with that tag arrive at the provider with which DSCP and ECN.
    std::map<std::pair<int, int>, int> arrivals(Capture& capture, uint16_t tag, int count) {
        std::map<std::pair<int, int>, int> result;
        for (const Captured& packet : capture.take(tag, static_cast<size_t>(count))) {
            if (packet.tag == tag) {
                ++result[{packet.dscp, packet.ecn}];
            }
        }
        return result;
    }
};

TEST_F(MarkingTest, RewritesTheDscpOfMatchingPacketsAlone) {
    bringUpWith({{"DestPortRange", "5060"}}, {{"DSCPMark", 46}});
    const PacketSender sender("lan");
    uint16_t tag = 100;
    for (Packet packet : {udp4(5060), udp6(5060)}) {
        Capture capture("wan", "eth1");
        packet.dscp = 10;
        packet.ecn = 2;
        packet.tag = ++tag;
        sender.send(packet, matches);
        EXPECT_EQ(arrivals(capture, tag, matches), (std::map<std::pair<int, int>, int>{{{46, 2}, matches}}));
        packet.destinationPort = 5061;
        packet.tag = ++tag;
        sender.send(packet, misses);
        EXPECT_EQ(arrivals(capture, tag, misses), (std::map<std::pair<int, int>, int>{{{10, 2}, misses}}));
    }
}

TEST_F(MarkingTest, LeavesTheDscpAloneWithoutAMark) {
    bringUpWith({{"DestPortRange", "5060"}});
    const PacketSender sender("lan");
    Capture capture("wan", "eth1");
    Packet packet = marked(udp4(5060), 10);
    packet.tag = 77;
    sender.send(packet, matches);
    EXPECT_EQ(arrivals(capture, 77, matches), (std::map<std::pair<int, int>, int>{{{10, 0}, matches}}));
}

} // namespace

} // namespace lab
