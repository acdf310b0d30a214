// One life of the daemon on the small gateway: every command and every message, in order.
#include "gatewaytest.h"

#include <csignal>

namespace e2e {

namespace {

const Texts smallAdds = {
    "ifcfg --ifmap -A ptm0 -t2 -bptm0 -lptm0",
    "ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0",
    "ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0 -g2",
    "qcfg --queue -A ppp0_q3 -i ppp0 -t egress -l 64 -m sp --priority 3 -d tail --map 3",
    "qcfg --queue -A ppp0_q3_ing -i ppp0 -t ingress -l 64 -m sp --priority 3 -d tail --map 3",
    "qcfg --queue -A ppp0_def_queue -i ppp0 -t egress -l 128 -m wfq --weight 20 -d red --map 8",
    "qcfg --queue -A br0_q1 -i br0 -t egress -l 32 -m sp --priority 1 -d tail --map 1",
    "classcfg -A calls -i ppp0 -p udp --iphdr-dscp 46 -j mark --mark_ing 1 --mark-loc 2 --priority 1",
    "classcfg -A phone -i br0 -p udp -s 192.168.1.30 --dport 5060:5061 -o ppp0 -j dscp --actdscp 46 -j vlan "
    "--pcp-outer 6 -j mark --mark 1 --mark-loc 1 --priority 1",
    "qcfg --port -A shape_wan -i ptm0 -s cb --pir 20000 -t egress",
    "qcfg --port -A shape_wan_ing -i ptm0 -s cb --pir 20000 -t ingress",
};

const Texts smallDeletes = {
    "classcfg -D phone -i br0 -p udp -s 192.168.1.30 --dport 5060:5061 -o ppp0 -j dscp --actdscp 46 -j vlan "
    "--pcp-outer 6 -j mark --mark 1 --mark-loc 1 --priority 1",
    "classcfg -D calls -i ppp0 -p udp --iphdr-dscp 46 -j mark --mark_ing 1 --mark-loc 2 --priority 1",
    "qcfg --queue -D br0_q1 -i br0 -t egress -l 32 -m sp --priority 1 -d tail --map 1",
    "qcfg --queue -D ppp0_def_queue -i ppp0 -t egress -l 128 -m wfq --weight 20 -d red --map 8",
    "qcfg --queue -D ppp0_q3_ing -i ppp0 -t ingress -l 64 -m sp --priority 3 -d tail --map 3",
    "qcfg --queue -D ppp0_q3 -i ppp0 -t egress -l 64 -m sp --priority 3 -d tail --map 3",
    "qcfg --port -D shape_wan_ing -i ptm0 -s cb --pir 20000 -t ingress",
    "qcfg --port -D shape_wan -i ptm0 -s cb --pir 20000 -t egress",
    "ifcfg --ifmap -D ppp0 -t2 -bptm0 -lptm0 -g2",
    "ifcfg --ifmap -D ppp0 -t2 -bptm0 -lptm0",
    "ifcfg --ifmap -D ptm0 -t2 -bptm0 -lptm0",
};

using LifeTest = GatewayTest;

TEST_F(LifeTest, UpDownUpRunsTheSameCommandsAndStopTakesThemBack) {
    startDaemon(smallGateway());
    EXPECT_THAT(daemon->commands().all(), IsEmpty());

    bringUp();
    EXPECT_THAT(daemon->commands().changes(), ElementsAreArray(smallAdds));

    daemon->commands().clear();
    takeDown();
    EXPECT_THAT(daemon->commands().all(), ElementsAreArray(smallDeletes));
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());

    daemon->commands().clear();
    bringUp();
    EXPECT_THAT(daemon->commands().changes(), ElementsAreArray(smallAdds));

    daemon->commands().clear();
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
    EXPECT_THAT(daemon->commands().all(), ElementsAreArray(smallDeletes));
    EXPECT_THAT(daemon->commands().objects(), IsEmpty());
    expectNoErrors();
}

} // namespace

} // namespace e2e
