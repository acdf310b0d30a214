#include "qos/ifmap.h"

#include <daemontest.h>

namespace zel::pacerd::test {
namespace {

class IfMap : public DaemonTest {
  protected:
    IfMap() {
        db.add(aNode("ptm0", "XDSL"));
        db.add(aNode("eth1", "WANoE"));
        db.add(aNode("nas0", "MPoA"));
        db.add(aNode("ptm0.7", "VLAN").above("ptm0"));
        db.add(aNode("wlan0", "xdsl"));
    }

    // The messages of its construction are taken.
    ifMap built(const std::vector<std::string>& stack) {
        ifMap map(handle, db, stack);
        log.take();
        return map;
    }
};

TEST_F(IfMap, ConstructionReportsTheStackAndReadsNothing) {
    db.forgetCalls();
    const ifMap map(handle, db, {"ppp0", "ptm0.7", "ptm0"});
    EXPECT_THAT(log.take(),
                ElementsAre("trace: construct interface Map for stack 'ppp0 <=> ptm0.7 <=> ptm0'"));
    const ifMap single(handle, db, {"eth1"});
    EXPECT_THAT(log.take(), ElementsAre("trace: construct interface Map for stack 'eth1'"));
    EXPECT_THAT(db.calls(), IsEmpty());
    EXPECT_THAT(shell.take(), IsEmpty());
    EXPECT_THAT(log.sources(), ElementsAre("ifmap.cpp"));
}

TEST_F(IfMap, CategoriesFollowTheNodeType) {
    const ifMap map = built({"ptm0"});
    EXPECT_EQ(map.lookupIfType("eth1", 1), 1);
    EXPECT_EQ(map.lookupIfType("nas0", 1), 3);
    EXPECT_EQ(map.lookupIfType("ptm0", 1), 2);
    EXPECT_EQ(map.lookupIfType("ptm0.7", 1), 8);
    EXPECT_EQ(map.lookupIfType("wlan0", 1), 8);
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(IfMap, IngressGroupsFollowTheNodeType) {
    const ifMap map = built({"ptm0"});
    EXPECT_EQ(map.lookupIfType("eth1", 0), 3);
    EXPECT_EQ(map.lookupIfType("nas0", 0), 2);
    EXPECT_EQ(map.lookupIfType("ptm0", 0), 2);
    EXPECT_EQ(map.lookupIfType("ptm0.7", 0), 8);
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(IfMap, AnInterfaceWithoutANodeHasCategoryEightAndGroupSix) {
    const ifMap map = built({"usb0"});
    EXPECT_EQ(map.lookupIfType("usb0", 1), 8);
    EXPECT_EQ(map.lookupIfType("usb0", 0), 6);
    EXPECT_THAT(log.takeErrors(), ElementsAre("could not lookup interface type for interface 'usb0'",
                                              "could not lookup interface type for interface 'usb0'"));
    EXPECT_EQ(map.genFapiQosSysCallCmd("usb0", 0, 0), "ifcfg --ifmap -A usb0 -t8 -busb0 -lusb0 -g6");
    EXPECT_EQ(log.takeErrors().size(), 2u);
}

TEST_F(IfMap, ATypeThatCannotBeReadCountsAsNoNode) {
    db.answer(EResultCode::refused, Operation::selectKey, "NetworkSetupNode");
    EXPECT_EQ(built({"ptm0"}).lookupIfType("ptm0", 1), 8);
    EXPECT_EQ(log.takeWarnings().size(), 1u);
    EXPECT_THAT(log.takeErrors(), Contains("could not lookup interface type for interface 'ptm0'"));
}

TEST_F(IfMap, TheEgressCheckLooksForTheCategory) {
    const ifMap map = built({"ppp0", "ptm0"});
    EXPECT_FALSE(map.checkIfMapExists("ppp0", 3, 2, 1));
    EXPECT_THAT(shell.take(), ElementsAre(R"(ifcfg --ifmap -L | grep -q "CAT 3.*ppp0.*")"));
    EXPECT_THAT(log.take(), ElementsAre(R"(trace: check cmd: 'ifcfg --ifmap -L | grep -q "CAT 3.*ppp0.*"')"));
}

TEST_F(IfMap, EveryOtherCheckLooksForTheGroup) {
    const ifMap map = built({"ppp0", "ptm0"});
    EXPECT_FALSE(map.checkIfMapExists("ppp0", 3, 2, 0));
    EXPECT_FALSE(map.checkIfMapExists("ppp0", 3, 2, 5));
    const std::string listing = R"(ifcfg --ifmap -L | grep -q "INGGRP 2.*ppp0.*")";
    EXPECT_THAT(shell.take(), ElementsAre(listing, listing));
}

TEST_F(IfMap, ExistsOnlyIfTheListingEndsWithStatusZero) {
    const ifMap map = built({"ppp0", "ptm0"});
    const std::string listing = R"(ifcfg --ifmap -L | grep -q "CAT 2.*ppp0.*")";
    shell.finds(listing);
    EXPECT_TRUE(map.checkIfMapExists("ppp0", 2, 2, 1));
    for (const int status : {1, -1, 0x100}) {
        shell.answer(listing, status);
        EXPECT_FALSE(map.checkIfMapExists("ppp0", 2, 2, 1)) << status;
    }
}

TEST_F(IfMap, ACommandNamesTheLowestInterfaceOfTheStack) {
    const ifMap map = built({"ppp0", "ptm0.7", "nas0"});
    EXPECT_EQ(map.genFapiQosSysCallCmd("ppp0", 0, 1), "ifcfg --ifmap -A ppp0 -t3 -bnas0 -lnas0");
    EXPECT_EQ(map.genFapiQosSysCallCmd("ppp0", 0, 0), "ifcfg --ifmap -A ppp0 -t3 -bnas0 -lnas0 -g2");
    EXPECT_THAT(shell.take(), ElementsAre(R"(ifcfg --ifmap -L | grep -q "CAT 3.*ppp0.*")",
                                          R"(ifcfg --ifmap -L | grep -q "INGGRP 2.*ppp0.*")"));
}

TEST_F(IfMap, OnlyDirectionZeroHasAGroup) {
    EXPECT_EQ(built({"eth1"}).genFapiQosSysCallCmd("eth1", 0, 2), "ifcfg --ifmap -A eth1 -t1 -beth1 -leth1");
    EXPECT_THAT(shell.take(), ElementsAre(R"(ifcfg --ifmap -L | grep -q "INGGRP 3.*eth1.*")"));
}

TEST_F(IfMap, EveryOpModeButZeroDeletesAndAsksToo) {
    const ifMap map = built({"ppp0", "ptm0"});
    EXPECT_EQ(map.genFapiQosSysCallCmd("ppp0", 1, 0), "ifcfg --ifmap -D ppp0 -t2 -bptm0 -lptm0 -g2");
    EXPECT_EQ(map.genFapiQosSysCallCmd("ppp0", 7, 1), "ifcfg --ifmap -D ppp0 -t2 -bptm0 -lptm0");
    EXPECT_EQ(shell.take().size(), 2u);
    shell.finds(R"(ifcfg --ifmap -L | grep -q "CAT 2.*ppp0.*")");
    EXPECT_EQ(map.genFapiQosSysCallCmd("ppp0", 1, 1), "");
    EXPECT_THAT(
        log.takeWarnings(),
        ElementsAre("ifmap with cmd 'ifcfg --ifmap -D ppp0 -t2 -bptm0 -lptm0' already exists, skip..."));
}

TEST_F(IfMap, AStackGetsThreeCommandsInOrder) {
    const ifMap map = built({"ppp0", "ptm0"});
    Lines commands{"earlier"};
    EXPECT_TRUE(map.getFapiQosIfMapCmds(commands));
    EXPECT_THAT(commands, ElementsAre("earlier", "ifcfg --ifmap -A ptm0 -t2 -bptm0 -lptm0",
                                      "ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0",
                                      "ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0 -g2"));
    EXPECT_THAT(log.take(),
                ElementsAre(R"(trace: check cmd: 'ifcfg --ifmap -L | grep -q "CAT 2.*ptm0.*"')",
                            "trace: added ifmap add cmd 'ifcfg --ifmap -A ptm0 -t2 -bptm0 -lptm0'",
                            R"(trace: check cmd: 'ifcfg --ifmap -L | grep -q "CAT 2.*ppp0.*"')",
                            "trace: added ifmap add cmd 'ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0'",
                            R"(trace: check cmd: 'ifcfg --ifmap -L | grep -q "INGGRP 2.*ppp0.*"')",
                            "trace: added ifmap add cmd 'ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0 -g2'"));
}

TEST_F(IfMap, TheMiddleOfAStackIsNotMapped) {
    Lines commands;
    EXPECT_TRUE(built({"ppp0", "ptm0.7", "ptm0"}).getFapiQosIfMapCmds(commands));
    EXPECT_THAT(commands, ElementsAre("ifcfg --ifmap -A ptm0 -t2 -bptm0 -lptm0",
                                      "ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0",
                                      "ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0 -g2"));
}

TEST_F(IfMap, ASingleInterfaceGetsOneEgressCommand) {
    Lines commands;
    EXPECT_TRUE(built({"eth1"}).getFapiQosIfMapCmds(commands));
    EXPECT_THAT(commands, ElementsAre("ifcfg --ifmap -A eth1 -t1 -beth1 -leth1"));
    EXPECT_THAT(shell.take(), ElementsAre(R"(ifcfg --ifmap -L | grep -q "CAT 1.*eth1.*")"));
}

TEST_F(IfMap, AnExistingEgressMapIsSkippedWithBothWarningsAndTheIngressMapStillComes) {
    shell.finds(R"(ifcfg --ifmap -L | grep -q "CAT 2.*ptm0.*")");
    shell.finds(R"(ifcfg --ifmap -L | grep -q "CAT 2.*ppp0.*")");
    Lines commands;
    EXPECT_TRUE(built({"ppp0", "ptm0"}).getFapiQosIfMapCmds(commands));
    EXPECT_THAT(commands, ElementsAre("ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0 -g2"));
    EXPECT_THAT(
        log.takeWarnings(),
        ElementsAre("ifmap with cmd 'ifcfg --ifmap -A ptm0 -t2 -bptm0 -lptm0' already exists, skip...",
                    "could not get egress ifmap command for interface 'ptm0', maybe already configured",
                    "ifmap with cmd 'ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0' already exists, skip...",
                    "could not get egress ifmap command for interface 'ppp0', maybe already configured"));
}

TEST_F(IfMap, AnExistingIngressMapIsSkippedWithBothWarnings) {
    shell.finds(R"(ifcfg --ifmap -L | grep -q "INGGRP 2.*ppp0.*")");
    Lines commands;
    EXPECT_TRUE(built({"ppp0", "ptm0"}).getFapiQosIfMapCmds(commands));
    EXPECT_EQ(commands.size(), 2u);
    EXPECT_THAT(
        log.takeWarnings(),
        ElementsAre("ifmap with cmd 'ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0 -g2' already exists, skip...",
                    "could not get ingress ifmap command for interface 'ppp0', maybe already configured"));
}

} // namespace
} // namespace zel::pacerd::test
