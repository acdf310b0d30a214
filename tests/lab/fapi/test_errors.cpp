#include "gateway.h"

namespace fapi::test {

// Each failure: one line that names tool, object, interface and reason; the kernel stays as it was.
class Errors : public GatewayTest {};

constexpr const char* aQueue = "qcfg --queue -A q -i ptm0 -t egress -l 5 -m sp --priority 1 -d tail --map 1";
constexpr const char* aRule =
    "classcfg -A r -i br0 -p udp --dport 5060 -o ppp0 -j mark --mark 1 --mark-loc 1 --priority 1";

// Nothing could be listed or removed under it, for what is remembered is the interface's own name.
TEST_F(Errors, ofAnAlternativeNameTellTheOneThatCounts) {
    ok("ip link property add dev ptm0 altname wan-port");
    const std::string before = dump();
    const std::string reason = "'wan-port' is an alternative name; the interface is called 'ptm0'";
    fails(1, "qcfg: queue q on wan-port: " + reason,
          "qcfg --queue -A q -i wan-port -t egress -l 5 -m sp --priority 1 -d tail --map 1");
    fails(1, "qcfg: queues: " + reason, "qcfg --queue -Lall -iwan-port");
    fails(1, "qcfg: shaper s on wan-port: " + reason, "qcfg --port -A s -i wan-port -s cb --pir 1 -t egress");
    fails(1, "ifcfg: ifmap ppp0 on wan-port: " + reason, "ifcfg --ifmap -A ppp0 -t2 -bwan-port -lptm0");
    fails(1, "classcfg: rule r on br0: " + reason,
          "classcfg -A r -i br0 -p udp -o wan-port -j mark --mark 1 --mark-loc 1 --priority 1");
    EXPECT_EQ(before, dump());
    EXPECT_EQ("", output("ifcfg --ifmap -L"));
}

TEST_F(Errors, ofUsageExitWithTwo) {
    const std::string before = dump();
    fails(2, "qcfg: the first option must be --port or --queue (see --help)", "qcfg");
    fails(2, "qcfg: one of -A, -M, -D and -L is needed", "qcfg --queue -i ptm0");
    fails(2, "qcfg: one of -A, -M and -D is needed", "qcfg --port -i ptm0");
    fails(2, "ifcfg: one of -A, -D and -L is needed", "ifcfg --ifmap -t2");
    fails(2, "qcfg: queue q: option -i is missing", "qcfg --queue -A q -t egress");
    fails(2, "classcfg: rule r: option -i is missing", "classcfg -D r");
    fails(2,
          "classcfg: rule r: option -i: 'abcdefghijklmnop' is not an interface name (1 to 15 printable "
          "characters)",
          "classcfg -D r -i abcdefghijklmnop");
    fails(2, "qcfg: unknown option '--frobnicate'", "qcfg --queue -A q --frobnicate");
    fails(2, "qcfg: option -l needs a value", "qcfg --queue -A q -i ptm0 -t egress -l");
    fails(2, "qcfg: option -l needs a value",
          "qcfg --queue -A q -i ptm0 -t egress -l -5 -m sp --priority 1 -d tail --map 1");
    fails(2, "qcfg: option -i given twice", "qcfg --queue -A q -i ptm0 -i ptm0");
    fails(2, "qcfg: unexpected word 'x'", "qcfg --queue -A q x");
    fails(2, "qcfg: queue q on ptm0: option --priority: '10' is not a number from 0 to 9",
          "qcfg --queue -A q -i ptm0 -t egress -l 5 -m sp --priority 10 -d tail --map 1");
    fails(2, "qcfg: queue q on ptm0: option -m: 'rr' is neither sp nor wfq",
          "qcfg --queue -A q -i ptm0 -t egress -l 5 -m rr --priority 1 -d tail --map 1");
    fails(2, "qcfg: queue q on ptm0: option --weight: '0' is not a number from 1 to 1000",
          "qcfg --queue -A q -i ptm0 -t egress -l 5 -m wfq --weight 0 -d tail --map 1");
    fails(2, "qcfg: shaper s on ptm0: option --pir: '0' is not a number from 1 to 100000000",
          "qcfg --port -A s -i ptm0 -s cb --pir 0 -t egress");
    fails(2, "classcfg: rule r on br0: option -p: 'icmp' is none of tcp, udp, igmp",
          "classcfg -A r -i br0 -p icmp");
    fails(2,
          "classcfg: rule r on br0: option -d: '10.0.0.300' is not an IP address with an optional prefix "
          "length",
          "classcfg -A r -i br0 -p udp -d 10.0.0.300 -j mark --mark 1 --mark-loc 1 --priority 1");
    fails(2, "classcfg: rule r on br0: option -d: '33' is not a number from 0 to 32",
          "classcfg -A r -i br0 -p udp -d 10.0.0.0/33 -j mark --mark 1 --mark-loc 1 --priority 1");
    fails(2, "classcfg: rule r on br0: option --dport: '5' is not a number from 9 to 65535",
          "classcfg -A r -i br0 -p udp --dport 9:5 -j mark --mark 1 --mark-loc 1 --priority 1");
    fails(2, "classcfg: rule r on br0: option --tcp-flags: only 'ack', and only with -p tcp",
          "classcfg -A r -i br0 -p udp --tcp-flags ack -j mark --mark 1 --mark-loc 1 --priority 1");
    fails(2, "classcfg: rule r on br0: options -j dscp and --actdscp belong together",
          "classcfg -A r -i br0 -p udp -j dscp -j mark --mark 1 --mark-loc 1 --priority 1");
    fails(2, "classcfg: rule r on br0: option -j mark given twice",
          "classcfg -A r -i br0 -p udp -j mark -j mark --mark 1 --mark-loc 1 --priority 1");
    fails(2, "classcfg: rule r on br0: option --mark_ing goes with --mark-loc 2",
          "classcfg -A r -i br0 -p udp -j mark --mark_ing 1 --mark-loc 1 --priority 1");
    fails(2, "ifcfg: ifmap ppp0: option -t: 'x' is not a number from 0 to 255",
          "ifcfg --ifmap -A ppp0 -tx -bptm0 -lptm0");
    EXPECT_EQ(before, dump());
}

TEST_F(Errors, ofObjectsExitWithOne) {
    fails(1, "qcfg: queue q on none: no such interface 'none'",
          "qcfg --queue -A q -i none -t egress -l 5 -m sp --priority 1 -d tail --map 1");
    fails(1, "ifcfg: ifmap ppp0 on none: no such interface 'none'",
          "ifcfg --ifmap -A ppp0 -t2 -bnone -lnone");
    fails(1, "classcfg: rule r on br0: no such interface 'none'",
          "classcfg -A r -i br0 -p udp -o none -j mark --mark 1 --mark-loc 1 --priority 1");
    fails(1, "qcfg: queues: no such interface 'none'", "qcfg --queue -Lall -inone");
    fails(1, "classcfg: rules: no such interface 'none'", "classcfg -Lall -inone");
    fails(1, "qcfg: queue q on ptm0: no such queue", "qcfg --queue -D q -i ptm0 -t egress");
    fails(1, "qcfg: queue q on ptm0: no such queue",
          "qcfg --queue -M q -i ptm0 -t egress -l 5 -m sp --priority 1 -d tail --map 1");
    fails(1, "classcfg: rule r on br0: no such rule", "classcfg -D r -i br0");
    fails(1, "qcfg: shaper s on ptm0: no such shaper", "qcfg --port -D s -i ptm0 -t egress");
    fails(1, "ifcfg: ifmap ppp0 on ptm0: no such mapping", "ifcfg --ifmap -D ppp0 -t2 -bptm0 -lptm0");
    ok(aQueue);
    fails(1, "qcfg: queue q on ptm0: the name is in use", aQueue);
    fails(1, "qcfg: queue p on ptm0: the queue q already takes mark 1",
          "qcfg --queue -A p -i ptm0 -t egress -l 5 -m sp --priority 1 -d tail --map 1");
    ok(aRule);
    fails(1, "classcfg: rule r on br0: the name is in use", aRule);
    ok("qcfg --port -A s -i ptm0 -s cb --pir 1000 -t egress");
    fails(1, "qcfg: shaper t on ptm0: the port already has the shaper s",
          "qcfg --port -A t -i ptm0 -s cb --pir 1000 -t egress");
    fails(1, "qcfg: shaper t on ptm0: no such shaper (the port has s)", "qcfg --port -D t -i ptm0 -t egress");
    ok("ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0");
    fails(1, "ifcfg: ifmap ppp0 on plain0: already mapped to the base ptm0",
          "ifcfg --ifmap -A ppp0 -t2 -bplain0 -lplain0");
}

TEST_F(Errors, tooManyLeavingInterfacesLeaveTheKernelAsItWas) {
    for (int i = 0; i < 8; ++i) {
        ok("ip link add d" + std::to_string(i) + " link plain0 type macvlan");
    }
    for (int i = 0; i < 7; ++i) {
        ok("classcfg -A r" + std::to_string(i) + " -i br0 -p udp -o d" + std::to_string(i) +
           " -j mark --mark 1 --mark-loc 1 --priority 1");
    }
    const std::string before = dump();
    fails(1, "classcfg: rule r7 on br0: rules on br0 name 7 leaving interfaces already",
          "classcfg -A r7 -i br0 -p udp -o d7 -j mark --mark 1 --mark-loc 1 --priority 1");
    EXPECT_EQ(before, dump());
}

TEST_F(Errors, aMissingPrivilegeIsNamed) {
    fails(1, "qcfg: queue q on ptm0: the capability CAP_NET_ADMIN is missing (run as root)",
          std::string("setpriv --bounding-set -net_admin --inh-caps -net_admin ") + aQueue);
}

TEST_F(Errors, aKernelRefusalIsTakenBackAndGivenInItsWords) {
    // A classful root of someone else below the ifb's name is not possible to make up here; an ingress qdisc
    // is.
    ok("tc qdisc add dev ppp0 ingress");
    const std::string before = dump();
    fails(1, "classcfg: rule r on br0: the ingress qdisc of ppp0 is not ours; clsact is needed in its place",
          aRule);
    EXPECT_EQ(before, dump());
    EXPECT_EQ("", output("classcfg -Lall -ibr0"));
}

TEST_F(Errors, redIsReplacedByTailDropWithAWarningWhereTheKernelHasNone) {
    const bool red =
        command("tc qdisc add dev plain0 root handle 1: red limit 100000 avpkt 1000 bandwidth 10mbit")
            .status == 0;
    const Result result =
        command("qcfg --queue -A q -i ptm0 -t egress -l 50 -m sp --priority 1 -d red --map 1");
    EXPECT_EQ(0, result.status);
    if (red) {
        EXPECT_EQ("", result.err);
        EXPECT_NE(std::string::npos, output("tc qdisc show dev ptm0").find("qdisc red 2010: parent 10:1"));
    } else {
        EXPECT_EQ("qcfg: queue q on ptm0: warning: the kernel has no RED; the queue drops at its tail\n",
                  result.err);
        EXPECT_NE(std::string::npos,
                  output("tc qdisc show dev ptm0").find("qdisc pfifo 1010: parent 10:1 limit 50p"));
    }
}

TEST_F(Errors, helpAndVersionAreOnStandardOutput) {
    for (const char* tool : {"qcfg", "classcfg", "ifcfg"}) {
        for (const char* asked : {" --help", " -h", " -i ptm0 --help"}) {
            EXPECT_EQ(0U, output(tool + std::string(asked)).find(std::string("usage: ") + tool));
        }
        EXPECT_EQ(std::string(tool) + " 1.0.2\n", output(std::string(tool) + " --version"));
    }
}

} // namespace fapi::test
