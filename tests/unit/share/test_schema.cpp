#include "ovsdb/session.h"
#include "process/ovsdbserver.h"
#include "sharefiles.h"
#include "zel/gatewaytables.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

using gateway::Json;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAreArray;

// For one column: values at the edges of what is allowed, and the nearest that are not.
struct ColumnCase {
    const char* table;
    const char* column;
    std::vector<Json> allowed;
    std::vector<Json> refused;
};

std::string letters(std::size_t count) {
    return std::string(count, 'x');
}

Json nothing() {
    return Json::array({"set", Json::array()});
}

const std::vector<Json> ids = {1, 2147483647};
const std::vector<Json> noIds = {0, -1, 2147483648LL};
const std::vector<Json> flags = {0, 1};
const std::vector<Json> noFlags = {-1, 2};
const std::vector<Json> interfaces = {"x", letters(15)};
const std::vector<Json> noInterfaces = {"", letters(16)};
const std::vector<Json> names = {"x", letters(64)};
const std::vector<Json> noNames = {"", letters(65)};
const std::vector<Json> logicalNames = {"ProviderInternet", "ProviderIPTV", "ProviderVoIP",
                                        "ProviderTR069",    "LocalLAN",     "LocalLoopback"};
const std::vector<Json> noLogicalNames = {"", "providerinternet", "ProviderInternet2", "LocalGuest"};

std::vector<ColumnCase> columnCases() {
    return {
        {"NetworkSetupNode", "Id", ids, noIds},
        {"NetworkSetupNode", "Enable", flags, noFlags},
        {"NetworkSetupNode", "InterfaceName", interfaces, noInterfaces},
        {"NetworkSetupNode", "ParentInterface", interfaces, noInterfaces},
        {"NetworkSetupNode",
         "Type",
         {"XDSL", "MPoA", "WANoE", "VLAN", "PPP", "Ethernet", "WLAN", "Bridge", "Tunnel", "Loopback"},
         {"", "xdsl", "MPOA", "WANOE", "Vlan"}},

        {"StatusDsl", "Id", ids, noIds},
        {"StatusDsl", "Status", {0, 4, 255}, {-1, 256}},
        {"StatusDsl", "StatusString", {"", letters(64), "Gerät ist bereit"}, {letters(65)}},

        {"StatusNetifWatchLogical", "Id", ids, noIds},
        {"StatusNetifWatchLogical", "Name", logicalNames, noLogicalNames},
        {"StatusNetifWatchLogical", "Interface", {"off", letters(15)}, noInterfaces},
        {"StatusNetifWatchLogical", "IsUp", flags, noFlags},
        {"StatusNetifWatchLogical",
         "Addr",
         {"0.0.0.0", "255.255.255.255"},
         {"", "0.0.0.", "255.255.255.255 "}},

        {"QoSShaper", "Id", ids, noIds},
        {"QoSShaper", "Enable", flags, noFlags},
        {"QoSShaper", "InterfaceName", interfaces, noInterfaces},
        {"QoSShaper", "ShapeEgress", flags, noFlags},
        {"QoSShaper", "ShapeIngress", flags, noFlags},
        {"QoSShaper", "ShapingRate", {1, 10000000}, {0, -1, 10000001}},

        {"QoSQueues", "Id", ids, noIds},
        {"QoSQueues", "Enable", flags, noFlags},
        {"QoSQueues", "Name", names, noNames},
        {"QoSQueues", "InterfaceName", logicalNames, noLogicalNames},
        {"QoSQueues", "Ingress", flags, noFlags},
        {"QoSQueues", "Egress", flags, noFlags},
        {"QoSQueues", "TrafficClasses", {"1", "0,1,2", letters(64)}, {"", letters(65)}},
        {"QoSQueues", "BufferLen", {1, 65535}, {0, 65536}},
        {"QoSQueues", "Scheduler", {"SP", "WFQ"}, {"", "sp", "WRR"}},
        {"QoSQueues", "WFQWeight", {0, 1000}, {-1, 1001}},
        {"QoSQueues", "Precedence", {0, 8, 15}, {-1, 16}},
        {"QoSQueues", "DropAlgorithm", {"DT", "RED"}, {"", "dt", "WRED"}},

        {"QoSClassificationAction", "Id", ids, noIds},
        {"QoSClassificationAction", "Name", names, noNames},
        {"QoSClassificationAction", "DSCPMark", {-1, 0, 63}, {-2, 64}},
        {"QoSClassificationAction", "EthPriorityMark", {-1, 0, 7}, {-2, 8}},
        {"QoSClassificationAction", "TrafficClass", {0, 255}, {-1, 256}},
        {"QoSClassificationAction", "QueueInterface", logicalNames, noLogicalNames},

        {"QoSClassification", "Id", ids, noIds},
        {"QoSClassification", "Name", names, noNames},
        {"QoSClassification", "Enable", flags, noFlags},
        {"QoSClassification", "QoSClassificationActionId", ids, noIds},
        {"QoSClassification", "ClassifyInterface", logicalNames, noLogicalNames},
        {"QoSClassification", "DestIP", {"", "2001:db8::1/128", letters(64)}, {letters(65)}},
        {"QoSClassification", "DestIPExclude", flags, noFlags},
        {"QoSClassification", "SourceIP", {"", "192.0.2.0/24", letters(64)}, {letters(65)}},
        {"QoSClassification", "SourceIPExclude", flags, noFlags},
        {"QoSClassification", "Protocol", {"udp", "tcp", "igmp"}, {"", "UDP", "icmp"}},
        {"QoSClassification", "DestPortRange", {"", "65534:65535"}, {"65534:655350"}},
        {"QoSClassification", "DestPortRangeExclude", flags, noFlags},
        {"QoSClassification", "SourcePortRange", {"", "65534:65535"}, {"65534:655350"}},
        {"QoSClassification", "SourcePortRangeExclude", flags, noFlags},
        {"QoSClassification", "TCPACK", flags, noFlags},
        {"QoSClassification",
         "DSCPMatch",
         {-1, 0, 63, nothing()},
         {-2, 64, Json::array({"set", {1, 2}}), "46"}},
        {"QoSClassification", "DSCPMatchExclude", flags, noFlags},
    };
}

