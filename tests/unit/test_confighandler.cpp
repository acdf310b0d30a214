#include "config/confighandler.h"
#include "config/stopflag.h"

#include <daemontest.h>
#include <gateways.h>

namespace zel::pacerd::test {
namespace {

const char* const handlerSource = "confighandler.cpp";

// Counts what goes through the virtual slots.
class CountingHandler : public pacerdConfigHandler {
  public:
    using pacerdConfigHandler::pacerdConfigHandler;

    bool addDataFlow(const cfg::common::IConfigClient& client) override {
        ++added;
        return pacerdConfigHandler::addDataFlow(client);
    }
    void removeQosConfig(const cfg::common::IConfigClient& client) override {
        ++removed;
        pacerdConfigHandler::removeQosConfig(client);
    }

    int added = 0;
    int removed = 0;
};

class ConfigHandler : public DaemonTest {
  protected:
    CountingHandler handler{handle};

    ConfigHandler() {
        stopFlag = 0;
        db.add(aNode("eth1", "WANoE"));
        db.add(aLogicalInterface("ProviderInternet", "eth1").address("0.0.0.0"));
        db.add(aDslLine(1, "Idle"));
        db.add(aQueue());
    }
    ~ConfigHandler() override { stopFlag = 0; }

    void setAddress(const std::string& address) {
        db.change("StatusNetifWatchLogical", "Name", "ProviderInternet", "Addr", basalt::Value(address));
    }

    // As the notification client does it.
    bool notify(const std::string& table) {
        const bool changed = handler.checkConfigChange(db, table);
        if (changed) {
            handler.processConfigChange(db);
        }
        return changed;
    }

    // Until the WAN is up and everything is applied.
    void goUp() {
        setAddress("192.0.2.7");
        EXPECT_TRUE(notify(""));
        log.take();
        shell.take();
    }

