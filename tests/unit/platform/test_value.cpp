#include <basalt/value.h>

#include <gtest/gtest.h>

#include <climits>

namespace basalt {

namespace {

// Not inlined: g++ 12 warns of the alternative that it sees a variant not to hold.
[[gnu::noinline]] Value numberValue(long long number) {
    return Value(number);
}

TEST(Value, nothing_reads_as_zero_and_as_the_empty_text) {
    const Value nothing;
    EXPECT_EQ(nothing.getInteger(), 0);
    EXPECT_EQ(nothing.getText(), "");
    EXPECT_EQ(nothing.getDataType().getTypeCode(), 0);
    EXPECT_STREQ(nothing.getDataType().getTypeName(), "none");
}

TEST(Value, a_number_reads_as_text_in_decimal) {
    const Value number = numberValue(-46);
    EXPECT_EQ(number.getInteger(), -46);
    EXPECT_EQ(number.getText(), "-46");
    EXPECT_EQ(number.getDataType().getTypeCode(), 2);
    EXPECT_STREQ(number.getDataType().getTypeName(), "integer");
    EXPECT_EQ(numberValue(LLONG_MIN).getText(), "-9223372036854775808");
}

TEST(Value, a_text_reads_as_the_number_it_begins_with) {
    const Value text(std::string("46 to 48"));
    EXPECT_EQ(text.getText(), "46 to 48");
    EXPECT_EQ(text.getInteger(), 46);
    EXPECT_EQ(text.getDataType().getTypeCode(), 4);
    EXPECT_STREQ(text.getDataType().getTypeName(), "text");
    EXPECT_EQ(Value(std::string(" -7")).getInteger(), -7);
    EXPECT_EQ(Value(std::string("9223372036854775807")).getInteger(), LLONG_MAX);
}

TEST(Value, a_text_without_such_a_number_reads_as_zero) {
    for (const char* text : {"", "x", "x4", "-", "9223372036854775808"}) {
        EXPECT_EQ(Value(std::string(text)).getInteger(), 0) << text;
    }
}

TEST(Value, a_number_and_its_text_are_different_values) {
    EXPECT_EQ(numberValue(1), numberValue(1));
    EXPECT_FALSE(numberValue(1) == Value(std::string("1")));
    EXPECT_FALSE(numberValue(0) == Value());
}

} // namespace

} // namespace basalt
