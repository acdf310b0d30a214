// The rule; its action has a file of its own.
#include "qos/classifier.h"

#include <daemontest.h>

#include <stdexcept>

namespace zel::pacerd::test {
namespace {

class ClassifierRule : public DaemonTest {
  protected:
    ClassifierRule() {
        db.add(aLogicalInterface("ProviderInternet", "ptm0"));
        db.add(anAction().named("toVoip"));
    }

    // An egress rule on ptm0, with the messages of its construction taken.
    qosClassifierRule built(const RuleRow& row, int direction = 1) {
        qosClassifierRule rule(handle, db, row.values(), "ptm0", direction);
        log.take();
        return rule;
    }

    std::string matchHalf(const RuleRow& row) { return built(row).genFapiQosSysCallCmd(0); }
};

TEST_F(ClassifierRule, ConstructionFindsTheAction) {
    db.add(anAction().id(2).named("other"));
    db.forgetCalls();
    const qosClassifierRule rule(handle, db, aRule().named("voip").action(1).values(), "ptm0", 1);
    EXPECT_EQ(rule.getClassifierRuleName(), "voip");
    EXPECT_THAT(log.take(), ElementsAre("info: found classifier action 'toVoip' for classifier 'voip'"));
    EXPECT_THAT(log.sources(), ElementsAre("classifier.cpp"));
    EXPECT_EQ(db.callsOf(Operation::size, "QoSClassificationAction"), 1u);
    EXPECT_EQ(db.callsOf(Operation::selectRow, "QoSClassificationAction"), 1u);
}

TEST_F(ClassifierRule, TheFirstActionWithTheIdWins) {
    db.clear("QoSClassificationAction");
    db.add(anAction().id(3).named("no"));
    db.add(anAction().id(4).named("first").trafficClass(1));
    db.add(anAction().id(4).named("second").trafficClass(2));
    const qosClassifierRule rule(handle, db, aRule().named("voip").action(4).values(), "ptm0", 1);
    EXPECT_THAT(log.take(), ElementsAre("info: found classifier action 'first' for classifier 'voip'"));
    EXPECT_EQ(rule.getFapiQosClassiferCmd(0),
              "classcfg -A voip -i ptm0 -p udp -o ptm0 -j mark --mark 1 --mark-loc 1 --priority 1");
}

TEST_F(ClassifierRule, ARuleWithoutItsActionCannotBe) {
    EXPECT_EQ(assertionOf([&] {
                  const qosClassifierRule rule(handle, db, aRule().named("voip").id(12).action(9).values(),
                                               "ptm0", 1);
              }),
              "true == this->findClassifyAction() (classifier.cpp)");
    EXPECT_THAT(log.take(),
                ElementsAre("error: did not find any classifier action for classifier 'voip' (id 12)"));
}

TEST_F(ClassifierRule, AnActionTableThatCannotBeSizedFailsTheRule) {
    db.answer(EResultCode::refused, Operation::size, "QoSClassificationAction");
    EXPECT_EQ(assertionOf([&] { const qosClassifierRule rule(handle, db, aRule().values(), "ptm0", 1); }),
              "true == this->findClassifyAction() (classifier.cpp)");
    const Lines errors = log.takeErrors();
    EXPECT_EQ(errors.back(), "could not get size for table 'QoSClassificationAction'");
    EXPECT_EQ(errors.size(), 2u);
    EXPECT_EQ(log.takeWarnings().size(), 1u);
}

TEST_F(ClassifierRule, AnActionRowThatCannotBeReadFailsTheRuleWithoutLookingFurther) {
    db.add(anAction().id(2).named("further"));
    db.add(anAction().id(3).named("last"));
    db.forgetCalls();
    db.answer(EResultCode::refused, Operation::selectRow, "QoSClassificationAction", 1, 1);
    EXPECT_EQ(
        assertionOf([&] { const qosClassifierRule rule(handle, db, aRule().action(3).values(), "ptm0", 1); }),
        "true == this->findClassifyAction() (classifier.cpp)");
    const Lines errors = log.takeErrors();
    EXPECT_EQ(errors.back(), "could not get row with offset 1 from table 'QoSClassificationAction'");
    EXPECT_EQ(errors.size(), 2u);
    EXPECT_EQ(log.takeWarnings().size(), 1u);
    EXPECT_EQ(db.callsOf(Operation::selectRow, "QoSClassificationAction"), 2u);
}

TEST_F(ClassifierRule, TheExistenceCheckListsTheClassifiersOfTheInterface) {
    const qosClassifierRule egress = built(aRule().named("voip"), 1);
    const qosClassifierRule ingress = built(aRule().named("voip"), 0);
    EXPECT_FALSE(egress.checkClassifierExists());
    EXPECT_FALSE(ingress.checkClassifierExists());
    EXPECT_THAT(shell.take(), ElementsAre("classcfg -Lall -iptm0 | grep -qw voip",
                                          "classcfg -Lall -iptm0 | grep -qw voip"));
    EXPECT_THAT(log.take(), ElementsAre("trace: classifier with name 'voip' does not exist yet",
                                        "trace: classifier with name 'voip' does not exist yet"));
    shell.finds("classcfg -Lall -iptm0 | grep -qw voip");
    EXPECT_TRUE(egress.checkClassifierExists());
    EXPECT_THAT(log.take(), IsEmpty());
    shell.answer("classcfg -Lall -iptm0 | grep -qw voip", -1);
    EXPECT_FALSE(egress.checkClassifierExists());
}

TEST_F(ClassifierRule, AddsWhatMatches) {
    EXPECT_EQ(matchHalf(aRule().named("voip").to("10.0.0.2").toPort("5060:5061").dscp(46)),
              "classcfg -A voip -i ptm0 -p udp -d 10.0.0.2 --dport 5060:5061 --iphdr-dscp 46");
}

TEST_F(ClassifierRule, ModifiesAClassifierThatExists) {
    shell.finds("classcfg -Lall -iptm0 | grep -qw web");
    EXPECT_EQ(matchHalf(aRule()
                            .named("web")
                            .protocol("tcp")
                            .from("192.168.1.10")
                            .with("SourceIPExclude", 1)
                            .toPort("80")),
              "classcfg -M web -i ptm0 -p tcp -s !192.168.1.10 --dport 80");
}

TEST_F(ClassifierRule, EveryOpModeButZeroDeletesWithoutAsking) {
    const qosClassifierRule rule = built(aRule().named("voip"));
    for (const int opMode : {1, 7, -1}) {
        EXPECT_EQ(rule.genFapiQosSysCallCmd(opMode), "classcfg -D voip -i ptm0 -p udp");
    }
    EXPECT_THAT(shell.take(), IsEmpty());
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(ClassifierRule, KnowsThreeProtocols) {
    EXPECT_EQ(matchHalf(aRule().protocol("udp")), "classcfg -A rule -i ptm0 -p udp");
    EXPECT_EQ(matchHalf(aRule().protocol("tcp")), "classcfg -A rule -i ptm0 -p tcp");
    EXPECT_EQ(matchHalf(aRule().protocol("igmp")), "classcfg -A rule -i ptm0 -p igmp");
}

TEST_F(ClassifierRule, RejectsEveryOtherProtocol) {
    for (const char* protocol : {"", "UDP", "icmp", "tcp "}) {
        EXPECT_EQ(matchHalf(aRule().protocol(protocol)), "");
        EXPECT_THAT(log.take(),
                    ElementsAre("trace: classifier with name 'rule' does not exist yet",
                                std::string("error: unsupported classifier protocol '") + protocol + "'"));
    }
    EXPECT_EQ(shell.take().size(), 4u);
}

TEST_F(ClassifierRule, AnAckRuleEndsAfterTheFlag) {
    EXPECT_EQ(matchHalf(aRule()
                            .named("ack")
                            .protocol("tcp")
                            .tcpAck(1)
                            .to("10.0.0.2")
                            .from("10.0.0.3")
                            .toPort("80")
                            .fromPort("81")
                            .dscp(46)),
              "classcfg -A ack -i ptm0 -p tcp --tcp-flags ack");
}

TEST_F(ClassifierRule, AnAckRuleNeedsTcp) {
    EXPECT_EQ(matchHalf(aRule().named("ack").protocol("udp").tcpAck(1)), "");
    EXPECT_THAT(log.take(),
                ElementsAre("trace: classifier with name 'ack' does not exist yet",
                            "error: need to select protocol tcp at rule 'ack' for ack classifier"));
}

TEST_F(ClassifierRule, OnlyAnAckOfExactlyOneCounts) {
    EXPECT_EQ(matchHalf(aRule().tcpAck(2).to("10.0.0.2")), "classcfg -A rule -i ptm0 -p udp -d 10.0.0.2");
}

TEST_F(ClassifierRule, CriteriaStandInAFixedOrder) {
    EXPECT_EQ(
        matchHalf(aRule().to("10.0.0.1").from("10.0.0.2").toPort("1:2").fromPort("3:4").dscp(10)),
        "classcfg -A rule -i ptm0 -p udp -d 10.0.0.1 -s 10.0.0.2 --dport 1:2 --sport 3:4 --iphdr-dscp 10");
}

TEST_F(ClassifierRule, EachCriterionHasItsOwnExcludeMark) {
    const RuleRow row = aRule().to("a").from("b").toPort("c").fromPort("d");
    EXPECT_EQ(matchHalf(RuleRow(row).with("DestIPExclude", 1)),
              "classcfg -A rule -i ptm0 -p udp -d !a -s b --dport c --sport d");
    EXPECT_EQ(matchHalf(RuleRow(row).with("SourceIPExclude", 1)),
              "classcfg -A rule -i ptm0 -p udp -d a -s !b --dport c --sport d");
    EXPECT_EQ(matchHalf(RuleRow(row).with("DestPortRangeExclude", 1)),
              "classcfg -A rule -i ptm0 -p udp -d a -s b --dport !c --sport d");
    EXPECT_EQ(matchHalf(RuleRow(row).with("SourcePortRangeExclude", 1)),
              "classcfg -A rule -i ptm0 -p udp -d a -s b --dport c --sport !d");
}

TEST_F(ClassifierRule, OnlyAnExcludeOfExactlyOneExcludes) {
    EXPECT_EQ(matchHalf(aRule()
                            .to("a")
                            .from("b")
                            .toPort("c")
                            .fromPort("d")
                            .dscp(4)
                            .with("DestIPExclude", 2)
                            .with("SourceIPExclude", -1)
                            .with("DestPortRangeExclude", 2)
                            .with("SourcePortRangeExclude", 2)
                            .with("DSCPMatchExclude", 2)),
              "classcfg -A rule -i ptm0 -p udp -d a -s b --dport c --sport d --iphdr-dscp 4");
}

TEST_F(ClassifierRule, AnEmptyCriterionIsLeftOutEvenIfExcluded) {
    EXPECT_EQ(matchHalf(aRule().with("DestIPExclude", 1).with("SourcePortRangeExclude", 1)),
              "classcfg -A rule -i ptm0 -p udp");
}

TEST_F(ClassifierRule, ADscpIsTheSameAsNumberAndAsText) {
    EXPECT_EQ(matchHalf(aRule().dscp(46)), "classcfg -A rule -i ptm0 -p udp --iphdr-dscp 46");
    EXPECT_EQ(matchHalf(aRule().dscp("46")), "classcfg -A rule -i ptm0 -p udp --iphdr-dscp 46");
    EXPECT_EQ(matchHalf(aRule().dscp(" 46x")), "classcfg -A rule -i ptm0 -p udp --iphdr-dscp 46");
    EXPECT_EQ(matchHalf(aRule().dscp("0x2e")), "classcfg -A rule -i ptm0 -p udp --iphdr-dscp 0");
}

TEST_F(ClassifierRule, ADscpOfMinusOneIsNone) {
    EXPECT_EQ(matchHalf(aRule().dscp(-1)), "classcfg -A rule -i ptm0 -p udp");
    EXPECT_EQ(matchHalf(aRule().dscp("-1")), "classcfg -A rule -i ptm0 -p udp");
    EXPECT_EQ(matchHalf(aRule().dscp(-1).with("DSCPMatchExclude", 1)), "classcfg -A rule -i ptm0 -p udp");
}

TEST_F(ClassifierRule, ADscpOfZeroIsWritten) {
    EXPECT_EQ(matchHalf(aRule().dscp(0)), "classcfg -A rule -i ptm0 -p udp --iphdr-dscp 0");
    EXPECT_EQ(matchHalf(aRule().dscp(-2)), "classcfg -A rule -i ptm0 -p udp --iphdr-dscp -2");
}

TEST_F(ClassifierRule, ADscpColumnThatTheRowLacksIsNone) {
    EXPECT_EQ(matchHalf(aRule().without("DSCPMatch").with("DSCPMatchExclude", 1)),
              "classcfg -A rule -i ptm0 -p udp");
}

TEST_F(ClassifierRule, ADscpThatIsNeitherNumberNorTextIsNone) {
    basalt::ValueList row = aRule().values();
    row.setValue("DSCPMatch", basalt::Value());
    row.setValue("DSCPMatchExclude", basalt::Value(1LL));
    const qosClassifierRule rule(handle, db, row, "ptm0", 1);
    EXPECT_EQ(rule.genFapiQosSysCallCmd(1), "classcfg -D rule -i ptm0 -p udp");
}

TEST_F(ClassifierRule, ADscpCannotBeExcluded) {
    EXPECT_EQ(matchHalf(aRule().dscp(46).with("DSCPMatchExclude", 1)), "");
    EXPECT_THAT(log.takeErrors(), ElementsAre("exclude DSCP is not supported"));
}

TEST_F(ClassifierRule, ADscpTextThatIsNoNumberThrowsOutOfTheGeneration) {
    for (const char* text : {"", "EF"}) {
        const qosClassifierRule rule = built(aRule().dscp(text));
        try {
            rule.getFapiQosClassiferCmd(0);
            ADD_FAILURE() << "no exception for '" << text << "'";
        } catch (const std::invalid_argument& failure) {
            EXPECT_STREQ(failure.what(), "stoi");
        }
    }
}

TEST_F(ClassifierRule, ADscpTextOutOfRangeThrowsOutOfTheGeneration) {
    const qosClassifierRule rule = built(aRule().dscp("3000000000"));
    try {
        rule.genFapiQosSysCallCmd(0);
        ADD_FAILURE() << "no exception";
    } catch (const std::out_of_range& failure) {
        EXPECT_STREQ(failure.what(), "stoi");
    }
}

TEST_F(ClassifierRule, JoinsMatchAndAction) {
    const qosClassifierRule rule = built(aRule().named("voip").toPort("5060"));
    EXPECT_EQ(
        rule.getFapiQosClassiferCmd(0),
        "classcfg -A voip -i ptm0 -p udp --dport 5060 -o ptm0 -j mark --mark 5 --mark-loc 1 --priority 5");
    EXPECT_EQ(
        rule.getFapiQosClassiferCmd(1),
        "classcfg -D voip -i ptm0 -p udp --dport 5060 -o ptm0 -j mark --mark 5 --mark-loc 1 --priority 5");
    EXPECT_THAT(log.take(), ElementsAre("trace: classifier with name 'voip' does not exist yet"));
}

TEST_F(ClassifierRule, TheActionHasTheDirectionOfTheRule) {
    EXPECT_EQ(built(aRule().named("voip"), 0).getFapiQosClassiferCmd(0),
              "classcfg -A voip -i ptm0 -p udp -j mark --mark_ing 5 --mark-loc 2 --priority 5");
}

TEST_F(ClassifierRule, ADisabledRuleIsGeneratedAndThenDropped) {
    const qosClassifierRule rule = built(aRule().named("voip").disabled(), 0);
    EXPECT_EQ(rule.getFapiQosClassiferCmd(0), "");
    EXPECT_THAT(shell.take(), ElementsAre("classcfg -Lall -iptm0 | grep -qw voip"));
    EXPECT_THAT(log.take(), ElementsAre("trace: classifier with name 'voip' does not exist yet",
                                        "trace: skip queue interface for ingress classifier",
                                        "info: skip disabled classification command 'voip'"));
}

TEST_F(ClassifierRule, AnyEnableButZeroEnables) {
    EXPECT_EQ(built(aRule().named("voip").enabled(2)).getFapiQosClassiferCmd(0),
              "classcfg -A voip -i ptm0 -p udp -o ptm0 -j mark --mark 5 --mark-loc 1 --priority 5");
}

TEST_F(ClassifierRule, AFailedMatchHalfGivesNoCommandAfterTheActionHasBeenGenerated) {
    const qosClassifierRule rule = built(aRule().named("voip").protocol("sctp"), 0);
    EXPECT_EQ(rule.getFapiQosClassiferCmd(0), "");
    EXPECT_THAT(log.take(),
                ElementsAre("trace: classifier with name 'voip' does not exist yet",
                            "error: unsupported classifier protocol 'sctp'",
                            "trace: skip queue interface for ingress classifier",
                            "error: error generation qos classifier command for 'voip'=>'toVoip'"));
}

TEST_F(ClassifierRule, ADisabledRuleThatFailedSaysOnlyThatItIsDisabled) {
    EXPECT_EQ(built(aRule().named("voip").disabled().protocol("")).getFapiQosClassiferCmd(0), "");
    EXPECT_THAT(log.take(), ElementsAre("trace: classifier with name 'voip' does not exist yet",
                                        "error: unsupported classifier protocol ''",
                                        "info: skip disabled classification command 'voip'"));
}

TEST_F(ClassifierRule, RulesWithTheSameActionIdHaveEachTheirOwnAction) {
    const qosClassifierRule egress = built(aRule().named("a"), 1);
    const qosClassifierRule ingress = built(aRule().named("b"), 0);
    EXPECT_EQ(egress.getFapiQosClassiferCmd(1),
              "classcfg -D a -i ptm0 -p udp -o ptm0 -j mark --mark 5 --mark-loc 1 --priority 5");
    EXPECT_EQ(ingress.getFapiQosClassiferCmd(1),
              "classcfg -D b -i ptm0 -p udp -j mark --mark_ing 5 --mark-loc 2 --priority 5");
}

TEST_F(ClassifierRule, ACopyKeepsRowAndAction) {
    std::vector<qosClassifierRule> copies;
    {
        const qosClassifierRule rule = built(aRule().named("voip"));
        copies.push_back(rule);
    }
    db.clear("QoSClassificationAction");
    EXPECT_EQ(copies.front().getFapiQosClassiferCmd(1),
              "classcfg -D voip -i ptm0 -p udp -o ptm0 -j mark --mark 5 --mark-loc 1 --priority 5");
}

} // namespace
} // namespace zel::pacerd::test
