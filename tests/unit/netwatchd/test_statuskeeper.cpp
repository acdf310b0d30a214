#include "netwatchd/statuskeeper.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/rtnetlink.h>

using namespace netwatchd;
using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// "ProviderInternet up 192.0.2.1", with only what is to be written.
std::string text(const StatusUpdate& update) {
    std::string line = update.row.name;
    if (update.isUp) {
        line += *update.isUp ? " up" : " down";
    }
    return update.address ? line + " " + *update.address : line;
}

class StatusKeeperTest : public ::testing::Test {
  protected:
    static constexpr int eth1 = 2;

    // A row that says down and no address.
    StatusRow& addRow(const char* name, const char* interface) {
        rows.push_back({"uuid of " + std::string(name), name, interface, 0, "0.0.0.0"});
        return rows.back();
    }
    void link(bool up, int index = eth1, const char* name = "eth1") {
        table.apply(LinkSeen{index, name, up, false});
    }
    static Ipv4Address address(const char* local) {
        return {inet_addr(local), inet_addr(local), 24, RT_SCOPE_UNIVERSE, false};
    }
    void add(const char* local, int index = eth1) { table.apply(AddressSeen{index, address(local)}); }
    void remove(const char* local, int index = eth1) { table.apply(AddressGone{index, address(local)}); }

    // Evaluates at that many milliseconds after the start, and writes the rows as the database would.
    std::vector<std::string> at(int ms) {
        std::vector<std::string> texts;
        for (const StatusUpdate& update : keeper.evaluate(rows, table, start + milliseconds(ms))) {
            texts.push_back(text(update));
            for (StatusRow& row : rows) {
                if (row.uuid == update.row.uuid) {
                    row.isUp = update.isUp ? (*update.isUp ? 1 : 0) : row.isUp;
                    row.address = update.address.value_or(row.address);
                }
            }
        }
        return texts;
    }
    int deadlineMs() const {
        const auto deadline = keeper.deadline();
        return deadline
                   ? static_cast<int>(std::chrono::duration_cast<milliseconds>(*deadline - start).count())
                   : -1;
    }
    void holdDown(int ms) { keeper = StatusKeeper(milliseconds(ms)); }

    const StatusKeeper::Clock::time_point start{std::chrono::hours(1)};
    std::vector<StatusRow> rows;
    InterfaceTable table;
    StatusKeeper keeper{milliseconds(0)};
};

TEST_F(StatusKeeperTest, AnInterfaceThatIsUpWithAnAddressIsWritten) {
    addRow("ProviderInternet", "eth1");
    link(true);
    add("192.0.2.1");
    EXPECT_THAT(at(0), ElementsAre("ProviderInternet up 192.0.2.1"));
}

TEST_F(StatusKeeperTest, NothingIsWrittenTwice) {
    addRow("ProviderInternet", "eth1");
    link(true);
    add("192.0.2.1");
    at(0);
    EXPECT_THAT(at(1), IsEmpty());
}

TEST_F(StatusKeeperTest, OnlyTheColumnThatDiffersIsWritten) {
    addRow("ProviderInternet", "eth1");
    link(true);
    EXPECT_THAT(at(0), ElementsAre("ProviderInternet up"));
    add("192.0.2.1");
    EXPECT_THAT(at(1), ElementsAre("ProviderInternet 192.0.2.1"));
    link(false);
    EXPECT_THAT(at(2), ElementsAre("ProviderInternet down"));
}

TEST_F(StatusKeeperTest, AMissingInterfaceIsDownWithoutAnAddress) {
    StatusRow& row = addRow("ProviderInternet", "ppp0");
    row.isUp = 1;
    row.address = "192.0.2.1";
    EXPECT_THAT(at(0), ElementsAre("ProviderInternet down 0.0.0.0"));
}

TEST_F(StatusKeeperTest, ARowThatIsOffStaysUntouched) {
    StatusRow& row = addRow("ProviderIPTV", "off");
    row.isUp = 1;
    row.address = "192.0.2.1";
    link(true, 7, "off"); // an interface may even have that name
    EXPECT_THAT(at(0), IsEmpty());
}

