#include "columns.h"
#include "config/columnrules.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace gateway::test {

namespace {

TEST(AllowedText, NamesTheRangeTheChoiceTheLengthAndWhetherNothingWillDo) {
    EXPECT_EQ(allowedText(columnOf(flag)), "an integer from 0 to 1");
    EXPECT_EQ(allowedText(columnOf(scheduler)), R"(one of "SP", "WFQ")");
    EXPECT_EQ(allowedText(columnOf(word)), "a text from 1 to 4 characters");
    EXPECT_EQ(allowedText(columnOf(optionalDscp)), "an integer from -1 to 63, or nothing");
    EXPECT_EQ(allowedText(columnOf(R"({"key": "string", "min": 0, "max": 3})")),
              "a set as the database writes it");
    EXPECT_EQ(allowedText(columnOf(R"({"key": "string", "value": "string", "min": 0, "max": 3})")),
              "a map as the database writes it");
}

TEST(DefaultDatum, IsZeroOrEmptyWhereTheSchemaAllowsIt) {
    EXPECT_EQ(defaultDatum("IsUp", columnOf(flag)), Json(0));
    EXPECT_EQ(defaultDatum("DestIP", columnOf(R"("string")")), Json(""));
    EXPECT_EQ(defaultDatum("Share", columnOf(R"("real")")), Json(0.0));
    EXPECT_EQ(defaultDatum("On", columnOf(R"("boolean")")), Json(false));
    EXPECT_EQ(defaultDatum("DSCPMatch", columnOf(optionalDscp)), Json::parse(R"(["set", []])"));
    EXPECT_EQ(defaultDatum("Labels", columnOf(R"({"key": "string", "value": "string", "min": 0, "max": 9})")),
              Json::parse(R"(["map", []])"));
}

TEST(DefaultDatum, IsNotThereWhereTheSchemaForbidsZeroAndEmpty) {
    EXPECT_EQ(defaultDatum("Scheduler", columnOf(scheduler)), std::nullopt);
    EXPECT_EQ(defaultDatum("Name", columnOf(word)), std::nullopt);
    EXPECT_EQ(defaultDatum("Id", columnOf(R"({"key": {"type": "integer", "minInteger": 1}})")), std::nullopt);
    EXPECT_EQ(defaultDatum("Id", columnOf(R"({"key": {"type": "integer", "maxInteger": -1}})")),
              std::nullopt);
}

TEST(DefaultDatum, NeverSwitchesARowOff) {
    EXPECT_EQ(defaultDatum("Enable", columnOf(flag)), std::nullopt);
}

TEST(WhyNotAllowed, IsEmptyForEverythingWithinTheBounds) {
    EXPECT_EQ(whyNotAllowed(columnOf(flag), 0), "");
    EXPECT_EQ(whyNotAllowed(columnOf(flag), 1), "");
    EXPECT_EQ(whyNotAllowed(columnOf(scheduler), "WFQ"), "");
    EXPECT_EQ(whyNotAllowed(columnOf(word), "x"), "");
    EXPECT_EQ(whyNotAllowed(columnOf(word), "xxxx"), "");
    EXPECT_EQ(whyNotAllowed(columnOf(optionalDscp), 46), "");
    EXPECT_EQ(whyNotAllowed(columnOf(optionalDscp), emptySet()), "");
    EXPECT_EQ(whyNotAllowed(columnOf(R"("integer")"), 9223372036854775807LL), "");
    EXPECT_EQ(whyNotAllowed(columnOf(R"({"key": {"type": "real", "maxReal": 0.5}})"), 0.5), "");
    EXPECT_EQ(whyNotAllowed(columnOf(R"("real")"), 7), "");
    EXPECT_EQ(whyNotAllowed(columnOf(R"("boolean")"), true), "");
}

TEST(WhyNotAllowed, CountsCharactersAndNotBytes) {
    EXPECT_EQ(whyNotAllowed(columnOf(word), "äöüß"), "");
    EXPECT_EQ(whyNotAllowed(columnOf(word), "äöüßx"), R"("äöüßx" is not allowed)");
}

TEST(WhyNotAllowed, ShowsWhatLiesOutside) {
    EXPECT_EQ(whyNotAllowed(columnOf(flag), -1), "-1 is not allowed");
    EXPECT_EQ(whyNotAllowed(columnOf(flag), 2), "2 is not allowed");
    EXPECT_EQ(whyNotAllowed(columnOf(scheduler), "sp"), R"("sp" is not allowed)");
    EXPECT_EQ(whyNotAllowed(columnOf(word), ""), R"("" is not allowed)");
    EXPECT_EQ(whyNotAllowed(columnOf(word), "xxxxx"), R"("xxxxx" is not allowed)");
    EXPECT_EQ(whyNotAllowed(columnOf(R"({"key": {"type": "real", "maxReal": 0.5}})"), 0.6),
              "0.6 is not allowed");
}

TEST(WhyNotAllowed, TellsAWrongTypeFromAWrongValue) {
    EXPECT_EQ(whyNotAllowed(columnOf(flag), "1"), R"("1" is not an integer)");
    EXPECT_EQ(whyNotAllowed(columnOf(flag), 1.0), "1.0 is not an integer");
    EXPECT_EQ(whyNotAllowed(columnOf(flag), true), "true is not an integer");
    EXPECT_EQ(whyNotAllowed(columnOf(flag), emptySet()), "nothing is not an integer");
    EXPECT_EQ(whyNotAllowed(columnOf(scheduler), 1), "1 is not a text");
    EXPECT_EQ(whyNotAllowed(columnOf(R"("boolean")"), 1), "1 is not true or false");
    EXPECT_EQ(whyNotAllowed(columnOf(R"("real")"), "x"), R"("x" is not a number)");
    EXPECT_EQ(whyNotAllowed(columnOf(R"("integer")"), 9223372036854775808ULL),
              "9223372036854775808 is not an integer");
}

TEST(WhyNotAllowed, FindsTextsThatTheDatabaseCouldNotKeep) {
    EXPECT_EQ(whyNotAllowed(columnOf(R"("string")"), std::string("a\0b", 3)),
              R"("a\u0000b" holds a null character, which the database cannot store)");
    EXPECT_EQ(whyNotAllowed(columnOf(R"("string")"), "a\xff"), "\"a\xEF\xBF\xBD\" is not UTF-8");
}

TEST(WhyNotAllowed, CutsAnOverlongValueBetweenCharacters) {
    const std::string why = whyNotAllowed(columnOf(word), "12345678901234567890123456789012345678901234567890"
                                                          "12345678ä90");
    EXPECT_EQ(why, "\"12345678901234567890123456789012345678901234567890"
                   "12345678... is not allowed");
}

TEST(WhyNotAllowed, LeavesSetsAndMapsToTheDatabase) {
    const auto set = columnOf(R"({"key": "string", "min": 0, "max": 3})");
    EXPECT_EQ(whyNotAllowed(set, Json::parse(R"(["set", ["a", "b"]])")), "");
    EXPECT_EQ(whyNotAllowed(set, "a"), R"("a" is not allowed)");
}

TEST(FromText, ReadsNumbersOnlyWhole) {
    EXPECT_EQ(fromText(columnOf(flag), "1"), Json(1));
    EXPECT_EQ(fromText(columnOf(flag), "-7"), Json(-7)) << "ranges are looked at elsewhere";
    EXPECT_EQ(fromText(columnOf(flag), "1x"), std::nullopt);
    EXPECT_EQ(fromText(columnOf(flag), " 1"), std::nullopt);
    EXPECT_EQ(fromText(columnOf(flag), ""), std::nullopt);
    EXPECT_EQ(fromText(columnOf(flag), "9223372036854775808"), std::nullopt);
    EXPECT_EQ(fromText(columnOf(R"("real")"), "0.5"), Json(0.5));
    EXPECT_EQ(fromText(columnOf(R"("real")"), "half"), std::nullopt);
}

TEST(FromText, TakesTextsAsTheyAre) {
    EXPECT_EQ(fromText(columnOf(scheduler), "sp"), Json("sp"));
    EXPECT_EQ(fromText(columnOf(word), ""), Json(""));
    EXPECT_EQ(fromText(columnOf(word), "1"), Json("1"));
}

TEST(FromText, EmptiesAnOptionalColumn) {
    EXPECT_EQ(fromText(columnOf(optionalDscp), ""), emptySet());
    EXPECT_EQ(fromText(columnOf(optionalDscp), "46"), Json(46));
}

TEST(FromText, ReadsTheOtherTypesAsTheDatabaseWritesThem) {
    EXPECT_EQ(fromText(columnOf(R"("boolean")"), "true"), Json(true));
    EXPECT_EQ(fromText(columnOf(R"("boolean")"), "false"), Json(false));
    EXPECT_EQ(fromText(columnOf(R"("boolean")"), "1"), std::nullopt);
    const auto set = columnOf(R"({"key": "string", "min": 1, "max": 3})");
    EXPECT_EQ(fromText(set, R"(["set", ["a"]])"), Json::parse(R"(["set", ["a"]])"));
    EXPECT_EQ(fromText(set, "a"), std::nullopt);
}

TEST(ToText, WritesValuesAsTheCommandLineTakesThem) {
    EXPECT_EQ(toText(46), "46");
    EXPECT_EQ(toText("a b"), "a b");
    EXPECT_EQ(toText(true), "true");
    EXPECT_EQ(toText(emptySet()), "");
    EXPECT_EQ(toText(Json::parse(R"(["set", ["a", "b"]])")), R"(["set",["a","b"]])");
}

} // namespace

} // namespace gateway::test
