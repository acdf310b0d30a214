#include "ovsdb/datum.h"

#include <gtest/gtest.h>

#include <climits>

namespace {

using basalt::IDataType;
using basalt::Value;
using ovsdb::AtomType;
using ovsdb::ColumnType;
using ovsdb::Json;
using ovsdb::ProtocolError;
using ovsdb::toDatum;
using ovsdb::toValue;

ColumnType column(AtomType type, unsigned min = 1, unsigned max = 1) {
    ColumnType columnType;
    columnType.key.type = type;
    columnType.min = min;
    columnType.max = max;
    return columnType;
}

ColumnType mapColumn() {
    ColumnType columnType = column(AtomType::string, 0, ColumnType::unlimited);
    columnType.value = columnType.key;
    return columnType;
}

const Json nothing = Json::parse(R"(["set",[]])");
const Json someUuid = Json::parse(R"(["uuid","00000000-0000-4000-8000-000000000001"])");

TEST(Datum, an_integer_reads_as_integer_and_a_text_as_text) {
    EXPECT_EQ(toValue(Json(46))->getDataType().getTypeCode(), IDataType::integerCode);
    EXPECT_EQ(toValue(Json(-1))->getInteger(), -1);
    EXPECT_EQ(toValue(Json(LLONG_MIN))->getInteger(), LLONG_MIN);
    EXPECT_EQ(toValue(Json(LLONG_MAX))->getInteger(), LLONG_MAX);
    EXPECT_EQ(toValue(Json("46"))->getDataType().getTypeCode(), IDataType::textCode);
    EXPECT_EQ(toValue(Json(""))->getText(), "");
}

TEST(Datum, a_boolean_reads_as_0_or_1_and_a_real_as_its_text) {
    EXPECT_EQ(toValue(Json(true)), Value(1LL));
    EXPECT_EQ(toValue(Json(false)), Value(0LL));
    EXPECT_EQ(toValue(Json(2.5)), Value(std::string("2.5")));
    EXPECT_EQ(toValue(Json(ULLONG_MAX)), Value(std::string("18446744073709551615")));
}

TEST(Datum, the_empty_set_is_nothing_and_a_set_of_one_its_element) {
    EXPECT_EQ(toValue(nothing), std::nullopt);
    EXPECT_EQ(toValue(Json::parse(R"(["set",[7]])")), Value(7LL));
    EXPECT_EQ(toValue(Json::parse(R"(["set",["x"]])")), Value(std::string("x")));
}

TEST(Datum, larger_sets_maps_and_uuids_read_as_their_JSON) {
    EXPECT_EQ(toValue(Json::parse(R"(["set", [1, 2]])"))->getText(), R"(["set",[1,2]])");
    EXPECT_EQ(toValue(Json::parse(R"(["map", [["a", 1]]])"))->getText(), R"(["map",[["a",1]]])");
    EXPECT_EQ(toValue(someUuid)->getText(), someUuid.dump());
}

TEST(Datum, refuses_what_is_no_value) {
    for (const char* text : {"null", "{}", "[]", R"(["set"])", R"(["set",3])", R"(["pair",[1]])", "[1,2]",
                             R"(["set",[{}]])", R"(["uuid"])"}) {
        EXPECT_THROW(toValue(Json::parse(text)), ProtocolError) << text;
    }
}

TEST(Datum, writes_texts_and_numbers_in_the_columns_own_type) {
    EXPECT_EQ(toDatum(column(AtomType::integer), Value(std::string("-12"))), Json(-12));
    EXPECT_EQ(toDatum(column(AtomType::integer), Value(12LL)), Json(12));
    EXPECT_EQ(toDatum(column(AtomType::string), Value(12LL)), Json("12"));
    EXPECT_EQ(toDatum(column(AtomType::boolean), Value(1LL)), Json(true));
    EXPECT_EQ(toDatum(column(AtomType::boolean), Value(std::string("0"))), Json(false));
    EXPECT_EQ(toDatum(column(AtomType::real), Value(std::string("2.5"))), Json(2.5));
    EXPECT_EQ(toDatum(column(AtomType::real), Value(2LL))->dump(), "2");
    EXPECT_EQ(toDatum(column(AtomType::uuid), Value(someUuid.dump())), someUuid);
}

TEST(Datum, refuses_values_that_do_not_fit_the_column) {
    EXPECT_EQ(toDatum(column(AtomType::integer), Value(std::string("12a"))), std::nullopt);
    EXPECT_EQ(toDatum(column(AtomType::integer), Value(std::string(""))), std::nullopt);
    EXPECT_EQ(toDatum(column(AtomType::integer), Value(std::string("9223372036854775808"))), std::nullopt);
    EXPECT_EQ(toDatum(column(AtomType::boolean), Value(2LL)), std::nullopt);
    EXPECT_EQ(toDatum(column(AtomType::real), Value(std::string("x"))), std::nullopt);
    EXPECT_EQ(toDatum(column(AtomType::real), Value(std::string("nan"))), std::nullopt);
    EXPECT_EQ(toDatum(column(AtomType::uuid), Value(std::string("x"))), std::nullopt);
    EXPECT_EQ(toDatum(mapColumn(), Value(std::string("x"))), std::nullopt);
}

TEST(Datum, refuses_texts_over_which_a_server_would_hang_up) {
    EXPECT_EQ(toDatum(column(AtomType::string), Value(std::string("a\0b", 3))), std::nullopt);
    EXPECT_EQ(toDatum(column(AtomType::string), Value(std::string("\xff"))), std::nullopt);
    EXPECT_EQ(toDatum(column(AtomType::string, 0, 8), Value(std::string(R"(["set",["\u0000"]])"))),
              std::nullopt);
    EXPECT_NE(toDatum(column(AtomType::string), Value(std::string("grün"))), std::nullopt);
}

TEST(Datum, an_empty_value_empties_an_optional_column_and_no_other) {
    EXPECT_EQ(toDatum(column(AtomType::integer, 0), Value()), nothing);
    EXPECT_EQ(toDatum(column(AtomType::integer), Value()), std::nullopt);
}

TEST(Datum, writes_back_the_JSON_of_sets_and_maps) {
    const std::string set = R"(["set",["a","b"]])";
    EXPECT_EQ(toDatum(column(AtomType::string, 0, 8), Value(set))->dump(), set);
    EXPECT_EQ(toDatum(column(AtomType::string, 0, 8), Value(std::string("a"))), Json("a"));
    const std::string map = R"(["map",[["a","b"]]])";
    EXPECT_EQ(toDatum(mapColumn(), Value(map))->dump(), map);
    EXPECT_EQ(toDatum(column(AtomType::string), Value(set)), Json(set)) << "in a text column it is a text";
}

} // namespace