TEST_F(StatusKeeperTest, ARowWithoutAnInterfaceStaysUntouched) {
    addRow("ProviderIPTV", "").isUp = 1;
    EXPECT_THAT(at(0), IsEmpty());
}

TEST_F(StatusKeeperTest, RowsOnOneInterfaceAreWrittenAlike) {
    addRow("ProviderInternet", "eth1");
    addRow("ProviderVoIP", "eth1");
    link(true);
    add("192.0.2.1");
    EXPECT_THAT(at(0), ElementsAre("ProviderInternet up 192.0.2.1", "ProviderVoIP up 192.0.2.1"));
}

TEST_F(StatusKeeperTest, ARowThatSomebodyElseHasChangedIsCorrected) {
    StatusRow& row = addRow("ProviderInternet", "eth1");
    link(true);
    at(0);
    row.isUp = 0;
    EXPECT_THAT(at(1), ElementsAre("ProviderInternet up"));
    row.isUp = 2;
    EXPECT_THAT(at(2), ElementsAre("ProviderInternet up"));
}

TEST_F(StatusKeeperTest, ARowThatGetsAnotherInterfaceFollowsThat) {
    StatusRow& row = addRow("ProviderInternet", "eth1");
    link(true);
    at(0);
    row.interface = "eth2";
    EXPECT_THAT(at(1), ElementsAre("ProviderInternet down"));
}

TEST_F(StatusKeeperTest, AnAddressInPlaceOfAnotherIsWrittenAtOnce) {
    holdDown(1000);
    StatusRow& row = addRow("ProviderInternet", "eth1");
    row.isUp = 1;
    row.address = "192.0.2.1";
    link(true);
    add("192.0.2.1");
    EXPECT_THAT(at(0), IsEmpty());
    remove("192.0.2.1");
    add("198.51.100.1");
    EXPECT_THAT(at(1), ElementsAre("ProviderInternet 198.51.100.1"));
}

TEST_F(StatusKeeperTest, ItIsUpOnlyAfterTheHoldDownTime) {
    holdDown(1000);
    addRow("ProviderInternet", "eth1");
    link(true);
    EXPECT_THAT(at(0), IsEmpty());
    EXPECT_EQ(deadlineMs(), 1000);
    EXPECT_THAT(at(999), IsEmpty());
    EXPECT_THAT(at(1000), ElementsAre("ProviderInternet up"));
    EXPECT_EQ(deadlineMs(), -1);
}

TEST_F(StatusKeeperTest, ItIsDownAtOnce) {
    holdDown(1000);
    addRow("ProviderInternet", "eth1").isUp = 1;
    link(true);
    EXPECT_THAT(at(0), IsEmpty());
    link(false);
    EXPECT_THAT(at(1), ElementsAre("ProviderInternet down"));
}

TEST_F(StatusKeeperTest, ALossDuringTheHoldDownTimeStartsItAnew) {
    holdDown(1000);
    addRow("ProviderInternet", "eth1");
    link(true);
    at(0);
    link(false);
    at(500);
    EXPECT_EQ(deadlineMs(), -1);
    link(true);
    EXPECT_THAT(at(600), IsEmpty());
    EXPECT_THAT(at(1599), IsEmpty());
    EXPECT_THAT(at(1600), ElementsAre("ProviderInternet up"));
}

TEST_F(StatusKeeperTest, ALossTooShortToBeLookedAtStartsTheHoldDownTimeAnewToo) {
    holdDown(1000);
    addRow("ProviderInternet", "eth1");
    link(true);
    at(0);
    link(false);
    link(true);
    at(900);
    EXPECT_THAT(at(1000), IsEmpty());
    EXPECT_THAT(at(1900), ElementsAre("ProviderInternet up"));
}

