#include "cfgctltest.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstddef>
#include <string>

namespace cfgctl::test {

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

TEST_F(CfgctlTest, ImportsEveryExample) {
    EXPECT_EQ(output({"import", exampleFile("dsl-tripleplay")}),
              exampleFile("dsl-tripleplay") + ": 63 rows in 7 tables imported\n");
    EXPECT_EQ(output({"import", exampleFile("ethernet-wan")}),
              exampleFile("ethernet-wan") + ": 29 rows in 7 tables imported\n");
    EXPECT_EQ(output({"import", exampleFile("minimal")}),
              exampleFile("minimal") + ": 9 rows in 7 tables imported\n");
}

TEST_F(CfgctlTest, ExportsWhatWasImported) {
    output({"import", exampleFile("minimal")});
    EXPECT_EQ(output({"export"}),
              R"({
  "NetworkSetupNode": [
    {"Id": 1, "Enable": 1, "InterfaceName": "eth1", "ParentInterface": "root", "Type": "WANoE"}
  ],
  "StatusDsl": [
    {"Id": 1, "Status": 0, "StatusString": "No modem"}
  ],
  "StatusNetifWatchLogical": [
    {"Id": 1, "Name": "LocalLAN", "Interface": "eth0", "IsUp": 1, "Addr": "192.168.1.1"},
    {"Id": 2, "Name": "ProviderInternet", "Interface": "eth1", "IsUp": 0, "Addr": "0.0.0.0"}
  ],
  "QoSShaper": [
    {"Id": 1, "Enable": 1, "InterfaceName": "eth1", "ShapeEgress": 1, "ShapeIngress": 0, "ShapingRate": 9500}
  ],
  "QoSQueues": [
    {"Id": 1, "Enable": 1, "Name": "fast", "InterfaceName": "ProviderInternet", "Ingress": 0, "Egress": 1, )"
              R"("TrafficClasses": "1", "BufferLen": 64, "Scheduler": "SP", "WFQWeight": 0, )"
              R"("Precedence": 1, "DropAlgorithm": "DT"},
    {"Id": 2, "Enable": 1, "Name": "everything_else", "InterfaceName": "ProviderInternet", "Ingress": 0, "Egress": 1, )"
              R"("TrafficClasses": "8", "BufferLen": 128, "Scheduler": "SP", "WFQWeight": 0, )"
              R"("Precedence": 8, "DropAlgorithm": "DT"}
  ],
  "QoSClassificationAction": [
    {"Id": 1, "Name": "fast", "DSCPMark": 0, "EthPriorityMark": 0, "TrafficClass": 1, )"
              R"("QueueInterface": "ProviderInternet"}
  ],
  "QoSClassification": [
    {"Id": 1, "Name": "voip", "Enable": 1, "QoSClassificationActionId": 1, "ClassifyInterface": "LocalLAN", )"
              R"("DestIP": "", "DestIPExclude": 0, "SourceIP": "", "SourceIPExclude": 0, )"
              R"("Protocol": "udp", "DestPortRange": "", "DestPortRangeExclude": 0, )"
              R"("SourcePortRange": "", "SourcePortRangeExclude": 0, "TCPACK": 0, )"
              R"("DSCPMatch": 46, "DSCPMatchExclude": 0}
  ]
}
)");
}

TEST_F(CfgctlTest, ExportsTheSameBytesAfterImportingItsExport) {
    for (const char* name : {"dsl-tripleplay", "ethernet-wan", "minimal"}) {
        output({"import", exampleFile(name)});
        const std::string first = output({"export"});
        const OvsdbServer other(SHARE_DIR "/gateway.ovsschema");
        const std::string file = sandbox.write("export.json", first);
        ASSERT_EQ(cfgctl({"--socket", other.socket(), "import", file}).status, 0);
        EXPECT_EQ(cfgctl({"--socket", other.socket(), "export"}).out, first) << name;
    }
}

TEST_F(CfgctlTest, ExportsAwkwardTextsSoThatTheyComeBack) {
    const std::string file = sandbox.write(
        "in.json",
        R"-({"StatusDsl": [{"Id": 1, "StatusString": "\"\\\n\u0001\u007f ü \ud83d\ude00 $(x)"}]})-");
    output({"import", file});
    const std::string first = output({"export", "StatusDsl"});
    output({"import", sandbox.write("out.json", first)});
    EXPECT_EQ(output({"export", "StatusDsl"}), first);
    EXPECT_EQ(
        nlohmann::json::parse(first),
        nlohmann::json::parse(
            R"-({"StatusDsl": [{"Id": 1, "Status": 0, "StatusString": "\"\\\n\u0001\u007f ü \ud83d\ude00 $(x)"}]})-"));
}

