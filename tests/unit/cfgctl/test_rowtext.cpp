#include "columns.h"
#include "config/rowtext.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace gateway::test {

namespace {

using basalt::Value;
using basalt::ValueList;
using ::testing::ElementsAre;

const std::string uuid = "11111111-2222-3333-4444-555555555555";

ValueList dsl(long long status, const std::string& text) {
    return ValueList({{"Id", Value(1LL)}, {"Status", Value(status)}, {"StatusString", Value(text)}});
}

TEST(ChangeText, NamesWhatChangedBeforeAndAfter) {
    EXPECT_EQ(changeText({"StatusDsl", uuid, dsl(0, "Idle"), dsl(4, "Showtime")}),
              R"(StatusDsl Id=1 changed Status: 0 -> 4, StatusString: "Idle" -> "Showtime")");
    EXPECT_EQ(changeText({"StatusDsl", uuid, dsl(0, "Idle"), dsl(0, "Training")}),
              R"(StatusDsl Id=1 changed StatusString: "Idle" -> "Training")");
}

TEST(ChangeText, NamesAllOfANewRowAndNothingOfARemovedOne) {
    EXPECT_EQ(changeText({"StatusDsl", uuid, {}, dsl(0, "Idle")}),
              R"(StatusDsl Id=1 added Status: 0, StatusString: "Idle")");
    EXPECT_EQ(changeText({"StatusDsl", uuid, dsl(0, "Idle"), {}}), "StatusDsl Id=1 removed");
}

TEST(ChangeText, SaysNothingWhereAValueCameOrWent) {
    const ValueList without({{"Id", Value(9LL)}});
    const ValueList with({{"Id", Value(9LL)}, {"DSCPMatch", Value(46LL)}});
    EXPECT_EQ(changeText({"QoSClassification", uuid, without, with}),
              "QoSClassification Id=9 changed DSCPMatch: nothing -> 46");
    EXPECT_EQ(changeText({"QoSClassification", uuid, with, without}),
              "QoSClassification Id=9 changed DSCPMatch: 46 -> nothing");
}

TEST(ChangeText, StaysOneLineWhateverTheValue) {
    EXPECT_EQ(changeText({"StatusDsl", uuid, dsl(0, "a"), dsl(0, "b\n\x1b[2J")}),
              R"(StatusDsl Id=1 changed StatusString: "a" -> "b\n\u001b[2J")");
}

TEST(ColumnOrder, IsTheProgramsOwnAndThenByName) {
    const auto schema =
        schemaOf(R"({"StatusDsl": {"Zeta": "string", "StatusString": "string", "Alpha": "string",
                                                   "Status": "integer", "Id": "integer"},
                                     "Foreign": {"Id": "integer", "Delta": "integer"}})");
    EXPECT_THAT(columnOrder("StatusDsl", *schema.findTable("StatusDsl")),
                ElementsAre("Id", "Status", "StatusString", "Alpha", "Zeta"));
    EXPECT_THAT(columnOrder("Foreign", *schema.findTable("Foreign")), ElementsAre("Delta", "Id"));
}

TEST(ColumnOrder, LeavesOutWhatTheDatabaseDoesNotHave) {
    const auto schema = schemaOf(R"({"StatusDsl": {"Status": "integer"}})");
    EXPECT_THAT(columnOrder("StatusDsl", *schema.findTable("StatusDsl")), ElementsAre("Status"));
}

TEST(TableOrder, IsTheProgramsOwnAndThenByName) {
    EXPECT_THAT(tableOrder(schemaOf(R"({"Zoo": {}, "QoSShaper": {}, "Ant": {}, "StatusDsl": {}})")),
                ElementsAre("StatusDsl", "QoSShaper", "Ant", "Zoo"));
}

TEST(ToFileRow, LeavesOutWhatIsEmptyAndWhatIsTheDatabasesOwn) {
    const Json row = Json::parse(R"({"_uuid": ["uuid", "x"], "Name": "", "Limit": ["set", []], "Id": 1})");
    EXPECT_EQ(toFileRow({"Id", "Name", "Limit"}, row), (FileRow{{"Id", 1}, {"Name", ""}}));
}

TEST(SortById, ComparesNumbersAndNotTexts) {
    std::vector<Json> rows = {{{"Id", 10}}, {{"Id", 9}}, {{"Id", -1}}, {{"Name", "x"}}};
    sortById(rows);
    EXPECT_THAT(rows, ElementsAre(Json{{"Id", -1}}, Json{{"Name", "x"}}, Json{{"Id", 9}}, Json{{"Id", 10}}));
}

} // namespace

} // namespace gateway::test
