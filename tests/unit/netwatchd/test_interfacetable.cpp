#include "netwatchd/interfacetable.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <linux/rtnetlink.h>

using namespace netwatchd;

namespace {

Ipv4Address address(const char* local, unsigned scope = RT_SCOPE_UNIVERSE, bool secondary = false) {
    return {inet_addr(local), inet_addr(local), 24, scope, secondary};
}

class InterfaceTableTest : public ::testing::Test {
  protected:
    void link(int index, const char* name, bool up = true) { table.apply(LinkSeen{index, name, up, false}); }
    void add(int index, const Ipv4Address& added) { table.apply(AddressSeen{index, added}); }
    void remove(int index, const Ipv4Address& removed) { table.apply(AddressGone{index, removed}); }
    std::string addressOf(const char* name) const { return table.observe(name).address; }
    bool isUp(const char* name) const { return table.observe(name).up; }

    InterfaceTable table;
};

TEST_F(InterfaceTableTest, AnInterfaceThatDoesNotExistIsDownAndHasNoAddress) {
    EXPECT_FALSE(isUp("eth1"));
    EXPECT_EQ(addressOf("eth1"), "0.0.0.0");
}

TEST_F(InterfaceTableTest, TheLinkStateIsTheLastOneSeen) {
    link(2, "eth1");
    EXPECT_TRUE(isUp("eth1"));
    link(2, "eth1", false);
    EXPECT_FALSE(isUp("eth1"));
}

TEST_F(InterfaceTableTest, OtherInterfacesDoNotMatter) {
    link(2, "eth1");
    link(3, "eth2", false);
    add(3, address("192.0.2.1"));
    EXPECT_TRUE(isUp("eth1"));
    EXPECT_EQ(addressOf("eth1"), "0.0.0.0");
}

TEST_F(InterfaceTableTest, TheFirstGlobalAddressCounts) {
    link(2, "eth1");
    add(2, address("192.0.2.1"));
    add(2, address("198.51.100.1"));
    EXPECT_EQ(addressOf("eth1"), "192.0.2.1");
}

TEST_F(InterfaceTableTest, TheNextAddressCountsWhenTheFirstIsRemoved) {
    link(2, "eth1");
    add(2, address("192.0.2.1"));
    add(2, address("198.51.100.1"));
    remove(2, address("192.0.2.1"));
    EXPECT_EQ(addressOf("eth1"), "198.51.100.1");
    remove(2, address("198.51.100.1"));
    EXPECT_EQ(addressOf("eth1"), "0.0.0.0");
}

TEST_F(InterfaceTableTest, APrimaryAddressGoesBeforeASecondaryOne) {
    link(2, "eth1");
    add(2, address("192.0.2.2", RT_SCOPE_UNIVERSE, true));
    add(2, address("198.51.100.1"));
    EXPECT_EQ(addressOf("eth1"), "198.51.100.1");
}

TEST_F(InterfaceTableTest, ASecondaryAddressMayBecomePrimary) {
    link(2, "eth1");
    add(2, address("192.0.2.2", RT_SCOPE_UNIVERSE, true));
    add(2, address("198.51.100.1"));
    add(2, address("192.0.2.2"));
    EXPECT_EQ(addressOf("eth1"), "192.0.2.2");
}

TEST_F(InterfaceTableTest, AddressesOfLinkScopeDoNotCount) {
    link(2, "eth1");
    add(2, address("169.254.3.4", RT_SCOPE_LINK));
    EXPECT_EQ(addressOf("eth1"), "0.0.0.0");
}

TEST_F(InterfaceTableTest, AHostAddressCountsOnTheLoopbackInterfaceOnly) {
    table.apply(LinkSeen{1, "lo", true, true});
    link(2, "eth1");
    add(1, address("127.0.0.1", RT_SCOPE_HOST));
    add(2, address("127.0.0.2", RT_SCOPE_HOST));
    EXPECT_EQ(addressOf("lo"), "127.0.0.1");
    EXPECT_EQ(addressOf("eth1"), "0.0.0.0");
    add(1, address("192.0.2.1"));
    EXPECT_EQ(addressOf("lo"), "192.0.2.1");
}

TEST_F(InterfaceTableTest, AddressesThatDifferInPrefixOrPeerAreDifferent) {
    link(2, "ppp0");
    Ipv4Address first = address("192.0.2.1");
    Ipv4Address second = first;
    second.peer = inet_addr("192.0.2.254");
    Ipv4Address third = first;
    third.prefixLength = 32;
    add(2, first);
    add(2, second);
    add(2, third);
    remove(2, first);
    remove(2, third);
    EXPECT_EQ(addressOf("ppp0"), "192.0.2.1");
    remove(2, second);
    EXPECT_EQ(addressOf("ppp0"), "0.0.0.0");
}

TEST_F(InterfaceTableTest, ARenamedInterfaceTakesItsStateAlong) {
    link(2, "eth1");
    add(2, address("192.0.2.1"));
    link(2, "wan");
    EXPECT_FALSE(isUp("eth1"));
    EXPECT_EQ(addressOf("eth1"), "0.0.0.0");
    EXPECT_TRUE(isUp("wan"));
    EXPECT_EQ(addressOf("wan"), "192.0.2.1");
}

TEST_F(InterfaceTableTest, ADeletedInterfaceTakesItsAddressesAlong) {
    link(2, "eth1");
    add(2, address("192.0.2.1"));
    table.apply(LinkGone{2});
    EXPECT_FALSE(isUp("eth1"));
    link(3, "eth1");
    EXPECT_EQ(addressOf("eth1"), "0.0.0.0");
}

TEST_F(InterfaceTableTest, TheDeletionOfAnOldInterfaceDoesNotTouchANewOneOfItsName) {
    link(2, "eth1");
    link(2, "old");
    link(3, "eth1");
    table.apply(LinkGone{2});
    EXPECT_TRUE(isUp("eth1"));
}

TEST_F(InterfaceTableTest, AnAddressMayArriveBeforeItsLink) {
    add(2, address("192.0.2.1"));
    EXPECT_EQ(addressOf(""), "0.0.0.0");
    link(2, "eth1");
    EXPECT_EQ(addressOf("eth1"), "192.0.2.1");
}

TEST_F(InterfaceTableTest, ARemovedAddressThatWasNeverSeenIsPassedOver) {
    remove(2, address("192.0.2.1"));
    link(2, "eth1");
    remove(2, address("192.0.2.1"));
    EXPECT_EQ(addressOf("eth1"), "0.0.0.0");
}

TEST_F(InterfaceTableTest, APeriodLastsWhileTheStateLasts) {
    link(2, "eth1");
    add(2, address("192.0.2.1"));
    const Observation before = table.observe("eth1");
    link(2, "eth1");
    add(2, address("192.0.2.1"));
    add(2, address("198.51.100.1"));
    const Observation after = table.observe("eth1");
    EXPECT_EQ(before.upPeriod, after.upPeriod);
    EXPECT_EQ(before.addressPeriod, after.addressPeriod);
}

TEST_F(InterfaceTableTest, ALinkThatWasDownInBetweenHasANewPeriod) {
    link(2, "eth1");
    const Observation before = table.observe("eth1");
    link(2, "eth1", false);
    link(2, "eth1");
    EXPECT_NE(before.upPeriod, table.observe("eth1").upPeriod);
}

TEST_F(InterfaceTableTest, AnAddressThatWasGoneInBetweenHasANewPeriod) {
    link(2, "eth1");
    add(2, address("192.0.2.1"));
    const Observation before = table.observe("eth1");
    remove(2, address("192.0.2.1"));
    add(2, address("192.0.2.1"));
    EXPECT_NE(before.addressPeriod, table.observe("eth1").addressPeriod);
}

TEST_F(InterfaceTableTest, ANameThatChangesHandsHasNewPeriods) {
    link(2, "eth1");
    add(2, address("192.0.2.1"));
    const Observation before = table.observe("eth1");
    link(2, "other");
    link(3, "spare");
    add(3, address("192.0.2.1"));
    link(3, "eth1");
    EXPECT_NE(before.upPeriod, table.observe("eth1").upPeriod);
    EXPECT_NE(before.addressPeriod, table.observe("eth1").addressPeriod);
}

TEST_F(InterfaceTableTest, WhatIsFoundAgainAfterClearHasNewPeriods) {
    link(2, "eth1");
    add(2, address("192.0.2.1"));
    const Observation before = table.observe("eth1");
    table.clear();
    EXPECT_FALSE(isUp("eth1"));
    link(2, "eth1");
    add(2, address("192.0.2.1"));
    const Observation after = table.observe("eth1");
    EXPECT_TRUE(after.up);
    EXPECT_NE(before.upPeriod, after.upPeriod);
    EXPECT_NE(before.addressPeriod, after.addressPeriod);
}

class StackedInterfacesTest : public InterfaceTableTest {
  protected:
    void stack(int index, const char* name, bool up, int lower = 0) {
        table.apply(LinkSeen{index, name, up, false, lower});
    }
    bool lags(const char* name, std::uint64_t period = 0) const { return table.lagsBehind(name, period); }
};

TEST_F(StackedInterfacesTest, OneThatIsDownLagsBehindTheOneBelowThatHasComeUp) {
    stack(2, "eth1", false);
    stack(3, "eth1.8", false, 2);
    EXPECT_FALSE(lags("eth1.8"));
    stack(2, "eth1", true);
    EXPECT_TRUE(lags("eth1.8"));
    stack(3, "eth1.8", true, 2);
    EXPECT_FALSE(lags("eth1.8"));
}

TEST_F(StackedInterfacesTest, OneLagsBehindOnlyWhatHasComeUpSince) {
    stack(2, "eth1", true);
    stack(3, "eth1.8", false, 2);
    const std::uint64_t known = table.lastPeriod();
    EXPECT_TRUE(lags("eth1.8"));
    EXPECT_FALSE(lags("eth1.8", known));
    stack(2, "eth1", false);
    stack(2, "eth1", true);
    EXPECT_TRUE(lags("eth1.8", known));
}

TEST_F(StackedInterfacesTest, OneLagsBehindAnythingBelowIt) {
    stack(2, "eth1", true);
    stack(3, "eth1.8", false, 2);
    stack(4, "eth1.8.9", false, 3);
    EXPECT_TRUE(lags("eth1.8.9"));
}

TEST_F(StackedInterfacesTest, OneThatStandsOnNothingLagsBehindNothing) {
    stack(2, "eth1", true);
    stack(3, "eth2", false);
    stack(4, "eth3.8", false, 9);
    EXPECT_FALSE(lags("eth2"));
    EXPECT_FALSE(lags("eth3.8")) << "nobody knows interface 9";
    EXPECT_FALSE(lags("absent"));
    EXPECT_FALSE(lags(""));
}

TEST_F(StackedInterfacesTest, TheTwoEndsOfACableStandOnEachOther) {
    stack(2, "left", false, 3);
    stack(3, "right", false, 2);
    EXPECT_FALSE(lags("left"));
    stack(3, "right", true, 2);
    EXPECT_TRUE(lags("left"));
}

} // namespace
