#include "model/upperdatapath.h"

#include <daemontest.h>

namespace zel::pacerd::test {
namespace {

const char* const upperSource = "upperdatapath.cpp";

class UpperDataPath : public DaemonTest {
  protected:
    UpperDataPath() {
        db.add(aNode("ptm0", "XDSL"));
        db.add(aNode("ptm0.7", "VLAN").above("ptm0"));
        db.add(aNode("ppp0", "PPP").above("ptm0.7"));
        db.add(aLogicalInterface("LocalLAN", "br0"));
        db.add(aLogicalInterface("ProviderInternet", "ppp0"));
        db.add(aLogicalInterface("ProviderVoIP", "ppp0"));
        db.add(anAction());
    }

    upperDataPath built(const std::vector<std::string>& stack = {"ppp0", "ptm0.7", "ptm0"}) {
        upperDataPath path(handle, db, stack);
        log.take();
        shell.take();
        return path;
    }

    std::string assertionOfBuilding() {
        return assertionOf([this] { const upperDataPath path(handle, db, {"ppp0", "ptm0"}); });
    }
};

TEST_F(UpperDataPath, ConstructionGathersEverythingInOrder) {
    db.add(aQueue().named("lan").on("LocalLAN"));
    db.add(aQueue().named("voip").on("ProviderVoIP").serving("5"));
    db.add(aRule().id(11).named("lanRule").on("LocalLAN"));
    db.add(aRule().id(12).named("web").on("ProviderInternet"));
    const upperDataPath path(handle, db, {"ppp0", "ptm0.7", "ptm0"});
    EXPECT_EQ(path.getIfName(), "ppp0");
    EXPECT_THAT(
        log.take(),
        ElementsAre("trace: construct upper datapath for stack 'ppp0 <=> ptm0.7 <=> ptm0'",
                    "trace: found logical interface 'ProviderInternet' assigned to phy if 'ppp0'",
                    "trace: found logical interface 'ProviderVoIP' assigned to phy if 'ppp0'",
                    "info: found matching queue 'voip' for wanPath 'ppp0 <=> ptm0.7 <=> ptm0' (ProviderVoIP)",
                    "trace: construct queue object for queue 'voip' on phy interface 'ppp0'",
                    "info: found traffic class '5' assigned to queue 'voip'",
                    "info: found 1 queues for datapath 'ppp0'",
                    "trace: skip classifier for logical interface 'LocalLAN' @id 11 (lanRule)",
                    "info: found matching classifier for logical interface 'ProviderInternet' @id 12 (web)",
                    "trace: interface 'ProviderInternet' is WAN ingress interface",
                    "info: found classifier action 'action' for classifier 'web'",
                    "trace: construct interface Map for stack 'ppp0 <=> ptm0.7 <=> ptm0'",
                    "info: found matching interface map for if 'ppp0'",
                    "trace: construct pcp map for stack 'ppp0 <=> ptm0.7 <=> ptm0'",
                    "trace: found queue precedence '3' for traffic class '5'",
                    "info: skb=>pcp map for if 'ppp0': {0:0}{1:0}{2:0}{3:0}{4:0}{5:0}{6:0}{7:0}"));
    EXPECT_THAT(shell.take(), IsEmpty());
}

TEST_F(UpperDataPath, AnInterfaceWithoutLogicalInterfacesIsStillAPath) {
    db.add(aQueue().on("ProviderInternet"));
    db.add(aRule().id(3).named("r").on("LocalLAN"));
    const upperDataPath path(handle, db, {"eth7"});
    EXPECT_EQ(path.getIfName(), "eth7");
    EXPECT_THAT(log.takeFrom(upperSource),
                ElementsAre("trace: construct upper datapath for stack 'eth7'",
                            "info: found 0 queues for datapath 'eth7'",
                            "trace: skip classifier for logical interface 'LocalLAN' @id 3 (r)",
                            "info: found matching interface map for if 'eth7'"));
    Lines commands;
    EXPECT_TRUE(path.getFapiQosQueueCmdList(commands));
    EXPECT_TRUE(path.getFapiQosClassifierCmdList(commands));
    EXPECT_THAT(commands, IsEmpty());
    EXPECT_TRUE(path.getFapiQosIfMapCmdList(commands));
    EXPECT_THAT(commands, ElementsAre("ifcfg --ifmap -A eth7 -t8 -beth7 -leth7"));
    log.takeErrors(); // eth7 is no node
    EXPECT_TRUE(path.getFapiQosPcpMapCmdList(commands));
    EXPECT_EQ(log.takeWarnings().size(), 1u);
}

TEST_F(UpperDataPath, LogicalInterfacesCountWhetherTheyAreUpOrNot) {
    db.change("StatusNetifWatchLogical", "Name", "ProviderVoIP", "IsUp", basalt::Value(0LL));
    db.change("StatusNetifWatchLogical", "Name", "ProviderVoIP", "Addr",
              basalt::Value(std::string("0.0.0.0")));
    db.add(aLogicalInterface("Guest", "ppp0"));
    db.add(aQueue().named("voip").on("ProviderVoIP"));
    db.add(aQueue().named("guest").on("Guest").sp(4));
    Lines commands;
    EXPECT_TRUE(built().getFapiQosQueueCmdList(commands));
    EXPECT_THAT(
        commands,
        ElementsAre("qcfg --queue -A ppp0_q3 -i ppp0 -t egress -l 64 -m sp --priority 3 -d tail --map 3",
                    "qcfg --queue -A ppp0_q4 -i ppp0 -t egress -l 64 -m sp --priority 4 -d tail --map 4"));
}

TEST_F(UpperDataPath, AQueueServesEveryPathThatCarriesItsLogicalInterface) {
    db.add(aLogicalInterface("ProviderVoIP", "ptm0.9"));
    db.add(aQueue().on("ProviderVoIP"));
    for (const char* interface : {"ppp0", "ptm0.9"}) {
        Lines commands;
        EXPECT_TRUE(built({interface, "ptm0"}).getFapiQosQueueCmdList(commands));
        EXPECT_EQ(commands.size(), 1u) << interface;
    }
}

TEST_F(UpperDataPath, LogicalNamesAreComparedExactly) {
    db.add(aQueue().on("providervoip"));
    db.add(aQueue().on("ProviderVoIP2"));
    db.add(aQueue().on(""));
    Lines commands;
    EXPECT_TRUE(built().getFapiQosQueueCmdList(commands));
    EXPECT_THAT(commands, IsEmpty());
}

TEST_F(UpperDataPath, KnowsTheWanProviders) {
    const upperDataPath path = built();
    for (const std::string name : {"ProviderInternet", "ProviderIPTV", "ProviderVoIP", "ProviderTR069"}) {
        EXPECT_TRUE(path.isWanIngressIf(name));
        EXPECT_THAT(log.take(), ElementsAre("trace: interface '" + name + "' is WAN ingress interface"));
    }
    for (const char* name : {"LocalLAN", "LocalLoopback", "", "Provider", "providerinternet"}) {
        EXPECT_FALSE(path.isWanIngressIf(name));
    }
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(UpperDataPath, TheIngressDirectionSticks) {
    db.add(aLogicalInterface("ProviderIPTV", "br0"));
    db.add(aRule().named("first").on("LocalLAN"));
    db.add(aRule().named("second").on("ProviderIPTV"));
    db.add(aRule().named("third").on("LocalLAN"));
    Lines commands;
    EXPECT_TRUE(built({"br0"}).getFapiQosClassifierCmdList(commands));
    EXPECT_THAT(
        commands,
        ElementsAre("classcfg -A first -i br0 -p udp -o ppp0 -j mark --mark 5 --mark-loc 1 --priority 5",
                    "classcfg -A second -i br0 -p udp -j mark --mark_ing 5 --mark-loc 2 --priority 5",
                    "classcfg -A third -i br0 -p udp -j mark --mark_ing 5 --mark-loc 2 --priority 5"));
}

TEST_F(UpperDataPath, ARuleOfAnotherPathDoesNotTurnTheDirection) {
    db.add(aRule().named("first").on("ProviderInternet"));
    db.add(aRule().named("second").on("LocalLAN"));
    Lines commands;
    EXPECT_TRUE(built({"br0"}).getFapiQosClassifierCmdList(commands));
    EXPECT_THAT(
        commands,
        ElementsAre("classcfg -A second -i br0 -p udp -o ppp0 -j mark --mark 5 --mark-loc 1 --priority 5"));
}

TEST_F(UpperDataPath, EveryListIsCountedWithoutWhatStoodThereBefore) {
    db.add(aQueue().ingress(1));
    db.add(aRule().on("ProviderInternet"));
    const upperDataPath path = built();
    Lines commands{"earlier"};
    EXPECT_TRUE(path.getFapiQosQueueCmdList(commands));
    EXPECT_TRUE(path.getFapiQosClassifierCmdList(commands));
    EXPECT_TRUE(path.getFapiQosIfMapCmdList(commands));
    EXPECT_TRUE(path.getFapiQosPcpMapCmdList(commands));
    EXPECT_THAT(log.takeFrom(upperSource),
                ElementsAre("info: got 2 fapi qos queue commands for interface 'ppp0'",
                            "info: got 1 fapi qos classifier commands for interface 'ppp0'",
                            "info: got 3 fapi ifmap commands for interface 'ppp0'",
                            "info: got 1 pcp map commands for interface 'ppp0'"));
    EXPECT_THAT(
        commands,
        ElementsAre("earlier",
                    "qcfg --queue -A ppp0_q3 -i ppp0 -t egress -l 64 -m sp --priority 3 -d tail --map 3",
                    "qcfg --queue -A ppp0_q3_ing -i ppp0 -t ingress -l 64 -m sp --priority 3 -d tail --map 3",
                    "classcfg -A rule -i ppp0 -p udp -j mark --mark_ing 5 --mark-loc 2 --priority 5",
                    "ifcfg --ifmap -A ptm0 -t2 -bptm0 -lptm0", "ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0",
                    "ifcfg --ifmap -A ppp0 -t2 -bptm0 -lptm0 -g2",
                    "ip link set ptm0.7 type vlan egress-qos-map 0:0 1:0 2:0 3:0 4:0 5:0 6:0 7:0"));
}

TEST_F(UpperDataPath, ARuleWithoutACommandStillContributesAnEmptyOne) {
    db.add(aRule().named("off").on("ProviderInternet").disabled());
    db.add(aRule().named("bad").on("ProviderInternet").protocol("esp"));
    db.add(aRule().named("good").on("ProviderInternet"));
    Lines commands;
    EXPECT_TRUE(built().getFapiQosClassifierCmdList(commands));
    EXPECT_THAT(
        commands,
        ElementsAre("", "",
                    "classcfg -A good -i ppp0 -p udp -j mark --mark_ing 5 --mark-loc 2 --priority 5"));
    EXPECT_THAT(log.takeFrom(upperSource),
                ElementsAre("info: got 3 fapi qos classifier commands for interface 'ppp0'"));
    log.expectError("unsupported classifier protocol 'esp'");
    log.expectError("error generation qos classifier command for 'bad'=>'action'");
}

TEST_F(UpperDataPath, AnEmptyInterfaceMapListIsAWarning) {
    shell.finds(R"(ifcfg --ifmap -L | grep -q "CAT 2.*ptm0.*")");
    const upperDataPath path = built({"ptm0"});
    Lines commands;
    EXPECT_TRUE(path.getFapiQosIfMapCmdList(commands));
    EXPECT_THAT(commands, IsEmpty());
    EXPECT_THAT(
        log.takeFrom(upperSource),
        ElementsAre(
            "info: got 0 fapi ifmap commands for interface 'ptm0'",
            "warning: ifmap command list is empty, check log if this is caused by already applied rules "
            "in case further processing fails!"));
    log.takeWarnings();
    commands = {"qcfg --queue -A"};
    EXPECT_TRUE(path.getFapiQosIfMapCmdList(commands));
    EXPECT_THAT(log.takeFrom(upperSource),
                ElementsAre("info: got 0 fapi ifmap commands for interface 'ptm0'"));
    log.takeWarnings();
}

TEST_F(UpperDataPath, LogicalInterfacesThatCannotBeCountedEndTheConstruction) {
    db.answer(EResultCode::refused, Operation::size, "StatusNetifWatchLogical");
    EXPECT_EQ(assertionOfBuilding(), "true == this->fillLogicalInterfaces() (upperdatapath.cpp)");
    EXPECT_THAT(log.takeFrom(upperSource),
                ElementsAre("trace: construct upper datapath for stack 'ppp0 <=> ptm0'",
                            "error: could not get size for table 'StatusNetifWatchLogical'"));
    log.takeFrom("dbaccess.cpp");
}

TEST_F(UpperDataPath, ALogicalInterfaceThatCannotBeReadEndsTheConstruction) {
    db.answer(EResultCode::refused, Operation::selectRow, "StatusNetifWatchLogical", 1, 2);
    EXPECT_EQ(assertionOfBuilding(), "true == this->fillLogicalInterfaces() (upperdatapath.cpp)");
    EXPECT_EQ(log.takeFrom(upperSource).back(),
              "error: could not get row from table 'StatusNetifWatchLogical' at offset '2'");
    log.takeFrom("dbaccess.cpp");
}

TEST_F(UpperDataPath, QueuesThatCannotBeCountedEndTheConstruction) {
    db.answer(EResultCode::refused, Operation::size, "QoSQueues");
    EXPECT_EQ(assertionOfBuilding(), "true == this->findQueues() (upperdatapath.cpp)");
    EXPECT_EQ(log.takeFrom(upperSource).back(), "error: could not get size of table QoSQueues");
    log.takeFrom("dbaccess.cpp");
}

TEST_F(UpperDataPath, AQueueThatCannotBeReadEndsTheConstruction) {
    db.add(aQueue().on("LocalLAN"));
    db.add(aQueue().on("LocalLAN"));
    db.answer(EResultCode::refused, Operation::selectRow, "QoSQueues", 1, 1);
    EXPECT_EQ(assertionOfBuilding(), "true == this->findQueues() (upperdatapath.cpp)");
    EXPECT_EQ(log.takeFrom(upperSource).back(), "error: could not get table's 'QoSQueues' row at offset 1");
    log.takeFrom("dbaccess.cpp");
}

TEST_F(UpperDataPath, ClassifiersThatCannotBeCountedBlameTheActionTable) {
    db.answer(EResultCode::refused, Operation::size, "QoSClassification");
    EXPECT_EQ(assertionOfBuilding(), "true == this->findClassifier() (upperdatapath.cpp)");
    EXPECT_EQ(log.takeFrom(upperSource).back(),
              "error: could not get size of table 'QoSClassificationAction'");
    log.takeFrom("dbaccess.cpp");
}

TEST_F(UpperDataPath, AClassifierThatCannotBeReadEndsTheConstruction) {
    db.add(aRule());
    db.add(aRule());
    db.answer(EResultCode::refused, Operation::selectRow, "QoSClassification", 1, 1);
    EXPECT_EQ(assertionOfBuilding(), "true == this->findClassifier() (upperdatapath.cpp)");
    EXPECT_EQ(log.takeFrom(upperSource).back(),
              "error: could not get row with offset 1 from table 'QoSClassification'");
    log.takeFrom("dbaccess.cpp");
}

TEST_F(UpperDataPath, FailuresOfItsObjectsPassThrough) {
    db.add(aQueue().on("ProviderInternet").serving(""));
    EXPECT_EQ(assertionOfBuilding(), "true == this->extractTrafficClasses() (queues.cpp)");
    db.clear("QoSQueues");
    db.add(aRule().on("ProviderInternet").action(99));
    EXPECT_EQ(assertionOfBuilding(), "true == this->findClassifyAction() (classifier.cpp)");
    db.clear("QoSClassification");
    db.answer(EResultCode::refused, Operation::size, "QoSClassificationAction");
    EXPECT_EQ(assertionOfBuilding(), "true == findEgressQToPcpMap() (pcpmap.cpp)");
    log.take();
}

TEST_F(UpperDataPath, ReadsTheDatabaseOnlyWhileItIsBuilt) {
    db.add(aQueue());
    const upperDataPath path = built();
    const std::vector<upperDataPath> copies{path};
    db.clear("QoSQueues");
    db.forgetCalls();
    Lines commands;
    EXPECT_TRUE(copies.front().getFapiQosQueueCmdList(commands));
    EXPECT_EQ(commands.size(), 1u);
    EXPECT_THAT(db.calls(), IsEmpty());
}

} // namespace
} // namespace zel::pacerd::test
