#include "import/ucifile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace importers {

namespace {

using ::testing::ElementsAre;
using ::testing::StartsWith;

std::vector<UciSection> parsed(const std::string& text) {
    Faults faults("f");
    std::vector<UciSection> sections = parseUci(text, faults);
    faults.throwIfAny();
    return sections;
}

std::vector<std::string> uciFaults(const std::string& text) {
    try {
        parsed(text);
    } catch (const ImportError& error) {
        return error.lines();
    }
    return {};
}

TEST(UciFile, SectionsHaveATypeAndPerhapsAName) {
    std::vector<UciSection> sections = parsed("package qos\nconfig a\nconfig 'a' \"b c\"\nconfig a\n");
    ASSERT_EQ(sections.size(), 3U);
    EXPECT_EQ(sections[0].label(), "a1");
    EXPECT_EQ(sections[1].name(), "b c");
    EXPECT_EQ(sections[1].line(), 3U);
    EXPECT_EQ(sections[2].label(), "a3");
}

TEST(UciFile, ValuesMayBeQuotedAndCommentsEndALine) {
    std::vector<UciSection> sections = parsed("config a # the first\r\n\toption x 'it # is' # so\n option y "
                                              "\"a \\\" b\"\noption z a#b\noption e ''\n");
    EXPECT_EQ(sections[0].read("x")->value, "it # is");
    EXPECT_EQ(sections[0].read("y")->value, "a \" b");
    EXPECT_EQ(sections[0].read("z")->value, "a#b");
    EXPECT_EQ(sections[0].read("e")->value, "");
    EXPECT_EQ(sections[0].read("z")->line, 4U);
}

TEST(UciFile, ListsGatherTheirValues) {
    EXPECT_EQ(parsed("config a\nlist x 1\nlist x 2\n")[0].read("x")->value, "1 2");
}

TEST(UciFile, KnowsWhatNobodyHasRead) {
    UciSection section = parsed("config a\noption x 1\noption y 2\n")[0];
    section.read("x");
    ASSERT_EQ(section.unread().size(), 1U);
    EXPECT_EQ(section.unread()[0].name, "y");
    section.readAll();
    EXPECT_TRUE(section.unread().empty());
}

TEST(UciFile, EveryLineOfAnotherFormIsAFault) {
    EXPECT_THAT(
        uciFaults("option x 1\nconfig a\noption x\noption x 'y\nnonsense\noption x 1 2\nconfig\n"),
        ElementsAre("f:1: \"option x 1\" is not UCI; allowed: config TYPE [NAME], and below it option NAME "
                    "VALUE or list NAME VALUE, with quotes around what holds blanks",
                    StartsWith("f:3: "), StartsWith("f:4: "), StartsWith("f:5: "), StartsWith("f:6: "),
                    StartsWith("f:7: ")));
}

TEST(UciFile, AnOptionThatComesTwiceIsAFault) {
    EXPECT_THAT(uciFaults("config a\noption x 1\noption x 2\n"),
                ElementsAre("f:3: option x is given twice in this section"));
}

} // namespace

} // namespace importers
