// Against a real ovsdb-server.
#include "ovsdbserver.h"
#include "platformtest.h"
#include "zel/configclient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zel::test {

namespace {

using basalt::IDataType;
using basalt::Value;
using basalt::ValueList;
using testing::ElementsAre;

ValueList valuesOf(std::vector<ValueList::Entry> entries) {
    return ValueList(std::move(entries));
}

class ConfigClientTest : public PlatformTest {
  protected:
    // Besides the gateway's tables' usual columns, some of every other kind.
    static Json richSchema() {
        Json schema = gatewaySchema();
        Json& columns = schema["tables"]["QoSQueues"]["columns"];
        columns["Real"] = {{"type", "real"}};
        columns["Flag"] = {{"type", "boolean"}};
        columns["Names"] = {{"type", {{"key", "string"}, {"min", 0}, {"max", "unlimited"}}}};
        columns["Pairs"] = {
            {"type", {{"key", "string"}, {"value", "integer"}, {"min", 0}, {"max", "unlimited"}}}};
        columns["Note"] = {{"type", {{"key", "string"}, {"min", 0}, {"max", 1}}}};
        columns["Small"] = {{"type", {{"key", {{"type", "integer"}, {"maxInteger", 9}}}}}};
        return schema;
    }

    void startLive() {
        ASSERT_TRUE(start());
        ASSERT_TRUE(loopUntilCalled("check:"));
        handler.take();
    }
    void waitForChange() {
        ASSERT_TRUE(loopUntil([this] { return !handler.calls.empty(); }));
        handler.take();
    }

