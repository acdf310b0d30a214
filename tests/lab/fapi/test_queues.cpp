#include "gateway.h"

#include <arpa/inet.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <netinet/udp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

namespace fapi::test {

class Queues : public GatewayTest {
  protected:
    // One rule per port 5001, 5002, ...: mark 1, 2, ...
    static void ruleForMark(int mark) {
        const std::string number = std::to_string(mark);
        ok("classcfg -A m" + number + " -i br0 -p udp --dport 500" + number + " -o ppp0 -j mark --mark " +
           number + " --mark-loc 1 --priority 1");
    }

    static Packet forMark(int mark, uint16_t id, size_t payload = 1000) {
        Packet packet;
        packet.dport = static_cast<uint16_t>(5000 + mark);
        packet.id = id;
        packet.payload = payload;
        return packet;
    }

    static void rate(const std::string& kbit) {
        ok("qcfg --port -A shape_wan -i ptm0 -s cb --pir " + kbit + " -t egress");
    }

    // Fills the queues while the port stands nearly still, then opens it; returns the identifications of
    // `count` packets as they arrive. So it does not matter how late this process is served in between.
    std::vector<uint16_t> order(const std::vector<Packet>& packets, size_t count,
                                const std::string& slowly = "10") {
        wan();
        rate(slowly); // at 10 kbit/s 1,000 bytes take 0.8 s
        for (const Packet& packet : packets) {
            lan().send(bridgeMac, packet);
        }
        rate("20000");
        std::vector<uint16_t> ids;
        for (const Arrived& packet : wan().receiveUntil(0xffff, count)) {
            ids.push_back(packet.id);
        }
        return ids;
    }
};

TEST_F(Queues, ofAllPrecedencesLeaveInTheirOrder) {
    constexpr int savedUp = 4; // packets that the port lets through at once
    ok("ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0");
    for (int precedence = 0; precedence <= 9; ++precedence) {
        const std::string number = std::to_string(precedence);
        ok("qcfg --queue -A q" + number + " -i ppp0 -t egress -l 100 -m sp --priority " + number +
           " -d tail --map " + number);
        ruleForMark(precedence);
    }
    std::vector<Packet> packets;
    for (int i = 0; i < savedUp; ++i) {
        packets.push_back(forMark(9, static_cast<uint16_t>(100 + i)));
    }
    for (int precedence = 9; precedence >= 0; --precedence) {
        packets.push_back(forMark(precedence, static_cast<uint16_t>(precedence)));
        packets.push_back(forMark(precedence, static_cast<uint16_t>(precedence)));
    }
    // A class may send one packet before it asks for its turn (once a minute); look behind those.
    std::vector<uint16_t> ids = order(packets, packets.size(), "50");
    std::erase_if(ids, [](uint16_t id) { return id >= 100; });
    ASSERT_EQ(20U, ids.size());
    std::vector<uint16_t> second;
    std::map<uint16_t, int> seen;
    for (const uint16_t id : ids) {
        if (++seen[id] == 2) {
            second.push_back(id);
        }
    }
    EXPECT_EQ((std::vector<uint16_t>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}), second);
}

TEST_F(Queues, ofAllStacksOnAPortStandInOneOrder) {
    // The queues of two stacks, two of them of one precedence; a mark is 10 times the stack and the
    // precedence.
    const auto add = [](const std::string& upper, int mark) {
        const std::string number = std::to_string(mark);
        ok("qcfg --queue -A q" + number + " -i " + upper + " -t egress -l 100 -m sp --priority " +
           std::to_string(mark % 10) + " -d tail --map " + number);
        ok("classcfg -A m" + number + " -i br0 -p udp --dport 50" + number + " -o " + upper +
           " -j mark --mark " + number + " --mark-loc 1 --priority 1");
    };
    const auto packet = [](int mark, int id) {
        Packet one;
        one.dst = mark < 20 ? "10.0.0.2" : "10.0.8.2";
        one.dport = static_cast<uint16_t>(5000 + mark);
        one.payload = 1000;
        one.id = static_cast<uint16_t>(id);
        return one;
    };
    // One stack's queue is there before its map and before the shaper, which comes last of all.
    add("ppp0", 15);
    ok("ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0");
    ok("ifcfg --ifmap -A ptm0.8 -t2 -bptm0 -lptm0");
    for (const int mark : {11, 13}) {
        add("ppp0", mark);
    }
    for (const int mark : {21, 24}) {
        add("ptm0.8", mark);
    }
    std::vector<Packet> packets(4, packet(15, 99)); // what the port lets through at once
    for (const int mark : {15, 24, 13, 21, 11}) {
        packets.push_back(packet(mark, 0)); // what a class may send before it asks for its turn
        packets.push_back(packet(mark, mark));
        packets.push_back(packet(mark, mark));
    }
    std::vector<uint16_t> ids = order(packets, packets.size(), "50");
    std::erase_if(ids, [](uint16_t id) { return id == 0 || id == 99; });
    ASSERT_EQ(10U, ids.size());
    std::sort(ids.begin(), ids.begin() + 4); // the two of precedence 1 take turns
    EXPECT_EQ((std::vector<uint16_t>{11, 11, 21, 21, 13, 13, 24, 24, 15, 15}), ids);
}

