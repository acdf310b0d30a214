// show, set, add and del.

#include "cfgctltest.h"

#include <cstddef>
#include <list>
#include <set>
#include <string>

namespace cfgctl::test {

namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

class Commands : public CfgctlTest {
  protected:
    Commands() { output({"import", exampleFile("dsl-tripleplay")}); }

    void expectFailure(const std::vector<std::string>& command, const std::string& error) const {
        const std::string before = output({"export"});
        const Outcome outcome = run(command);
        EXPECT_EQ(outcome.status, 1) << error;
        EXPECT_EQ(outcome.out, "") << error;
        EXPECT_EQ(outcome.err, "cfgctl: " + error + "\n");
        EXPECT_EQ(output({"export"}), before) << error;
    }
};

TEST_F(Commands, ShowPrintsATable) {
    EXPECT_EQ(output({"show", "StatusNetifWatchLogical"}),
              "StatusNetifWatchLogical (6 rows)\n"
              "                                 Is\n"
              "Id  Name              Interface  Up  Addr\n"
              "--  ----------------  ---------  --  -----------\n"
              " 1  LocalLoopback     lo          1  127.0.0.1\n"
              " 2  LocalLAN          br0         1  192.168.1.1\n"
              " 3  ProviderInternet  ppp0        0  0.0.0.0\n"
              " 4  ProviderIPTV      ptm0.8      0  0.0.0.0\n"
              " 5  ProviderVoIP      ptm0.9      0  0.0.0.0\n"
              " 6  ProviderTR069     ptm0.10     0  0.0.0.0\n");
}

TEST_F(Commands, ShowPrintsSeveralTablesOrAll) {
    EXPECT_EQ(output({"show", "QoSShaper", "StatusDsl"}), "QoSShaper (1 row)\n"
                                                          "            Interface   Shape    Shape  Shaping\n"
                                                          "Id  Enable  Name       Egress  Ingress     Rate\n"
                                                          "--  ------  ---------  ------  -------  -------\n"
                                                          " 1       1  ptm0            1        0    20000\n"
                                                          "\n"
                                                          "StatusDsl (1 row)\n"
                                                          "            Status\n"
                                                          "Id  Status  String\n"
                                                          "--  ------  ------\n"
                                                          " 1       0  Idle\n");
    const std::string all = output({"show"});
    for (const char* heading :
         {"NetworkSetupNode (9 rows)", "StatusDsl (1 row)", "StatusNetifWatchLogical (6 rows)",
          "QoSShaper (1 row)", "QoSQueues (12 rows)", "QoSClassificationAction (11 rows)",
          "QoSClassification (23 rows)"}) {
        EXPECT_THAT(all, HasSubstr(heading));
    }
}

TEST_F(Commands, SetChangesTheRowWithThatKey) {
    EXPECT_EQ(
        output({"set", "StatusNetifWatchLogical", "Name=ProviderInternet", "IsUp=1", "Addr=203.0.113.17"}),
        "StatusNetifWatchLogical: 1 row set\n");
    EXPECT_THAT(output({"show", "StatusNetifWatchLogical"}),
                HasSubstr(" 3  ProviderInternet  ppp0        1  203.0.113.17\n"
                          " 4  ProviderIPTV      ptm0.8      0  0.0.0.0\n"));
}

TEST_F(Commands, SetChangesEveryRowWithThatKey) {
    EXPECT_EQ(output({"set", "QoSQueues", "Scheduler=WFQ", "BufferLen=99"}), "QoSQueues: 5 rows set\n");
}

TEST_F(Commands, SetTakesAValueUpToTheEndWhateverItHolds) {
    output({"set", "StatusDsl", "Id=1", "StatusString=a=b \"c\" -d"});
    EXPECT_THAT(output({"export", "StatusDsl"}), HasSubstr(R"("StatusString": "a=b \"c\" -d")"));
}

TEST_F(Commands, SetFillsAndEmptiesAnOptionalColumn) {
    output({"set", "QoSClassification", "Name=home_softphones", "DSCPMatch="});
    EXPECT_THAT(output({"export", "QoSClassification"}), HasSubstr(R"("TCPACK": 0, "DSCPMatchExclude": 0},
    {"Id": 10,)"));
    EXPECT_EQ(output({"set", "QoSClassification", "Id=9", "DSCPMatch=40"}), "QoSClassification: 1 row set\n");
    EXPECT_THAT(output({"export", "QoSClassification"}), HasSubstr(R"("DSCPMatch": 40, "DSCPMatchExclude": 0},
    {"Id": 10,)"));
}

TEST_F(Commands, SetEmptiesATextWhereThatIsAllowed) {
    output({"set", "StatusDsl", "StatusString=Idle", "StatusString="});
    EXPECT_EQ(output({"set", "StatusDsl", "StatusString=", "Status=1"}), "StatusDsl: 1 row set\n");
    expectFailure({"set", "QoSQueues", "Id=1", "Name="},
                  "QoSQueues: column \"Name\": \"\" is not allowed; allowed: a text from 1 to 64 characters");
}

TEST_F(Commands, SetFindsRowsByAnOptionalColumn) {
    EXPECT_EQ(output({"set", "QoSClassification", "DSCPMatch=46", "DestPortRange=1"}),
              "QoSClassification: 2 rows set\n");
    EXPECT_EQ(output({"set", "QoSClassification", "DSCPMatch=", "DestPortRange=1"}),
              "QoSClassification: 21 rows set\n");
}

TEST_F(Commands, SetFailsIfNoRowHasThatKey) {
    expectFailure({"set", "StatusDsl", "Id=2", "Status=4"}, "StatusDsl: no row where Id is \"2\"");
    expectFailure({"set", "QoSQueues", "Name=Voip_media", "Precedence=4"},
                  "QoSQueues: no row where Name is \"Voip_media\"");
}

TEST_F(Commands, AKeyThatIsNoUtf8FindsNoRow) {
    output({"set", "StatusDsl", "Id=1", "StatusString=a\xEF\xBF\xBD"}); // as which it is shown
    const std::string error = "StatusDsl: no row where StatusString is \"a\xEF\xBF\xBD\"";
    expectFailure({"set", "StatusDsl", "StatusString=a\xff", "Status=4"}, error);
    expectFailure({"del", "StatusDsl", "StatusString=a\xff"}, error);
}

TEST_F(Commands, AMessageIsALineWhateverTheWordsHold) {
    expectFailure({"set", "StatusDsl", "Id=1\n2", "Status=4"}, R"(StatusDsl: no row where Id is "1\n2")");
    expectFailure({"add", "StatusDsl", "Sta\ntus=4"},
                  R"(StatusDsl: unknown column "Sta\ntus"; the table has Id, Status, StatusString)");
    EXPECT_THAT(run({"del", "Status\nDsl", "Id=1"}).err,
                StartsWith(R"(cfgctl: unknown table "Status\nDsl"; )"));
    EXPECT_EQ(run({"add", "StatusDsl", "I\nd"}).err, "cfgctl: \"I\\nd\" is not of the form COLUMN=VALUE\n");
    EXPECT_EQ(run({"add", "StatusDsl", "I\nd=1", "I\nd=2"}).err, "cfgctl: column \"I\\nd\" is given twice\n");
}

TEST_F(Commands, SetComparesKeysAsText) {
    for (const char* key :
         {"Id=01", "Id=+1", "Id= 1", "Id=1.0", "Id=", "Id=one", "Id=99999999999999999999"}) {
        const std::string value = std::string(key).substr(3);
        expectFailure({"set", "StatusDsl", key, "Status=4"},
                      "StatusDsl: no row where Id is \"" + value + "\"");
    }
}

TEST_F(Commands, SetRefusesWhatTheColumnCannotHold) {
    expectFailure({"set", "StatusDsl", "Id=1", "Status=256"},
                  "StatusDsl: column \"Status\": 256 is not allowed; allowed: an integer from 0 to 255");
    expectFailure(
        {"set", "StatusDsl", "Id=1", "Status=up"},
        "StatusDsl: column \"Status\": \"up\" is not an integer; allowed: an integer from 0 to 255");
    expectFailure({"set", "StatusDsl", "Id=1", "Status="},
                  "StatusDsl: column \"Status\": \"\" is not an integer; allowed: an integer from 0 to 255");
    expectFailure(
        {"set", "QoSClassification", "Id=1", "DSCPMatch=64"},
        "QoSClassification: column \"DSCPMatch\": 64 is not allowed; allowed: an integer from -1 to 63, or "
        "nothing");
    expectFailure(
        {"set", "StatusDsl", "Id=1", "StatusString=a\xff"},
        "StatusDsl: column \"StatusString\": \"a\xEF\xBF\xBD\" is not UTF-8; allowed: a text of at most 64 "
        "characters");
}

TEST_F(Commands, UnknownTablesAndColumnsAreErrors) {
    const std::string columns = "; the table has Id, Status, StatusString";
    expectFailure({"set", "StatusDsl", "Id=1", "State=4"}, "StatusDsl: unknown column \"State\"" + columns);
    expectFailure({"set", "StatusDsl", "id=1", "Status=4"}, "StatusDsl: unknown column \"id\"" + columns);
    expectFailure({"add", "StatusDsl", "State=4"}, "StatusDsl: unknown column \"State\"" + columns);
    expectFailure({"del", "StatusDsl", "State=4"}, "StatusDsl: unknown column \"State\"" + columns);
    const std::string tables =
        "unknown table \"Dsl\"; the database has NetworkSetupNode, QoSClassification, "
        "QoSClassificationAction, QoSQueues, QoSShaper, StatusDsl, StatusNetifWatchLogical";
    expectFailure({"set", "Dsl", "Id=1", "Status=4"}, tables);
    expectFailure({"add", "Dsl", "Id=1"}, tables);
    expectFailure({"del", "Dsl", "Id=1"}, tables);
    expectFailure({"show", "Dsl"}, tables);
    expectFailure({"export", "Dsl"}, tables);
    expectFailure({"watch", "Dsl"}, tables);
}

TEST_F(Commands, SetCannotMakeTwoRowsWithOneId) {
    expectFailure({"set", "QoSShaper", "Id=1", "Id=0"},
                  "QoSShaper: column \"Id\": 0 is not allowed; allowed: an integer from 1 to 2147483647");
    expectFailure(
        {"set", "QoSQueues", "InterfaceName=ProviderTR069", "Id=1"},
        "the database refused it: constraint violation: Transaction causes multiple rows in \"QoSQueues\" "
        "table to have identical values (1) for index on column \"Id\"");
}

TEST_F(Commands, AddFillsInDefaultsAndTheNextId) {
    EXPECT_EQ(output({"add", "QoSShaper", "InterfaceName=eth4", "Enable=1", "ShapingRate=5000"}),
              "QoSShaper: 1 row added, Id 2\n");
    EXPECT_THAT(
        output({"export", "QoSShaper"}),
        HasSubstr(R"({"Id": 2, "Enable": 1, "InterfaceName": "eth4", "ShapeEgress": 0, "ShapeIngress": 0, )"
                  R"("ShapingRate": 5000})"));
}

TEST_F(Commands, AddTakesAGivenId) {
    EXPECT_EQ(output({"add", "StatusDsl", "Id=7"}), "StatusDsl: 1 row added\n");
    EXPECT_EQ(output({"add", "StatusDsl"}), "StatusDsl: 1 row added, Id 8\n");
}

TEST_F(Commands, AddBeginsWithIdOne) {
    output({"del", "StatusDsl", "Id=1"});
    EXPECT_EQ(output({"add", "StatusDsl"}), "StatusDsl: 1 row added, Id 1\n");
}

TEST_F(Commands, AddFindsAnotherIdWhenSomebodyElseWasFaster) {
    constexpr std::size_t rivals = 12;
    std::list<Program> programs;
    for (std::size_t i = 0; i < rivals; ++i) {
        programs.emplace_back(words({"add", "StatusDsl"}));
    }
    std::set<std::string> outputs;
    for (Program& program : programs) {
        const Outcome outcome = program.wait();
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        outputs.insert(outcome.out);
    }
    EXPECT_EQ(outputs.size(), rivals) << "each has an Id of its own";
    EXPECT_THAT(output({"show", "StatusDsl"}), StartsWith("StatusDsl (13 rows)\n"));
}

TEST_F(Commands, AddNamesEachColumnThatHasNoDefault) {
    const Outcome outcome = run({"add", "QoSShaper"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err,
              "cfgctl: QoSShaper: column \"Enable\" is missing; allowed: an integer from 0 to 1\n"
              "cfgctl: QoSShaper: column \"InterfaceName\" is missing; allowed: a text from 1 to 15 "
              "characters\n"
              "cfgctl: QoSShaper: column \"ShapingRate\" is missing; allowed: an integer from 1 to "
              "10000000\n");
}

TEST_F(Commands, AddRefusesAnIdThatIsInUse) {
    expectFailure(
        {"add", "StatusDsl", "Id=1"},
        "the database refused it: constraint violation: Transaction causes multiple rows in \"StatusDsl\" "
        "table to have identical values (1) for index on column \"Id\"");
}

TEST_F(Commands, AddSaysThatTheIdsAreUsedUp) {
    output({"add", "StatusDsl", "Id=2147483647"});
    expectFailure({"add", "StatusDsl"},
                  "StatusDsl: column \"Id\": 2147483648 is not allowed; allowed: an integer from 1 "
                  "to 2147483647");
}

TEST_F(Commands, DelDeletesTheRowsWithThatKey) {
    EXPECT_EQ(output({"del", "QoSQueues", "Name=home_voice"}), "QoSQueues: 1 row deleted\n");
    EXPECT_EQ(output({"del", "QoSQueues", "InterfaceName=LocalLAN"}), "QoSQueues: 3 rows deleted\n");
    EXPECT_THAT(output({"show", "QoSQueues"}), StartsWith("QoSQueues (8 rows)\n"));
}

TEST_F(Commands, DelFailsIfNoRowHasThatKey) {
    expectFailure({"del", "QoSQueues", "Name=home_fax"}, "QoSQueues: no row where Name is \"home_fax\"");
    expectFailure({"del", "QoSQueues", "Id=01"}, "QoSQueues: no row where Id is \"01\"");
}

TEST_F(CfgctlTest, WorksWithASchemaThatIsNotItsOwn) {
    const std::string schema =
        sandbox.write("lax.ovsschema", R"({"name": "Gateway", "version": "1.0.0", "tables": {
        "QoSClassification": {"isRoot": true, "columns": {
            "Id": {"type": "integer"},
            "DSCPMatch": {"type": {"key": "string", "min": 0, "max": 1}},
            "Labels": {"type": {"key": "string", "value": "string", "min": 0, "max": "unlimited"}},
            "Share": {"type": "real"},
            "On": {"type": "boolean"}}}}})");
    const OvsdbServer lax(schema);
    const auto runAt = [&lax](std::vector<std::string> command) {
        command.insert(command.end(), {"--socket", lax.socket()});
        return cfgctl(command);
    };
    EXPECT_EQ(runAt({"add", "QoSClassification", "Id=-5", "DSCPMatch=af41", "On=true", "Share=0.25",
                     R"(Labels=["map", [["a", "b"]]])"})
                  .err,
              "");
    EXPECT_EQ(runAt({"add", "QoSClassification"}).out, "QoSClassification: 1 row added, Id 1\n");
    const std::string exported = runAt({"export"}).out;
    EXPECT_EQ(
        exported,
        "{\n"
        "  \"QoSClassification\": [\n"
        "    {\"Id\": -5, \"DSCPMatch\": \"af41\", \"Labels\": [\"map\",[[\"a\",\"b\"]]], \"On\": true, "
        "\"Share\": 0.25},\n"
        "    {\"Id\": 1, \"Labels\": [\"map\",[]], \"On\": false, \"Share\": 0}\n"
        "  ]\n"
        "}\n");
    const std::string file = sandbox.write("lax.json", exported);
    EXPECT_EQ(runAt({"import", file}).err, "");
    EXPECT_EQ(runAt({"export"}).out, exported);
    EXPECT_EQ(runAt({"set", "QoSClassification", "On=false", "DSCPMatch=x"}).out,
              "QoSClassification: 1 row set\n");
    EXPECT_EQ(runAt({"del", "QoSClassification", "Share=0.25"}).out, "QoSClassification: 1 row deleted\n");
}

} // namespace

} // namespace cfgctl::test
