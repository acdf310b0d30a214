#include "connector/fapiqosconnector.h"

#include <daemontest.h>
#include <gateways.h>

#include <stdexcept>

namespace zel::pacerd::test {
namespace {

const char* const connectorSource = "fapiqosconnector.cpp";

// Running and undoing, with lists of the tests' own.
class Connector : public DaemonTest {
  protected:
    fapiQosConnector connector{handle, {}, {}, {}};
    Lines applied;
};

TEST_F(Connector, EmptyGroupsRunNothing) {
    EXPECT_TRUE(connector.applyFapiQosIfMapCmds());
    EXPECT_TRUE(connector.applyFapiQosQueueCmds());
    EXPECT_TRUE(connector.applyFapiQosClCmds());
    EXPECT_TRUE(connector.applyFapiQosShaperCmds());
    EXPECT_TRUE(connector.removeFapiQosIfMapCmds());
    EXPECT_TRUE(connector.removeFapiQosQCmds());
    EXPECT_TRUE(connector.removeFapiQosClCmds());
    EXPECT_TRUE(connector.removeFapiQosShaperCmds());
    EXPECT_THAT(shell.take(), IsEmpty());
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(Connector, RunsCommandsFrontToBack) {
    Lines commands{"a -A 1", "b -M 2"};
    applied = {"earlier"};
    EXPECT_TRUE(connector.applySysCmd(commands, applied));
    EXPECT_THAT(shell.take(), ElementsAre("a -A 1", "b -M 2"));
    EXPECT_THAT(applied, ElementsAre("earlier", "a -A 1", "b -M 2"));
    EXPECT_THAT(log.take(), ElementsAre("info: apply success: 'a -A 1'", "info: apply success: 'b -M 2'"));
    EXPECT_THAT(log.sources(), ElementsAre(connectorSource));
}

TEST_F(Connector, StopsAtTheFirstCommandThatFailsWithItsRawStatus) {
    Lines commands{"a -A 1", "a -A 2", "a -A 3"};
    shell.answer("a -A 2", 0x300);
    EXPECT_FALSE(connector.applySysCmd(commands, applied));
    EXPECT_THAT(shell.take(), ElementsAre("a -A 1", "a -A 2"));
    EXPECT_THAT(applied, ElementsAre("a -A 1"));
    EXPECT_THAT(log.take(),
                ElementsAre("info: apply success: 'a -A 1'", "error: failed cmd 'a -A 2' (retcode: 768)"));
}

TEST_F(Connector, AShellThatCannotBeStartedIsAFailureToo) {
    Lines commands{"a -A 1"};
    shell.answer("a -A 1", -1);
    EXPECT_FALSE(connector.applySysCmd(commands, applied));
    EXPECT_THAT(log.take(), ElementsAre("error: failed cmd 'a -A 1' (retcode: -1)"));
}

TEST_F(Connector, AddsAndModificationsBecomeDeletionsInReverseOrder) {
    Lines removal{"earlier"};
    EXPECT_TRUE(
        connector.getReversedRmCmdList({"qcfg --queue -A ptm0_q3 -i ptm0", "qcfg --queue -M ptm0_q4 -i ptm0",
                                        "ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0"},
                                       removal));
    EXPECT_THAT(removal, ElementsAre("earlier", "ifcfg --ifmap -D ppp0 -t2 -bptm0 -lptm0",
                                     "qcfg --queue -D ptm0_q4 -i ptm0", "qcfg --queue -D ptm0_q3 -i ptm0"));
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(Connector, AnAddIsLookedForBeforeAModification) {
    Lines removal;
    EXPECT_TRUE(
        connector.getReversedRmCmdList({"classcfg -A x-M -M", "classcfg -M web-Admin -i ptm0"}, removal));
    EXPECT_THAT(removal, ElementsAre("classcfg -M web-Ddmin -i ptm0", "classcfg -D x-M -M"));
}

TEST_F(Connector, OnlyTheFirstFlagIsReplaced) {
    Lines removal;
    EXPECT_TRUE(connector.getReversedRmCmdList({"t -A a-A", "t -M m-M"}, removal));
    EXPECT_THAT(removal, ElementsAre("t -D m-M", "t -D a-A"));
}

TEST_F(Connector, ACommandWithoutAFlagCannotBeUndone) {
    Lines removal;
    EXPECT_FALSE(connector.getReversedRmCmdList({"t -A 1", "ip link set", "t -A 3"}, removal));
    EXPECT_THAT(removal, ElementsAre("t -D 3"));
    EXPECT_THAT(log.take(), ElementsAre("error: failed creating rm command from 'ip link set'"));
}

TEST_F(Connector, ReplacesTheFirstOccurrenceInACopy) {
    std::string text = "a-A-A";
    EXPECT_EQ(connector.str_replace(text, "-A", "-D"), "a-D-A");
    EXPECT_EQ(connector.str_replace(text, "a", "bcd"), "bcd-A-A");
    EXPECT_EQ(text, "a-A-A");
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(Connector, ATextWithoutTheOccurrenceStaysAsItIs) {
    std::string text = "a-A";
    EXPECT_EQ(connector.str_replace(text, "-M", "-D"), "a-A");
    EXPECT_THAT(log.take(), ElementsAre("trace: did not find str to replace '-M' in 'a-A'"));
}

TEST_F(Connector, UndoesLastFirstAndEmptiesTheAppliedList) {
    Lines commands{"t -A 1", "t -M 2"};
    applied = commands;
    EXPECT_TRUE(connector.rmSysCmd(commands, applied));
    EXPECT_THAT(shell.take(), ElementsAre("t -D 2", "t -D 1"));
    EXPECT_THAT(applied, IsEmpty());
    EXPECT_THAT(commands, ElementsAre("t -A 1", "t -M 2"));
    EXPECT_THAT(log.take(), ElementsAre("info: remove success: 't -D 2'", "info: remove success: 't -D 1'"));
}

TEST_F(Connector, UndoesAlsoWhatNeverRan) {
    Lines commands{"t -A 1", "t -A 2", "t -A 3"};
    shell.answer("t -A 2", RecordingShell::exit1);
    EXPECT_FALSE(connector.applySysCmd(commands, applied));
    EXPECT_THAT(applied, ElementsAre("t -A 1"));
    shell.take();
    log.take();
    EXPECT_TRUE(connector.rmSysCmd(commands, applied));
    EXPECT_THAT(shell.take(), ElementsAre("t -D 3", "t -D 2", "t -D 1"));
    EXPECT_THAT(applied, IsEmpty());
}

TEST_F(Connector, AFailedUndoIsLoggedForgottenAndPassed) {
    Lines commands{"t -A 1", "t -A 2"};
    applied = commands;
    shell.answer("t -D 2", 0x200);
    EXPECT_TRUE(connector.rmSysCmd(commands, applied));
    EXPECT_THAT(applied, IsEmpty());
    EXPECT_THAT(log.take(), ElementsAre("error: failed removing cmd 't -D 2' (retcode: 512)",
                                        "info: remove success: 't -D 1'"));
}

TEST_F(Connector, AnUndoDropsOneEqualElementAndNoOther) {
    Lines commands{"t -A 1"};
    applied = {"t -M 1", "t -A 2", "t -A 1", "t -A 1"};
    EXPECT_TRUE(connector.rmSysCmd(commands, applied));
    EXPECT_THAT(applied, ElementsAre("t -M 1", "t -A 2", "t -A 1"));
    commands = {"t -M 1"};
    EXPECT_TRUE(connector.rmSysCmd(commands, applied));
    EXPECT_THAT(applied, ElementsAre("t -M 1", "t -A 2")) << "the added one is looked for first";
    EXPECT_TRUE(connector.rmSysCmd(commands, applied));
    EXPECT_THAT(applied, ElementsAre("t -A 2"));
    EXPECT_TRUE(connector.rmSysCmd(commands, applied));
    EXPECT_THAT(applied, ElementsAre("t -A 2"));
}

TEST_F(Connector, AGroupThatHoldsACommandWithoutAFlagIsNotUndoneAtAll) {
    Lines commands{"t -A 1", "", "t -A 3"};
    EXPECT_TRUE(connector.applySysCmd(commands, applied));
    EXPECT_THAT(shell.take(), ElementsAre("t -A 1", "", "t -A 3"));
    EXPECT_THAT(applied, ElementsAre("t -A 1", "", "t -A 3"));
    EXPECT_THAT(log.take(), ElementsAre("info: apply success: 't -A 1'", "info: apply success: ''",
                                        "info: apply success: 't -A 3'"));
    EXPECT_FALSE(connector.rmSysCmd(commands, applied));
    EXPECT_THAT(shell.take(), IsEmpty());
    EXPECT_EQ(applied.size(), 3u);
    EXPECT_THAT(log.take(), ElementsAre("error: failed creating rm command from ''",
                                        "error: failed getting command remove list"));
}

// Collecting from the paths of a gateway, and the groups.
class ConnectorGroups : public DaemonTest {
  protected:
    ConnectorGroups() { addTriplePlay(db); }

    fapiQosConnector built() {
        const std::vector<lowDataPath> wan{lowDataPath(handle, db, 1)};
        const std::vector<upperDataPath> local{upperDataPath(handle, db, {"lo"})};
        const std::vector<upperDataPath> lan{upperDataPath(handle, db, {"br0"})};
        log.take();
        return {handle, wan, local, lan};
    }
};

TEST_F(ConnectorGroups, ConstructionCollectsGroupByGroupAndRunsOnlyListings) {
    built();
    EXPECT_THAT(log.takeInfos(),
                ElementsAre("got 3 fapi ifmap commands for interface 'ppp0'",
                            "got 3 fapi ifmap commands for interface 'ptm0.8'", "skip disabled queue spare",
                            "got 3 fapi qos queue commands for interface 'ppp0'",
                            "got 1 fapi qos queue commands for interface 'ptm0.8'",
                            "got 1 fapi qos queue commands for interface 'br0'",
                            "got 1 fapi qos queue commands for interface 'lo'",
                            "got 2 fapi qos classifier commands for interface 'ppp0'",
                            "got 0 fapi qos classifier commands for interface 'ptm0.8'",
                            "got 2 fapi qos classifier commands for interface 'br0'",
                            "got 1 fapi qos classifier commands for interface 'lo'",
                            "got 1 pcp map commands for interface 'ppp0'",
                            "got 1 pcp map commands for interface 'ptm0.8'",
                            "got 2 fapi qos shaper commands for interface 'ptm0'"));
    EXPECT_THAT(shell.takeChanges(), IsEmpty());
    log.takeWarnings();
}

TEST_F(ConnectorGroups, EachCollectorAppendsTheCommandsOfItsPaths) {
    const fapiQosConnector connector = built();
    log.takeWarnings();
    Lines commands{"earlier"};
    EXPECT_TRUE(connector.getFapiQosLanQueueCmds(commands));
    EXPECT_TRUE(connector.getFapiQosLocalQueueCmds(commands));
    EXPECT_TRUE(connector.getFapiQosWanShaperCmds(commands));
    EXPECT_TRUE(connector.getFapiQosWanPcpMapCmds(commands));
    EXPECT_THAT(
        commands,
        ElementsAre("earlier",
                    "qcfg --queue -A br0_q4 -i br0 -t egress -l 100 -m wfq --weight 10 -d tail --map 4",
                    "qcfg --queue -A lo_q3 -i lo -t egress -l 50 -m sp --priority 3 -d tail --map 3",
                    "qcfg --port -A shape_wan -i ptm0 -s cb --pir 50000 -t egress",
                    "qcfg --port -A shape_wan_ing -i ptm0 -s cb --pir 50000 -t ingress",
                    "ip link set ptm0.7 type vlan egress-qos-map 0:0 1:0 2:0 3:0 4:0 5:0 6:0 7:6",
                    "ip link set ptm0.8 type vlan egress-qos-map 0:0 1:0 2:0 3:0 4:0 5:0 6:4 7:0"));
}

TEST_F(ConnectorGroups, EachGroupRunsAndIsUndoneOnItsOwn) {
    fapiQosConnector connector = built();
    log.takeWarnings();
    shell.take();
    EXPECT_TRUE(connector.applyFapiQosShaperCmds());
    EXPECT_THAT(shell.take(),
                ElementsAre("qcfg --port -A shape_wan -i ptm0 -s cb --pir 50000 -t egress",
                            "qcfg --port -A shape_wan_ing -i ptm0 -s cb --pir 50000 -t ingress"));
    EXPECT_TRUE(connector.removeFapiQosShaperCmds());
    EXPECT_THAT(shell.take(), ElementsAre("qcfg --port -D shape_wan_ing -i ptm0 -s cb --pir 50000 -t ingress",
                                          "qcfg --port -D shape_wan -i ptm0 -s cb --pir 50000 -t egress"));
    EXPECT_TRUE(connector.removeFapiQosQCmds());
    const Lines queues = shell.take();
    ASSERT_EQ(queues.size(), 6u);
    EXPECT_EQ(queues.front(),
              "qcfg --queue -D lo_q3 -i lo -t egress -l 50 -m sp --priority 3 -d tail --map 3");
    EXPECT_EQ(queues.back(),
              "qcfg --queue -D ppp0_def_queue -i ppp0 -t egress -l 200 -m sp --priority 8 -d tail --map 8");
    EXPECT_TRUE(connector.removeFapiQosIfMapCmds());
    EXPECT_EQ(shell.take().size(), 6u);
    EXPECT_TRUE(connector.removeFapiQosClCmds());
    EXPECT_EQ(shell.take().size(), 5u);
}

TEST_F(ConnectorGroups, ThePathsAreCopies) {
    fapiQosConnector connector = built(); // its paths are gone
    log.takeWarnings();
    Lines commands;
    EXPECT_TRUE(connector.getFapiQosWanQueueCmds(commands));
    EXPECT_EQ(commands.size(), 4u);
}

TEST_F(ConnectorGroups, DestructionRunsNothing) {
    {
        fapiQosConnector connector = built();
        EXPECT_TRUE(connector.applyFapiQosQueueCmds());
        shell.take();
    }
    EXPECT_THAT(shell.take(), IsEmpty());
    log.takeWarnings();
}

TEST_F(ConnectorGroups, AnExceptionOfAGeneratorPassesThrough) {
    db.add(aRule().named("odd").on("LocalLAN").action(4).dscp("EF"));
    EXPECT_THROW(built(), std::invalid_argument);
    log.takeWarnings();
}

} // namespace
} // namespace zel::pacerd::test