TEST_F(Queues, strictOnesGoBeforeWeightedOnesAndThoseBeforeTheRest) {
    ok("ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0");
    ok("qcfg --queue -A w -i ppp0 -t egress -l 100 -m wfq --weight 10 -d tail --map 1");
    ok("qcfg --queue -A s -i ppp0 -t egress -l 100 -m sp --priority 9 -d tail --map 2");
    for (const int mark : {1, 2, 3}) { // 3: no queue, no default queue
        ruleForMark(mark);
    }
    std::vector<Packet> packets;
    for (const int mark : {3, 3, 3, 3, 3, 3, 3, 1, 1, 2, 2}) {
        packets.push_back(forMark(mark, static_cast<uint16_t>(mark)));
    }
    std::vector<uint16_t> ids = order(packets, packets.size());
    ASSERT_EQ(packets.size(), ids.size());
    ids.erase(ids.begin(), std::find(ids.begin(), ids.end(), 2));
    std::vector<uint16_t> wanted{2, 2, 1, 1};
    wanted.resize(ids.size(), 3);
    EXPECT_EQ(wanted, ids);
    EXPECT_LT(4U, ids.size());
}

TEST_F(Queues, sharesFollowTheWeights) {
    constexpr int waiting = 500;    // packets in each queue
    constexpr size_t skipped = 100; // what left early, and the first turns
    constexpr size_t looked = 600;  // whole turns
    ok("ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0");
    std::vector<Packet> packets;
    for (int mark = 1; mark <= 4; ++mark) {
        const std::string number = std::to_string(mark);
        ok("qcfg --queue -A w" + number + " -i ppp0 -t egress -l 1000 -m wfq --weight " + number +
           "0 -d tail --map " + number);
        ruleForMark(mark);
        packets.insert(packets.end(), waiting, forMark(mark, static_cast<uint16_t>(mark), 1400));
    }
    const std::vector<uint16_t> ids = order(packets, skipped + looked);
    ASSERT_EQ(skipped + looked, ids.size());
    for (int mark = 1; mark <= 4; ++mark) {
        EXPECT_NEAR(mark / 10.0,
                    static_cast<double>(std::count(ids.begin() + skipped, ids.end(), mark)) / looked, 0.01)
            << "mark " << mark;
    }
}

TEST_F(Queues, aFullQueueDropsAtItsTail) {
    ok("ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0");
    ok("qcfg --queue -A q1 -i ppp0 -t egress -l 5 -m sp --priority 1 -d tail --map 1");
    ruleForMark(1);
    wan();
    rate("10");
    constexpr uint64_t many = 200;
    for (uint16_t id = 1; id <= many; ++id) {
        lan().send(bridgeMac, forMark(1, id));
    }
    const uint64_t drops = classes("ptm0")["fa91:10"].drops;
    EXPECT_GE(many - 5, drops);
    EXPECT_LE(many / 2, drops);
    const std::string shown = output("qcfg --show --json");
    EXPECT_NE(std::string::npos, shown.find("\"drops\":" + std::to_string(drops))) << shown;
    // What was not dropped arrives.
    rate("20000");
    EXPECT_EQ(many - drops, wan().receiveUntil(0xffff, many - drops).size());
}

