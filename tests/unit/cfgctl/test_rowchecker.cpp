#include "columns.h"
#include "config/rowchecker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace gateway::test {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const ovsdb::DatabaseSchema& database() {
    static const ovsdb::DatabaseSchema schema = schemaOf(R"({
        "QoSQueues": {
            "Id": {"key": {"type": "integer", "minInteger": 1, "maxInteger": 99}},
            "Enable": {"key": {"type": "integer", "minInteger": 0, "maxInteger": 1}},
            "Scheduler": {"key": {"type": "string", "enum": ["set", ["SP", "WFQ"]]}},
            "Weight": {"key": {"type": "integer", "minInteger": 0, "maxInteger": 100}},
            "Limit": {"key": "integer", "min": 0, "max": 1}
        },
        "QoSShaper": {"Id": "integer", "InterfaceName": "string"},
        "StatusDsl": {"Id": "integer"}
    })");
    return schema;
}

Complaints complaintsAbout(const std::string& text) {
    Complaints complaints;
    checkFile(database(), parseGatewayFile("dsl.json", text), "dsl.json", complaints);
    return complaints;
}

TEST(CheckFile, FillsInTheDefaults) {
    Complaints complaints;
    const auto tables = checkFile(
        database(), parseGatewayFile("f", R"({"QoSQueues": [{"Id": 3, "Enable": 1, "Scheduler": "SP"}]})"),
        "f", complaints);
    EXPECT_THAT(complaints, IsEmpty());
    ASSERT_EQ(tables.size(), 1U);
    EXPECT_EQ(tables[0].name, "QoSQueues");
    EXPECT_THAT(tables[0].rows,
                ElementsAre(Json::parse(
                    R"({"Id": 3, "Enable": 1, "Scheduler": "SP", "Weight": 0, "Limit": ["set", []]})")));
    EXPECT_THAT(tables[0].places, ElementsAre("f: QoSQueues row 1 (Id 3)"));
}

TEST(CheckFile, NamesFileTableRowColumnAndWhatIsAllowedThere) {
    EXPECT_THAT(complaintsAbout(R"({"QoSQueues": [{"Id": 3, "Enable": 1, "Scheduler": "SP"},
                                                  {"Id": 14, "Enable": 1, "Scheduler": "sp"}]})"),
                ElementsAre(R"(dsl.json: QoSQueues row 2 (Id 14): column "Scheduler": "sp" is not allowed; )"
                            R"(allowed: one of "SP", "WFQ")"));
}

TEST(CheckFile, ComplainsAboutEachWrongValueAtOnce) {
    EXPECT_THAT(complaintsAbout(R"({"QoSQueues": [{"Id": "1", "Enable": 7, "Scheduler": "SP"}]})"),
                ElementsAre(R"(dsl.json: QoSQueues row 1: column "Id": "1" is not an integer; )"
                            "allowed: an integer from 1 to 99",
                            R"(dsl.json: QoSQueues row 1: column "Enable": 7 is not allowed; )"
                            "allowed: an integer from 0 to 1"));
}

TEST(CheckFile, ComplainsAboutAColumnThatHasNoDefaultAndIsNotNamed) {
    EXPECT_THAT(
        complaintsAbout(R"({"QoSQueues": [{"Enable": 1, "Scheduler": "SP"}]})"),
        ElementsAre(
            R"(dsl.json: QoSQueues row 1: column "Id" is missing; allowed: an integer from 1 to 99)"));
    EXPECT_THAT(complaintsAbout(R"({"QoSQueues": [{"Id": 1, "Scheduler": "SP"}]})"),
                ElementsAre(R"(dsl.json: QoSQueues row 1 (Id 1): column "Enable" is missing; )"
                            "allowed: an integer from 0 to 1"));
}

TEST(CheckFile, ComplainsAboutUnknownColumns) {
    EXPECT_THAT(complaintsAbout(R"({"StatusDsl": [{"Id": 1, "id": 2}]})"),
                ElementsAre(R"(dsl.json: StatusDsl row 1 (Id 1): unknown column "id"; the table has Id)"));
}

TEST(CheckFile, ComplainsAboutUnknownTablesAndGoesOn) {
    EXPECT_THAT(
        complaintsAbout(R"({"QosQueues": [{"Id": 1}], "StatusDsl": [{"Id": true}]})"),
        ElementsAre(
            R"(dsl.json: unknown table "QosQueues"; the database has QoSQueues, QoSShaper, StatusDsl)",
            R"(dsl.json: StatusDsl row 1: column "Id": true is not an integer; )"
            "allowed: an integer"));
}

TEST(CheckFile, ComplainsAboutWordsThatAShellWouldInterpret) {
    EXPECT_THAT(
        complaintsAbout(R"({"QoSShaper": [{"Id": 1, "InterfaceName": "eth0"},
                                                  {"Id": 2, "InterfaceName": "eth0;reboot"},
                                                  {"Id": 3, "InterfaceName": "-eth0"}]})"),
        ElementsAre(
            "dsl.json: QoSShaper row 2 (Id 2): column \"InterfaceName\" holds ';', and becomes part of "
            "a command line; allowed: letters, digits and . _ : / , + @ % = -, no - in front, at most "
            "15 characters",
            "dsl.json: QoSShaper row 3 (Id 3): column \"InterfaceName\" begins with '-', and becomes "
            "part of a command line; allowed: letters, digits and . _ : / , + @ % = -, no - in front, "
            "at most 15 characters"));
}

TEST(CheckFile, ComplainsAboutAnIdThatIsUsedTwice) {
    EXPECT_THAT(complaintsAbout(R"({"StatusDsl": [{"Id": 4}, {"Id": 5}, {"Id": 4}]})"),
                ElementsAre("dsl.json: StatusDsl row 3 (Id 4): row 1 has the same Id"));
}

TEST(CheckFile, TakesNothingForAnOptionalColumnOnly) {
    EXPECT_THAT(
        complaintsAbout(R"({"QoSQueues": [{"Id": 1, "Enable": 1, "Scheduler": "SP", "Limit": null}]})"),
        IsEmpty());
    EXPECT_THAT(complaintsAbout(R"({"StatusDsl": [{"Id": null}]})"),
                ElementsAre("dsl.json: StatusDsl row 1: column \"Id\": nothing is not an integer; "
                            "allowed: an integer"));
}

TEST(ChangedColumns, AddsNothingToWhatIsNamed) {
    Complaints complaints;
    const ovsdb::TableSchema& table = *database().findTable("QoSQueues");
    EXPECT_EQ(changedColumns("QoSQueues", table, {{"Weight", 5}}, "QoSQueues", complaints),
              Json::parse(R"({"Weight": 5})"));
    EXPECT_THAT(complaints, IsEmpty());
}

TEST(ChangedColumns, ComplainsAboutTheNewValues) {
    Complaints complaints;
    const ovsdb::TableSchema& table = *database().findTable("QoSQueues");
    changedColumns("QoSQueues", table, {{"Weight", 101}, {"Wait", 1}}, "QoSQueues", complaints);
    EXPECT_THAT(
        complaints,
        ElementsAre(
            R"(QoSQueues: column "Weight": 101 is not allowed; allowed: an integer from 0 to 100)",
            R"(QoSQueues: unknown column "Wait"; the table has Enable, Id, Limit, Scheduler, Weight)"));
}

} // namespace

} // namespace gateway::test
