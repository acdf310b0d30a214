// The command of a PCP map: which interface it is for, and when there is none.
#include "qos/pcpmap.h"

#include <daemontest.h>

namespace zel::pacerd::test {
namespace {

class PcpMapCommand : public DaemonTest {
  protected:
    PcpMapCommand() {
        db.add(aLogicalInterface("ProviderInternet", "ppp0"));
        db.add(aNode("ppp0", "PPP").above("ptm0.7"));
        db.add(aNode("ptm0.7", "VLAN").above("ptm0.1"));
        db.add(aNode("ptm0.1", "VLAN").above("ptm0"));
        db.add(aNode("ptm0", "XDSL"));
    }

    pcpMap built(const std::vector<std::string>& stack) {
        pcpMap map(handle, db, stack);
        log.take();
        return map;
    }
};

TEST_F(PcpMapCommand, IsForTheFirstVlanInterfaceFromTheTop) {
    const pcpMap map = built({"ppp0", "ptm0.7", "ptm0.1", "ptm0"});
    db.forgetCalls();
    EXPECT_EQ(map.genFapiQosSysCallCmd(0, 1),
              "ip link set ptm0.7 type vlan egress-qos-map 0:0 1:0 2:0 3:0 4:0 5:0 6:0 7:0");
    EXPECT_THAT(
        log.take(),
        ElementsAre(
            "trace: found vlan interface 'ptm0.7' in interfacestack 'ppp0 <=> ptm0.7 <=> ptm0.1 <=> ptm0'"));
    EXPECT_EQ(db.callsOf(Operation::selectKey, "NetworkSetupNode"), 2u);
}

TEST_F(PcpMapCommand, IsCollectedWithATrace) {
    const pcpMap map = built({"ptm0.7", "ptm0"});
    Lines commands{"earlier"};
    EXPECT_TRUE(map.getFapiPcpMapCmds(commands));
    const std::string command = "ip link set ptm0.7 type vlan egress-qos-map 0:0 1:0 2:0 3:0 4:0 5:0 6:0 7:0";
    EXPECT_THAT(commands, ElementsAre("earlier", command));
    EXPECT_THAT(log.take(),
                ElementsAre("trace: found vlan interface 'ptm0.7' in interfacestack 'ptm0.7 <=> ptm0'",
                            "trace: added pcp map cmd '" + command + "'"));
}

TEST_F(PcpMapCommand, DoesNotExistWithoutAVlanInterface) {
    const pcpMap map = built({"ppp0", "ptm0"});
    Lines commands;
    EXPECT_TRUE(map.getFapiPcpMapCmds(commands));
    EXPECT_THAT(commands, IsEmpty());
    EXPECT_THAT(
        log.take(),
        ElementsAre(
            "warning: could not find any vlan interface in stack 'ppp0 <=> ptm0' for setting PCP map"));
}

TEST_F(PcpMapCommand, DoesNotExistIfAnInterfaceHasNoNode) {
    const pcpMap map = built({"usb0", "ptm0.7", "ptm0"});
    EXPECT_EQ(map.genFapiQosSysCallCmd(0, 1), "");
    EXPECT_THAT(log.takeWarnings(), ElementsAre("could not get type of interface 'usb0'"));
}

TEST_F(PcpMapCommand, DoesNotExistForRemoval) {
    const pcpMap map = built({"ptm0.7", "ptm0"});
    db.forgetCalls();
    EXPECT_EQ(map.genFapiQosSysCallCmd(1, 1), "");
    EXPECT_THAT(log.take(), ElementsAre("warning: removing skb prio map not supported yet"));
    EXPECT_THAT(db.calls(), IsEmpty());
}

TEST_F(PcpMapCommand, DoesNotExistForIngress) {
    const pcpMap map = built({"ptm0.7", "ptm0"});
    EXPECT_EQ(map.genFapiQosSysCallCmd(0, 0), "");
    EXPECT_EQ(map.genFapiQosSysCallCmd(0, 2), "");
    EXPECT_THAT(log.takeWarnings(), ElementsAre("ingress skb prio map not supported yet",
                                                "ingress skb prio map not supported yet"));
    EXPECT_EQ(log.takeTraces().size(), 2u);
}

TEST_F(PcpMapCommand, MissesTheVlanInterfaceBeforeItMissesTheDirection) {
    EXPECT_EQ(built({"ptm0"}).genFapiQosSysCallCmd(0, 0), "");
    EXPECT_THAT(log.takeWarnings(),
                ElementsAre("could not find any vlan interface in stack 'ptm0' for setting PCP map"));
}

TEST_F(PcpMapCommand, OnlyOpModeOneRemoves) {
    EXPECT_EQ(built({"ptm0.7", "ptm0"}).genFapiQosSysCallCmd(2, 1),
              "ip link set ptm0.7 type vlan egress-qos-map 0:0 1:0 2:0 3:0 4:0 5:0 6:0 7:0");
}

TEST_F(PcpMapCommand, ReadsTheNodesAgainEachTime) {
    const pcpMap map = built({"ptm0.7", "ptm0"});
    db.change("NetworkSetupNode", "InterfaceName", "ptm0.7", "Type", basalt::Value(std::string("Bridge")));
    EXPECT_EQ(map.genFapiQosSysCallCmd(0, 1), "");
    EXPECT_EQ(log.takeWarnings().size(), 1u);
}

} // namespace
} // namespace zel::pacerd::test
