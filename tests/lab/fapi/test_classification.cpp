#include "gateway.h"
#include "match.h"
#include "options.h"
#include "ruletext.h"

#include <arpa/inet.h>

#include <algorithm>
#include <random>

namespace fapi::test {

namespace {

constexpr uint8_t hit = 46; // DSCP that the rule under test writes

std::string ruleLine(const std::string& name, const std::string& criteria, const std::string& out, int dscp,
                     int mark) {
    return "classcfg -A " + name + " -i br0 " + criteria + (out.empty() ? "" : " -o " + out) +
           " -j dscp --actdscp " + std::to_string(dscp) + " -j mark --mark " + std::to_string(mark) +
           " --mark-loc 1 --priority 1";
}

Packet v6(Packet packet) {
    packet.family = 6;
    packet.src = "fd01::10";
    packet.dst = "fd02::2";
    return packet;
}

Packet udp(uint16_t sport, uint16_t dport) {
    Packet packet;
    packet.sport = sport;
    packet.dport = dport;
    return packet;
}

Packet tcp(uint8_t flags, size_t payload) {
    Packet packet;
    packet.protocol = 6;
    packet.tcpFlags = flags;
    packet.payload = payload;
    packet.dport = 80;
    return packet;
}

Packet from(const std::string& src, Packet packet = {}) {
    packet.src = src;
    packet.family = src.find(':') == std::string::npos ? 4 : 6;
    packet.dst = packet.family == 4 ? "10.0.0.2" : "fd02::2";
    return packet;
}

Packet to(const std::string& dst) {
    Packet packet;
    packet.dst = dst;
    packet.family = dst.find(':') == std::string::npos ? 4 : 6;
    packet.src = packet.family == 4 ? "192.168.1.10" : "fd01::10";
    return packet;
}

Packet withDscp(uint8_t dscp, Packet packet = {}) {
    packet.dscp = dscp;
    return packet;
}

} // namespace

class Classification : public GatewayTest {
  protected:
    void SetUp() override {
        GatewayTest::SetUp();
        if (HasFatalFailure()) {
            return;
        }
        ok("ip route add 10.1.0.0/16 via 10.0.0.2 dev ppp0");
        ok("ip route add fd03::/16 via fd02::2 dev ppp0");
        ok("ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0");
        ok("qcfg --queue -A ppp0_q1 -i ppp0 -t egress -l 1000 -m sp --priority 1 -d tail --map 1");
        ok("qcfg --queue -A ppp0_q2 -i ppp0 -t egress -l 1000 -m sp --priority 2 -d tail --map 2");
        ok("qcfg --queue -A ppp0_def -i ppp0 -t egress -l 1000 -m sp --priority 8 -d tail --map 8");
    }

