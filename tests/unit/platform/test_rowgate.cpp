#include "fakeserver.h"
#include "sysloglines.h"
#include "zel/rowgate.h"

#include <zel/sysloglevel.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace zel::test {

namespace {

using basalt::Value;
using basalt::ValueList;
using cfg::RowGate;
using testing::ElementsAre;
using testing::IsEmpty;

class RowGateTest : public testing::Test {
  protected:
    static ValueList rule(const std::string& name, long long id = 5) {
        return ValueList({{"Id", Value(id)}, {"Name", Value(name)}, {"DestIP", Value(std::string())}});
    }
    bool admits(const ValueList& row, const std::string& table = "QoSClassification", int number = 1) {
        return gate.admits(table, uuidOf(number), row);
    }
    std::size_t errors() { return log.take().size(); }

    SyslogLines log;
    RowGate gate{ZEL_Sysloglevel_registerModul("configuration")};
};

TEST_F(RowGateTest, lets_fit_rows_pass_in_silence) {
    EXPECT_TRUE(admits(rule("voip")));
    EXPECT_TRUE(admits(ValueList()));
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(RowGateTest, keeps_a_row_out_and_names_table_row_column_and_character) {
    EXPECT_FALSE(admits(rule("voip;reboot")));
    const auto lines = log.take();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_THAT(
        lines[0].text,
        testing::EndsWith("table 'QoSClassification', row with Id 5, counts as absent: column 'Name' "
                          "holds ';', and becomes part of a command line, which takes letters, digits and "
                          ". _ : / , + @ % = -, no - in front, at most 64 characters"));
}

TEST_F(RowGateTest, reports_each_change_of_a_row_once) {
    EXPECT_FALSE(admits(rule("a;b")));
    EXPECT_FALSE(admits(rule("a;b"))) << "as after a new connection";
    EXPECT_EQ(errors(), 1U);
    EXPECT_FALSE(admits(rule("a;c")));
    EXPECT_EQ(errors(), 1U);
    EXPECT_TRUE(admits(rule("a")));
    EXPECT_FALSE(admits(rule("a;c")));
    EXPECT_EQ(errors(), 1U);
    EXPECT_TRUE(admits(ValueList())) << "the row goes";
    EXPECT_FALSE(admits(rule("a;c")));
    EXPECT_EQ(errors(), 1U);
    EXPECT_FALSE(admits(rule("a;c"), "QoSClassification", 2)) << "another row";
    EXPECT_EQ(errors(), 1U);
}

TEST_F(RowGateTest, a_number_is_judged_as_it_reads) {
    ValueList row({{"Id", Value(1LL)}, {"Name", Value(-5LL)}});
    EXPECT_FALSE(admits(row)) << "a tool would take -5 for an option";
    row.setValue("Name", Value(5LL));
    EXPECT_TRUE(admits(row));
    errors();
}

TEST_F(RowGateTest, columns_that_reach_no_command_may_hold_anything) {
    ValueList queue({{"Id", Value(1LL)}, {"Name", Value(std::string("$(reboot)"))}});
    EXPECT_TRUE(admits(queue, "QoSQueues"));
    EXPECT_TRUE(admits(ValueList({{"Note", Value(std::string("a;b"))}})));
    EXPECT_TRUE(admits(rule("a;b"), "Elsewhere"));
    EXPECT_TRUE(admits(ValueList({{"DSCPMatch", Value(-1LL)}}))) << "no DSCP";
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(RowGateTest, what_it_remembers_is_bounded) {
    constexpr int many = 10'000;
    for (int number = 0; number <= many; ++number) {
        EXPECT_FALSE(admits(rule("a;b", number), "QoSClassification", number));
    }
    errors();
    EXPECT_FALSE(admits(rule("a;b", 1), "QoSClassification", 1));
    EXPECT_EQ(errors(), 1U) << "forgotten, and so reported again";
}

} // namespace

} // namespace zel::test
