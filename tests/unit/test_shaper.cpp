#include "qos/shaper.h"

#include <daemontest.h>

namespace zel::pacerd::test {
namespace {

class Shaper : public DaemonTest {
  protected:
    qosShaper built(const ShaperRow& row) {
        qosShaper shaper(handle, db, row.values());
        log.take();
        return shaper;
    }
};

TEST_F(Shaper, ConstructionReportsTheInterface) {
    const qosShaper shaper(handle, db, aShaper("ptm0").values());
    EXPECT_THAT(log.take(), ElementsAre("trace: construct shaper config for interface 'ptm0'"));
    EXPECT_THAT(log.sources(), ElementsAre("shaper.cpp"));
}

TEST_F(Shaper, AnEgressShaperIsAddedWithoutAsking) {
    EXPECT_EQ(built(aShaper("ptm0").rate(50000)).genFapiQosSysCallCmd(0, 1),
              "qcfg --port -A shape_wan -i ptm0 -s cb --pir 50000 -t egress");
    EXPECT_THAT(shell.take(), IsEmpty());
}

TEST_F(Shaper, AnIngressShaperIsDeleted) {
    EXPECT_EQ(built(aShaper("ptm0").rate(50000)).genFapiQosSysCallCmd(1, 0),
              "qcfg --port -D shape_wan_ing -i ptm0 -s cb --pir 50000 -t ingress");
}

TEST_F(Shaper, EveryDirectionButOneIsIngress) {
    const qosShaper shaper = built(aShaper("ptm0"));
    EXPECT_EQ(shaper.genFapiQosSysCallCmd(0, 2),
              "qcfg --port -A shape_wan_ing -i ptm0 -s cb --pir 50000 -t ingress");
    EXPECT_EQ(shaper.genFapiQosSysCallCmd(0, -1),
              "qcfg --port -A shape_wan_ing -i ptm0 -s cb --pir 50000 -t ingress");
}

TEST_F(Shaper, AnyOtherOpModeIsRejected) {
    EXPECT_EQ(built(aShaper("ptm0")).genFapiQosSysCallCmd(2, 1), "");
    EXPECT_THAT(log.take(), ElementsAre("error: invalid op mode given: 2"));
}

TEST_F(Shaper, TheRateIsWrittenAsStored) {
    EXPECT_EQ(built(aShaper("eth1").rate(0)).genFapiQosSysCallCmd(0, 1),
              "qcfg --port -A shape_wan -i eth1 -s cb --pir 0 -t egress");
    EXPECT_EQ(built(aShaper("eth1").rate(10000000000)).genFapiQosSysCallCmd(0, 1),
              "qcfg --port -A shape_wan -i eth1 -s cb --pir 10000000000 -t egress");
}

TEST_F(Shaper, EgressComesBeforeIngress) {
    const qosShaper shaper = built(aShaper("ptm0").egress(1).ingress(1));
    Lines commands{"earlier"};
    EXPECT_TRUE(shaper.getFapiQosShaperCmds(commands));
    const std::string egress = "qcfg --port -A shape_wan -i ptm0 -s cb --pir 50000 -t egress";
    const std::string ingress = "qcfg --port -A shape_wan_ing -i ptm0 -s cb --pir 50000 -t ingress";
    EXPECT_THAT(commands, ElementsAre("earlier", egress, ingress));
    EXPECT_THAT(log.take(), ElementsAre("trace: added shaper add cmd '" + egress + "'",
                                        "trace: added shaper add cmd '" + ingress + "'"));
}

TEST_F(Shaper, OnlyADirectionOfExactlyOneIsShaped) {
    Lines commands;
    EXPECT_TRUE(built(aShaper("ptm0").egress(2).ingress(0)).getFapiQosShaperCmds(commands));
    EXPECT_THAT(commands, IsEmpty());
    EXPECT_TRUE(built(aShaper("ptm0").egress(0).ingress(1)).getFapiQosShaperCmds(commands));
    EXPECT_THAT(commands, ElementsAre("qcfg --port -A shape_wan_ing -i ptm0 -s cb --pir 50000 -t ingress"));
}

TEST_F(Shaper, ADisabledShaperYieldsNothing) {
    Lines commands;
    EXPECT_TRUE(built(aShaper("ptm0").disabled().ingress(1)).getFapiQosShaperCmds(commands));
    EXPECT_THAT(commands, IsEmpty());
    EXPECT_THAT(log.take(), ElementsAre("info: skip disabled shaper on interface 'ptm0'"));
}

TEST_F(Shaper, AnyEnableButZeroEnables) {
    Lines commands;
    EXPECT_TRUE(built(aShaper("ptm0").enabled(2)).getFapiQosShaperCmds(commands));
    EXPECT_EQ(commands.size(), 1u);
}

} // namespace
} // namespace zel::pacerd::test