    // Exactly `matching` get the rule's DSCP and queue.
    void check(const std::string& criteria, const std::vector<Packet>& matching,
               const std::vector<Packet>& others) {
        ok(ruleLine("rule", criteria, "ppp0", hit, 1));
        const auto before = classes("ptm0");
        std::vector<Packet> packets = matching;
        packets.insert(packets.end(), others.begin(), others.end());
        for (size_t i = 0; i < packets.size(); ++i) {
            packets[i].id = static_cast<uint16_t>(i + 1);
        }
        const std::map<uint16_t, Arrived> arrived = throughGateway(packets);
        EXPECT_EQ(packets.size(), arrived.size()) << criteria;
        for (const auto& [id, packet] : arrived) {
            const size_t index = id - 1U;
            ASSERT_LT(index, packets.size());
            const uint8_t wanted = index < matching.size() ? hit : packets[index].dscp;
            EXPECT_EQ(wanted, packet.dscp) << criteria << ", packet " << index;
            EXPECT_EQ(packets[index].ecn, packet.ecn) << criteria << ", packet " << index;
            EXPECT_TRUE(packet.checksumRight) << criteria << ", packet " << index;
        }
        auto after = classes("ptm0");
        EXPECT_EQ(matching.size(), after["fa91:10"].packets - before.at("fa91:10").packets) << criteria;
        EXPECT_LE(others.size(), after["fa92:12"].packets - before.at("fa92:12").packets) << criteria;
        ok("classcfg -D rule -i br0");
    }
};

TEST_F(Classification, byProtocol) {
    Packet igmp;
    igmp.protocol = 2;
    igmp.icmpType = 0x16;
    Packet ping;
    ping.protocol = 1;
    ping.icmpType = 8;
    check("-p udp", {udp(1, 2), v6(udp(1, 2))}, {tcp(0x10, 0), v6(tcp(0x10, 0)), igmp, ping});
    check("-p tcp", {tcp(0x02, 0), v6(tcp(0x18, 100))}, {udp(1, 2), v6(udp(1, 2)), igmp});
    Packet report = v6({});
    report.protocol = 58;
    report.icmpType = 143; // MLDv2
    Packet echo = report;
    echo.icmpType = 128;
    check("-p igmp", {igmp, report}, {udp(1, 2), ping, echo});
}

TEST_F(Classification, byDestinationPort) {
    check("-p udp --dport 5060", {udp(9, 5060), v6(udp(9, 5060))},
          {udp(9, 5059), udp(9, 5061), udp(5060, 9), v6(udp(5060, 5061))});
    check("-p udp --dport 5060:5062", {udp(9, 5060), udp(9, 5061), v6(udp(9, 5062))},
          {udp(9, 5059), v6(udp(9, 5063))});
    check("-p udp --dport !5060:5062", {udp(9, 5059), v6(udp(9, 5063))}, {udp(9, 5060), v6(udp(9, 5062))});
}

TEST_F(Classification, bySourcePort) {
    check("-p udp --sport 5060", {udp(5060, 9), v6(udp(5060, 9))}, {udp(5059, 5060), v6(udp(5061, 5060))});
    check("-p udp --sport !5060", {udp(5059, 5060), v6(udp(5061, 5060))}, {udp(5060, 9), v6(udp(5060, 9))});
    check("-p udp --sport 0:65535", {udp(0, 0), v6(udp(65535, 65535))}, {tcp(0x10, 0)});
}

TEST_F(Classification, bySourceAddress) {
    check("-p udp -s 192.168.1.10", {from("192.168.1.10")},
          {from("192.168.1.11"), from("192.168.1.2"), from("fd01::10")});
    check("-p udp -s 192.168.1.8/29", {from("192.168.1.8"), from("192.168.1.15")},
          {from("192.168.1.7"), from("192.168.1.16"), from("fd01::8")});
    check("-p udp -s !192.168.1.10", {from("192.168.1.11")}, {from("192.168.1.10"), from("fd01::10")});
    check("-p udp -s fd01::10", {from("fd01::10")}, {from("fd01::11"), from("192.168.1.10")});
    check("-p udp -s fd01::/65", {from("fd01::1:10"), from("fd01::7fff:0:0:1")},
          {from("fd01::8000:0:0:1"), from("192.168.1.10")});
    check("-p udp -s !fd01::10", {from("fd01::11")}, {from("fd01::10"), from("192.168.1.10")});
}

TEST_F(Classification, byDestinationAddress) {
    check("-p udp -d 10.1.0.5", {to("10.1.0.5")}, {to("10.1.0.4"), to("10.0.0.2"), to("fd03::5")});
    check("-p udp -d 10.1.4.0/22", {to("10.1.4.0"), to("10.1.7.255")}, {to("10.1.3.255"), to("10.1.8.0")});
    check("-p udp -d !10.1.4.0/22", {to("10.1.3.255"), to("10.0.0.2")}, {to("10.1.4.1"), to("fd03::5")});
    check("-p udp -d fd03::/33", {to("fd03::5"), to("fd03:0:7fff::1")},
          {to("fd03:0:8000::1"), to("10.1.0.5")});
    check("-p udp -d !fd03::5", {to("fd03::6")}, {to("fd03::5"), to("10.1.0.5")});
}

TEST_F(Classification, byDscp) {
    check("-p udp --iphdr-dscp 10", {withDscp(10), withDscp(10, v6({}))},
          {withDscp(0), withDscp(11), withDscp(8, v6({}))});
    check("-p udp --iphdr-dscp 0", {withDscp(0), withDscp(0, v6({}))}, {withDscp(1), withDscp(32, v6({}))});
}

TEST_F(Classification, byPureAcknowledgement) {
    check("-p tcp --tcp-flags ack", {tcp(0x10, 0), tcp(0x18, 0), v6(tcp(0x10, 0))},
          {tcp(0x10, 1), tcp(0x12, 0), tcp(0x11, 0), tcp(0x14, 0), tcp(0x02, 0), v6(tcp(0x10, 1)),
           v6(tcp(0x12, 0)), udp(1, 2)});
}

TEST_F(Classification, byEverythingTogether) {
    const auto packet = [](uint16_t sport, uint16_t dport, const std::string& dst, uint8_t dscp) {
        Packet one = to(dst);
        one.sport = sport;
        one.dport = dport;
        one.dscp = dscp;
        return one;
    };
    check("-p udp -d 10.1.0.0/24 -s 192.168.1.0/24 --dport 100:200 --sport !7 --iphdr-dscp 5",
          {packet(8, 100, "10.1.0.1", 5), packet(6, 200, "10.1.0.2", 5)},
          {packet(7, 100, "10.1.0.1", 5), packet(8, 99, "10.1.0.1", 5), packet(8, 100, "10.1.1.1", 5),
           packet(8, 100, "10.1.0.1", 4)});
}

TEST_F(Classification, keepsTheCongestionBits) {
    Packet marked = udp(1, 5060);
    marked.ecn = 3;
    Packet marked6 = v6(marked);
    marked6.ecn = 1;
    check("-p udp --dport 5060", {marked, marked6}, {});
}

TEST_F(Classification, laterFragmentsHaveNoPorts) {
    Packet later = udp(9, 5060);
    later.fragmentOffset = 100;
    check("-p udp --dport 5060", {udp(9, 5060)}, {later});
    check("-p udp --dport !5060", {udp(9, 5061)}, {later});
    check("-p udp", {later}, {});
}

TEST_F(Classification, looksBehindIpv6ExtensionHeaders) {
    Packet behind = v6(udp(9, 5060));
    behind.destinationOptions = true;
    Packet other = behind;
    other.dport = 5061;
    check("-p udp --dport 5060", {behind}, {other});
}

TEST_F(Classification, theFirstMatchingRuleCounts) {
    ok(ruleLine("narrow", "-p udp --dport 5060", "ppp0", 10, 1));
    ok(ruleLine("wide", "-p udp", "ppp0", 20, 2));
    Packet sip = udp(1, 5060);
    sip.id = 1;
    Packet other = udp(1, 5061);
    other.id = 2;
    auto arrived = throughGateway({sip, other});
    EXPECT_EQ(10, arrived[1].dscp);
    EXPECT_EQ(20, arrived[2].dscp);
    // A rule that is modified keeps its place; one that is added again goes behind.
    ok("classcfg -M narrow -i br0 -p udp --dport 5061 -o ppp0 -j dscp --actdscp 30 -j mark --mark 1 "
       "--mark-loc 1 --priority 1");
    arrived = throughGateway({sip, other});
    EXPECT_EQ(20, arrived[1].dscp);
    EXPECT_EQ(30, arrived[2].dscp);
    ok("classcfg -D narrow -i br0");
    ok(ruleLine("narrow", "-p udp --dport 5060", "ppp0", 10, 1));
    EXPECT_EQ("wide\nnarrow\n", output("classcfg -Lall -ibr0"));
    arrived = throughGateway({sip});
    EXPECT_EQ(20, arrived[1].dscp);
}

TEST_F(Classification, aRuleHoldsForItsLeavingInterfaceOnly) {
    ok(ruleLine("a", "-p udp --dport 5060", "ptm0.8", 10, 1));
    ok(ruleLine("b", "-p udp --dport 5060", "ppp0", 20, 1));
    ok(ruleLine("c", "-p udp", "", 30, 2));
    std::vector<Packet> packets;
    for (const char* dst : {"10.0.8.2", "10.0.0.2", "fd08::2", "fd02::2"}) {
        for (const uint16_t port : {uint16_t{5060}, uint16_t{5061}}) {
            Packet packet = to(dst);
            packet.dport = port;
            packet.id = static_cast<uint16_t>(packets.size() + 1);
            packets.push_back(packet);
        }
    }
    auto arrived = throughGateway(packets);
    const std::vector<int> wanted{10, 30, 20, 30, 10, 30, 20, 30};
    for (size_t i = 0; i < wanted.size(); ++i) {
        EXPECT_EQ(wanted[i], arrived[static_cast<uint16_t>(i + 1)].dscp) << "packet " << i;
    }
}

TEST_F(Classification, theOldDscpIsBackWhenAnotherRuleHoldsAtTheWayOut) {
    ok(ruleLine("keep", "-p udp --dport 5060", "ppp0", 10, 1));
    ok("classcfg -M keep -i br0 -p udp --dport 5060 -o ppp0 -j mark --mark 1 --mark-loc 1 --priority 1");
    ok(ruleLine("all", "-p udp", "", 30, 2));
    Packet sip = withDscp(12, udp(1, 5060));
    sip.id = 1;
    Packet sip6 = v6(sip);
    sip6.id = 2;
    auto arrived = throughGateway({sip, sip6});
    EXPECT_EQ(12, arrived[1].dscp);
    EXPECT_TRUE(arrived[1].checksumRight);
    EXPECT_EQ(12, arrived[2].dscp);
}

TEST_F(Classification, seesAddressesAsTheyCameIn) {
    ok("nft add table ip nat");
    ok("nft add chain ip nat post { type nat hook postrouting priority 100 ; }");
    ok("nft add rule ip nat post oifname ppp0 masquerade");
    check("-p udp -s 192.168.1.10", {from("192.168.1.10")}, {from("192.168.1.11")});
}

TEST_F(Classification, ofTheGatewaysOwnPackets) {
    ok("classcfg -A own -i lo -p udp --dport 53 -o ppp0 -j dscp --actdscp 46 -j mark --mark 1 --mark-loc 1 "
       "--priority 1");
    const auto before = classes("ptm0");
    const int sockets[2] = {socket(AF_INET, SOCK_DGRAM, 0), socket(AF_INET6, SOCK_DGRAM, 0)};
    for (const uint16_t port : {uint16_t{53}, uint16_t{54}}) {
        sockaddr_in v4{};
        v4.sin_family = AF_INET;
        v4.sin_port = htons(port);
        inet_pton(AF_INET, "10.0.0.2", &v4.sin_addr);
        EXPECT_EQ(1, sendto(sockets[0], "x", 1, 0, reinterpret_cast<sockaddr*>(&v4), sizeof v4));
        sockaddr_in6 six{};
        six.sin6_family = AF_INET6;
        six.sin6_port = htons(port);
        inet_pton(AF_INET6, "fd02::2", &six.sin6_addr);
        EXPECT_EQ(1, sendto(sockets[1], "x", 1, 0, reinterpret_cast<sockaddr*>(&six), sizeof six));
    }
    // A forwarded packet is not the gateway's own.
    Packet forwarded = udp(1, 53);
    forwarded.id = 1;
    throughGateway({forwarded});
    auto after = classes("ptm0");
    EXPECT_EQ(2U, after["fa91:10"].packets - before.at("fa91:10").packets);
}

TEST_F(Classification, downstreamChoosesTheQueueTowardsTheHome) {
    ok("qcfg --queue -A br0_q2 -i br0 -t egress -l 64 -m sp --priority 2 -d tail --map 2");
    ok("qcfg --queue -A br0_def -i br0 -t egress -l 64 -m sp --priority 8 -d tail --map 8");
    ok("classcfg -A down -i ppp0 -p udp --sport 5060 -j dscp --actdscp 40 -j mark --mark_ing 2 --mark-loc 2 "
       "--priority 2");
    lan();
    for (const uint16_t port : {uint16_t{5060}, uint16_t{5061}}) {
        Packet packet = udp(port, 7);
        packet.src = "10.0.0.2";
        packet.dst = "192.168.1.10";
        packet.id = port;
        wan().send(pppMac, packet);
        packet.family = 6;
        packet.src = "fd02::2";
        packet.dst = "fd01::10";
        packet.id = static_cast<uint16_t>(port + 10);
        wan().send(pppMac, packet);
    }
    std::map<uint16_t, uint8_t> dscp;
    for (const Arrived& packet : lan().receiveUntil(5071)) {
        dscp[packet.id] = packet.dscp;
    }
    EXPECT_EQ((std::map<uint16_t, uint8_t>{{5060, 40}, {5061, 0}, {5070, 40}, {5071, 0}}), dscp);
    auto counters = classes("br0");
    EXPECT_EQ(2U, counters["fa91:13"].packets);
    EXPECT_LE(2U, counters["fa92:14"].packets); // the gateway itself may have something to say
}

TEST_F(Classification, anUnknownMarkGoesToTheDefaultQueueAndWithoutOneBehindAll) {
    constexpr uint64_t many = 50; // more than the gateway's own chatter
    ok(ruleLine("rule", "-p udp --dport 5060", "ppp0", 10, 77));
    const std::vector<Packet> packets(many, udp(1, 5060));
    throughGateway(packets);
    auto counters = classes("ptm0");
    EXPECT_LE(many, counters["fa92:12"].packets);
    EXPECT_GT(many, counters["fa92:1"].packets);
    ok("qcfg --queue -D ppp0_def -i ppp0 -t egress");
    throughGateway(packets);
    EXPECT_LE(many, classes("ptm0")["fa92:1"].packets);
}

// The kernel and the library's own answer, over random rules and packets.
class RandomRules : public Classification {
  protected:
    std::mt19937 random_{20240611};
    struct Known {
        fapi_rule rule;
        std::string out;
        uint8_t dscp;
    };