TEST_F(Queues, cutSuperPacketsIntoPacketsOfTheLink) {
    ok("qcfg --queue -A q8 -i ptm0 -t egress -l 100 -m sp --priority 8 -d tail --map 8");
    ok("ip addr add 10.7.0.1/24 dev ptm0");
    ok("ip neigh add 10.7.0.2 lladdr 02:00:00:00:00:99 dev ptm0");
    const int socket = ::socket(AF_INET, SOCK_DGRAM, 0);
    const int segment = 1000;
    ASSERT_EQ(0, setsockopt(socket, SOL_UDP, UDP_SEGMENT, &segment, sizeof segment));
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(9);
    inet_pton(AF_INET, "10.7.0.2", &to.sin_addr);
    const std::string payload(20 * segment, 'x');
    const auto before = classes("ptm0");
    ASSERT_EQ(static_cast<ssize_t>(payload.size()),
              sendto(socket, payload.data(), payload.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof to));
    close(socket);
    auto after = classes("ptm0");
    const uint64_t packets = after["fa92:10"].packets - before.at("fa92:10").packets;
    EXPECT_LE(20U, packets);
    EXPECT_GE(25U, packets);
}

TEST_F(Queues, letTheLinksOwnFramesPassFirst) {
    ok("ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0");
    ok("qcfg --queue -A q0 -i ppp0 -t egress -l 100 -m sp --priority 0 -d tail --map 0");
    ok("qcfg --port -A shape_wan -i ptm0 -s cb --pir 20000 -t egress");
    const auto before = classes("ptm0");
    const int socket = ::socket(AF_PACKET, SOCK_RAW, 0);
    sockaddr_ll to{};
    to.sll_family = AF_PACKET;
    to.sll_ifindex = static_cast<int>(if_nametoindex("ptm0"));
    const auto send = [&](uint16_t type, std::vector<uint8_t> inside) {
        std::vector<uint8_t> frame(12, 2);
        frame.push_back(static_cast<uint8_t>(type >> 8));
        frame.push_back(static_cast<uint8_t>(type));
        inside.resize(46);
        frame.insert(frame.end(), inside.begin(), inside.end());
        to.sll_protocol = htons(type);
        EXPECT_EQ(60,
                  sendto(socket, frame.data(), frame.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof to));
    };
    send(0x0806, {});                                 // ARP
    send(0x8863, {0x11, 0x09});                       // PPPoE discovery
    send(0x8864, {0x11, 0, 0, 1, 0, 10, 0xc0, 0x21}); // LCP
    for (int i = 0; i < 20; ++i) {
        send(0x8864, {0x11, 0, 0, 1, 0, 22, 0x00, 0x21, 0x45}); // IPv4 of a session without queues
    }
    close(socket);
    auto after = classes("ptm0");
    EXPECT_EQ(3U, after["fa91:3"].packets - before.at("fa91:3").packets);
    EXPECT_LE(20U, after["fa92:1"].packets - before.at("fa92:1").packets);
}

TEST_F(Queues, areFoundByTheListingOfTheirInterfaceAndDirection) {
    ok("qcfg --queue -A ppp0_q1 -i ppp0 -t egress -l 5 -m sp --priority 1 -d tail --map 1");
    ok("qcfg --queue -A ppp0_q1_ing -i ppp0 -t ingress -l 5 -m sp --priority 1 -d tail --map 1");
    ok("qcfg --queue -A br0_q1 -i br0 -t egress -l 5 -m sp --priority 1 -d tail --map 1");
    EXPECT_EQ("ppp0_q1\n", output("qcfg --queue -Lall -ippp0"));
    EXPECT_EQ("ppp0_q1_ing\n", output("qcfg --queue -Lall -ippp0 -tingress"));
    EXPECT_EQ("br0_q1\n", output("qcfg --queue -Lall -ibr0"));
    EXPECT_EQ("", output("qcfg --queue -Lall -ilan1"));
}