    const std::string ifMap = "ifcfg --ifmap -A eth1 -t1 -beth1 -leth1";
    const std::string queue =
        "qcfg --queue -A eth1_q3 -i eth1 -t egress -l 64 -m sp --priority 3 -d tail --map 3";
    const std::string unIfMap = "ifcfg --ifmap -D eth1 -t1 -beth1 -leth1";
    const std::string unQueue =
        "qcfg --queue -D eth1_q3 -i eth1 -t egress -l 64 -m sp --priority 3 -d tail --map 3";
};

TEST_F(ConfigHandler, WatchesSevenTables) {
    std::list<std::string> tables{"earlier"};
    handler.getWatchedTables(tables);
    EXPECT_THAT(tables,
                ElementsAre("earlier", "NetworkSetupNode", "StatusDsl", "StatusNetifWatchLogical",
                            "QoSShaper", "QoSQueues", "QoSClassificationAction", "QoSClassification"));
}

TEST_F(ConfigHandler, TheInitialCallCreatesTheDataFlowAndEvaluatesTheWan) {
    EXPECT_FALSE(handler.checkConfigChange(db, ""));
    EXPECT_EQ(handler.added, 1);
    EXPECT_THAT(log.take(), ElementsAre("info: initial startup in progress", "info: DSL has state 'Idle'",
                                        "info: detected WANoE node enabled",
                                        "info: current ProviderInternet state: isUp: 1, Address: '0.0.0.0'"));
    EXPECT_THAT(log.sources(), ElementsAre(handlerSource));
}

TEST_F(ConfigHandler, LaterInitialCallsCreateNoSecondDataFlowAndKeepTheState) {
    goUp();
    EXPECT_FALSE(handler.checkConfigChange(db, ""));
    EXPECT_EQ(handler.added, 1);
    EXPECT_THAT(log.takeFrom(handlerSource),
                ElementsAre("info: initial startup in progress", "info: DSL has state 'Idle'",
                            "info: detected WANoE node enabled", "info: detected 'ProviderInternet' is up"));
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(ConfigHandler, GoesUpOnTheInitialCall) {
    setAddress("192.0.2.7");
    EXPECT_TRUE(handler.checkConfigChange(db, ""));
    EXPECT_THAT(log.takeFrom(handlerSource),
                ElementsAre("info: initial startup in progress", "info: DSL has state 'Idle'",
                            "info: detected WANoE node enabled", "info: detected 'ProviderInternet' is up",
                            "info: WAN up statue 0 => 1"));
    EXPECT_THAT(shell.take(), IsEmpty());
    EXPECT_THAT(log.takeInfos(), Contains("found 1 low wan paths in data flow"));
    handler.processConfigChange(db);
    EXPECT_EQ(log.takeFrom(handlerSource), Lines{"info: apply WAN QoS settings..."});
    EXPECT_THAT(shell.takeChanges(), ElementsAre(ifMap, queue));
    log.expectWarning("could not find any vlan interface in stack 'eth1' for setting PCP map");
}

TEST_F(ConfigHandler, DiscoveryComesBeforeTheStateLineAndInOrder) {
    setAddress("192.0.2.7");
    EXPECT_TRUE(handler.checkConfigChange(db, ""));
    const Lines infos = log.takeInfos();
    const auto at = [&](const std::string& text) {
        return std::find(infos.begin(), infos.end(), text) - infos.begin();
    };
    EXPECT_LT(at("detected 'ProviderInternet' is up"), at("found 1 low wan paths in data flow"));
    EXPECT_LT(at("found 1 low wan paths in data flow"), at("found 0 local wan paths in data flow"));
    EXPECT_LT(at("found 0 local wan paths in data flow"), at("found 0 local LAN paths in data flow"));
    EXPECT_EQ(at("found 0 local LAN paths in data flow") + 2, std::ssize(infos));
    EXPECT_EQ(infos.back(), "WAN up statue 0 => 1");
}

TEST_F(ConfigHandler, ANotificationThatChangesNothingAppliesNothing) {
    goUp();
    db.add(aQueue().sp(4));
    EXPECT_FALSE(notify("QoSQueues"));
    EXPECT_THAT(log.take(), ElementsAre("info: DSL has state 'Idle'", "info: detected WANoE node enabled",
                                        "info: detected 'ProviderInternet' is up"));
    handler.processConfigChange(db);
    EXPECT_THAT(shell.take(), IsEmpty());
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(ConfigHandler, WhileDownAProcessedChangeDoesNothing) {
    EXPECT_FALSE(handler.checkConfigChange(db, ""));
    log.take();
    handler.processConfigChange(db);
    EXPECT_THAT(log.take(), IsEmpty());
    EXPECT_THAT(shell.take(), IsEmpty());
}

TEST_F(ConfigHandler, GoesDownAndUpAgain) {
    goUp();
    setAddress("0.0.0.0");
    EXPECT_TRUE(handler.checkConfigChange(db, "StatusNetifWatchLogical"));
    EXPECT_THAT(log.take(), ElementsAre("info: DSL has state 'Idle'", "info: detected WANoE node enabled",
                                        "info: current ProviderInternet state: isUp: 1, Address: '0.0.0.0'",
                                        "info: WAN up statue 1 => 0"));
    EXPECT_THAT(shell.take(), IsEmpty());
    handler.processConfigChange(db);
    EXPECT_EQ(handler.removed, 1);
    EXPECT_THAT(shell.take(), ElementsAre(unQueue, unIfMap));
    EXPECT_THAT(log.take(),
                ElementsAre("info: remove WAN QoS settings...", "info: remove success: '" + unQueue + "'",
                            "info: skip removing PCP egress map, done by fapi",
                            "info: remove success: '" + unIfMap + "'"));
    db.clear("QoSQueues");
    setAddress("192.0.2.8");
    EXPECT_TRUE(notify("StatusNetifWatchLogical"));
    EXPECT_THAT(log.takeInfos(), Contains("found 1 low wan paths in data flow"));
    EXPECT_THAT(shell.takeChanges(), ElementsAre(ifMap));
    log.expectWarning("could not find any vlan interface in stack 'eth1' for setting PCP map");
}

TEST_F(ConfigHandler, TheNameOfTheTableDoesNotMatter) {
    EXPECT_FALSE(notify(""));
    setAddress("192.0.2.7");
    EXPECT_TRUE(handler.checkConfigChange(db, "QoSQueues"));
}

TEST_F(ConfigHandler, ALostDslLineTakesTheWanDown) {
    db.clear("NetworkSetupNode");
    db.add(aNode("ptm0", "XDSL"));
    db.change("StatusDsl", "Id", "1", "Status", basalt::Value(4LL));
    setAddress("192.0.2.7");
    db.change("StatusNetifWatchLogical", "Name", "ProviderInternet", "Interface",
              basalt::Value(std::string("ptm0")));
    EXPECT_TRUE(notify(""));
    log.take();
    db.change("StatusDsl", "Id", "1", "Status", basalt::Value(5LL));
    EXPECT_TRUE(notify("StatusDsl"));
    EXPECT_THAT(log.takeInfos(), Contains("WAN up statue 1 => 0"));
}

TEST_F(ConfigHandler, WanoeIsAskedOnlyWithoutDslAndTheProviderOnlyWithALine) {
    db.change("StatusDsl", "Id", "1", "Status", basalt::Value(4LL));
    EXPECT_FALSE(notify(""));
    EXPECT_THAT(log.take(), ElementsAre("info: initial startup in progress", "info: DSL has state 'Idle'",
                                        "info: current ProviderInternet state: isUp: 1, Address: '0.0.0.0'"));
    db.change("StatusDsl", "Id", "1", "Status", basalt::Value(3LL));
    db.change("NetworkSetupNode", "Type", "WANoE", "Enable", basalt::Value(0LL));
    EXPECT_FALSE(notify("StatusDsl"));
    EXPECT_THAT(log.take(), ElementsAre("info: DSL has state 'Idle'", "info: WANoE is currently disabled"));
}

TEST_F(ConfigHandler, BeforeTheInitialCallThereIsNothingToApply) {
    setAddress("192.0.2.7");
    EXPECT_TRUE(notify("StatusDsl"));
    EXPECT_EQ(handler.added, 0);
    EXPECT_THAT(log.take(), ElementsAre("info: DSL has state 'Idle'", "info: detected WANoE node enabled",
                                        "info: detected 'ProviderInternet' is up",
                                        "info: WAN up statue 0 => 1", "info: apply WAN QoS settings..."));
}

TEST_F(ConfigHandler, AnInitialCallThatComesLateStartsFromDown) {
    setAddress("192.0.2.7");
    EXPECT_TRUE(notify("StatusDsl"));
    EXPECT_TRUE(notify(""));
    EXPECT_EQ(handler.added, 1);
    EXPECT_THAT(log.takeInfos(), Contains("WAN up statue 0 => 1").Times(2));
    EXPECT_THAT(shell.takeChanges(), ElementsAre(ifMap, queue));
    log.expectWarning("could not find any vlan interface in stack 'eth1' for setting PCP map");
}

TEST_F(ConfigHandler, AddDataFlowSaysYes) {
    EXPECT_TRUE(handler.addDataFlow(db));
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(ConfigHandler, StopRevertsWhateverTheWanState) {
    goUp();
    handler.removeQosConfig(db);
    EXPECT_THAT(shell.take(), ElementsAre(unQueue, unIfMap));
    handler.removeQosConfig(db);
    EXPECT_THAT(shell.take(), IsEmpty());
    EXPECT_EQ(log.takeFrom("dataflows.cpp").back(), "info: qos config hasn't been applied yet, skip revert");
}

TEST_F(ConfigHandler, RemovalWithoutAnyDataFlowDoesNothing) {
    handler.removeQosConfig(db);
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(ConfigHandler, DestructionRunsNothing) {
    {
        pacerdConfigHandler other(handle);
        setAddress("192.0.2.7");
        EXPECT_TRUE(other.checkConfigChange(db, ""));
        other.processConfigChange(db);
        shell.take();
        log.take();
    }
    EXPECT_THAT(shell.take(), IsEmpty());
    EXPECT_THAT(log.take(), IsEmpty());
}

// What goes wrong on the way up stops the daemon.
class ConfigHandlerFailure : public ConfigHandler {
  protected:
    ConfigHandlerFailure() { setAddress("192.0.2.7"); }

    void expectFailedDiscovery(const std::string& error) {
        EXPECT_FALSE(notify(""));
        EXPECT_EQ(stopFlag, 1);
        const Lines lines = log.takeFrom(handlerSource);
        ASSERT_EQ(lines.size(), 6u);
        EXPECT_EQ(lines[4], "error: " + error);
        EXPECT_EQ(lines[5], "error: error initializing data flows");
        EXPECT_THAT(shell.take(), IsEmpty());
        log.take();
    }
};

TEST_F(ConfigHandlerFailure, NoWanPath) {
    db.answer(EResultCode::refused, Operation::selectKey, "NetworkSetupNode", 1,
              1); // the first is isWanoeEnabled's
    expectFailedDiscovery("did not find any active wan Path");
}

TEST_F(ConfigHandlerFailure, NoLocalPaths) {
    // The low path and its one upper path count the logical interfaces before.
    db.answer(EResultCode::refused, Operation::size, "StatusNetifWatchLogical", 1, 2);
    expectFailedDiscovery("did not find any active local data paths");
}

TEST_F(ConfigHandlerFailure, NoLanPaths) {
    db.answer(EResultCode::refused, Operation::size, "StatusNetifWatchLogical", 1, 3);
    expectFailedDiscovery("did not find any active LAN data path");
}

TEST_F(ConfigHandlerFailure, AFailedDiscoveryIsNotTriedAgain) {
    db.answer(EResultCode::refused, Operation::selectKey, "NetworkSetupNode", 1, 1);
    expectFailedDiscovery("did not find any active wan Path");
    EXPECT_FALSE(handler.checkConfigChange(db, "StatusDsl"));
    EXPECT_THAT(log.take(), ElementsAre("info: DSL has state 'Idle'", "info: detected WANoE node enabled",
                                        "info: detected 'ProviderInternet' is up"));
}

TEST_F(ConfigHandlerFailure, TheFirstDataFlowThatFailsToApplyIsTheLastOneTried) {
    EXPECT_TRUE(handler.addDataFlow(db));
    EXPECT_TRUE(handler.addDataFlow(db));
    shell.answerNth(2, RecordingShell::exit1);
    EXPECT_TRUE(notify("StatusDsl"));
    EXPECT_EQ(stopFlag, 1);
    EXPECT_THAT(shell.takeChanges(), ElementsAre(ifMap, queue));
    handler.removeQosConfig(db);
    EXPECT_THAT(shell.take(), ElementsAre(unQueue, unIfMap));
    EXPECT_EQ(log.takeFrom("dataflows.cpp").back(), "info: qos config hasn't been applied yet, skip revert");
    log.take();
}

TEST_F(ConfigHandlerFailure, NothingFoundIsNoFailure) {
    db.clear("NetworkSetupNode");
    db.change("StatusDsl", "Id", "1", "Status", basalt::Value(4LL));
    EXPECT_TRUE(notify(""));
    EXPECT_EQ(stopFlag, 0);
    EXPECT_THAT(shell.take(), IsEmpty());
}

TEST_F(ConfigHandlerFailure, AFailedAssertionLeavesTheHandler) {
    db.add(aQueue().serving(""));
    EXPECT_EQ(assertionOf([this] { handler.checkConfigChange(db, ""); }),
              "true == this->extractTrafficClasses() (queues.cpp)");
    EXPECT_EQ(stopFlag, 0);
    log.take();
    handler.removeQosConfig(db);
    EXPECT_THAT(log.take(), ElementsAre("info: qos config hasn't been applied yet, skip revert"));
}

TEST_F(ConfigHandlerFailure, AFailedApplyStopsTheDaemonAndLeavesTheRemovalToTheShutdown) {
    shell.answer(queue, RecordingShell::exit1);
    EXPECT_TRUE(notify(""));
    EXPECT_EQ(stopFlag, 1);
    EXPECT_THAT(shell.takeChanges(), ElementsAre(ifMap, queue));
    EXPECT_THAT(log.takeErrors(),
                ElementsAre("failed cmd '" + queue + "' (retcode: 256)", "could not apply qos queue commands",
                            "failed appliing qos config"));
    log.take();
    handler.removeQosConfig(db);
    EXPECT_THAT(shell.take(), ElementsAre(unQueue, unIfMap));
}

} // namespace
} // namespace zel::pacerd::test