    template <typename T>
    T pick(const std::vector<T>& from) {
        return from[std::uniform_int_distribution<size_t>(0, from.size() - 1)(random_)];
    }
    bool chance(int percent) { return std::uniform_int_distribution<int>(1, 100)(random_) <= percent; }

    std::string criteria() {
        const bool six = chance(50);
        std::string line = "-p " + pick<std::string>({"udp", "udp", "tcp"});
        const std::string no = chance(30) ? "!" : "";
        if (chance(40)) {
            line += " -s " + no +
                    (six ? pick<std::string>({"fd01::10", "fd01::/127", "fd01::10/126"})
                         : pick<std::string>({"192.168.1.10", "192.168.1.8/30", "192.168.1.0/24"}));
        }
        if (chance(30)) {
            line += " -d " + no +
                    (six ? pick<std::string>({"fd02::2", "fd02::/16", "fd08::2"})
                         : pick<std::string>({"10.0.0.2", "10.0.0.0/16", "10.0.8.2"}));
        }
        if (chance(50)) {
            line += " --dport " + no + pick<std::string>({"5", "5:6", "6:9"});
        }
        if (chance(30)) {
            line += " --sport " + no + pick<std::string>({"5", "5:6", "6:9"});
        }
        if (chance(20)) {
            line += " --iphdr-dscp " + pick<std::string>({"0", "1"});
        }
        return line;
    }

