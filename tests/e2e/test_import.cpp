// A foreign configuration becomes commands: cfgctl imports it, and the daemon brings the WAN up with it.
#include "gatewaytest.h"

#include <csignal>

namespace e2e {

namespace {

const Texts tr181Commands = {
    "ifcfg --ifmap -A ptm0 -t2 -bptm0 -lptm0",
    "ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0",
    "ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0 -g2",
    "qcfg --queue -A ppp0_q1 -i ppp0 -t egress -l 32 -m sp --priority 1 -d tail --map 1",
    "qcfg --queue -A ppp0_q2 -i ppp0 -t egress -l 64 -m wfq --weight 60 -d red --map 2",
    "qcfg --queue -A ppp0_def_queue -i ppp0 -t egress -l 64 -m wfq --weight 40 -d tail --map 8",
    "qcfg --queue -A br0_q1 -i br0 -t egress -l 64 -m sp --priority 1 -d tail --map 1",
    "classcfg -A classification_2_tcp_3 -i ppp0 -p tcp --iphdr-dscp 46 -j vlan --pcp-outer 5 -j mark "
    "--mark_ing 1 --mark-loc 2 --priority 1",
    "classcfg -A classification_2_udp_3 -i ppp0 -p udp --iphdr-dscp 46 -j vlan --pcp-outer 5 -j mark "
    "--mark_ing 1 --mark-loc 2 --priority 1",
    "classcfg -A classification_2_tcp_2 -i br0 -p tcp --iphdr-dscp 46 -o ppp0 -j vlan --pcp-outer 5 -j mark "
    "--mark 1 --mark-loc 1 --priority 1",
    "classcfg -A classification_2_udp_2 -i br0 -p udp --iphdr-dscp 46 -o ppp0 -j vlan --pcp-outer 5 -j mark "
    "--mark 1 --mark-loc 1 --priority 1",
    "classcfg -A cpe_voip -i br0 -p udp -s 192.168.1.0/24 --dport 5060:5061 -o ppp0 -j dscp --actdscp 46 -j "
    "mark --mark 1 --mark-loc 1 --priority 1",
    "classcfg -A classification_3 -i br0 -p tcp -d !198.51.100.0/24 -o ppp0 -j mark --mark 2 --mark-loc 1 "
    "--priority 2",
    "classcfg -A classification_6 -i br0 -p tcp --tcp-flags ack -o ppp0 -j mark --mark 2 --mark-loc 1 "
    "--priority 2",
    "classcfg -A classification_2_tcp -i lo -p tcp --iphdr-dscp 46 -o ppp0 -j vlan --pcp-outer 5 -j mark "
    "--mark 1 --mark-loc 1 --priority 1",
    "classcfg -A classification_2_udp -i lo -p udp --iphdr-dscp 46 -o ppp0 -j vlan --pcp-outer 5 -j mark "
    "--mark 1 --mark-loc 1 --priority 1",
    "qcfg --port -A shape_wan -i ptm0 -s cb --pir 38500 -t egress",
};

const Texts uciCommands = {
    "ifcfg --ifmap -A ptm0 -t2 -bptm0 -lptm0",
    "ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0",
    "ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0 -g2",
    "qcfg --queue -A ppp0_q1 -i ppp0 -t egress -l 64 -m wfq --weight 20 -d tail --map 1",
    "qcfg --queue -A ppp0_q1_ing -i ppp0 -t ingress -l 64 -m wfq --weight 15 -d tail --map 1",
    "qcfg --queue -A ppp0_q2 -i ppp0 -t egress -l 64 -m wfq --weight 10 -d tail --map 2",
    "qcfg --queue -A ppp0_q2_ing -i ppp0 -t ingress -l 64 -m wfq --weight 10 -d tail --map 2",
    "qcfg --queue -A ppp0_def_queue -i ppp0 -t egress -l 64 -m wfq --weight 5 -d tail --map 8",
    "qcfg --queue -A ppp0_def_queue_ing -i ppp0 -t ingress -l 64 -m wfq --weight 5 -d tail --map 8",
    "qcfg --queue -A ppp0_q9 -i ppp0 -t egress -l 64 -m wfq --weight 1 -d tail --map 9",
    "qcfg --queue -A ppp0_q9_ing -i ppp0 -t ingress -l 64 -m wfq --weight 1 -d tail --map 9",
    "classcfg -A classify1_tcp_in -i ppp0 -p tcp --sport 22 -j mark --mark_ing 1 --mark-loc 2 --priority 1",
    "classcfg -A classify1_tcp_in_2 -i ppp0 -p tcp --dport 22 -j mark --mark_ing 1 --mark-loc 2 --priority 1",
    "classcfg -A classify1_tcp_in_3 -i ppp0 -p tcp --sport 53 -j mark --mark_ing 1 --mark-loc 2 --priority 1",
    "classcfg -A classify1_tcp_in_4 -i ppp0 -p tcp --dport 53 -j mark --mark_ing 1 --mark-loc 2 --priority 1",
    "classcfg -A classify1_udp_in -i ppp0 -p udp --sport 22 -j mark --mark_ing 1 --mark-loc 2 --priority 1",
    "classcfg -A classify1_udp_in_2 -i ppp0 -p udp --dport 22 -j mark --mark_ing 1 --mark-loc 2 --priority 1",
    "classcfg -A classify1_udp_in_3 -i ppp0 -p udp --sport 53 -j mark --mark_ing 1 --mark-loc 2 --priority 1",
    "classcfg -A classify1_udp_in_4 -i ppp0 -p udp --dport 53 -j mark --mark_ing 1 --mark-loc 2 --priority 1",
    "classcfg -A voip_in -i ppp0 -p udp -d 192.168.1.20 --sport 5060:5061 --iphdr-dscp 46 -j mark --mark_ing "
    "1 --mark-loc 2 --priority 1",
    "classcfg -A reclassify1 -i br0 -p tcp --tcp-flags ack -o ppp0 -j mark --mark 1 --mark-loc 1 --priority "
    "1",
    "classcfg -A classify1_tcp -i br0 -p tcp --dport 22 -o ppp0 -j mark --mark 1 --mark-loc 1 --priority 1",
    "classcfg -A classify1_tcp_2 -i br0 -p tcp --sport 22 -o ppp0 -j mark --mark 1 --mark-loc 1 --priority 1",
    "classcfg -A classify1_tcp_3 -i br0 -p tcp --dport 53 -o ppp0 -j mark --mark 1 --mark-loc 1 --priority 1",
    "classcfg -A classify1_tcp_4 -i br0 -p tcp --sport 53 -o ppp0 -j mark --mark 1 --mark-loc 1 --priority 1",
    "classcfg -A classify1_udp -i br0 -p udp --dport 22 -o ppp0 -j mark --mark 1 --mark-loc 1 --priority 1",
    "classcfg -A classify1_udp_2 -i br0 -p udp --sport 22 -o ppp0 -j mark --mark 1 --mark-loc 1 --priority 1",
    "classcfg -A classify1_udp_3 -i br0 -p udp --dport 53 -o ppp0 -j mark --mark 1 --mark-loc 1 --priority 1",
    "classcfg -A classify1_udp_4 -i br0 -p udp --sport 53 -o ppp0 -j mark --mark 1 --mark-loc 1 --priority 1",
    "classcfg -A voip -i br0 -p udp -s 192.168.1.20 --dport 5060:5061 --iphdr-dscp 46 -o ppp0 -j mark --mark "
    "1 --mark-loc 1 --priority 1",
    "classcfg -A classify3 -i br0 -p tcp -d !198.51.100.0/24 --dport 443 -o ppp0 -j mark --mark 2 --mark-loc "
    "1 --priority 2",
    "classcfg -A default1 -i br0 -p udp --dport 1024:65535 -o ppp0 -j mark --mark 9 --mark-loc 1 --priority "
    "9",
    "classcfg -A default1_2 -i br0 -p udp --sport 1024:65535 -o ppp0 -j mark --mark 9 --mark-loc 1 "
    "--priority 9",
    "qcfg --port -A shape_wan -i ptm0 -s cb --pir 9500 -t egress",
    "qcfg --port -A shape_wan_ing -i ptm0 -s cb --pir 47500 -t ingress",
};

class ImportTest : public GatewayTest {
  protected:
    // Into the small gateway with television on a VLAN, which is down. Its own QoS tables are replaced.
    void import(const std::string& format, const Texts& options = {}) {
        Json gateway = smallGateway();
        gateway["NetworkSetupNode"].push_back({{"Id", 4},
                                               {"Enable", 1},
                                               {"Type", "VLAN"},
                                               {"InterfaceName", "ptm0.8"},
                                               {"ParentInterface", "ptm0"}});
        gateway[statusTable].push_back(
            {{"Id", 4}, {"Name", "ProviderIPTV"}, {"Interface", "ptm0.8"}, {"IsUp", 0}, {"Addr", "0.0.0.0"}});
        startServer(gateway);
        Texts words = {programFolder() + "/cfgctl", "import", "--from", format, importFile("home." + format)};
        words.insert(words.end(), options.begin(), options.end());
        const Outcome outcome = run(words);
        ASSERT_EQ(outcome.status, 0) << outcome.errors;
        startDaemon(Texts{"-d", "2"});
    }

    void expectToBeTakenBackCompletely() {
        EXPECT_THAT(daemon->commands().objects(), Not(IsEmpty()));
        takeDown();
        EXPECT_THAT(daemon->commands().objects(), IsEmpty());
        EXPECT_EQ(daemon->stop(SIGTERM), 0);
        expectNoErrors();
    }
};

TEST_F(ImportTest, ATr181ConfigurationBecomesCommandsAndIsTakenBack) {
    import("tr181");
    bringUp();
    EXPECT_THAT(daemon->commands().changes(), ElementsAreArray(tr181Commands));
    expectToBeTakenBackCompletely();
}

TEST_F(ImportTest, AUciConfigurationBecomesCommandsAndIsTakenBack) {
    import("uci", {"--interface", "wan2=ProviderIPTV"});
    bringUp();
    EXPECT_THAT(daemon->commands().changes(), ElementsAreArray(uciCommands));
    expectToBeTakenBackCompletely();
}

} // namespace

} // namespace e2e