TEST_F(CfgctlTest, ExportsAnEmptyDatabase) {
    EXPECT_EQ(output({"export", "StatusDsl", "QoSShaper", "StatusDsl"}),
              "{\n  \"StatusDsl\": [],\n  \"QoSShaper\": []\n}\n");
}

TEST_F(CfgctlTest, ImportReplacesTheTablesThatTheFileNamesAndNoOthers) {
    output({"import", exampleFile("minimal")});
    const std::string queues = output({"export", "QoSQueues"});
    const Outcome outcome =
        run({"import", "-"}, R"({"StatusDsl": [{"Id": 7, "Status": 4}], "QoSShaper": []})");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "standard input: 1 row in 2 tables imported\n");
    EXPECT_EQ(output({"export", "StatusDsl", "QoSShaper"}),
              "{\n"
              "  \"StatusDsl\": [\n"
              "    {\"Id\": 7, \"Status\": 4, \"StatusString\": \"\"}\n"
              "  ],\n"
              "  \"QoSShaper\": []\n"
              "}\n");
    EXPECT_EQ(output({"export", "QoSQueues"}), queues);
}

TEST_F(CfgctlTest, ImportCanMergeRowsIntoATable) {
    EXPECT_EQ(
        run({"import", "-"}, R"({"StatusDsl": [{"Id": 1, "Status": 1}, {"Id": 2, "Status": 2}]})").status, 0);
    EXPECT_EQ(run({"import", "--merge", "-"},
                  R"({"StatusDsl": [{"Id": 3, "Status": 3}, {"Id": 2, "StatusString": "x"}]})")
                  .status,
              0);
    EXPECT_EQ(output({"export", "StatusDsl"}), "{\n"
                                               "  \"StatusDsl\": [\n"
                                               "    {\"Id\": 1, \"Status\": 1, \"StatusString\": \"\"},\n"
                                               "    {\"Id\": 2, \"Status\": 0, \"StatusString\": \"x\"},\n"
                                               "    {\"Id\": 3, \"Status\": 3, \"StatusString\": \"\"}\n"
                                               "  ]\n"
                                               "}\n");
}

TEST_F(CfgctlTest, ImportOfNothingChangesNothing) {
    output({"import", exampleFile("minimal")});
    const std::string before = output({"export"});
    EXPECT_EQ(run({"import", "-"}, "{}").out, "standard input: 0 rows in 0 tables imported\n");
    EXPECT_EQ(output({"export"}), before);
}

TEST_F(CfgctlTest, DryRunChecksAndChangesNothing) {
    const std::string before = output({"export"});
    EXPECT_EQ(output({"import", "--dry-run", exampleFile("minimal")}),
              exampleFile("minimal") + ": 9 rows in 7 tables checked\n");
    EXPECT_EQ(run({"import", "--dry-run", "-"}, R"({"StatusDsl": [{"Id": 0}]})").status, 1);
    EXPECT_EQ(output({"export"}), before);
}

TEST_F(CfgctlTest, RefusedImportNamesFileTableRowColumnAndWhatIsAllowed) {
    const std::string file = sandbox.write("dsl.json", R"({"QoSQueues": [
        {"Id": 14, "Enable": 1, "Name": "x", "InterfaceName": "LocalLAN", "TrafficClasses": "1", "BufferLen": 1,
         "Scheduler": "sp", "DropAlgorithm": "DT"}]})");
    const Outcome outcome = run({"import", file});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "cfgctl: " + file +
                               R"(: QoSQueues row 1 (Id 14): column "Scheduler": "sp" is not allowed; )"
                               "allowed: one of \"SP\", \"WFQ\"\n");
}

TEST_F(CfgctlTest, RefusesUnknownTablesColumnsAndTypes) {
    expectRefused(R"({"StatusDSL": []})",
                  "cfgctl: standard input: unknown table \"StatusDSL\"; the database has NetworkSetupNode, "
                  "QoSClassification, QoSClassificationAction, QoSQueues, QoSShaper, StatusDsl, "
                  "StatusNetifWatchLogical\n");
    expectRefused(
        R"({"StatusDsl": [{"Id": 1, "State": 4}]})",
        "cfgctl: standard input: StatusDsl row 1 (Id 1): unknown column \"State\"; the table has Id, Status, "
        "StatusString\n");
    expectRefused(R"({"StatusDsl": [{"Id": 1, "Status": "4"}]})",
                  "cfgctl: standard input: StatusDsl row 1 (Id 1): column \"Status\": \"4\" is not an "
                  "integer; allowed: "
                  "an integer from 0 to 255\n");
    expectRefused(
        R"({"StatusDsl": [{"Id": 1, "Status": [4]}]})",
        "cfgctl: standard input: StatusDsl row 1 (Id 1): column \"Status\": [4] is not an integer; allowed: "
        "an integer from 0 to 255\n");
    expectRefused(
        R"({"StatusDsl": [{"Id": 1, "_uuid": "x"}]})",
        "cfgctl: standard input: StatusDsl row 1 (Id 1): unknown column \"_uuid\"; the table has Id, Status, "
        "StatusString\n");
}

