#include "columns.h"
#include "config/tableprinter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace gateway::test {

namespace {

using ovsdb::Json;

std::string printed(const std::string& columns, const std::vector<Json>& rows,
                    std::size_t width = unlimitedWidth) {
    const auto schema = schemaOf((R"({"T": )" + columns + "}").c_str());
    return printTable("T", *schema.findTable("T"), rows, width);
}

TEST(PrintTable, PutsNumbersToTheRightAndTextsToTheLeft) {
    EXPECT_EQ(printed(R"({"Id": "integer", "Name": "string"})",
                      {{{"Id", 5}, {"Name", "voice"}}, {{"Id", 12}, {"Name", "web"}}}),
              "T (2 rows)\n"
              "Id  Name\n"
              "--  -----\n"
              " 5  voice\n"
              "12  web\n");
}

TEST(PrintTable, BreaksHeadingsAtTheirCapitals) {
    EXPECT_EQ(printed(R"({"DSCPMatchExclude": "integer", "InterfaceName": "string"})",
                      {{{"DSCPMatchExclude", 0}, {"InterfaceName", "ProviderInternet"}}}),
              "T (1 row)\n"
              "   DSCP\n"
              "  Match\n"
              "Exclude  InterfaceName\n"
              "-------  ----------------\n"
              "      0  ProviderInternet\n");
}

TEST(PrintTable, ShowsAnEmptyValueAsABlankCell) {
    EXPECT_EQ(printed(R"({"A": "string", "B": {"key": "integer", "min": 0, "max": 1}, "C": "string"})",
                      {{{"A", "x"}, {"B", Json::parse(R"(["set", []])")}, {"C", "z"}}}),
              "T (1 row)\n"
              "A  B  C\n"
              "-  -  -\n"
              "x     z\n");
}

TEST(PrintTable, CountsTheRowsOfAnEmptyTable) {
    EXPECT_EQ(printed(R"({"Id": "integer"})", {}), "T (0 rows)\n");
}

TEST(PrintTable, AlignsCharactersAndNotBytes) {
    EXPECT_EQ(printed(R"({"A": "string", "B": "string"})",
                      {{{"A", "äöü"}, {"B", "x"}}, {{"A", "abc"}, {"B", "y"}}}),
              "T (2 rows)\n"
              "A    B\n"
              "---  -\n"
              "äöü  x\n"
              "abc  y\n");
}

TEST(PrintTable, WritesControlCharactersSoThatTheyDoNothing) {
    EXPECT_EQ(printed(R"({"A": "string"})", {{{"A", "a\x1b[2J\nb"}}}), "T (1 row)\n"
                                                                       "A\n"
                                                                       "---------------\n"
                                                                       "\"a\\u001b[2J\\nb\"\n");
}

const char* const wide =
    R"({"AaaaaAaaaa": "string", "BbbbbBbbbb": "string", "CccccCcccc": "integer", "Id": "integer"})";
const std::vector<Json> wideRows = {
    {{"AaaaaAaaaa", "aaaaaaaaaa"}, {"BbbbbBbbbb", "bbbbbbbbbb"}, {"CccccCcccc", 0}, {"Id", 1}},
    {{"AaaaaAaaaa", "a"}, {"BbbbbBbbbb", "b"}, {"CccccCcccc", 0}, {"Id", 2}},
};

TEST(PrintTable, ShowsAllColumnsThatFit) {
    EXPECT_EQ(printed(wide, wideRows, 33), "T (2 rows)\n"
                                           "                        Ccccc\n"
                                           "AaaaaAaaaa  BbbbbBbbbb  Ccccc  Id\n"
                                           "----------  ----------  -----  --\n"
                                           "aaaaaaaaaa  bbbbbbbbbb      0   1\n"
                                           "a           b               0   2\n");
}

TEST(PrintTable, LeavesOutWhatIsEmptyEverywhereToSaveRoom) {
    EXPECT_EQ(printed(wide, wideRows, 32), "T (2 rows)\n"
                                           "AaaaaAaaaa  BbbbbBbbbb  Id\n"
                                           "----------  ----------  --\n"
                                           "aaaaaaaaaa  bbbbbbbbbb   1\n"
                                           "a           b            2\n"
                                           "0 or empty in every row: CccccCcccc\n");
}

TEST(PrintTable, CutsATableThatIsStillTooWide) {
    EXPECT_EQ(printed(wide, wideRows, 20), "T (2 rows)\n"
                                           "AaaaaAaaaa  BbbbbBbbbb\n"
                                           "----------  ----------\n"
                                           "aaaaaaaaaa  bbbbbbbbbb\n"
                                           "a           b\n"
                                           "\n"
                                           "AaaaaAaaaa  Id\n"
                                           "----------  --\n"
                                           "aaaaaaaaaa   1\n"
                                           "a            2\n"
                                           "0 or empty in every row: CccccCcccc\n");
}

} // namespace

} // namespace gateway::test
