#include "fakeserver.h"
#include "ovsdb/replica.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

using basalt::ValueList;
using ovsdb::DatabaseSchema;
using ovsdb::Json;
using ovsdb::ProtocolError;
using ovsdb::Replica;
using ovsdb::ReplicaTable;
using ovsdb::Row;
using ovsdb::RowChange;
using zel::test::uuidOf;

DatabaseSchema schema() {
    const Json columns = {{"Id", {{"type", "integer"}}},
                          {"Name", {{"type", "string"}}},
                          {"Mark", {{"type", {{"key", "integer"}, {"min", 0}}}}}};
    return DatabaseSchema::parse(
        {{"name", "Db"}, {"tables", {{"T", {{"columns", columns}}}, {"U", {{"columns", columns}}}}}});
}

// One update of one row of T; null: the row goes.
Json change(int number, const Json& row) {
    const Json update = row.is_null() ? Json{{"old", Json::object()}} : Json{{"new", row}};
    return {{"T", {{uuidOf(number), update}}}};
}

class ReplicaTest : public testing::Test {
  protected:
    std::vector<std::string> names(const std::string& table = "T") const {
        std::vector<std::string> all;
        for (const Row& row : replica.find(table)->rows()) {
            all.push_back(row.values.getValue("Name").getText());
        }
        return all;
    }
    std::vector<RowChange> apply(const Json& updates) { return replica.apply(updates, {}); }

    Replica replica{schema(), {"T", "U", "V"}};
};

TEST_F(ReplicaTest, holds_the_tables_that_the_database_has) {
    ASSERT_NE(replica.find("T"), nullptr);
    EXPECT_TRUE(replica.find("T")->rows().empty());
    EXPECT_EQ(replica.find("V"), nullptr) << "not in the database";
    EXPECT_EQ(Replica(schema(), {"T"}).find("U"), nullptr) << "not asked for";
    EXPECT_TRUE(replica.find("T")->hasColumn("Mark"));
    EXPECT_FALSE(replica.find("T")->hasColumn("mark"));
}

TEST_F(ReplicaTest, keeps_rows_in_ascending_Id_whatever_the_order_of_arrival) {
    apply(change(1, {{"Id", 30}, {"Name", "c"}}));
    apply(change(2, {{"Id", 4}, {"Name", "a"}}));
    apply(change(3, {{"Id", 10}, {"Name", "b"}}));
    apply(change(4, {{"Id", -1}, {"Name", "first"}}));
    EXPECT_EQ(names(), (std::vector<std::string>{"first", "a", "b", "c"}));
    apply(change(2, {{"Id", 31}, {"Name", "a"}}));
    EXPECT_EQ(names(), (std::vector<std::string>{"first", "b", "c", "a"})) << "a row may change its Id";
}

TEST_F(ReplicaTest, orders_rows_that_are_not_numbered_the_same_way_each_time) {
    apply(change(2, {{"Name", "y"}}));
    apply(change(1, {{"Name", "x"}}));
    apply(change(3, {{"Id", "beta"}, {"Name", "b"}}));
    apply(change(4, {{"Id", "alpha"}, {"Name", "a"}}));
    EXPECT_EQ(names(), (std::vector<std::string>{"x", "y", "a", "b"}));
}

TEST_F(ReplicaTest, changes_and_removes_rows) {
    apply(change(1, {{"Id", 1}, {"Name", "a"}, {"Mark", 5}}));
    apply(change(2, {{"Id", 2}, {"Name", "b"}}));
    apply(change(1, {{"Id", 1}, {"Name", "A"}, {"Mark", Json::parse(R"(["set",[]])")}}));
    EXPECT_EQ(names(), (std::vector<std::string>{"A", "b"}));
    EXPECT_FALSE(replica.find("T")->rows()[0].values.hasValue("Mark")) << "the empty set is absent";
    apply(change(1, nullptr));
    EXPECT_EQ(names(), (std::vector<std::string>{"b"}));
    apply(change(1, nullptr));
    EXPECT_EQ(names(), (std::vector<std::string>{"b"})) << "removing what is not there is harmless";
}

TEST_F(ReplicaTest, reports_each_row_before_and_after) {
    std::vector<RowChange> changes = apply(change(1, {{"Id", 1}, {"Name", "a"}}));
    ASSERT_EQ(changes.size(), 1U);
    EXPECT_EQ(changes[0].table, "T");
    EXPECT_EQ(changes[0].uuid, uuidOf(1));
    EXPECT_TRUE(changes[0].before.empty());
    EXPECT_EQ(changes[0].after.getValue("Name").getText(), "a");
    changes = apply(change(1, {{"Id", 1}, {"Name", "b"}}));
    EXPECT_EQ(changes[0].before.getValue("Name").getText(), "a");
    EXPECT_EQ(changes[0].after.getValue("Name").getText(), "b");
    changes = apply(change(1, nullptr));
    EXPECT_EQ(changes[0].before.getValue("Name").getText(), "b");
    EXPECT_TRUE(changes[0].after.empty());
}

