#include "fakepath.h"
#include "pacerctl/process.h"

#include <gtest/gtest.h>

namespace pacerctl {

namespace {

TEST(Process, GetsItsWordsAsTheyAre) {
    const test::FakePath path;
    path.add("show", "for word; do echo \"<$word>\"; done");
    const ProcessResult result = runProcess({"show", "a b", "$(reboot)", "", "; x"});
    EXPECT_EQ(result.failure, "");
    EXPECT_EQ(result.output, "<a b>\n<$(reboot)>\n<>\n<; x>\n");
}

TEST(Process, ReadsAndWritesMoreThanAPipeHolds) {
    const test::FakePath path;
    path.add("copy", "exec cat");
    const std::string much(3'000'000, 'x');
    const ProcessResult result = runProcess({"copy"}, much);
    EXPECT_EQ(result.failure, "");
    EXPECT_TRUE(result.output == much);
}

TEST(Process, NeedNotReadItsInput) {
    const test::FakePath path;
    path.add("deaf", "exec <&-; echo done");
    const ProcessResult result = runProcess({"deaf"}, std::string(3'000'000, 'x'));
    EXPECT_EQ(result.failure, "");
    EXPECT_EQ(result.output, "done\n");
}

TEST(Process, HasAnEmptyInputWithoutOne) {
    const test::FakePath path;
    path.add("count", "wc -c");
    EXPECT_EQ(runProcess({"count"}).output, "0\n");
}

TEST(Process, SaysHowItFailed) {
    const test::FakePath path;
    path.add("fails", "echo some; exit 3");
    EXPECT_EQ(runProcess({"fails"}).failure, "exits with status 3");
    EXPECT_EQ(runProcess({"fails"}).output, "some\n");
    EXPECT_EQ(runProcess({"absent"}).failure, "is not in PATH");
    path.add("dies", "kill -TERM $$");
    EXPECT_EQ(runProcess({"dies"}).failure, "is ended by signal 15");
}

} // namespace

} // namespace pacerctl