TEST_F(CfgctlTest, RefusesARowThatDoesNotSayWhetherItIsEnabled) {
    expectRefused(
        R"({"QoSShaper": [{"Id": 1, "InterfaceName": "ptm0", "ShapingRate": 1}]})",
        "cfgctl: standard input: QoSShaper row 1 (Id 1): column \"Enable\" is missing; allowed: an integer "
        "from 0 to 1\n");
}

TEST_F(CfgctlTest, RefusesTheSameIdTwice) {
    expectRefused(R"({"StatusDsl": [{"Id": 1}, {"Id": 2}, {"Id": 1}]})",
                  "cfgctl: standard input: StatusDsl row 3 (Id 1): row 1 has the same Id\n");
}

TEST_F(CfgctlTest, RefusesWhatIsNoJsonByLineAndColumn) {
    expectRefused(
        "{\"StatusDsl\": [\n  {\"Id\": 1}\n  {\"Id\": 2}\n]}",
        "cfgctl: standard input:3:3: syntax error while parsing array - unexpected '{'; expected ']'\n");
}

TEST_F(CfgctlTest, ShowsTheFirstComplaintsOfManyAndCountsTheRest) {
    std::string json = R"({"StatusDsl": [{"Id": 0})";
    for (int i = 1; i < 25; ++i) {
        json += R"(, {"Id": 0, "Status": 999})";
    }
    const Outcome outcome = run({"import", "-"}, json + "]}");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err,
                StartsWith("cfgctl: standard input: StatusDsl row 1 (Id 0): column \"Id\": 0 is not"));
    // 25 wrong Ids, 24 wrong values, 24 repeated Ids
    EXPECT_THAT(outcome.err, EndsWith("\ncfgctl: and 53 more\n"));
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 21);
}

TEST_F(CfgctlTest, RefusedImportLeavesEverythingAsItWas) {
    output({"import", exampleFile("dsl-tripleplay")});
    const std::string before = output({"export"});
    const std::string text = zel::test::run({"cat", exampleFile("ethernet-wan")}).out;
    const nlohmann::json good = nlohmann::json::parse(text);
    std::size_t tried = 0;
    for (const auto& [table, rows] : good.items()) {
        nlohmann::json bad = good;
        bad[table].back()["Id"] = 0;
        EXPECT_EQ(run({"import", "-"}, bad.dump()).status, 1) << table;
        ++tried;
    }
    EXPECT_EQ(tried, 7U);
    EXPECT_EQ(run({"import", "-"}, text.substr(0, text.size() / 2)).status, 1);
    EXPECT_EQ(output({"export"}), before);
}

// The server has the last word: what only it can see undoes the whole import, too.
TEST_F(CfgctlTest, ImportIsOneTransaction) {
    const std::string schema =
        sandbox.write("strict.ovsschema", R"({"name": "Gateway", "version": "1.0.0", "tables": {
        "A": {"columns": {"Id": {"type": "integer"}}, "isRoot": true},
        "B": {"columns": {"Id": {"type": "integer"}}, "isRoot": true, "maxRows": 1}}})");
    const OvsdbServer strict(schema);
    const std::vector<std::string> import = {"--socket", strict.socket(), "import", "-"};
    ASSERT_EQ(cfgctl(import, R"({"A": [{"Id": 1}], "B": [{"Id": 1}]})").status, 0);
    const Outcome outcome = cfgctl(import, R"({"A": [{"Id": 2}], "B": [{"Id": 2}, {"Id": 3}]})");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, StartsWith("cfgctl: the database refused it: "));
    EXPECT_THAT(outcome.err, HasSubstr("schema-defined limit of 1 row"));
    EXPECT_EQ(cfgctl({"--socket", strict.socket(), "export"}).out,
              "{\n  \"A\": [\n    {\"Id\": 1}\n  ],\n  \"B\": [\n    {\"Id\": 1}\n  ]\n}\n");
}

TEST_F(CfgctlTest, SaysThatAFileCannotBeRead) {
    const Outcome absent = run({"import", sandbox.path("none.json")});
    EXPECT_EQ(absent.status, 1);
    EXPECT_EQ(absent.err, "cfgctl: " + sandbox.path("none.json") + ": No such file or directory\n");
    const Outcome directory = run({"import", "/"});
    EXPECT_EQ(directory.status, 1);
    EXPECT_EQ(directory.err, "cfgctl: /: Is a directory\n");
}

} // namespace

} // namespace cfgctl::test
