#include "qos/pcpmap.h"

#include <daemontest.h>

namespace zel::pacerd::test {
namespace {

class PcpMap : public DaemonTest {
  protected:
    PcpMap() {
        db.add(aLogicalInterface("ProviderInternet", "ppp0"));
        db.add(aLogicalInterface("ProviderIPTV", "ptm0.8"));
        db.add(aNode("ppp0", "PPP").above("ptm0.7"));
        db.add(aNode("ptm0.7", "VLAN").above("ptm0"));
        db.add(aNode("ptm0", "XDSL"));
    }

    pcpMap built() { return {handle, db, {"ppp0", "ptm0.7", "ptm0"}}; }

    // The map as its construction reports it.
    std::string reported() {
        const pcpMap map = built();
        const Lines infos = log.takeInfos();
        return infos.size() == 1 ? infos.front() : "not exactly one info";
    }
};

TEST_F(PcpMap, WithoutActionsEveryPriorityMapsToZero) {
    const pcpMap map = built();
    EXPECT_THAT(log.take(),
                ElementsAre("trace: construct pcp map for stack 'ppp0 <=> ptm0.7 <=> ptm0'",
                            "info: skb=>pcp map for if 'ppp0': {0:0}{1:0}{2:0}{3:0}{4:0}{5:0}{6:0}{7:0}"));
    EXPECT_EQ(map.genFapiQosSysCallCmd(0, 1),
              "ip link set ptm0.7 type vlan egress-qos-map 0:0 1:0 2:0 3:0 4:0 5:0 6:0 7:0");
    EXPECT_THAT(log.sources(), ElementsAre("pcpmap.cpp"));
    EXPECT_THAT(shell.take(), IsEmpty());
}

TEST_F(PcpMap, ATrafficClassMapsThroughThePrecedenceOfItsQueue) {
    db.add(aQueue().serving("2").sp(3));
    db.add(anAction().id(11).trafficClass(2).pcp(6));
    const pcpMap map = built();
    EXPECT_THAT(log.take(),
                ElementsAre("trace: construct pcp map for stack 'ppp0 <=> ptm0.7 <=> ptm0'",
                            "trace: handle class action @Id11 for queue interface ProviderInternet: "
                            "TC:2=>PCP:6",
                            "trace: found PCP 6@TC2 for interface ProviderInternet",
                            "trace: found queue precedence '3' for traffic class '2'",
                            "info: skb=>pcp map for if 'ppp0': {0:0}{1:0}{2:0}{3:0}{4:0}{5:6}{6:0}{7:0}"));
    EXPECT_EQ(map.genFapiQosSysCallCmd(0, 1),
              "ip link set ptm0.7 type vlan egress-qos-map 0:0 1:0 2:0 3:0 4:0 5:6 6:0 7:0");
}

TEST_F(PcpMap, ActionsOfOtherInterfacesDoNotCount) {
    db.add(aQueue().serving("2").sp(3));
    db.add(anAction().trafficClass(2).pcp(6).into("ProviderIPTV"));
    db.add(anAction().id(2).trafficClass(2).pcp(5).into("NoSuchInterface"));
    EXPECT_EQ(reported(), "skb=>pcp map for if 'ppp0': {0:0}{1:0}{2:0}{3:0}{4:0}{5:0}{6:0}{7:0}");
    EXPECT_THAT(log.takeTraces(), Not(Contains(::testing::HasSubstr("handle class action"))));
}

TEST_F(PcpMap, QueuesOfOtherInterfacesDoNotCountAndAreNotParsed) {
    db.add(aQueue().on("ProviderIPTV").serving("x").sp(2));
    db.add(aQueue().on("ProviderIPTV").serving("2").sp(2));
    db.add(aQueue().serving("2").sp(3));
    db.add(anAction().trafficClass(2).pcp(6));
    EXPECT_EQ(reported(), "skb=>pcp map for if 'ppp0': {0:0}{1:0}{2:0}{3:0}{4:0}{5:6}{6:0}{7:0}");
}

TEST_F(PcpMap, TheFirstQueueWithTheTrafficClassCounts) {
    db.add(aQueue().serving("1,2").sp(4));
    db.add(aQueue().serving("2").sp(3));
    db.add(anAction().trafficClass(2).pcp(6));
    EXPECT_EQ(reported(), "skb=>pcp map for if 'ppp0': {0:0}{1:0}{2:0}{3:0}{4:6}{5:0}{6:0}{7:0}");
}

TEST_F(PcpMap, DisabledQueuesAndNeitherDirectionCountToo) {
    db.add(aQueue().serving("2").sp(3).disabled().egress(0));
    db.add(anAction().trafficClass(2).pcp(6));
    EXPECT_EQ(reported(), "skb=>pcp map for if 'ppp0': {0:0}{1:0}{2:0}{3:0}{4:0}{5:6}{6:0}{7:0}");
}

TEST_F(PcpMap, ActionsWithoutAPositivePriorityAreIgnored) {
    db.add(aQueue().serving("2").sp(3));
    db.add(anAction().id(1).trafficClass(2).pcp(0));
    db.add(anAction().id(2).trafficClass(2).pcp(-3));
    EXPECT_EQ(reported(), "skb=>pcp map for if 'ppp0': {0:0}{1:0}{2:0}{3:0}{4:0}{5:0}{6:0}{7:0}");
    EXPECT_THAT(log.takeTraces(), Not(Contains(::testing::HasSubstr("handle class action"))));
}

TEST_F(PcpMap, AgreeingActionsAreAccepted) {
    db.add(aQueue().serving("3").sp(1));
    db.add(anAction().id(1).trafficClass(3).pcp(5));
    db.add(anAction().id(2).trafficClass(3).pcp(5));
    const pcpMap map = built();
    EXPECT_THAT(log.takeTraces(),
                ElementsAre("construct pcp map for stack 'ppp0 <=> ptm0.7 <=> ptm0'",
                            "handle class action @Id1 for queue interface ProviderInternet: TC:3=>PCP:5",
                            "found PCP 5@TC3 for interface ProviderInternet",
                            "handle class action @Id2 for queue interface ProviderInternet: TC:3=>PCP:5",
                            "found queue precedence '1' for traffic class '3'"));
    EXPECT_THAT(log.takeInfos(),
                ElementsAre("skb=>pcp map for if 'ppp0': {0:0}{1:0}{2:0}{3:0}{4:0}{5:0}{6:0}{7:5}"));
}

TEST_F(PcpMap, ContradictingActionsEndTheConstruction) {
    db.add(anAction().id(1).trafficClass(3).pcp(5));
    db.add(anAction().id(2).trafficClass(3).pcp(6));
    EXPECT_EQ(assertionOf([&] { built(); }), "true == findEgressQToPcpMap() (pcpmap.cpp)");
    EXPECT_THAT(
        log.take(),
        ElementsAre("trace: construct pcp map for stack 'ppp0 <=> ptm0.7 <=> ptm0'",
                    "trace: handle class action @Id1 for queue interface ProviderInternet: TC:3=>PCP:5",
                    "trace: found PCP 5@TC3 for interface ProviderInternet",
                    "trace: handle class action @Id2 for queue interface ProviderInternet: TC:3=>PCP:6",
                    "error: PCP for TC3 was already set to 6 previously (currently updated to 5), abort!"));
}

TEST_F(PcpMap, ALaterTrafficClassOverwritesAnEarlierOneAlsoWithZero) {
    db.add(aQueue().serving("2,5").sp(1));
    db.add(anAction().trafficClass(2).pcp(4));
    EXPECT_EQ(reported(), "skb=>pcp map for if 'ppp0': {0:0}{1:0}{2:0}{3:0}{4:0}{5:0}{6:0}{7:0}");
}

TEST_F(PcpMap, TheLaterTrafficClassWinsWhateverTheOrderOfTheActions) {
    db.add(aQueue().serving("2,5").sp(1));
    db.add(anAction().id(1).trafficClass(5).pcp(3));
    db.add(anAction().id(2).trafficClass(2).pcp(4));
    EXPECT_EQ(reported(), "skb=>pcp map for if 'ppp0': {0:0}{1:0}{2:0}{3:0}{4:0}{5:0}{6:0}{7:3}");
}

TEST_F(PcpMap, UnqueuedTrafficClassesShareThePriorityZero) {
    db.add(anAction().id(1).trafficClass(3).pcp(4));
    EXPECT_EQ(reported(), "skb=>pcp map for if 'ppp0': {0:0}{1:0}{2:0}{3:0}{4:0}{5:0}{6:0}{7:0}");
    db.add(anAction().id(2).trafficClass(8).pcp(2));
    EXPECT_EQ(reported(), "skb=>pcp map for if 'ppp0': {0:2}{1:0}{2:0}{3:0}{4:0}{5:0}{6:0}{7:0}");
}

TEST_F(PcpMap, TrafficClassesBeyondEightGetAnEntryOfTheirOwn) {
    db.add(aQueue().serving("9").sp(2));
    db.add(aQueue().serving("0").sp(4));
    db.add(anAction().id(1).trafficClass(9).pcp(1));
    db.add(anAction().id(2).trafficClass(0).pcp(7));
    EXPECT_EQ(reported(), "skb=>pcp map for if 'ppp0': {0:0}{1:0}{2:0}{3:0}{4:7}{5:0}{6:1}{7:0}");
}

TEST_F(PcpMap, PrecedencesBeyondTheRangeMakeKeysBeyondTheRange) {
    db.add(aQueue().serving("1").sp(0));
    db.add(aQueue().serving("2").sp(10));
    db.add(anAction().id(1).trafficClass(1).pcp(5));
    db.add(anAction().id(2).trafficClass(2).pcp(6));
    const pcpMap map = built();
    EXPECT_THAT(
        log.takeInfos(),
        ElementsAre("skb=>pcp map for if 'ppp0': {-2:6}{0:0}{1:0}{2:0}{3:0}{4:0}{5:0}{6:0}{7:0}{8:5}"));
    EXPECT_EQ(map.genFapiQosSysCallCmd(0, 1),
              "ip link set ptm0.7 type vlan egress-qos-map -2:6 0:0 1:0 2:0 3:0 4:0 5:0 6:0 7:0 8:5");
}

TEST_F(PcpMap, AnActionTableThatCannotBeSizedEndsTheConstruction) {
    db.answer(EResultCode::refused, Operation::size, "QoSClassificationAction");
    EXPECT_EQ(assertionOf([&] { built(); }), "true == findEgressQToPcpMap() (pcpmap.cpp)");
    const Lines errors = log.takeErrors();
    EXPECT_EQ(errors.size(), 2u);
    EXPECT_EQ(errors.back(), "could not get size of table 'QoSClassificationAction'");
    EXPECT_EQ(log.takeWarnings().size(), 1u);
}

TEST_F(PcpMap, AnActionRowThatCannotBeReadEndsTheConstruction) {
    db.add(anAction().id(1));
    db.add(anAction().id(2));
    db.answer(EResultCode::refused, Operation::selectRow, "QoSClassificationAction", 1, 1);
    EXPECT_EQ(assertionOf([&] { built(); }), "true == findEgressQToPcpMap() (pcpmap.cpp)");
    const Lines errors = log.takeErrors();
    EXPECT_EQ(errors.size(), 2u);
    EXPECT_EQ(errors.back(), "failed getting offset 1 of table QoSClassificationAction");
    EXPECT_EQ(log.takeWarnings().size(), 1u);
}

TEST_F(PcpMap, AQueueTableThatCannotBeSizedGivesPriorityEight) {
    const pcpMap map = built();
    log.take();
    db.answer(EResultCode::refused, Operation::size, "QoSQueues");
    EXPECT_EQ(map.lookupQueuePrecedenceForTC(1), 0);
    const Lines errors = log.takeErrors();
    EXPECT_EQ(errors.size(), 2u);
    EXPECT_EQ(errors.back(), "could not get size of table 'QoSQueues'");
    EXPECT_EQ(log.takeWarnings().size(), 1u);
}

TEST_F(PcpMap, AQueueRowThatCannotBeReadGivesPriorityEight) {
    db.add(aQueue().serving("1"));
    db.add(aQueue().serving("2"));
    const pcpMap map = built();
    log.take();
    db.answer(EResultCode::refused, Operation::selectRow, "QoSQueues", 1, 1);
    EXPECT_EQ(map.lookupQueuePrecedenceForTC(2), 0);
    const Lines errors = log.takeErrors();
    EXPECT_EQ(errors.size(), 2u);
    EXPECT_EQ(errors.back(), "failed getting offset 1 from table QoSQueues");
    EXPECT_EQ(log.takeWarnings().size(), 1u);
}

TEST_F(PcpMap, AFailedPrecedenceLookUpDoesNotFailTheConstruction) {
    db.answer(EResultCode::refused, Operation::size, "QoSQueues", 8);
    EXPECT_EQ(reported(), "skb=>pcp map for if 'ppp0': {0:0}{1:0}{2:0}{3:0}{4:0}{5:0}{6:0}{7:0}{8:0}");
    EXPECT_EQ(log.takeErrors().size(), 16u);
    EXPECT_EQ(log.takeWarnings().size(), 8u);
}

TEST_F(PcpMap, PrecedencesAreLookedUpByTrafficClass) {
    db.add(aQueue().serving("1,2").sp(6));
    db.add(aQueue().serving("3").sp(5));
    const pcpMap map = built();
    log.take();
    EXPECT_EQ(map.lookupQueuePrecedenceForTC(2), 6);
    EXPECT_EQ(map.lookupQueuePrecedenceForTC(3), 5);
    EXPECT_THAT(log.take(), ElementsAre("trace: found queue precedence '6' for traffic class '2'",
                                        "trace: found queue precedence '5' for traffic class '3'"));
    EXPECT_EQ(map.lookupQueuePrecedenceForTC(4), 8);
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(PcpMap, TrafficClassesAreSeparatedByCommasOrBlanks) {
    const pcpMap map = built();
    log.take();
    EXPECT_THAT(map.extractTrafficClasses("1,2,5"), ElementsAre(1, 2, 5));
    EXPECT_THAT(map.extractTrafficClasses("2, 3"), ElementsAre(2, 3));
    EXPECT_THAT(map.extractTrafficClasses("2 3"), ElementsAre(2, 3));
    EXPECT_THAT(map.extractTrafficClasses("3;4"), ElementsAre(3));
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(PcpMap, ATextWithoutTrafficClassesIsAnError) {
    const pcpMap map = built();
    log.take();
    EXPECT_THAT(map.extractTrafficClasses("x"), IsEmpty());
    EXPECT_THAT(map.extractTrafficClasses(""), IsEmpty());
    EXPECT_THAT(log.take(), ElementsAre("error: could not find any traffic classes ",
                                        "error: could not find any traffic classes "));
}

TEST_F(PcpMap, AQueueWithoutTrafficClassesIsReportedForEachTrafficClass) {
    db.add(aQueue().serving("x"));
    db.add(aQueue().serving("7").sp(2));
    db.add(anAction().trafficClass(7).pcp(3));
    EXPECT_EQ(reported(), "skb=>pcp map for if 'ppp0': {0:0}{1:0}{2:0}{3:0}{4:0}{5:0}{6:3}{7:0}");
    EXPECT_EQ(log.takeErrors(), Lines(8, "could not find any traffic classes "));
}

TEST_F(PcpMap, LooksUpTheInterfaceOfALogicalName) {
    const pcpMap map = built();
    log.take();
    EXPECT_EQ(map.lookupPhyIfName("ProviderIPTV"), "ptm0.8");
    EXPECT_EQ(map.lookupPhyIfName("ProviderVoIP"), "");
    EXPECT_THAT(log.takeErrors(), IsEmpty());
    db.answer(EResultCode::refused, Operation::selectKey, "StatusNetifWatchLogical");
    EXPECT_EQ(map.lookupPhyIfName("ProviderIPTV"), "");
    EXPECT_EQ(log.takeErrors().back(), "failed looking up phy name for logic ifname ProviderIPTV");
    EXPECT_EQ(log.takeWarnings().size(), 1u);
}

} // namespace
} // namespace zel::pacerd::test
