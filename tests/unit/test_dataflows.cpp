#include "model/dataflows.h"

#include <daemontest.h>
#include <gateways.h>

#include <stdexcept>

namespace zel::pacerd::test {
namespace {

const char* const flowsSource = "dataflows.cpp";

class DataFlows : public DaemonTest {
  protected:
    dataFlows flows{handle, db};
};

TEST_F(DataFlows, PrefersMpoaToXdslToWanoe) {
    db.add(aNode("eth1", "WANoE"));
    db.add(aNode("ptm0", "XDSL"));
    db.add(aNode("atm0", "MPoA"));
    EXPECT_TRUE(flows.findLowWanPaths());
    EXPECT_THAT(log.takeFrom(flowsSource),
                ElementsAre("info: found enabled low WAN path device 'atm0' [MPoA]",
                            "info: found 1 low wan paths in data flow"));
    EXPECT_THAT(log.sources(), Contains(flowsSource));
}

TEST_F(DataFlows, SkipsADisabledNodeAndStopsAtTheFirstEnabledOne) {
    db.add(aNode("atm0", "MPoA").disabled());
    db.add(aNode("ptm0", "XDSL"));
    db.add(aNode("eth1", "WANoE"));
    db.forgetCalls();
    EXPECT_TRUE(flows.findLowWanPaths());
    EXPECT_THAT(log.take(),
                ElementsAre("info: skip disabled WAN path for type 'MPoA'",
                            "info: found enabled low WAN path device 'ptm0' [XDSL]",
                            "trace: construct low datapath for NSN Id 2: type = 'XDSL', interface = 'ptm0'",
                            "info: found 1 low wan paths in data flow"));
    EXPECT_THAT(db.calls(), Not(Contains("selectKey NetworkSetupNode Type=WANoE columns:all")));
}

TEST_F(DataFlows, AnyEnableButZeroEnablesANode) {
    db.add(aNode("eth1", "WANoE").enabled(2));
    EXPECT_TRUE(flows.findLowWanPaths());
    EXPECT_THAT(log.takeFrom(flowsSource),
                ElementsAre("trace: low wan doesn't have type 'MPoA'",
                            "trace: low wan doesn't have type 'XDSL'",
                            "info: found enabled low WAN path device 'eth1' [WANoE]",
                            "info: found 1 low wan paths in data flow"));
}

TEST_F(DataFlows, OnlyTheFirstNodeOfATypeIsLookedAt) {
    db.add(aNode("ptm0", "XDSL").disabled());
    db.add(aNode("ptm1", "XDSL"));
    EXPECT_TRUE(flows.findLowWanPaths());
    EXPECT_THAT(log.takeInfos(),
                ElementsAre("skip disabled WAN path for type 'XDSL'", "found 0 low wan paths in data flow"));
}

TEST_F(DataFlows, NoNodeOfAnyTypeIsNoFailure) {
    db.add(aNode("ptm0.7", "VLAN"));
    EXPECT_TRUE(flows.findLowWanPaths());
    EXPECT_THAT(log.takeFrom(flowsSource), ElementsAre("trace: low wan doesn't have type 'MPoA'",
                                                       "trace: low wan doesn't have type 'XDSL'",
                                                       "trace: low wan doesn't have type 'WANoE'",
                                                       "info: found 0 low wan paths in data flow"));
}

TEST_F(DataFlows, AFailedRequestForNodesFailsTheDiscovery) {
    db.add(aNode("eth1", "WANoE"));
    db.answer(EResultCode::refused, Operation::selectKey, "NetworkSetupNode", 1, 1);
    EXPECT_FALSE(flows.findLowWanPaths());
    EXPECT_THAT(log.takeFrom(flowsSource),
                ElementsAre("trace: low wan doesn't have type 'MPoA'",
                            "error: failed requesting table 'NetworkSetupNode' for low wan path"));
    log.takeFrom("dbaccess.cpp");
}

TEST_F(DataFlows, AFailedPathPassesThrough) {
    db.add(aNode("eth1", "WANoE"));
    db.answer(EResultCode::refused, Operation::size, "QoSShaper");
    EXPECT_EQ(assertionOf([this] { flows.findLowWanPaths(); }),
              "true == this->findShaper() (lowdatapath.cpp)");
    log.take();
}

TEST_F(DataFlows, FindsTheLocalPaths) {
    db.add(aLogicalInterface("LocalLoopback", "lo"));
    db.add(aLogicalInterface("LocalLAN", "br0").isUp(0));
    db.add(aLogicalInterface("ProviderInternet", "ppp0"));
    EXPECT_TRUE(flows.findLocalNetworkPaths());
    EXPECT_THAT(log.takeFrom(flowsSource),
                ElementsAre("info: found logical interface 'LocalLoopback' for local network, phy if: 'lo'",
                            "info: found 1 local wan paths in data flow"));
    EXPECT_TRUE(flows.findLocalLanPaths());
    EXPECT_THAT(log.takeFrom(flowsSource),
                ElementsAre("info: found logical interface 'LocalLAN' for local LAN, phy if: 'br0'",
                            "info: found 1 local LAN paths in data flow"));
    EXPECT_THAT(log.takeTraces(), Contains("construct upper datapath for stack 'br0'"));
}

TEST_F(DataFlows, NoLocalInterfaceIsNoFailure) {
    db.add(aLogicalInterface("LocalLan", "br0"));
    EXPECT_TRUE(flows.findLocalNetworkPaths());
    EXPECT_TRUE(flows.findLocalLanPaths());
    EXPECT_THAT(log.take(), ElementsAre("info: found 0 local wan paths in data flow",
                                        "info: found 0 local LAN paths in data flow"));
}

TEST_F(DataFlows, TheInterfacesOfLocalPathsAddUp) {
    db.add(aLogicalInterface("LocalLAN", "br0"));
    db.add(aLogicalInterface("LocalLAN", "br1"));
    EXPECT_TRUE(flows.findLocalLanPaths());
    EXPECT_THAT(log.takeFrom(flowsSource),
                ElementsAre("info: found logical interface 'LocalLAN' for local LAN, phy if: 'br0'",
                            "info: found logical interface 'LocalLAN' for local LAN, phy if: 'br1'",
                            "info: found 2 local LAN paths in data flow"));
    const Lines traces = log.takeTraces();
    EXPECT_THAT(traces, Contains("construct upper datapath for stack 'br0'"));
    EXPECT_THAT(traces, Contains("construct upper datapath for stack 'br0 <=> br1'"));
    EXPECT_TRUE(flows.findLocalNetworkPaths());
    EXPECT_THAT(log.takeFrom(flowsSource), ElementsAre("info: found 0 local wan paths in data flow"));
}

TEST_F(DataFlows, LogicalInterfacesThatCannotBeCountedFailTheDiscovery) {
    db.answer(EResultCode::refused, Operation::size, "StatusNetifWatchLogical", 2);
    EXPECT_FALSE(flows.findLocalNetworkPaths());
    EXPECT_FALSE(flows.findLocalLanPaths());
    EXPECT_THAT(log.takeFrom(flowsSource),
                ElementsAre("error: could not get size of table 'StatusNetifWatchLogical'",
                            "error: could not get size of table 'StatusNetifWatchLogical'"));
    log.takeFrom("dbaccess.cpp");
}

TEST_F(DataFlows, ALogicalInterfaceThatCannotBeReadFailsTheDiscoveryAndKeepsWhatWasFound) {
    db.add(aLogicalInterface("LocalLAN", "br0"));
    db.add(aLogicalInterface("ProviderInternet", "ppp0"));
    // Each walk reads row 0; building the path of br0 reads both rows in between.
    db.answer(EResultCode::refused, Operation::selectRow, "StatusNetifWatchLogical", 1, 3);
    EXPECT_FALSE(flows.findLocalLanPaths());
    EXPECT_EQ(log.takeFrom(flowsSource).back(),
              "error: could not get row at offset 1 from table 'StatusNetifWatchLogical'");
    log.takeFrom("dbaccess.cpp");
    EXPECT_TRUE(flows.findLocalLanPaths());
    EXPECT_THAT(log.takeInfos(), Contains("found 2 local LAN paths in data flow"));
}

TEST_F(DataFlows, ARevertWithoutAnApplyIsSkipped) {
    EXPECT_TRUE(flows.revertQos());
    EXPECT_THAT(log.take(), ElementsAre("info: qos config hasn't been applied yet, skip revert"));
    EXPECT_THAT(shell.take(), IsEmpty());
}

TEST_F(DataFlows, ApplyingNothingSucceeds) {
    EXPECT_TRUE(flows.applyQos());
    EXPECT_THAT(log.takeFrom(flowsSource), ElementsAre("info: skip setting PCP egress map, done by fapi"));
    EXPECT_TRUE(flows.revertQos());
    EXPECT_THAT(log.takeFrom(flowsSource), ElementsAre("info: skip removing PCP egress map, done by fapi"));
    EXPECT_THAT(shell.take(), IsEmpty());
}

TEST_F(DataFlows, ASecondApplyChangesNothing) {
    EXPECT_TRUE(flows.applyQos());
    log.take();
    EXPECT_FALSE(flows.applyQos());
    EXPECT_THAT(log.take(), ElementsAre("error: fapi qos has already been applied"));
    EXPECT_TRUE(flows.revertQos());
    EXPECT_TRUE(flows.applyQos());
}

TEST_F(DataFlows, ClearedPathsAreGone) {
    addTriplePlay(db);
    EXPECT_TRUE(flows.findLowWanPaths() && flows.findLocalNetworkPaths() && flows.findLocalLanPaths());
    EXPECT_TRUE(flows.clearPaths());
    log.take();
    shell.take();
    EXPECT_TRUE(flows.applyQos());
    EXPECT_THAT(shell.take(), IsEmpty());
    EXPECT_TRUE(flows.findLowWanPaths());
    EXPECT_THAT(log.takeInfos(), Contains("found 1 low wan paths in data flow"));
    log.expectWarning("skip searching upper interface for 'off' at 'ProviderTR069'");
}

// Apply and revert with one command in each group.
class DataFlowsApply : public DataFlows {
  protected:
    DataFlowsApply() {
        db.add(aNode("eth1", "WANoE"));
        db.add(aLogicalInterface("ProviderInternet", "eth1"));
        db.add(aQueue());
        db.add(anAction());
        db.add(aRule().on("ProviderInternet"));
        db.add(aShaper("eth1"));
        EXPECT_TRUE(flows.findLowWanPaths());
        log.take();
    }