    Packet packet() {
        Packet one;
        one.family = chance(50) ? 4 : 6;
        one.protocol = pick<uint8_t>({6, 17, 17});
        one.src = one.family == 4 ? pick<std::string>({"192.168.1.9", "192.168.1.10", "192.168.1.12"})
                                  : pick<std::string>({"fd01::1", "fd01::10", "fd01::12"});
        one.dst = one.family == 4 ? pick<std::string>({"10.0.0.2", "10.0.8.2"})
                                  : pick<std::string>({"fd02::2", "fd08::2"});
        one.sport = pick<uint16_t>({4, 5, 6, 7});
        one.dport = pick<uint16_t>({4, 5, 6, 7});
        one.dscp = pick<uint8_t>({0, 1, 2});
        return one;
    }

    static fapi_facts facts(const Packet& packet) {
        fapi_facts facts{};
        facts.family = static_cast<__u8>(packet.family);
        facts.protocol = packet.protocol;
        facts.dscp = packet.dscp;
        facts.has_ports = 1;
        facts.sport = packet.sport;
        facts.dport = packet.dport;
        inet_pton(packet.family == 4 ? AF_INET : AF_INET6, packet.src.c_str(), facts.src);
        inet_pton(packet.family == 4 ? AF_INET : AF_INET6, packet.dst.c_str(), facts.dst);
        return facts;
    }

