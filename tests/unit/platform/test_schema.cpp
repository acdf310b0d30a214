#include "ovsdb/schema.h"

#include <gtest/gtest.h>

#include <climits>

namespace {

using ovsdb::AtomType;
using ovsdb::BaseType;
using ovsdb::ColumnType;
using ovsdb::DatabaseSchema;
using ovsdb::Json;
using ovsdb::ProtocolError;

Json schemaWith(const Json& columnType) {
    return {{"name", "Db"},
            {"version", "2.1.0"},
            {"tables", {{"T", {{"columns", {{"c", {{"type", columnType}}}}}}}}}};
}

ColumnType columnOf(const Json& columnType) {
    return *DatabaseSchema::parse(schemaWith(columnType)).findColumn("T", "c");
}

TEST(Schema, reads_name_version_tables_and_indexes) {
    Json json = schemaWith("integer");
    json["tables"]["T"]["indexes"] = Json::array({Json::array({"c"})});
    const DatabaseSchema schema = DatabaseSchema::parse(json);
    EXPECT_EQ(schema.name, "Db");
    EXPECT_EQ(schema.version, "2.1.0");
    ASSERT_NE(schema.findTable("T"), nullptr);
    EXPECT_EQ(schema.findTable("T")->indexes, (std::vector<std::vector<std::string>>{{"c"}}));
    EXPECT_EQ(schema.findTable("U"), nullptr);
    EXPECT_EQ(schema.findColumn("T", "d"), nullptr);
    EXPECT_EQ(schema.findColumn("U", "c"), nullptr);
}

TEST(Schema, reads_every_atomic_type) {
    EXPECT_EQ(columnOf("integer").key.type, AtomType::integer);
    EXPECT_EQ(columnOf("real").key.type, AtomType::real);
    EXPECT_EQ(columnOf("boolean").key.type, AtomType::boolean);
    EXPECT_EQ(columnOf("string").key.type, AtomType::string);
    EXPECT_EQ(columnOf("uuid").key.type, AtomType::uuid);
    EXPECT_STREQ(toText(AtomType::boolean), "boolean");
}

TEST(Schema, a_plain_type_holds_exactly_one_element) {
    const ColumnType type = columnOf("string");
    EXPECT_TRUE(type.isScalar());
    EXPECT_FALSE(type.isOptional());
    EXPECT_FALSE(type.isMap());
}

TEST(Schema, reads_optional_columns_sets_and_maps) {
    const ColumnType optional = columnOf({{"key", "integer"}, {"min", 0}, {"max", 1}});
    EXPECT_TRUE(optional.isScalar());
    EXPECT_TRUE(optional.isOptional());
    const ColumnType set = columnOf({{"key", "integer"}, {"min", 1}, {"max", "unlimited"}});
    EXPECT_FALSE(set.isScalar());
    EXPECT_EQ(set.max, ColumnType::unlimited);
    const ColumnType map = columnOf({{"key", "string"}, {"value", "integer"}, {"max", 8}});
    EXPECT_TRUE(map.isMap());
    EXPECT_FALSE(map.isScalar());
    EXPECT_EQ(map.value->type, AtomType::integer);
    EXPECT_EQ(map.max, 8U);
}

TEST(Schema, says_what_may_stand_in_a_column) {
    const auto describe = [](const Json& base) { return columnOf({{"key", base}}).key.describe(); };
    EXPECT_EQ(describe("integer"), "an integer");
    EXPECT_EQ(describe({{"type", "integer"}, {"minInteger", 0}, {"maxInteger", 63}}),
              "an integer from 0 to 63");
    EXPECT_EQ(describe({{"type", "integer"}, {"minInteger", 1}}), "an integer of at least 1");
    EXPECT_EQ(describe({{"type", "real"}, {"maxReal", 1.5}}), "a number of at most 1.5");
    EXPECT_EQ(describe("boolean"), "true or false");
    EXPECT_EQ(describe("uuid"), "a uuid");
    EXPECT_EQ(describe({{"type", "string"}, {"minLength", 1}, {"maxLength", 15}}),
              "a text from 1 to 15 characters");
    EXPECT_EQ(describe("string"), "a text");
    EXPECT_EQ(describe({{"type", "string"}, {"enum", {"set", {"SP", "WFQ"}}}}), R"(one of "SP", "WFQ")");
    EXPECT_EQ(describe({{"type", "integer"}, {"enum", 4}}), "one of 4");
}

TEST(Schema, reads_the_table_that_a_uuid_refers_to) {
    EXPECT_EQ(columnOf({{"key", {{"type", "uuid"}, {"refTable", "U"}}}}).key.refTable, "U");
}

TEST(Schema, refuses_what_is_no_schema) {
    for (const Json& json : {Json(), Json(3), Json::array(), Json::object(), Json{{"name", "x"}},
                             Json{{"name", 3}, {"tables", Json::object()}},
                             Json{{"name", "x"}, {"tables", {{"T", 3}}}}, schemaWith("text"), schemaWith(3),
                             schemaWith({{"key", "integer"}, {"max", "many"}, {"min", "few"}}),
                             schemaWith({{"value", "integer"}})}) {
        EXPECT_THROW(DatabaseSchema::parse(json), ProtocolError) << json;
    }
}

TEST(Schema, refuses_bounds_that_do_not_fit) {
    const auto reasonOf = [](const Json& columnType) -> std::string {
        try {
            columnOf(columnType);
        } catch (const ProtocolError& error) {
            return error.what();
        }
        return {};
    };
    const std::string toLongLong =
        " where a whole number from -9223372036854775808 to 9223372036854775807 belongs";
    const std::string toUnsigned = " where a whole number from 0 to 4294967295 belongs";
    for (const char* bound : {"minInteger", "maxInteger"}) {
        EXPECT_EQ(reasonOf({{"key", {{"type", "integer"}, {bound, 9.2e19}}}}),
                  "a schema with 9.2e+19" + toLongLong);
        EXPECT_EQ(reasonOf({{"key", {{"type", "integer"}, {bound, 9223372036854775808ULL}}}}),
                  "a schema with 9223372036854775808" + toLongLong);
        EXPECT_EQ(reasonOf({{"key", {{"type", "integer"}, {bound, "1"}}}}),
                  "a schema with \"1\"" + toLongLong);
        EXPECT_EQ(reasonOf({{"key", {{"type", "integer"}, {bound, LLONG_MIN}}}}), "");
    }
    EXPECT_EQ(reasonOf({{"key", "integer"}, {"min", -1}}), "a schema with -1" + toUnsigned);
    EXPECT_EQ(reasonOf({{"key", "integer"}, {"max", 4294967296}}), "a schema with 4294967296" + toUnsigned);
    EXPECT_EQ(reasonOf({{"key", {{"type", "string"}, {"minLength", 0.5}}}}),
              "a schema with 0.5 where a whole number from 0 to 18446744073709551615 belongs");
}

} // namespace