TEST_F(ReplicaTest, rows_that_were_handed_out_do_not_change) {
    apply(change(1, {{"Id", 1}, {"Name", "a"}}));
    const ValueList mine = replica.find("T")->rows()[0].values;
    apply(change(1, {{"Id", 1}, {"Name", "b"}}));
    apply(change(1, nullptr));
    EXPECT_EQ(mine.getValue("Name").getText(), "a");
}

TEST_F(ReplicaTest, finds_the_first_row_by_the_text_of_any_column) {
    apply(change(1, {{"Id", 2}, {"Name", "twin"}}));
    apply(change(2, {{"Id", 1}, {"Name", "twin"}}));
    apply(change(3, {{"Id", 3}, {"Name", "7"}, {"Mark", 7}}));
    const ReplicaTable& table = *replica.find("T");
    EXPECT_EQ(table.findFirst("Name", "twin")->values.getValue("Id").getInteger(), 1);
    EXPECT_EQ(table.findFirst("Mark", "7")->values.getValue("Id").getInteger(), 3);
    EXPECT_EQ(table.findFirst("Id", "3")->values.getValue("Name").getText(), "7");
    EXPECT_EQ(table.findFirst("Mark", "")->values.getValue("Id").getInteger(), 1) << "absent reads as empty";
    EXPECT_EQ(table.findFirst("Name", "nobody"), nullptr);
    EXPECT_EQ(table.findFirst("Id", "03"), nullptr) << "keys are compared as text";
}

TEST_F(ReplicaTest, finds_rows_as_they_are_after_an_update) {
    apply(change(1, {{"Id", 1}, {"Name", "a"}}));
    EXPECT_NE(replica.find("T")->findFirst("Name", "a"), nullptr);
    apply(change(1, {{"Id", 1}, {"Name", "b"}}));
    EXPECT_EQ(replica.find("T")->findFirst("Name", "a"), nullptr);
    EXPECT_NE(replica.find("T")->findFirst("Name", "b"), nullptr);
}

TEST_F(ReplicaTest, takes_in_nothing_of_an_update_that_is_broken_anywhere) {
    apply(change(1, {{"Id", 1}, {"Name", "a"}}));
    const Json good = {{uuidOf(1), {{"new", {{"Id", 1}, {"Name", "changed"}}}}}};
    for (const Json& bad :
         {Json{{uuidOf(2), {{"new", {{"Id", nullptr}}}}}}, Json{{"short", {{"new", Json::object()}}}},
          Json{{uuidOf(2), {{"new", 3}}}}, Json{{uuidOf(2), 3}}, Json(3)}) {
        EXPECT_THROW(apply({{"T", good}, {"U", bad}}), ProtocolError) << bad;
        EXPECT_EQ(names(), (std::vector<std::string>{"a"}));
        EXPECT_TRUE(names("U").empty());
    }
    EXPECT_THROW(apply(3), ProtocolError);
}

TEST_F(ReplicaTest, passes_over_tables_that_it_does_not_hold) {
    EXPECT_TRUE(apply({{"Other", {{uuidOf(1), {{"new", Json::object()}}}}}}).empty());
}

TEST_F(ReplicaTest, a_row_that_its_guard_refuses_does_not_exist) {
    const ovsdb::RowGuard guard = [](const std::string& table, const std::string&, const ValueList& row) {
        return table != "T" || row.getValue("Name").getText().find(';') == std::string::npos;
    };
    replica.apply(change(1, {{"Id", 1}, {"Name", "a;b"}}), guard);
    EXPECT_TRUE(names().empty());
    replica.apply(change(1, {{"Id", 1}, {"Name", "a"}}), guard);
    EXPECT_EQ(names(), (std::vector<std::string>{"a"}));
    const auto changes = replica.apply(change(1, {{"Id", 1}, {"Name", "b;c"}}), guard);
    EXPECT_TRUE(names().empty()) << "a row that turns hostile goes";
    EXPECT_EQ(changes[0].before.getValue("Name").getText(), "a");
    EXPECT_TRUE(changes[0].after.empty());
}

TEST_F(ReplicaTest, agrees_with_a_simple_model_over_random_updates) {
    std::mt19937 random(11);
    std::map<int, std::pair<int, std::string>> model; // number -> Id, name
    for (int round = 0; round < 3000; ++round) {
        Json rows = Json::object();
        for (auto count = random() % 6; count > 0; --count) {
            const int number = static_cast<int>(random() % 40);
            if (random() % 3 == 0) {
                rows[uuidOf(number)] = {{"old", Json::object()}};
                model.erase(number);
            } else {
                // Ids are unique, as the database sees to it.
                const int id = number + 100 * static_cast<int>(random() % 5);
                const std::string name = "n" + std::to_string(random() % 1000);
                rows[uuidOf(number)] = {{"new", {{"Id", id}, {"Name", name}}}};
                model[number] = {id, name};
            }
        }
        apply({{"T", rows}});
        std::map<int, std::string> byId;
        for (const auto& [number, idAndName] : model) {
            byId[idAndName.first] = idAndName.second;
        }
        std::vector<std::string> expected;
        for (const auto& [id, name] : byId) {
            expected.push_back(name);
        }
        ASSERT_EQ(names(), expected) << "round " << round;
    }
}

} // namespace