TEST_F(Queues, aModifiedQueueKeepsItsClass) {
    ok("qcfg --queue -A q -i ptm0 -t egress -l 5 -m sp --priority 1 -d tail --map 1");
    ok("qcfg --queue -M q -i ptm0 -t egress -l 50 -m sp --priority 2 -d tail --map 3");
    EXPECT_NE(std::string::npos,
              output("tc -d class show dev ptm0").find("class htb fa91:10 parent fa91:1 leaf 10: prio 2"));
    EXPECT_NE(std::string::npos,
              output("tc qdisc show dev ptm0").find("qdisc pfifo 1010: parent 10:1 limit 50p"));
    ok("qcfg --queue -M q -i ptm0 -t egress -l 50 -m wfq --weight 7 -d tail --map 3");
    EXPECT_NE(std::string::npos,
              output("tc -d class show dev ptm0").find("class htb fa92:10 root leaf 10: prio 3"));
}

TEST_F(Queues, anExistingShaperIsReplaced) {
    ok("qcfg --port -A shape_wan -i ptm0 -s cb --pir 1000 -t egress");
    ok("qcfg --port -A shape_wan -i ptm0 -s cb --pir 50000 -t egress");
    EXPECT_NE(std::string::npos,
              output("tc class show dev ptm0").find("class htb fa91:1 root rate 50Mbit ceil 50Mbit"));
    fails(1, "qcfg: shaper other on ptm0: the port already has the shaper shape_wan",
          "qcfg --port -A other -i ptm0 -s cb --pir 1000 -t egress");
}

// Older kernels warn of a rate that does not go with a class's quantum in their log, newer ones in their
// answer.
TEST_F(Queues, ofAllRatesBringNoKernelWarning) {
    KernelLog log;
    for (const char* rate : {"1", "256", "1000", "20000", "1000000", "100000000"}) {
        ok("qcfg --port -A shape_wan -i ptm0 -s cb --pir " + std::string(rate) + " -t egress");
        ok("qcfg --queue -A w" + std::string(rate) +
           " -i ptm0 -t egress -l 0 -m wfq --weight 1000 -d tail --map " + rate);
    }
    const auto warnings = [&] { return log.count("of class FA9") + log.count("device ptm0 mtu"); };
    EXPECT_EQ(0, warnings());
    // The same without a quantum is warned of.
    const Result careless = command("tc class add dev ptm0 parent fa91:1 classid fa91:f00 htb rate 1gbit");
    EXPECT_LT(0U, careless.err.size() + static_cast<size_t>(warnings()));
}

TEST_F(Queues, ingressOnesShapeWhatComesInOnThePort) {
    ok("ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0");
    ok("ifcfg --ifmap -A ptm0.8 -t2 -bptm0 -lptm0");
    ok("qcfg --queue -A ppp0_q1_ing -i ppp0 -t ingress -l 64 -m sp --priority 1 -d tail --map 1");
    ok("qcfg --queue -A ppp0_def_ing -i ppp0 -t ingress -l 64 -m sp --priority 8 -d tail --map 8");
    ok("qcfg --queue -A ptm0.8_def_ing -i ptm0.8 -t ingress -l 64 -m sp --priority 8 -d tail --map 8");
    ok("classcfg -A down -i ppp0 -p udp --sport 5060 -j mark --mark_ing 1 --mark-loc 2 --priority 1");
    ok("qcfg --port -A shape_wan_ing -i ptm0 -s cb --pir 10000 -t ingress");
    lan();
    const auto fromWan = [&](const char* mac, const char* src, uint16_t port, uint16_t id) {
        Packet packet;
        packet.src = src;
        packet.dst = "192.168.1.10";
        packet.sport = port;
        packet.id = id;
        wan().send(mac, packet);
    };
    fromWan(pppMac, "10.0.0.2", 5060, 1);
    fromWan(pppMac, "10.0.0.2", 5061, 2);
    fromWan(vlanMac, "10.0.8.2", 5060, 3);
    EXPECT_EQ(3U, lan().receiveUntil(3).size());
    const std::string link = output("ip -o link show type ifb");
    const size_t start = link.find("fapi-in");
    ASSERT_NE(std::string::npos, start);
    const std::string ifb = link.substr(start, link.find(':', start) - start);
    auto counters = classes(ifb);
    EXPECT_EQ(1U, counters["fa91:10"].packets);
    EXPECT_EQ(1U, counters["fa92:11"].packets);
    EXPECT_EQ(1U, counters["fa92:12"].packets);
    EXPECT_NE(std::string::npos, output("ip link show " + ifb).find("alias ingress of ptm0"));
}

} // namespace fapi::test
