#include "gateway.h"

#include <string>

namespace fapi::test {

class Vlan : public GatewayTest {
  protected:
    void SetUp() override {
        GatewayTest::SetUp();
        if (goesOn()) {
            addVlan();
        }
        if (!goesOn()) {
            return;
        }
        ok("ip addr add 10.0.7.1/24 dev ptm0.7");
        ok("ip addr add fd07::1/64 dev ptm0.7 nodad");
        ok("ip neigh add 10.0.7.2 lladdr 02:00:00:00:00:99 dev ptm0.7");
        ok("ip neigh add fd07::2 lladdr 02:00:00:00:00:99 dev ptm0.7");
    }

    static Packet packet(const std::string& dst, uint16_t port, uint16_t id) {
        Packet one;
        one.family = dst.find(':') == std::string::npos ? 4 : 6;
        one.src = one.family == 4 ? "192.168.1.10" : "fd01::10";
        one.dst = dst;
        one.dport = port;
        one.id = id;
        return one;
    }
};

TEST_F(Vlan, carriesThePcpOfTheRuleAndNoOther) {
    ok("ifcfg --ifmap -A ptm0.7 -t2 -bptm0 -lptm0");
    ok("qcfg --queue -A q1 -i ptm0.7 -t egress -l 64 -m sp --priority 1 -d tail --map 1");
    ok("qcfg --queue -A q8 -i ptm0.7 -t egress -l 64 -m sp --priority 8 -d tail --map 8");
    const std::string marks = " -o ptm0.7 -j vlan --pcp-outer 5 -j mark --mark 1 --mark-loc 1 --priority 1";
    ok("classcfg -A voice -i br0 -p udp --dport 5060" + marks);
    ok("classcfg -A same_queue -i br0 -p udp --dport 5061 -o ptm0.7 -j mark --mark 1 --mark-loc 1 --priority "
       "1");
    ok("classcfg -A video -i br0 -p udp --dport 5062 -o ptm0.7 -j vlan --pcp-outer 4 -j mark --mark 9 "
       "--mark-loc 1 "
       "--priority 1");
    auto before = classes("ptm0");
    auto arrived =
        throughGateway({packet("10.0.7.2", 5060, 1), packet("fd07::2", 5060, 2), packet("10.0.7.2", 5061, 3),
                        packet("10.0.7.2", 5062, 4), packet("10.0.7.2", 5063, 5)});
    const std::map<uint16_t, int> wanted{{1, 5}, {2, 5}, {3, 0}, {4, 4}, {5, 0}};
    for (const auto& [id, pcp] : wanted) {
        ASSERT_TRUE(arrived.contains(id)) << id;
        EXPECT_EQ(7, arrived[id].vlan) << id;
        EXPECT_EQ(pcp, arrived[id].pcp) << id;
    }
    auto after = classes("ptm0");
    EXPECT_EQ(3U, after["fa91:10"].packets - before["fa91:10"].packets);
    EXPECT_LE(2U, after["fa92:11"].packets - before["fa92:11"].packets);
}

TEST_F(Vlan, keepsTheMapThatWasThere) {
    const std::string before = dump();
    const std::string rule =
        " voice -i br0 -p udp -o ptm0.7 -j vlan --pcp-outer 5 -j mark --mark 1 --mark-loc 1 --priority 1";
    ok("classcfg -A" + rule);
    const std::string link = output("ip -d link show ptm0.7");
    EXPECT_NE(std::string::npos, link.find(" 4203741189:5 ")) << link; // 0xfa900005
    EXPECT_NE(std::string::npos, link.find(" 6:6 ")) << link;
    ok("classcfg -D" + rule);
    EXPECT_EQ(before, dump());
}

TEST_F(Vlan, ingressQueuesTellVlansApart) {
    ok("ifcfg --ifmap -A ptm0.7 -t2 -bptm0 -lptm0");
    ok("qcfg --queue -A q1 -i ptm0.7 -t ingress -l 64 -m sp --priority 1 -d tail --map 1");
    ok("qcfg --queue -A q8 -i ptm0.7 -t ingress -l 64 -m sp --priority 8 -d tail --map 8");
    ok("classcfg -A down -i ptm0.7 -p udp --sport 5060 -j mark --mark_ing 1 --mark-loc 2 --priority 1");
    lan();
    Packet tagged;
    tagged.src = "10.0.7.2";
    tagged.dst = "192.168.1.10";
    tagged.sport = 5060;
    tagged.vlan = 7;
    tagged.id = 1;
    wan().send(portMac, tagged);
    tagged.sport = 5061;
    tagged.id = 2;
    wan().send(portMac, tagged);
    EXPECT_EQ(2U, lan().receiveUntil(2).size());
    const std::string link = output("ip -o link show type ifb");
    const size_t start = link.find("fapi-in");
    ASSERT_NE(std::string::npos, start);
    auto counters = classes(link.substr(start, link.find(':', start) - start));
    EXPECT_EQ(1U, counters["fa91:10"].packets);
    EXPECT_EQ(1U, counters["fa92:11"].packets);
}

} // namespace fapi::test