// A row that the schema takes.
Json validRow(const std::string& table) {
    static const Json rows = {
        {"NetworkSetupNode",
         {{"Id", 5},
          {"Enable", 1},
          {"InterfaceName", "ptm0"},
          {"ParentInterface", "root"},
          {"Type", "XDSL"}}},
        {"StatusDsl", {{"Id", 5}, {"Status", 4}, {"StatusString", "Showtime"}}},
        {"StatusNetifWatchLogical",
         {{"Id", 5}, {"Name", "LocalLAN"}, {"Interface", "br0"}, {"IsUp", 1}, {"Addr", "192.168.1.1"}}},
        {"QoSShaper", {{"Id", 5}, {"Enable", 1}, {"InterfaceName", "ptm0"}, {"ShapingRate", 20000}}},
        {"QoSQueues",
         {{"Id", 5},
          {"Enable", 1},
          {"Name", "voice"},
          {"InterfaceName", "ProviderVoIP"},
          {"TrafficClasses", "1"},
          {"BufferLen", 32},
          {"Scheduler", "SP"},
          {"DropAlgorithm", "DT"}}},
        {"QoSClassificationAction", {{"Id", 5}, {"Name", "voice"}, {"QueueInterface", "ProviderVoIP"}}},
        {"QoSClassification",
         {{"Id", 5},
          {"Name", "voice"},
          {"Enable", 1},
          {"QoSClassificationActionId", 1},
          {"ClassifyInterface", "LocalLAN"},
          {"Protocol", "udp"}}},
    };
    return rows.at(table);
}

class QuietObserver final : public ovsdb::SessionObserver {
  public:
    void onOutage(const std::string& reason) override { ADD_FAILURE() << reason; }
    void onRecovery() override {}
    void onSchema(const ovsdb::DatabaseSchema& /*schema*/) override {}
};

class Schema : public ::testing::Test {
  protected:
    // Puts the row into its empty table and takes it out again. The server's error, "" if there was none.
    std::string insert(const std::string& table, const Json& row) {
        ovsdb::Transaction transaction;
        transaction.insert(table, row);
        const std::string error = transact(transaction);
        ovsdb::Transaction cleanUp;
        cleanUp.remove(table, Json::array());
        EXPECT_EQ(transact(cleanUp), "");
        return error;
    }

    std::string transact(const ovsdb::Transaction& transaction) {
        const ovsdb::TransactResult result = session_.transact(transaction);
        EXPECT_EQ(result.status, ovsdb::TransactResult::Status::answered);
        return ovsdb::findError(result.results).error;
    }