    const std::string ifMap = "ifcfg --ifmap -A eth1 -t1 -beth1 -leth1";
    const std::string queue =
        "qcfg --queue -A eth1_q3 -i eth1 -t egress -l 64 -m sp --priority 3 -d tail --map 3";
    const std::string rule = "classcfg -A rule -i eth1 -p udp -j mark --mark_ing 5 --mark-loc 2 --priority 5";
    const std::string shaper = "qcfg --port -A shape_wan -i eth1 -s cb --pir 50000 -t egress";

    // The PCP map of an interface that is no VLAN.
    void takePcpWarning() {
        EXPECT_THAT(
            log.takeFrom("pcpmap.cpp"),
            ElementsAre("warning: could not find any vlan interface in stack 'eth1' for setting PCP map"));
    }
};

TEST_F(DataFlowsApply, AppliesMapsQueuesClassifiersShapers) {
    EXPECT_TRUE(flows.applyQos());
    takePcpWarning();
    EXPECT_THAT(shell.takeChanges(), ElementsAre(ifMap, queue, rule, shaper));
    const Lines infos = log.takeInfos();
    EXPECT_THAT(Lines(infos.end() - 5, infos.end()),
                ElementsAre("apply success: '" + ifMap + "'", "apply success: '" + queue + "'",
                            "apply success: '" + rule + "'", "skip setting PCP egress map, done by fapi",
                            "apply success: '" + shaper + "'"));
}

TEST_F(DataFlowsApply, RevertsClassifiersQueuesShapersMaps) {
    EXPECT_TRUE(flows.applyQos());
    takePcpWarning();
    shell.take();
    log.take();
    EXPECT_TRUE(flows.revertQos());
    const std::string unRule =
        "classcfg -D rule -i eth1 -p udp -j mark --mark_ing 5 --mark-loc 2 --priority 5";
    const std::string unQueue =
        "qcfg --queue -D eth1_q3 -i eth1 -t egress -l 64 -m sp --priority 3 -d tail --map 3";
    const std::string unShaper = "qcfg --port -D shape_wan -i eth1 -s cb --pir 50000 -t egress";
    const std::string unIfMap = "ifcfg --ifmap -D eth1 -t1 -beth1 -leth1";
    EXPECT_THAT(shell.take(), ElementsAre(unRule, unQueue, unShaper, unIfMap));
    EXPECT_THAT(log.take(), ElementsAre("info: remove success: '" + unRule + "'",
                                        "info: remove success: '" + unQueue + "'",
                                        "info: remove success: '" + unShaper + "'",
                                        "info: skip removing PCP egress map, done by fapi",
                                        "info: remove success: '" + unIfMap + "'"));
    EXPECT_TRUE(flows.revertQos());
    EXPECT_THAT(log.take(), ElementsAre("info: qos config hasn't been applied yet, skip revert"));
}

TEST_F(DataFlowsApply, AFailureStopsAtItsGroupAndTheRevertUndoesEverything) {
    const struct {
        unsigned nth;
        const char* error;
    } cases[] = {{1, "could not apply fapi ifmap"},
                 {2, "could not apply qos queue commands"},
                 {3, "failed applying classifier commands"},
                 {4, "failed applying shaper commands"}};
    for (const auto& failing : cases) {
        shell.answerNth(failing.nth, RecordingShell::exit1);
        EXPECT_FALSE(flows.applyQos());
        takePcpWarning();
        EXPECT_EQ(shell.takeChanges().size(), failing.nth);
        const Lines lines = log.takeFrom(flowsSource);
        EXPECT_EQ(lines.back(), std::string("error: ") + failing.error);
        EXPECT_EQ(lines.size(), failing.nth == 4 ? 2u : 1u);
        EXPECT_EQ(log.takeErrors().size(), 1u); // the connector's own
        EXPECT_TRUE(flows.revertQos());
        EXPECT_EQ(shell.take().size(), 4u);
        log.take();
    }
}

TEST_F(DataFlowsApply, RevertGoesOnWhateverFails) {
    EXPECT_TRUE(flows.applyQos());
    takePcpWarning();
    shell.take();
    for (unsigned nth = 1; nth <= 4; ++nth) {
        shell.answerNth(nth, RecordingShell::exit1);
    }
    EXPECT_TRUE(flows.revertQos());
    EXPECT_EQ(shell.take().size(), 4u);
    EXPECT_EQ(log.takeErrors().size(), 4u);
}

TEST_F(DataFlowsApply, AConnectorThatCannotBeBuiltIsNotKept) {
    db.add(aRule().named("odd").on("ProviderInternet").dscp("EF"));
    EXPECT_TRUE(flows.clearPaths());
    EXPECT_TRUE(flows.findLowWanPaths());
    EXPECT_THROW(flows.applyQos(), std::invalid_argument);
    EXPECT_THAT(shell.takeChanges(), IsEmpty());
    log.take();
    EXPECT_TRUE(flows.revertQos());
    EXPECT_THAT(log.take(), ElementsAre("info: qos config hasn't been applied yet, skip revert"));
}

TEST_F(DataFlowsApply, DestructionRunsNothing) {
    {
        dataFlows other(handle, db);
        EXPECT_TRUE(other.findLowWanPaths());
        log.take();
        EXPECT_TRUE(other.applyQos());
        takePcpWarning();
        shell.take();
    }
    EXPECT_THAT(shell.take(), IsEmpty());
}

TEST_F(DataFlowsApply, ACopyOfAFreshObjectHasThePathsOfTheOriginal) {
    dataFlows copy = flows;
    EXPECT_TRUE(copy.applyQos());
    takePcpWarning();
    EXPECT_THAT(shell.takeChanges(), ElementsAre(ifMap, queue, rule, shaper));
}

} // namespace
} // namespace zel::pacerd::test
