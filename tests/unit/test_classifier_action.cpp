#include "qos/classifier.h"

#include <daemontest.h>

namespace zel::pacerd::test {
namespace {

class ClassifierAction : public DaemonTest {
  protected:
    ClassifierAction() {
        db.add(aLogicalInterface("ProviderInternet", "ptm0"));
        db.add(aLogicalInterface("LocalLAN", "br0"));
    }

    qosClassifierAction egress(const ActionRow& row) { return {handle, db, row.values(), 1}; }
    qosClassifierAction ingress(const ActionRow& row) { return {handle, db, row.values(), 0}; }
};

TEST_F(ClassifierAction, ConstructionIsSilentAndAsksNothing) {
    db.forgetCalls();
    const qosClassifierAction action = egress(anAction().named("toVoip"));
    EXPECT_EQ(action.getClassifierActionName(), "toVoip");
    EXPECT_THAT(log.take(), IsEmpty());
    EXPECT_THAT(db.calls(), IsEmpty());
}

TEST_F(ClassifierAction, AnEgressActionNamesTheQueueInterface) {
    const qosClassifierAction action = egress(anAction().into("ProviderInternet").dscp(46).trafficClass(5));
    EXPECT_EQ(action.genFapiQosSysCallCmd(0),
              " -o ptm0 -j dscp --actdscp 46 -j mark --mark 5 --mark-loc 1 --priority 5");
    EXPECT_THAT(log.take(), IsEmpty());
    EXPECT_THAT(shell.take(), IsEmpty());
}

TEST_F(ClassifierAction, AnIngressActionNeverNamesTheQueueInterface) {
    const qosClassifierAction action = ingress(anAction().into("ProviderInternet").dscp(46).trafficClass(5));
    EXPECT_EQ(action.genFapiQosSysCallCmd(0),
              " -j dscp --actdscp 46 -j mark --mark_ing 5 --mark-loc 2 --priority 5");
    EXPECT_THAT(log.take(), ElementsAre("trace: skip queue interface for ingress classifier"));
    EXPECT_THAT(log.sources(), ElementsAre("classifier.cpp"));
}

TEST_F(ClassifierAction, AnUnknownDirectionIsNoEgressForTheQueueAndNoIngressForTheMark) {
    const qosClassifierAction action(handle, db, anAction().values(), 2);
    EXPECT_EQ(action.genFapiQosSysCallCmd(0), " -j mark --mark 5 --mark-loc 1 --priority 5");
    EXPECT_THAT(log.take(), ElementsAre("trace: skip queue interface for ingress classifier"));
}

TEST_F(ClassifierAction, TheLanIsNeverAQueueInterface) {
    const ActionRow row = anAction().into("LocalLAN");
    EXPECT_EQ(egress(row).genFapiQosSysCallCmd(0), " -j mark --mark 5 --mark-loc 1 --priority 5");
    EXPECT_EQ(ingress(row).genFapiQosSysCallCmd(0), " -j mark --mark_ing 5 --mark-loc 2 --priority 5");
    EXPECT_THAT(log.take(), ElementsAre("warning: skip setting queue interface, no value found",
                                        "warning: skip setting queue interface, no value found"));
}

TEST_F(ClassifierAction, TheLanIsLookedUpAllTheSame) {
    db.answer(EResultCode::refused, Operation::selectKey, "StatusNetifWatchLogical");
    EXPECT_EQ(egress(anAction().into("LocalLAN")).genFapiQosSysCallCmd(0),
              " -j mark --mark 5 --mark-loc 1 --priority 5");
    EXPECT_THAT(log.takeErrors(),
                Contains("could not request interface name for logic interface 'LocalLAN'"));
    EXPECT_THAT(log.takeWarnings(), Contains("skip setting queue interface, no value found"));
}

TEST_F(ClassifierAction, AnUnknownQueueInterfaceIsLeftOutWithAWarning) {
    EXPECT_EQ(egress(anAction().into("ProviderVoIP")).genFapiQosSysCallCmd(0),
              " -j mark --mark 5 --mark-loc 1 --priority 5");
    EXPECT_THAT(log.take(),
                ElementsAre("trace: selectkey on table 'StatusNetifWatchLogical', key 'Name', value "
                            "'ProviderVoIP' failed with reason 'nothing there'",
                            "warning: skip setting queue interface, no value found"));
}

TEST_F(ClassifierAction, AFailedLookUpIsAnErrorAndAWarningButNoFailure) {
    db.answer(EResultCode::refused, Operation::selectKey, "StatusNetifWatchLogical");
    EXPECT_EQ(ingress(anAction()).genFapiQosSysCallCmd(0), " -j mark --mark_ing 5 --mark-loc 2 --priority 5");
    EXPECT_THAT(
        log.take(),
        ElementsAre("warning: DB access failed @table 'StatusNetifWatchLogical', operation: '7' (fail "
                    "reason: refused by the configuration server), retry (1)",
                    "error: DB access failed @table 'StatusNetifWatchLogical', operation: 7 (fail reason: "
                    "refused by the configuration server), retry (1)",
                    "error: could not request interface name for logic interface 'ProviderInternet'",
                    "warning: skip setting queue interface, no value found"));
}

TEST_F(ClassifierAction, LooksUpTheInterfaceByItsLogicalName) {
    const qosClassifierAction action = egress(anAction());
    db.forgetCalls();
    EXPECT_EQ(action.queueIfLookup("LocalLAN"), "br0");
    EXPECT_THAT(db.calls(), Contains("selectKey StatusNetifWatchLogical Name=LocalLAN columns:all"));
    EXPECT_EQ(action.queueIfLookup("ProviderIPTV"), "");
}

TEST_F(ClassifierAction, TheInterfaceIsResolvedAfreshEachTime) {
    const qosClassifierAction action = egress(anAction());
    EXPECT_EQ(action.genFapiQosSysCallCmd(0), " -o ptm0 -j mark --mark 5 --mark-loc 1 --priority 5");
    db.change("StatusNetifWatchLogical", "Name", "ProviderInternet", "Interface",
              basalt::Value(std::string("ppp0")));
    EXPECT_EQ(action.genFapiQosSysCallCmd(0), " -o ppp0 -j mark --mark 5 --mark-loc 1 --priority 5");
}

TEST_F(ClassifierAction, OnlyDscpMarksFromOneToSixtyThreeTakeEffect) {
    const std::string rest = " -j mark --mark 5 --mark-loc 1 --priority 5";
    EXPECT_EQ(egress(anAction().dscp(1)).genFapiQosSysCallCmd(0), " -o ptm0 -j dscp --actdscp 1" + rest);
    EXPECT_EQ(egress(anAction().dscp(63)).genFapiQosSysCallCmd(0), " -o ptm0 -j dscp --actdscp 63" + rest);
    for (const int mark : {0, 64, -1, -46}) {
        EXPECT_EQ(egress(anAction().dscp(mark)).genFapiQosSysCallCmd(0), " -o ptm0" + rest) << mark;
    }
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(ClassifierAction, OnlyPriorityMarksFromOneToSevenTakeEffect) {
    const std::string rest = " -j mark --mark 5 --mark-loc 1 --priority 5";
    EXPECT_EQ(egress(anAction().pcp(1)).genFapiQosSysCallCmd(0), " -o ptm0 -j vlan --pcp-outer 1" + rest);
    EXPECT_EQ(egress(anAction().pcp(7)).genFapiQosSysCallCmd(0), " -o ptm0 -j vlan --pcp-outer 7" + rest);
    for (const int mark : {0, 8, -1}) {
        EXPECT_EQ(egress(anAction().pcp(mark)).genFapiQosSysCallCmd(0), " -o ptm0" + rest) << mark;
    }
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(ClassifierAction, MarksStandInTheOrderDscpPriorityTrafficClass) {
    EXPECT_EQ(
        egress(anAction().dscp(46).pcp(6).trafficClass(0)).genFapiQosSysCallCmd(0),
        " -o ptm0 -j dscp --actdscp 46 -j vlan --pcp-outer 6 -j mark --mark 0 --mark-loc 1 --priority 0");
}

TEST_F(ClassifierAction, TheOpModeMakesNoDifference) {
    const qosClassifierAction action = egress(anAction().dscp(46));
    const std::string half = " -o ptm0 -j dscp --actdscp 46 -j mark --mark 5 --mark-loc 1 --priority 5";
    EXPECT_EQ(action.genFapiQosSysCallCmd(1), half);
    EXPECT_EQ(action.genFapiQosSysCallCmd(7), half);
    EXPECT_EQ(action.getFapiQoSClassifierActionCmd(0), half);
    EXPECT_EQ(action.getFapiQoSClassifierActionCmd(1), half);
}

} // namespace
} // namespace zel::pacerd::test
