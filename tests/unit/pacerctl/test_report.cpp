#include "pacerctl/report.h"

#include <gtest/gtest.h>

namespace pacerctl {

namespace {

Columns threeColumns() {
    Columns columns("lrl");
    columns.add({"NAME", "COUNT", "REMARK"});
    columns.add({"a", "1"});
    columns.add({"bé", "22", "so"});
    return columns;
}

TEST(Columns, AreAsWideAsTheirWidestCellInCharacters) {
    EXPECT_EQ(threeColumns().text(1), " NAME  COUNT  REMARK\n"
                                      " a         1\n"
                                      " bé       22  so\n");
}

TEST(Columns, AreAllThereWhereTheyFitExactly) {
    EXPECT_EQ(threeColumns().text(1, 20, {"COUNT"}), threeColumns().text(1));
    EXPECT_EQ(threeColumns().text(1, 0, {"COUNT"}), threeColumns().text(1)) << "no limit";
}

TEST(Columns, AreLeftOutOneAfterTheOtherUntilTheRestFits) {
    EXPECT_EQ(threeColumns().text(1, 19, {"COUNT", "REMARK"}), " NAME  REMARK\n"
                                                               " a\n"
                                                               " bé    so\n");
    EXPECT_EQ(threeColumns().text(1, 5, {"absent", "COUNT", "REMARK"}), " NAME\n"
                                                                        " a\n"
                                                                        " bé\n");
}

TEST(Columns, CountNoColours) {
    Columns columns("ll");
    columns.add({Style(true).good("yes"), "x"});
    columns.add({"maybe", "y"});
    EXPECT_EQ(columns.text(0), "\033[32myes\033[0m    x\n"
                               "maybe  y\n");
}

TEST(Paragraph, BreaksBetweenWords) {
    EXPECT_EQ(paragraph("one two three", 2, 9), "  one two\n  three\n");
    EXPECT_EQ(paragraph("one two three", 2, 8), "  one\n  two\n  three\n");
    EXPECT_EQ(paragraph("one two three", 2, 0), "  one two three\n");
    EXPECT_EQ(paragraph("unbreakable word", 0, 4), "unbreakable\nword\n");
}

TEST(Printable, LeavesNoControlCharacter) {
    EXPECT_EQ(printable("plain é"), "plain é");
    EXPECT_EQ(printable("a\033[2J\n"), "\"a\\u001b[2J\\n\"");
}

TEST(Listed, ReadsLikeASentence) {
    EXPECT_EQ(listed({}), "");
    EXPECT_EQ(listed({"a"}), "a");
    EXPECT_EQ(listed({"a", "b", "c"}), "a, b and c");
}

} // namespace

} // namespace pacerctl
