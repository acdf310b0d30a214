// The three checks by which the configuration handler decides whether the WAN is up.
#include "config/confighandler.h"

#include <daemontest.h>

namespace zel::pacerd::test {
namespace {

class WanState : public DaemonTest {
  protected:
    const pacerdConfigHandler handler{handle};
};

TEST_F(WanState, TheDslIsUpOnlyWithStatusFour) {
    db.add(aDslLine(4, "Showtime"));
    db.add(aDslLine(1, "second line"));
    EXPECT_TRUE(handler.isDslUp(db));
    EXPECT_THAT(log.take(), ElementsAre("info: DSL has state 'Showtime'"));
    for (const long long status : {0, 3, 5, -4, 44}) {
        db.change("StatusDsl", "Id", "1", "Status", basalt::Value(status));
        EXPECT_FALSE(handler.isDslUp(db)) << status;
        EXPECT_THAT(log.take(), ElementsAre("info: DSL has state 'Showtime'"));
    }
    EXPECT_THAT(db.calls(), Contains("selectRow StatusDsl 0 columns:all"));
    EXPECT_EQ(db.callsOf(Operation::selectRow, "StatusDsl"), 6u);
}

TEST_F(WanState, WithoutADslRowTheDslIsDown) {
    EXPECT_FALSE(handler.isDslUp(db));
    EXPECT_THAT(log.take(), ElementsAre("warning: DB access failed @table 'StatusDsl', operation: '8' (fail "
                                        "reason: nothing there), retry (1)",
                                        "error: DB access failed @table 'StatusDsl', operation: 8 (fail "
                                        "reason: nothing there), retry (1)",
                                        "error: could not get values at offset 0 for table 'StatusDsl'"));
    EXPECT_THAT(shell.pauses(), IsEmpty());
}

TEST_F(WanState, WanoeIsEnabledOnlyWithOne) {
    db.add(aNode("ptm0", "XDSL").disabled());
    db.add(aNode("eth1", "WANoE"));
    EXPECT_TRUE(handler.isWanoeEnabled(db));
    EXPECT_THAT(log.take(), ElementsAre("info: detected WANoE node enabled"));
    for (const long long enabled : {0, 2, -1}) {
        db.change("NetworkSetupNode", "Type", "WANoE", "Enable", basalt::Value(enabled));
        EXPECT_FALSE(handler.isWanoeEnabled(db)) << enabled;
        EXPECT_THAT(log.take(), ElementsAre("info: WANoE is currently disabled"));
    }
}

TEST_F(WanState, WithoutAWanoeNodeItIsDisabled) {
    db.add(aNode("ptm0", "XDSL"));
    EXPECT_FALSE(handler.isWanoeEnabled(db));
    EXPECT_THAT(log.take(),
                ElementsAre("trace: selectkey on table 'NetworkSetupNode', key 'Type', value 'WANoE' failed "
                            "with reason 'nothing there'",
                            "info: WANoE is currently disabled"));
}

TEST_F(WanState, AFailedRequestForWanoeIsAnInfo) {
    db.answer(EResultCode::refused, Operation::selectKey, "NetworkSetupNode");
    EXPECT_FALSE(handler.isWanoeEnabled(db));
    EXPECT_THAT(log.takeFrom("confighandler.cpp"),
                ElementsAre("info: could not get Wanoe node from table 'NetworkSetupNode'"));
    log.takeFrom("dbaccess.cpp");
}

TEST_F(WanState, TheProviderIsUpWithAnAddress) {
    db.add(aLogicalInterface("ProviderIPTV", "ptm0.8").isUp(0));
    db.add(aLogicalInterface("ProviderInternet", "ppp0").isUp(1).address("192.0.2.7"));
    EXPECT_TRUE(handler.isProviderInternetUp(db));
    EXPECT_THAT(log.take(), ElementsAre("info: detected 'ProviderInternet' is up"));
}

TEST_F(WanState, AnEmptyAddressIsAnAddress) {
    db.add(aLogicalInterface("ProviderInternet", "ppp0").address(""));
    EXPECT_TRUE(handler.isProviderInternetUp(db));
}

TEST_F(WanState, TheNullAddressIsNone) {
    db.add(aLogicalInterface("ProviderInternet", "ppp0").isUp(1).address("0.0.0.0"));
    EXPECT_FALSE(handler.isProviderInternetUp(db));
    EXPECT_THAT(log.take(), ElementsAre("info: current ProviderInternet state: isUp: 1, Address: '0.0.0.0'"));
    db.change("StatusNetifWatchLogical", "Id", "1", "Addr", basalt::Value(std::string("0.0.0.0/0")));
    EXPECT_TRUE(handler.isProviderInternetUp(db));
}

TEST_F(WanState, TheProviderIsUpOnlyWithOne) {
    db.add(aLogicalInterface("ProviderInternet", "ppp0").isUp(2));
    EXPECT_FALSE(handler.isProviderInternetUp(db));
    EXPECT_THAT(log.take(),
                ElementsAre("info: current ProviderInternet state: isUp: 2, Address: '192.0.2.1'"));
    db.change("StatusNetifWatchLogical", "Id", "1", "IsUp", basalt::Value(0LL));
    EXPECT_FALSE(handler.isProviderInternetUp(db));
}

TEST_F(WanState, WithoutARowTheProviderIsDown) {
    EXPECT_FALSE(handler.isProviderInternetUp(db));
    EXPECT_THAT(log.takeInfos(), ElementsAre("current ProviderInternet state: isUp: 0, Address: ''"));
}

TEST_F(WanState, AFailedRequestForTheProviderNamesTheColumnInItsPlace) {
    db.answer(EResultCode::refused, Operation::selectKey, "StatusNetifWatchLogical");
    EXPECT_FALSE(handler.isProviderInternetUp(db));
    EXPECT_THAT(log.takeFrom("confighandler.cpp"),
                ElementsAre("error: could not get status of 'Name' from table 'StatusNetifWatchLogical'"));
    log.takeFrom("dbaccess.cpp");
}

} // namespace
} // namespace zel::pacerd::test
