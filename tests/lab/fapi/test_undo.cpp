#include "gateway.h"

#include <filesystem>

namespace fapi::test {

class Undo : public GatewayTest {
  protected:
    // A gateway with two stacks, all directions and kinds, in the daemon's order.
    const std::vector<std::string> up{
        "ifcfg --ifmap -A ptm0 -t2 -bptm0 -lptm0",
        "ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0",
        "ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0 -g2",
        "ifcfg --ifmap -A ptm0 -t2 -bptm0 -lptm0",
        "ifcfg --ifmap -A ptm0.8 -t2 -bptm0 -lptm0",
        "ifcfg --ifmap -A ptm0.8 -t2 -bptm0 -lptm0 -g2",
        "qcfg --queue -A ppp0_q1 -i ppp0 -t egress -l 64 -m sp --priority 1 -d tail --map 1",
        "qcfg --queue -A ppp0_def_queue -i ppp0 -t egress -l 64 -m sp --priority 8 -d tail --map 8",
        "qcfg --queue -A ppp0_q1_ing -i ppp0 -t ingress -l 64 -m sp --priority 1 -d tail --map 1",
        "qcfg --queue -A ptm0.8_q2 -i ptm0.8 -t egress -l 0 -m wfq --weight 20 -d tail --map 2",
        "qcfg --queue -A ptm0.8_q3 -i ptm0.8 -t egress -l 64 -m wfq --weight 40 -d tail --map 3",
        "qcfg --queue -A br0_q1 -i br0 -t egress -l 64 -m sp --priority 1 -d tail --map 1",
        "classcfg -A sip -i br0 -p udp --dport 5060:5061 -o ppp0 -j dscp --actdscp 46 -j mark --mark 1 "
        "--mark-loc 1 "
        "--priority 1",
        "classcfg -A tv -i br0 -p udp -s !192.168.1.7 -o ptm0.8 -j mark --mark 2 --mark-loc 1 --priority 2",
        "classcfg -A down -i ppp0 -p udp --sport 5060 -j mark --mark_ing 1 --mark-loc 2 --priority 1",
        "classcfg -A own -i lo -p udp --dport 53 -o ppp0 -j mark --mark 1 --mark-loc 1 --priority 1",
        "qcfg --port -A shape_wan -i ptm0 -s cb --pir 20000 -t egress",
        "qcfg --port -A shape_wan_ing -i ptm0 -s cb --pir 50000 -t ingress"};

    static std::string removal(std::string line) {
        line.replace(line.find(" -A "), 4, " -D ");
        return line;
    }

