#include "config/gatewayfile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace gateway::test {

namespace {

using ::testing::StartsWith;

// The message of the error, or a text that says there was none.
std::string errorOf(const std::string& text) {
    try {
        parseGatewayFile("gw.json", text);
    } catch (const FileError& error) {
        return error.what();
    }
    return "no error";
}

TEST(ParseGatewayFile, KeepsTablesRowsAndColumnsInTheOrderOfTheFile) {
    const GatewayFile file = parseGatewayFile("gw.json", R"({"B": [{"y": 1, "x": "two"}, {}], "A": []})");
    ASSERT_EQ(file.size(), 2U);
    EXPECT_EQ(file[0].name, "B");
    ASSERT_EQ(file[0].rows.size(), 2U);
    EXPECT_EQ(file[0].rows[0], (FileRow{{"y", 1}, {"x", "two"}}));
    EXPECT_EQ(file[0].rows[1], FileRow());
    EXPECT_EQ(file[1].name, "A");
    EXPECT_TRUE(file[1].rows.empty());
}

TEST(ParseGatewayFile, ReadsNullAsTheEmptySet) {
    const GatewayFile file = parseGatewayFile("gw.json", R"({"T": [{"c": null}]})");
    EXPECT_EQ(file.at(0).rows.at(0), (FileRow{{"c", Json::parse(R"(["set", []])")}}));
}

TEST(ParseGatewayFile, TakesAnObjectWithoutTables) {
    EXPECT_TRUE(parseGatewayFile("gw.json", "{}").empty());
}

TEST(ParseGatewayFile, NamesLineAndColumnOfASyntaxError) {
    EXPECT_EQ(
        errorOf("{\"T\": [\n {\"Id\": 1,}\n]}"),
        "gw.json:2:11: syntax error while parsing object key - unexpected '}'; expected string literal");
    EXPECT_EQ(errorOf("{\n\n  nonsense"),
              "gw.json:3:4: syntax error while parsing object key - invalid literal; last "
              "read: '{<U+000A><U+000A>  no'; expected string literal");
    EXPECT_EQ(errorOf("{} x"),
              "gw.json:1:4: syntax error while parsing value - invalid literal; last read: '{} x'; "
              "expected end of input");
}

TEST(ParseGatewayFile, NamesThePlaceWhereTheFileEndsTooEarly) {
    EXPECT_THAT(errorOf(""), StartsWith("gw.json:1:1: syntax error"));
    EXPECT_THAT(errorOf("{\"T\": [\n"), StartsWith("gw.json:2:1: syntax error"));
}

TEST(ParseGatewayFile, RefusesBytesThatAreNoUtf8) {
    EXPECT_THAT(errorOf("{\"T\": [{\"c\": \"\xff\"}]}"), StartsWith("gw.json:1:15: syntax error"));
}

TEST(ParseGatewayFile, SaysWhatFormTheFileHasToHave) {
    EXPECT_EQ(errorOf("[]"), R"(gw.json: the file must be an object of tables, {"Table": [...], ...})");
    EXPECT_EQ(errorOf(R"({"T": {}})"),
              R"(gw.json: T: a table must be a list of rows, [{"Column": value, ...}, ...])");
    EXPECT_EQ(errorOf(R"({"T": [{}, 5]})"),
              R"(gw.json: T row 2: a row must be an object of columns, {"Column": value, ...})");
}

TEST(ParseGatewayFile, RefusesATableThatIsNamedTwice) {
    EXPECT_EQ(errorOf(R"({"T": [], "U": [], "T": []})"), "gw.json: table T is named twice");
}

TEST(ParseGatewayFile, RefusesAColumnThatIsNamedTwice) {
    EXPECT_EQ(errorOf(R"({"S": [{"a": 1}, {"a": 1}], "T": [{"a": 1}, {"a": 1, "b": 2, "a": 1}]})"),
              R"(gw.json: T row 2: column "a" is named twice)");
}

TEST(ParseGatewayFile, TakesTheSameColumnInEachRowAndTable) {
    EXPECT_EQ(errorOf(R"({"S": [{"a": 1}, {"a": 1}], "T": [{"a": 1}]})"), "no error");
}

TEST(ParseGatewayFile, SurvivesDeepNesting) {
    const std::string deep(100'000, '[');
    EXPECT_THAT(errorOf(deep), StartsWith("gw.json:1:100001: "));
}

TEST(WriteGatewayFile, PutsOneRowInALine) {
    const GatewayFile file = {{"B", {{{"Id", 1}, {"Name", "a \"b\" ü"}}, {{"Id", 2}}}}, {"A", {}}};
    EXPECT_EQ(writeGatewayFile(file), "{\n"
                                      "  \"B\": [\n"
                                      "    {\"Id\": 1, \"Name\": \"a \\\"b\\\" ü\"},\n"
                                      "    {\"Id\": 2}\n"
                                      "  ],\n"
                                      "  \"A\": []\n"
                                      "}\n");
}

TEST(WriteGatewayFile, WritesNoTablesAsAnEmptyObject) {
    EXPECT_EQ(writeGatewayFile({}), "{}\n");
}

TEST(WriteGatewayFile, WritesWhatTheParserReadsBack) {
    const std::string text =
        writeGatewayFile({{"T", {{{"a", "\n\t\x01\x7f"}, {"b", -1}, {"c", 0.1}, {"d", true}}}}});
    EXPECT_EQ(writeGatewayFile(parseGatewayFile("gw.json", text)), text);
}

} // namespace

} // namespace gateway::test
