#include "gateways.h"
#include "pacerctl/snapshot.h"
#include "pacerctl/snapshotclient.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

namespace pacerctl {

namespace {

using ResultCode = SnapshotClient::ResultCode;

std::string failureOf(const std::string& text) {
    try {
        parseSnapshot("gateway.json", text);
    } catch (const NoDatabase& error) {
        return error.what();
    }
    return "";
}

TEST(Snapshot, FillsLeftOutColumnsWithTheDatabasesDefaults) {
    const Snapshot snapshot = parseSnapshot("f", R"({"QoSClassification": [{"Id": 3, "Name": "a"}]})");
    const basalt::ValueList& row = snapshot.rows("QoSClassification").at(0);
    EXPECT_EQ(row.getValue("TCPACK"), basalt::Value(0LL));
    EXPECT_EQ(row.getValue("DestIP"), basalt::Value(std::string()));
    EXPECT_TRUE(row.hasValue("Protocol"));
    EXPECT_FALSE(row.hasValue("DSCPMatch"));
}

TEST(Snapshot, KeepsTheTypeThatTheFileHas) {
    const Snapshot snapshot = parseSnapshot(
        "f", R"({"QoSClassification": [{"Id": 1, "DSCPMatch": 46}, {"Id": 2, "DSCPMatch": "46"}]})");
    const Rows& rows = snapshot.rows("QoSClassification");
    EXPECT_EQ(rows.at(0).getValue("DSCPMatch").getDataType().getTypeCode(), 2);
    EXPECT_EQ(rows.at(1).getValue("DSCPMatch").getDataType().getTypeCode(), 4);
}

TEST(Snapshot, OrdersRowsByTheNumberInId) {
    const Snapshot snapshot = parseSnapshot("f", R"({"QoSShaper": [{"Id": 10}, {"Id": 9}, {"Id": 1}]})");
    const Rows& rows = snapshot.rows("QoSShaper");
    ASSERT_EQ(rows.size(), 3U);
    EXPECT_EQ(rows[0].getValue("Id").getInteger(), 1);
    EXPECT_EQ(rows[1].getValue("Id").getInteger(), 9);
    EXPECT_EQ(rows[2].getValue("Id").getInteger(), 10);
}

TEST(Snapshot, LeavesANullColumnAbsent) {
    const Snapshot snapshot = parseSnapshot("f", R"({"QoSClassification": [{"Id": 1, "DSCPMatch": null}]})");
    EXPECT_FALSE(snapshot.rows("QoSClassification").at(0).hasValue("DSCPMatch"));
}

TEST(Snapshot, RemembersNamesThatNothingReads) {
    const Snapshot snapshot =
        parseSnapshot("f", R"({"Nonsense": [], "QoSShaper": [{"Id": 1, "Rate": 3}, {"Rate": 4}]})");
    ASSERT_EQ(snapshot.unknownNames.size(), 2U);
    EXPECT_EQ(snapshot.unknownNames[0].table, "Nonsense");
    EXPECT_EQ(snapshot.unknownNames[1].column, "Rate");
}

TEST(Snapshot, SaysWhereAFileIsNoGatewayFile) {
    EXPECT_EQ(failureOf("{\"QoSShaper\": [}").substr(0, 18), "gateway.json:1:16:");
    EXPECT_NE(failureOf("[]"), "");
    EXPECT_NE(failureOf(R"({"QoSShaper": 3})"), "");
    EXPECT_NE(failureOf(""), "");
}

TEST(Snapshot, SaysWhyAFileCannotBeRead) {
    try {
        readSnapshotFile("/nonexistent/gateway.json");
        FAIL();
    } catch (const NoDatabase& error) {
        EXPECT_STREQ(error.what(), "cannot read '/nonexistent/gateway.json': No such file or directory");
    }
}

TEST(Snapshot, SaysThatThereIsNoServer) {
    try {
        fetchSnapshot("/nonexistent/socket");
        FAIL();
    } catch (const NoDatabase& error) {
        EXPECT_EQ(std::string(error.what()).substr(0, 49),
                  "no configuration server: '/nonexistent/socket' ca");
    }
}

TEST(Snapshot, DropsTheRowsThatThePlatformKeepsFromTheDaemon) {
    Snapshot snapshot = parseSnapshot("f", R"({"QoSShaper": [{"Id": 1, "InterfaceName": "eth0"},
                                                             {"Id": 2, "InterfaceName": "a b"}],
                                               "QoSQueues": [{"Id": 1, "Name": "a b"}]})");
    EXPECT_EQ(snapshot.dropRefusedRows(),
              std::vector<std::string>{
                  "QoSShaper Id=2 does not exist for the daemon: its InterfaceName holds ' '"});
    ASSERT_EQ(snapshot.rows("QoSShaper").size(), 1U);
    EXPECT_EQ(snapshot.rows("QoSShaper")[0].getValue("Id").getInteger(), 1);
    EXPECT_EQ(snapshot.rows("QoSQueues").size(), 1U);
    EXPECT_TRUE(snapshot.dropRefusedRows().empty());
}

TEST(SnapshotClient, AnswersLikeThePlatform) {
    const Snapshot snapshot = test::example("minimal");
    const SnapshotClient client(snapshot);
    unsigned count = 0;
    basalt::ValueList row;
    EXPECT_EQ(client.size("QoSQueues", count), ResultCode::done);
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(client.selectRow("QoSQueues", 1, {}, row), ResultCode::done);
    EXPECT_EQ(row.getValue("Name").getText(), "everything_else");
    EXPECT_EQ(client.selectRow("QoSQueues", 2, {}, row), ResultCode::nothingThere);
    EXPECT_EQ(client.selectKey("QoSQueues", "Id", "1", {}, row), ResultCode::done);
    EXPECT_EQ(row.getValue("Name").getText(), "fast");
    EXPECT_EQ(client.selectKey("QoSQueues", "Id", "01", {}, row), ResultCode::nothingThere);
    EXPECT_EQ(client.size("Nonsense", count), ResultCode::nothingThere);
}

TEST(SnapshotClient, ReturnsTheColumnsAskedFor) {
    const Snapshot snapshot = test::example("minimal");
    basalt::ValueList row;
    EXPECT_EQ(SnapshotClient(snapshot).selectRow("QoSQueues", 0, {"Name"}, row), ResultCode::done);
    EXPECT_EQ(row.size(), 1U);
    EXPECT_TRUE(row.hasValue("Name"));
}

TEST(SnapshotClient, RefusesToWrite) {
    const Snapshot snapshot = test::example("minimal");
    const SnapshotClient client(snapshot);
    EXPECT_EQ(client.updateKey("QoSQueues", "Id", "1", {}), ResultCode::refused);
    EXPECT_EQ(client.updateRow("QoSQueues", 0, {}), ResultCode::refused);
    EXPECT_EQ(client.insertRow("QoSQueues", {}), ResultCode::refused);
    EXPECT_EQ(client.deleteKey("QoSQueues", "Id", "1"), ResultCode::refused);
    EXPECT_EQ(client.deleteAll("QoSQueues"), ResultCode::refused);
    EXPECT_EQ(client.startTransaction(), ResultCode::refused);
}

} // namespace

} // namespace pacerctl