    // In the daemon's order: classifiers, queues, shapers, maps, each last command first.
    std::vector<std::string> down() const {
        std::vector<std::string> lines;
        for (const char* group : {"classcfg", "qcfg --queue", "qcfg --port", "ifcfg"}) {
            for (auto line = up.rbegin(); line != up.rend(); ++line) {
                if (line->rfind(group, 0) == 0) {
                    lines.push_back(removal(*line));
                }
            }
        }
        return lines;
    }
};

TEST_F(Undo, leavesTheMachineAsItWas) {
    const std::string before = dump();
    for (const std::string& line : up) {
        ok(line);
    }
    EXPECT_NE(before, dump());
    for (const std::string& line : down()) {
        ok(line);
    }
    EXPECT_EQ(before, dump());
    EXPECT_TRUE(std::filesystem::is_empty("/run/fapi-qos"));
}

TEST_F(Undo, worksInAnyOrder) {
    const std::string before = dump();
    for (auto line = up.rbegin(); line != up.rend(); ++line) {
        ok(*line);
    }
    const std::string reversed = dump();
    for (const std::string& line : up) {
        ok(removal(line));
    }
    EXPECT_EQ(before, dump());
    EXPECT_NE(before, reversed);
}

TEST_F(Undo, keepsForeignFiltersAndTheirClsact) {
    ok("tc qdisc add dev br0 clsact");
    ok("tc filter add dev br0 ingress pref 10 protocol ip u32 match ip dport 7 0xffff action mirred egress "
       "mirror dev plain0");
    ok("tc qdisc add dev ppp0 clsact");
    const std::string before = dump();
    for (const std::string& line : up) {
        ok(line);
    }
    for (const std::string& line : down()) {
        ok(line);
    }
    EXPECT_EQ(before, dump());
}

TEST_F(Undo, leavesAClsactThatOthersCameToUse) {
    ok("classcfg -A sip -i br0 -p udp --dport 5060 -j mark --mark 1 --mark-loc 1 --priority 1");
    ok("tc filter add dev br0 ingress pref 10 protocol ip u32 match ip dport 7 0xffff action mirred egress "
       "mirror dev plain0");
    ok("classcfg -D sip -i br0");
    const std::string filters = output("tc filter show dev br0 ingress");
    EXPECT_NE(std::string::npos, filters.find("mirred"));
    EXPECT_EQ(std::string::npos, filters.find("fapi"));
}

TEST_F(Undo, aForeignRootQdiscIsRefusedUnlessForced) {
    ok("tc qdisc add dev ptm0 root handle 1: tbf rate 1mbit burst 5000 limit 10000");
    const std::string before = dump();
    const std::string reason = "the root qdisc of ptm0 is not ours (tbf 1:); --force replaces it";
    fails(1, "qcfg: shaper shape_wan on ptm0: " + reason,
          "qcfg --port -A shape_wan -i ptm0 -s cb --pir 1000 -t egress");
    fails(1, "qcfg: queue q1 on ptm0: " + reason,
          "qcfg --queue -A q1 -i ptm0 -t egress -l 64 -m sp --priority 1 -d tail --map 1");
    EXPECT_EQ(before, dump());
    ok("qcfg --port -A shape_wan -i ptm0 -s cb --pir 1000 -t egress --force");
    EXPECT_NE(std::string::npos, output("tc qdisc show dev ptm0").find("htb fa91: root"));
}

TEST_F(Undo, anInterfaceThatCameBackHasNothing) {
    for (const std::string& line : up) {
        ok(line);
    }
    ok("ip link del ppp0");
    fails(1, "qcfg: queues: no such interface 'ppp0'", "qcfg --queue -Lall -ippp0");
    ok("ip link add ppp0 link ptm0 type macvlan mode bridge");
    ok("ip link set ppp0 up");
    EXPECT_EQ("", output("qcfg --queue -Lall -ippp0"));
    EXPECT_EQ("", output("classcfg -Lall -ippp0"));
    EXPECT_EQ("tv\n", output("classcfg -Lall -ibr0"));
    EXPECT_EQ("ptm0 CAT 2 ptm0\nptm0 CAT 2 ptm0.8\nptm0 INGGRP 2 ptm0.8\n", output("ifcfg --ifmap -L"));
    // The next change also takes away what the lost interface had on the port.
    EXPECT_TRUE(classes("ptm0").contains("fa91:10"));
    ok("qcfg --port -A shape_wan -i ptm0 -s cb --pir 30000 -t egress");
    EXPECT_FALSE(classes("ptm0").contains("fa91:10"));
    ok("qcfg --queue -A ppp0_q1 -i ppp0 -t egress -l 64 -m sp --priority 1 -d tail --map 1");
    EXPECT_EQ("ppp0_q1\n", output("qcfg --queue -Lall -ippp0"));
}

TEST_F(Undo, aPortWhoseRootWasDeletedHasNothing) {
    for (const std::string& line : up) {
        ok(line);
    }
    ok("tc qdisc del dev ptm0 root");
    EXPECT_EQ("", output("qcfg --queue -Lall -ippp0"));
    ok("qcfg --queue -A ppp0_q1 -i ppp0 -t egress -l 64 -m sp --priority 1 -d tail --map 1");
    EXPECT_EQ("ppp0_q1\n", output("qcfg --queue -Lall -ippp0"));
}

} // namespace fapi::test