    ValueList rowAt(unsigned index, const std::string& table = "QoSQueues") {
        ValueList row;
        EXPECT_EQ(client().selectRow(table, index, {}, row).value(), 0);
        return row;
    }
    std::vector<std::string> namesInServer() {
        std::vector<std::string> names;
        for (const Json& row : other.rows("QoSQueues")) {
            names.push_back(row["Name"].get<std::string>());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    OvsdbServer server{sandbox.path(), socketPath, richSchema()};
    OtherClient other{socketPath};
};

TEST_F(ConfigClientTest, rows_come_in_ascending_Id_with_their_stored_types) {
    other.insert("QoSQueues", {{"Id", 12}, {"Name", "second"}});
    other.insert("QoSQueues", {{"Id", 3}, {"Name", "first"}, {"Precedence", -7}});
    startLive();
    unsigned count = 0;
    EXPECT_EQ(client().size("QoSQueues", count).value(), 0);
    EXPECT_EQ(count, 2U);
    const ValueList row = rowAt(0);
    EXPECT_EQ(row.getValue("Name").getText(), "first");
    EXPECT_EQ(row.getValue("Name").getDataType().getTypeCode(), IDataType::textCode);
    EXPECT_EQ(row.getValue("Precedence").getInteger(), -7);
    EXPECT_EQ(row.getValue("Precedence").getDataType().getTypeCode(), IDataType::integerCode);
    EXPECT_EQ(rowAt(1).getValue("Id").getText(), "12");
    EXPECT_FALSE(row.hasValue("_uuid"));
    EXPECT_FALSE(row.hasValue("_version"));
}

TEST_F(ConfigClientTest, an_empty_optional_column_is_absent) {
    other.insert("QoSClassification", {{"Id", 1}, {"DSCPMatch", 46}});
    other.insert("QoSClassification", {{"Id", 2}});
    startLive();
    EXPECT_EQ(rowAt(0, "QoSClassification").getValue("DSCPMatch").getInteger(), 46);
    EXPECT_FALSE(rowAt(1, "QoSClassification").hasValue("DSCPMatch"));
    EXPECT_EQ(rowAt(1, "QoSClassification").getValue("DSCPMatch").getText(), "");
}

TEST_F(ConfigClientTest, columns_of_other_types_are_read_as_texts_and_numbers) {
    other.insert("QoSQueues",
                 Json::parse(R"({"Id": 1, "Real": 2.5, "Flag": true, "Names": ["set", ["a", "b"]],
                                              "Pairs": ["map", [["x", 1]]], "Note": "n"})"));
    startLive();
    const ValueList row = rowAt(0);
    EXPECT_EQ(row.getValue("Real").getText(), "2.5");
    EXPECT_EQ(row.getValue("Flag").getInteger(), 1);
    EXPECT_EQ(row.getValue("Names").getText(), R"(["set",["a","b"]])");
    EXPECT_EQ(row.getValue("Pairs").getText(), R"(["map",[["x",1]]])");
    EXPECT_EQ(row.getValue("Note").getText(), "n");
}

TEST_F(ConfigClientTest, selectKey_finds_the_first_row_by_text) {
    other.insert("QoSQueues", {{"Id", 5}, {"Name", "twin"}});
    other.insert("QoSQueues", {{"Id", 4}, {"Name", "twin"}});
    startLive();
    ValueList row;
    EXPECT_EQ(client().selectKey("QoSQueues", "Name", "twin", {}, row).value(), 0);
    EXPECT_EQ(row.getValue("Id").getInteger(), 4);
    EXPECT_EQ(client().selectKey("QoSQueues", "Id", "5", {}, row).value(), 0);
    EXPECT_EQ(row.getValue("Id").getInteger(), 5);
}

TEST_F(ConfigClientTest, reads_answer_10_where_there_is_nothing_and_leave_the_result_alone) {
    other.insert("QoSQueues", {{"Id", 1}});
    startLive();
    ValueList row = valuesOf({{"kept", Value(1LL)}});
    const ValueList before = row;
    unsigned count = 77;
    EXPECT_EQ(client().selectKey("QoSQueues", "Name", "nobody", {}, row).value(), 10);
    EXPECT_EQ(client().selectKey("Nowhere", "Name", "x", {}, row).value(), 10);
    EXPECT_EQ(client().selectRow("QoSQueues", 1, {}, row).value(), 10);
    EXPECT_EQ(client().selectRow("Nowhere", 0, {}, row).value(), 10);
    EXPECT_EQ(client().size("Nowhere", count).value(), 10);
    EXPECT_EQ(client().selectKey("QoSQueues", "Colour", "red", {}, row).value(), 11);
    EXPECT_EQ(client().selectRow("QoSQueues", 0, {"Id", "Colour"}, row).value(), 11);
    EXPECT_EQ(row, before);
    EXPECT_EQ(count, 77U);
    EXPECT_EQ(client().size("QoSShaper", count).value(), 0);
    EXPECT_EQ(count, 0U) << "an empty table is there";
}

TEST_F(ConfigClientTest, a_column_selection_gives_those_columns_in_that_order) {
    other.insert("QoSQueues", {{"Id", 1}, {"Name", "x"}});
    startLive();
    ValueList row;
    EXPECT_EQ(client().selectRow("QoSQueues", 0, {"Name", "Note", "Id"}, row).value(), 0);
    EXPECT_EQ(row, valuesOf({{"Name", Value(std::string("x"))}, {"Id", Value(1LL)}}));
    EXPECT_EQ(client().selectKey("QoSQueues", "Name", "x", {"Id"}, row).value(), 0);
    EXPECT_EQ(row, valuesOf({{"Id", Value(1LL)}}));
}

TEST_F(ConfigClientTest, a_row_that_was_read_stays_as_it_was) {
    other.insert("QoSQueues", {{"Id", 1}, {"Name", "x"}});
    startLive();
    ValueList row = rowAt(0);
    row.setValue("Name", Value(std::string("mine")));
    EXPECT_EQ(rowAt(0).getValue("Name").getText(), "x");
    other.update("QoSQueues", 1, {{"Name", "y"}});
    waitForChange();
    EXPECT_EQ(row.getValue("Name").getText(), "mine");
    EXPECT_EQ(rowAt(0).getValue("Name").getText(), "y");
}

TEST_F(ConfigClientTest, writes_reach_the_database_in_the_columns_types) {
    startLive();
    EXPECT_EQ(client()
                  .insertRow("QoSQueues", valuesOf({{"Id", Value(std::string("7"))},
                                                    {"Name", Value(42LL)},
                                                    {"Flag", Value(1LL)},
                                                    {"Real", Value(std::string("1.5"))}}))
                  .value(),
              0);
    const Json row = other.rows("QoSQueues").at(0);
    EXPECT_EQ(row["Id"], 7);
    EXPECT_EQ(row["Name"], "42");
    EXPECT_EQ(row["Flag"], true);
    EXPECT_EQ(row["Real"], 1.5);
}

TEST_F(ConfigClientTest, updates_find_rows_by_key_and_by_index) {
    for (int id : {1, 2, 3}) {
        other.insert("QoSQueues", {{"Id", id}, {"Name", "old"}});
    }
    startLive();
    EXPECT_EQ(
        client().updateKey("QoSQueues", "Id", "2", valuesOf({{"Name", Value(std::string("b"))}})).value(), 0);
    EXPECT_EQ(client().updateRow("QoSQueues", 2, valuesOf({{"Name", Value(std::string("c"))}})).value(), 0);
    EXPECT_THAT(namesInServer(), ElementsAre("b", "c", "old"));
    EXPECT_EQ(
        client().updateKey("QoSQueues", "Name", "old", valuesOf({{"Note", Value(std::string("n"))}})).value(),
        0);
    EXPECT_EQ(client().updateKey("QoSQueues", "Note", "n", valuesOf({{"Note", Value()}})).value(), 0);
    waitForChange();
    loopFor(std::chrono::milliseconds(50));
    EXPECT_FALSE(rowAt(0).hasValue("Note")) << "an empty value empties an optional column";
}

TEST_F(ConfigClientTest, a_key_is_compared_as_text_in_writes_too) {
    other.insert("QoSQueues", {{"Id", 1}, {"Name", "x"}, {"Real", 2}});
    startLive();
    const ValueList change = valuesOf({{"Name", Value(std::string("y"))}});
    EXPECT_EQ(client().updateKey("QoSQueues", "Id", "01", change).value(), 10);
    EXPECT_EQ(client().updateKey("QoSQueues", "Id", "one", change).value(), 10);
    EXPECT_EQ(client().updateKey("QoSQueues", "Real", "2.0", change).value(), 10);
    EXPECT_EQ(client().updateKey("QoSQueues", "Real", "2", change).value(), 0);
    EXPECT_EQ(client().updateKey("QoSQueues", "Note", "", change).value(), 0) << "absent reads as empty";
}

TEST_F(ConfigClientTest, rows_are_deleted_by_key_or_all_together) {
    for (int id : {1, 2, 3}) {
        other.insert("QoSQueues", {{"Id", id}, {"Name", id == 3 ? "b" : "a"}});
    }
    startLive();
    EXPECT_EQ(client().deleteKey("QoSQueues", "Name", "a").value(), 0);
    EXPECT_THAT(namesInServer(), ElementsAre("b"));
    EXPECT_EQ(client().deleteAll("QoSQueues").value(), 0);
    EXPECT_EQ(client().deleteAll("QoSQueues").value(), 0) << "also when there is nothing";
    EXPECT_THAT(namesInServer(), ElementsAre());
}

TEST_F(ConfigClientTest, writes_answer_10_where_there_is_nothing) {
    startLive();
    const ValueList values = valuesOf({{"Name", Value(std::string("x"))}});
    EXPECT_EQ(client().updateKey("QoSQueues", "Id", "1", values).value(), 10);
    EXPECT_EQ(client().updateRow("QoSQueues", 0, values).value(), 10);
    EXPECT_EQ(client().deleteKey("QoSQueues", "Id", "1").value(), 10);
    EXPECT_EQ(client().updateKey("Nowhere", "Id", "1", values).value(), 10);
    EXPECT_EQ(client().updateRow("Nowhere", 0, values).value(), 10);
    EXPECT_EQ(client().insertRow("Nowhere", values).value(), 10);
    EXPECT_EQ(client().deleteKey("Nowhere", "Id", "1").value(), 10);
    EXPECT_EQ(client().deleteAll("Nowhere").value(), 10);
}

TEST_F(ConfigClientTest, wrong_requests_are_answered_for_good) {
    other.insert("QoSQueues", {{"Id", 1}});
    startLive();
    EXPECT_EQ(client().insertRow("QoSQueues", valuesOf({{"Colour", Value(1LL)}})).value(), 11);
    EXPECT_EQ(client().updateKey("QoSQueues", "Colour", "x", {}).value(), 11);
    EXPECT_EQ(client().deleteKey("QoSQueues", "Colour", "x").value(), 11);
    EXPECT_EQ(client().insertRow("QoSQueues", valuesOf({{"Id", Value(std::string("x"))}})).value(), 12);
    EXPECT_EQ(client().insertRow("QoSQueues", valuesOf({{"Id", Value(1LL)}})).value(), 12) << "unique";
    EXPECT_EQ(client().updateKey("QoSQueues", "Id", "1", valuesOf({{"Small", Value(10LL)}})).value(), 12)
        << "range";
    EXPECT_EQ(
        client()
            .insertRow("QoSQueues", valuesOf({{"Id", Value(2LL)}, {"Name", Value(std::string("\xff"))}}))
            .value(),
        12);
    EXPECT_EQ(
        client()
            .insertRow("QoSQueues", valuesOf({{"Id", Value(2LL)}, {"Name", Value(std::string("a\0b", 3))}}))
            .value(),
        12);
    EXPECT_EQ(other.rows("QoSQueues").size(), 1U);
}

TEST_F(ConfigClientTest, a_write_after_an_outage_connects_by_itself) {
    startLive();
    server.stop();
    EXPECT_EQ(client().deleteAll("QoSQueues").value(), 1);
    EXPECT_EQ(client().deleteAll("QoSQueues").value(), 1);
    server.start();
    EXPECT_EQ(client().insertRow("QoSQueues", valuesOf({{"Id", Value(1LL)}})).value(), 0);
    EXPECT_EQ(other.rows("QoSQueues").size(), 1U);
    ASSERT_TRUE(loopUntilCalled("check:QoSClassification"));
    EXPECT_EQ(log.take().size(), 2U);
}

TEST_F(ConfigClientTest, a_read_only_client_refuses_every_write) {
    notification.emplace(socketPath, dispatcher, "platform-test", true, 60U, 500U, true, false);
    notification->initialize();
    EXPECT_EQ(client().deleteAll("QoSQueues").value(), 14);
    EXPECT_EQ(client().insertRow("QoSQueues", {}).value(), 14);
    EXPECT_EQ(client().startTransaction().value(), 14);
    unsigned count = 0;
    EXPECT_EQ(client().size("QoSQueues", count).value(), 0);
}

} // namespace

} // namespace zel::test
