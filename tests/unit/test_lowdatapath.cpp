#include "model/lowdatapath.h"

#include <daemontest.h>

namespace zel::pacerd::test {
namespace {

const char* const lowSource = "lowdatapath.cpp";

class LowDataPath : public DaemonTest {
  protected:
    LowDataPath() {
        db.add(aNode("ptm0", "XDSL").id(1));
        db.add(aNode("ptm0.7", "VLAN").above("ptm0"));
        db.add(aNode("ppp0", "PPP").above("ptm0.7"));
        db.add(aNode("eth1", "WANoE").id(8));
        db.add(aNode("nas_atm0", "MPoA").id(9).above("dsl"));
    }

    // Its upper paths, as their interfaces.
    static Lines upperInterfaces(const lowDataPath& path) {
        Lines names;
        for (const upperDataPath& upper : path.getUpperDataPathList()) {
            names.push_back(upper.getIfName());
        }
        return names;
    }

    std::string assertionOfBuilding(int id = 1) {
        return assertionOf([this, id] { const lowDataPath path(handle, db, id); });
    }

    Lines stackOf(const std::string& interface, bool expected = true) {
        const lowDataPath path(handle, db, 1);
        log.take();
        Lines stack;
        EXPECT_EQ(path.findInterfaceStack(interface, stack), expected);
        return stack;
    }
};

TEST_F(LowDataPath, ANodeWithoutProvidersIsAPathWithoutUpperPaths) {
    db.add(aLogicalInterface("LocalLAN", "br0"));
    const lowDataPath path(handle, db, 1);
    EXPECT_EQ(path.getIfName(), "ptm0");
    EXPECT_EQ(path.getType(), "XDSL");
    EXPECT_THAT(path.getUpperDataPathList(), IsEmpty());
    EXPECT_THAT(log.take(),
                ElementsAre("trace: construct low datapath for NSN Id 1: type = 'XDSL', interface = 'ptm0'",
                            "trace: skip logicalInterface 'LocalLAN' in searching"));
    EXPECT_THAT(log.sources(), ElementsAre(lowSource));
}

TEST_F(LowDataPath, FindsTheStackAboveIt) {
    db.add(aLogicalInterface("ProviderInternet", "ppp0"));
    db.add(aShaper("ptm0").rate(20000));
    const lowDataPath path(handle, db, 1);
    EXPECT_THAT(upperInterfaces(path), ElementsAre("ppp0"));
    EXPECT_THAT(log.takeFrom(lowSource),
                ElementsAre("trace: construct low datapath for NSN Id 1: type = 'XDSL', interface = 'ptm0'",
                            "trace: search root for upper if 'ppp0'",
                            "trace: found 'ppp0' in stack of upperIf ppp0",
                            "trace: found 'ptm0.7' in stack of upperIf ppp0",
                            "trace: found 'ptm0' in stack of upperIf ppp0",
                            "trace: found interface stack 'ppp0 <=> ptm0.7 <=> ptm0' for upper if 'ppp0'",
                            "info: found interface stack for for this datapath: 'ppp0 <=> ptm0.7 <=> ptm0'",
                            "info: found active shaper for interface 'ptm0' with rate 20000"));
    EXPECT_THAT(log.take(), Contains("trace: construct upper datapath for stack 'ppp0 <=> ptm0.7 <=> ptm0'"));
}

TEST_F(LowDataPath, TheNodeItselfMayCarryAProvider) {
    db.add(aLogicalInterface("ProviderInternet", "ptm0"));
    const lowDataPath path(handle, db, 1);
    EXPECT_THAT(upperInterfaces(path), ElementsAre("ptm0"));
    EXPECT_THAT(log.takeInfos(), Contains("found interface stack for for this datapath: 'ptm0'"));
}

TEST_F(LowDataPath, AStackWithAnotherRootBelongsToAnotherPath) {
    db.add(aLogicalInterface("ProviderInternet", "eth1"));
    const lowDataPath path(handle, db, 1);
    EXPECT_THAT(path.getUpperDataPathList(), IsEmpty());
    EXPECT_EQ(log.takeFrom(lowSource).back(), "trace: found interface stack 'eth1' for upper if 'eth1'");
    EXPECT_THAT(upperInterfaces(lowDataPath(handle, db, 8)), ElementsAre("eth1"));
}

TEST_F(LowDataPath, ProvidersOnOneInterfaceMakeOnePath) {
    db.add(aLogicalInterface("ProviderVoIP", "ppp0"));
    db.add(aLogicalInterface("ProviderIPTV", "ptm0.7"));
    db.add(aLogicalInterface("ProviderInternet", "ppp0"));
    db.add(aLogicalInterface("ProviderTR069", "ppp0").isUp(0));
    EXPECT_THAT(upperInterfaces(lowDataPath(handle, db, 1)), ElementsAre("ppp0", "ptm0.7"));
    EXPECT_THAT(log.takeWarnings(), IsEmpty());
}

TEST_F(LowDataPath, AnInterfaceThatIsDownForOneProviderMayBeUpForTheNext) {
    db.add(aLogicalInterface("ProviderVoIP", "ppp0").isUp(0));
    db.add(aLogicalInterface("ProviderInternet", "ppp0"));
    EXPECT_THAT(upperInterfaces(lowDataPath(handle, db, 1)), ElementsAre("ppp0"));
    EXPECT_THAT(log.takeWarnings(), ElementsAre("upper wan interface 'ppp0' is not up, skip for wan path"));
}

TEST_F(LowDataPath, AllSearchesForInterfacesComeBeforeTheSearchesForStacks) {
    db.add(aLogicalInterface("ProviderInternet", "ppp0"));
    db.add(aLogicalInterface("Guest", "wlan1"));
    db.add(aLogicalInterface("ProviderIPTV", "off"));
    const lowDataPath path(handle, db, 1);
    const Lines lines = log.takeFrom(lowSource);
    ASSERT_GT(lines.size(), 4u);
    EXPECT_EQ(lines[1], "trace: skip logicalInterface 'Guest' in searching");
    EXPECT_EQ(lines[2], "warning: skip searching upper interface for 'off' at 'ProviderIPTV'");
    EXPECT_EQ(lines[3], "trace: search root for upper if 'ppp0'");
}

TEST_F(LowDataPath, AProviderWithoutAddressIsNotUp) {
    db.add(aLogicalInterface("ProviderInternet", "ppp0").isUp(1).address("0.0.0.0"));
    EXPECT_THAT(upperInterfaces(lowDataPath(handle, db, 1)), IsEmpty());
    log.expectWarning("upper wan interface 'ppp0' is not up, skip for wan path");
}

TEST_F(LowDataPath, AnyIsUpButZeroAndAnyAddressButTheNullAddressIsUp) {
    db.add(aLogicalInterface("ProviderInternet", "ppp0").isUp(2).address(""));
    EXPECT_THAT(upperInterfaces(lowDataPath(handle, db, 1)), ElementsAre("ppp0"));
}

TEST_F(LowDataPath, AProviderThatIsOffIsSkippedWithAWarning) {
    db.add(aLogicalInterface("ProviderIPTV", "off"));
    EXPECT_THAT(upperInterfaces(lowDataPath(handle, db, 1)), IsEmpty());
    log.expectWarning("skip searching upper interface for 'off' at 'ProviderIPTV'");
}

TEST_F(LowDataPath, AllFourProvidersCount) {
    db.add(aNode("a", "x").above("ptm0"));
    db.add(aNode("b", "x").above("ptm0"));
    db.add(aLogicalInterface("ProviderTR069", "b"));
    db.add(aLogicalInterface("ProviderVoIP", "a"));
    db.add(aLogicalInterface("ProviderIPTV", "ptm0.7"));
    db.add(aLogicalInterface("ProviderInternet", "ppp0"));
    EXPECT_THAT(upperInterfaces(lowDataPath(handle, db, 1)), ElementsAre("b", "a", "ptm0.7", "ppp0"));
}

TEST_F(LowDataPath, AStackIsFollowedDownToTheRoot) {
    EXPECT_THAT(stackOf("ppp0"), ElementsAre("ppp0", "ptm0.7", "ptm0"));
    EXPECT_THAT(log.take(), ElementsAre("trace: found 'ppp0' in stack of upperIf ppp0",
                                        "trace: found 'ptm0.7' in stack of upperIf ppp0",
                                        "trace: found 'ptm0' in stack of upperIf ppp0"));
    EXPECT_THAT(stackOf("eth1"), ElementsAre("eth1"));
}

TEST_F(LowDataPath, AStackIsAppendedToWhatIsThere) {
    const lowDataPath path(handle, db, 1);
    Lines stack{"earlier"};
    EXPECT_TRUE(path.findInterfaceStack("ptm0", stack));
    EXPECT_THAT(stack, ElementsAre("earlier", "ptm0"));
}

TEST_F(LowDataPath, AnAtmInterfaceEndsTheStackWhateverItsParent) {
    db.add(aNode("atm0", "MPoA").above("elsewhere"));
    db.add(aNode("ppp1", "PPP").above("nas_atm0"));
    EXPECT_THAT(stackOf("atm0"), ElementsAre("atm0"));
    EXPECT_THAT(stackOf("ppp1"), ElementsAre("ppp1", "nas_atm0"));
    EXPECT_EQ(log.takeTraces().back(), "found ATM root interface, break");
    db.add(aNode("ATM1", "MPoA"));
    stackOf("ATM1");
    EXPECT_THAT(log.takeTraces(), Not(Contains("found ATM root interface, break")));
}

TEST_F(LowDataPath, AnAtmNodeCanBeThePath) {
    db.add(aNode("ppp1", "PPP").above("nas_atm0"));
    db.add(aLogicalInterface("ProviderInternet", "ppp1"));
    EXPECT_THAT(upperInterfaces(lowDataPath(handle, db, 9)), ElementsAre("ppp1"));
    EXPECT_THAT(log.takeInfos(),
                Contains("found interface stack for for this datapath: 'ppp1 <=> nas_atm0'"));
}

TEST_F(LowDataPath, ABrokenStackKeepsWhatItFound) {
    db.add(aNode("ppp1", "PPP").above("nowhere"));
    EXPECT_THAT(stackOf("ppp1", false), ElementsAre("ppp1"));
    EXPECT_THAT(log.takeErrors(), ElementsAre("could not get interface data for if 'nowhere'"));
}

TEST_F(LowDataPath, ABrokenStackFailsTheWholePath) {
    db.add(aLogicalInterface("ProviderInternet", "ppp0"));
    db.add(aLogicalInterface("ProviderIPTV", "usb0"));
    EXPECT_EQ(assertionOfBuilding(), "true == this->findUpperDataInterface() (lowdatapath.cpp)");
    EXPECT_THAT(log.takeErrors(), ElementsAre("could not get interface data for if 'usb0'",
                                              "could not find interface stack for 'usb0'"));
}

TEST_F(LowDataPath, ANodeThatIsNotThereCannotBeAPath) {
    EXPECT_EQ(assertionOfBuilding(77),
              "true == dbAccess.selectKey(zel::pacerd::dbm::nsn::tblName, zel::pacerd::dbm::nsn::colId, "
              "std::to_string(this->nsnId), this->nsnValues, true) (lowdatapath.cpp)");
    EXPECT_THAT(
        log.take(),
        ElementsAre("trace: selectkey on table 'NetworkSetupNode', key 'Id', value '77' failed with reason "
                    "'nothing there'",
                    "trace: selectkey return with empty value on request: table 'NetworkSetupNode', "
                    "'Id'=='77'"));
}

TEST_F(LowDataPath, LogicalInterfacesThatCannotBeCountedFailThePath) {
    db.answer(EResultCode::refused, Operation::size, "StatusNetifWatchLogical");
    EXPECT_EQ(assertionOfBuilding(), "true == this->findUpperDataInterface() (lowdatapath.cpp)");
    EXPECT_EQ(log.takeFrom(lowSource).back(),
              "error: could not get size for table 'StatusNetifWatchLogical'");
    log.takeFrom("dbaccess.cpp");
}

TEST_F(LowDataPath, ALogicalInterfaceThatCannotBeReadFailsThePath) {
    db.add(aLogicalInterface("ProviderInternet", "ppp0"));
    db.add(aLogicalInterface("ProviderIPTV", "ptm0.7"));
    db.answer(EResultCode::refused, Operation::selectRow, "StatusNetifWatchLogical", 1, 1);
    EXPECT_EQ(assertionOfBuilding(), "true == this->findUpperDataInterface() (lowdatapath.cpp)");
    EXPECT_EQ(log.takeFrom(lowSource).back(),
              "error: could not get row from table 'StatusNetifWatchLogical' at offset '1'");
    log.takeFrom("dbaccess.cpp");
}

TEST_F(LowDataPath, FindsItsShapersInTableOrder) {
    db.add(aShaper("eth1"));
    db.add(aShaper("ptm0").rate(100));
    db.add(aShaper("ptm0").enabled(2));
    db.add(aShaper("ptm0").enabled(0));
    db.add(aShaper("ptm0").rate(200).ingress(1));
    const lowDataPath path(handle, db, 1);
    EXPECT_THAT(log.takeFrom(lowSource),
                ElementsAre("trace: construct low datapath for NSN Id 1: type = 'XDSL', interface = 'ptm0'",
                            "trace: skip non-matching shaper for interface 'eth1' at offset 0",
                            "info: found active shaper for interface 'ptm0' with rate 100",
                            "trace: skip disabled shaper for interface 'ptm0' at offset 2",
                            "trace: skip disabled shaper for interface 'ptm0' at offset 3",
                            "info: found active shaper for interface 'ptm0' with rate 200"));
    Lines commands{"earlier"};
    EXPECT_TRUE(path.getFapiQosShaperCmdList(commands));
    EXPECT_THAT(commands, ElementsAre("earlier", "qcfg --port -A shape_wan -i ptm0 -s cb --pir 100 -t egress",
                                      "qcfg --port -A shape_wan -i ptm0 -s cb --pir 200 -t egress",
                                      "qcfg --port -A shape_wan_ing -i ptm0 -s cb --pir 200 -t ingress"));
    EXPECT_THAT(log.takeFrom(lowSource),
                ElementsAre("info: got 3 fapi qos shaper commands for interface 'ptm0'"));
}

TEST_F(LowDataPath, ShapersThatCannotBeCountedFailThePath) {
    db.answer(EResultCode::refused, Operation::size, "QoSShaper");
    EXPECT_EQ(assertionOfBuilding(), "true == this->findShaper() (lowdatapath.cpp)");
    EXPECT_EQ(log.takeFrom(lowSource).back(), "error: could not get soze of table 'QoSShaper'");
    log.takeFrom("dbaccess.cpp");
}

TEST_F(LowDataPath, AShaperThatCannotBeReadFailsThePath) {
    db.add(aShaper("eth1"));
    db.add(aShaper("ptm0"));
    db.answer(EResultCode::refused, Operation::selectRow, "QoSShaper", 1, 1);
    EXPECT_EQ(assertionOfBuilding(), "true == this->findShaper() (lowdatapath.cpp)");
    EXPECT_EQ(log.takeFrom(lowSource).back(), "error: could not get row at offset 1 from table 'QoSShaper'");
    log.takeFrom("dbaccess.cpp");
}

TEST_F(LowDataPath, ACopyHasItsOwnPaths) {
    db.add(aLogicalInterface("ProviderInternet", "ppp0"));
    db.add(aShaper("ptm0"));
    std::vector<lowDataPath> copies;
    {
        const lowDataPath path(handle, db, 1);
        copies.push_back(path);
    }
    db.clear("NetworkSetupNode");
    EXPECT_EQ(copies.front().getIfName(), "ptm0");
    EXPECT_THAT(upperInterfaces(copies.front()), ElementsAre("ppp0"));
    Lines commands;
    EXPECT_TRUE(copies.front().getFapiQosShaperCmdList(commands));
    EXPECT_EQ(commands.size(), 1u);
}

} // namespace
} // namespace zel::pacerd::test