  private:
    static ovsdb::SessionOptions options(const std::string& socket) {
        ovsdb::SessionOptions options;
        options.socketPath = socket;
        options.database = "Gateway";
        return options;
    }

    zel::test::OvsdbServer server_{gateway::test::schemaFile()};
    QuietObserver observer_;
    ovsdb::Session session_{options(server_.socket()), observer_};
};

TEST(SchemaFile, HasTheTablesAndColumnsThatThePlatformReadsAndNoOthers) {
    const ovsdb::DatabaseSchema schema = gateway::test::schema();
    EXPECT_EQ(schema.name, zel::cfg::gatewayDatabase);
    EXPECT_EQ(schema.tables.size(), zel::cfg::gatewayTables().size());
    for (const zel::cfg::GatewayTable& table : zel::cfg::gatewayTables()) {
        std::vector<std::string> expected;
        for (const zel::cfg::GatewayColumn& column : table.columns) {
            expected.emplace_back(column.name);
        }
        std::vector<std::string> found;
        ASSERT_NE(schema.findTable(table.name), nullptr) << table.name;
        for (const auto& [name, type] : schema.findTable(table.name)->columns) {
            found.push_back(name);
        }
        EXPECT_THAT(found, UnorderedElementsAreArray(expected)) << table.name;
    }
}

TEST(SchemaFile, MakesTheIdUniqueInEachTableAndKeepsAllRows) {
    const Json json = ovsdb::parseJson(gateway::test::readSourceFile("share/gateway.ovsschema"));
    for (const auto& [name, table] : json.at("tables").items()) {
        EXPECT_EQ(table.at("indexes"), Json::parse(R"([["Id"]])")) << name;
        EXPECT_EQ(table.at("isRoot"), true) << name;
    }
}

TEST_F(Schema, TakesARowThatNamesOnlyWhatItMust) {
    for (const zel::cfg::GatewayTable& table : zel::cfg::gatewayTables()) {
        EXPECT_EQ(insert(table.name, validRow(table.name)), "") << table.name;
    }
}

TEST_F(Schema, TakesTheEdgesOfEveryColumnAndRefusesWhatLiesBeyond) {
    std::set<std::pair<std::string, std::string>> seen;
    for (const ColumnCase& each : columnCases()) {
        seen.emplace(each.table, each.column);
        for (const Json& value : each.allowed) {
            Json row = validRow(each.table);
            row[each.column] = value;
            EXPECT_EQ(insert(each.table, row), "") << each.table << "." << each.column << " = " << value;
        }
        for (const Json& value : each.refused) {
            Json row = validRow(each.table);
            row[each.column] = value;
            EXPECT_NE(insert(each.table, row), "") << each.table << "." << each.column << " = " << value;
        }
    }
    for (const auto& [name, table] : gateway::test::schema().tables) {
        for (const auto& [column, type] : table.columns) {
            EXPECT_EQ(seen.count({name, column}), 1U) << "no case for " << name << "." << column;
        }
    }
}

TEST_F(Schema, RefusesATextWhereANumberBelongsAndTheOtherWayRound) {
    for (const zel::cfg::GatewayTable& table : zel::cfg::gatewayTables()) {
        for (const zel::cfg::GatewayColumn& column : table.columns) {
            Json row = validRow(table.name);
            const bool isText = gateway::test::schema().findColumn(table.name, column.name)->key.type ==
                                ovsdb::AtomType::string;
            row[column.name] = isText ? Json(1) : Json("1");
            EXPECT_NE(insert(table.name, row), "") << table.name << "." << column.name;
        }
    }
}

TEST_F(Schema, RefusesASecondRowWithTheSameId) {
    ovsdb::Transaction transaction;
    transaction.insert("StatusDsl", validRow("StatusDsl"));
    transaction.insert("StatusDsl", validRow("StatusDsl"));
    EXPECT_EQ(transact(transaction), "constraint violation");
}

TEST_F(Schema, TakesTheSameIdInDifferentTables) {
    ovsdb::Transaction transaction;
    for (const zel::cfg::GatewayTable& table : zel::cfg::gatewayTables()) {
        transaction.insert(table.name, validRow(table.name));
    }
    EXPECT_EQ(transact(transaction), "");
}

} // namespace