TEST_F(StatusKeeperTest, ALossTooShortToBeLookedAtDoesNotTakeAnUpInterfaceDown) {
    holdDown(1000);
    addRow("ProviderInternet", "eth1").isUp = 1;
    link(true);
    at(0);
    link(false);
    link(true);
    EXPECT_THAT(at(1), IsEmpty());
}

TEST_F(StatusKeeperTest, AnAddressCountsOnlyAfterTheHoldDownTime) {
    holdDown(1000);
    addRow("ProviderInternet", "eth1").isUp = 1;
    link(true);
    at(0);
    add("192.0.2.1");
    EXPECT_THAT(at(100), IsEmpty());
    EXPECT_EQ(deadlineMs(), 1100);
    EXPECT_THAT(at(1100), ElementsAre("ProviderInternet 192.0.2.1"));
}

TEST_F(StatusKeeperTest, ALostAddressIsWrittenAtOnceAndItsReturnHeldBack) {
    holdDown(1000);
    StatusRow& row = addRow("ProviderInternet", "eth1");
    row.isUp = 1;
    row.address = "192.0.2.1";
    link(true);
    add("192.0.2.1");
    EXPECT_THAT(at(0), IsEmpty());
    remove("192.0.2.1");
    EXPECT_THAT(at(10), ElementsAre("ProviderInternet 0.0.0.0"));
    add("192.0.2.1");
    EXPECT_THAT(at(20), IsEmpty());
    EXPECT_THAT(at(1020), ElementsAre("ProviderInternet 192.0.2.1"));
}

TEST_F(StatusKeeperTest, TheEarliestDeadlineIsTheDeadline) {
    holdDown(1000);
    addRow("ProviderInternet", "eth1");
    addRow("ProviderVoIP", "eth2");
    link(true, 3, "eth2");
    at(0);
    link(true);
    at(400);
    EXPECT_EQ(deadlineMs(), 1000);
    EXPECT_THAT(at(1000), ElementsAre("ProviderVoIP up"));
    EXPECT_EQ(deadlineMs(), 1400);
}

TEST_F(StatusKeeperTest, AStartFindsAWorkingInterfaceUpWithoutHoldingItBack) {
    holdDown(1000);
    StatusRow& row = addRow("ProviderInternet", "eth1");
    row.isUp = 1;
    row.address = "192.0.2.1";
    addRow("ProviderVoIP", "eth1");
    link(true);
    add("192.0.2.1");
    EXPECT_THAT(at(0), ElementsAre("ProviderVoIP up 192.0.2.1"));
    EXPECT_EQ(deadlineMs(), -1);
}

TEST_F(StatusKeeperTest, AStartHoldsBackWhatTheDatabaseCallsDown) {
    holdDown(1000);
    addRow("ProviderInternet", "eth1");
    link(true);
    add("192.0.2.1");
    EXPECT_THAT(at(0), IsEmpty());
    EXPECT_THAT(at(1000), ElementsAre("ProviderInternet up 192.0.2.1"));
}

TEST_F(StatusKeeperTest, AnInterfaceThatNoRowNamedInBetweenIsLookedAtAnew) {
    holdDown(1000);
    addRow("ProviderInternet", "eth1").isUp = 1;
    link(true);
    at(0);
    rows.front().interface = "off";
    at(1);
    rows.front().interface = "eth1";
    rows.front().isUp = 0;
    EXPECT_THAT(at(2), IsEmpty());
    EXPECT_THAT(at(1002), ElementsAre("ProviderInternet up"));
}

TEST_F(StatusKeeperTest, ADeletedAndRecreatedInterfaceIsHeldBack) {
    holdDown(1000);
    addRow("ProviderInternet", "eth1").isUp = 1;
    link(true);
    at(0);
    table.apply(LinkGone{eth1});
    EXPECT_THAT(at(1), ElementsAre("ProviderInternet down"));
    link(true, 9);
    EXPECT_THAT(at(2), IsEmpty());
    EXPECT_THAT(at(1002), ElementsAre("ProviderInternet up"));
}

} // namespace