    static uint8_t expected(const std::vector<Known>& rules, const Packet& packet) {
        const bool byPpp = packet.dst == "10.0.0.2" || packet.dst == "fd02::2";
        const fapi_facts known = facts(packet);
        for (const Known& rule : rules) {
            if ((rule.out.empty() || (rule.out == "ppp0") == byPpp) &&
                fapi_matches(&rule.rule, &known) != 0) {
                return rule.dscp;
            }
        }
        return packet.dscp;
    }
};

TEST_F(RandomRules, agreeWithTheLibrary) {
    for (int round = 0; round < 6; ++round) {
        std::vector<Known> rules;
        for (int i = 0; i < 20; ++i) {
            const std::string words = criteria();
            const auto out = pick<std::string>({"ppp0", "ptm0.8", ""});
            const auto dscp = static_cast<uint8_t>(10 + i);
            const std::string line = ruleLine("r" + std::to_string(i), words, out, dscp, 1);
            ok(line);
            std::istringstream in(line.substr(line.find(' ') + 1));
            const Options parsed = ruleOptions({std::istream_iterator<std::string>(in), {}});
            rules.push_back({readRule(parsed), out, dscp});
        }
        std::vector<Packet> packets;
        for (uint16_t id = 1; id <= 300; ++id) {
            packets.push_back(packet());
            packets.back().id = id;
        }
        const std::map<uint16_t, Arrived> arrived = throughGateway(packets);
        EXPECT_EQ(packets.size(), arrived.size());
        for (const auto& [id, one] : arrived) {
            EXPECT_EQ(expected(rules, packets[id - 1U]), one.dscp) << "round " << round << ", packet " << id;
        }
        for (int i = 0; i < 20; ++i) {
            ok("classcfg -D r" + std::to_string(i) + " -i br0");
        }
    }
}

} // namespace fapi::test
