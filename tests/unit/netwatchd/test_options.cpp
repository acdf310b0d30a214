#include "netwatchd/options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

using namespace netwatchd;
using ::testing::HasSubstr;
using ::testing::internal::CaptureStderr;
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStderr;
using ::testing::internal::GetCapturedStdout;

namespace {

std::optional<int> parse(const std::vector<const char*>& words, Options& options) {
    std::vector<const char*> arguments = {"netwatchd"};
    arguments.insert(arguments.end(), words.begin(), words.end());
    return parseOptions(static_cast<int>(arguments.size()), arguments.data(), options);
}

TEST(Options, DefaultsSuitAGateway) {
    Options options;
    EXPECT_EQ(parse({}, options), std::nullopt);
    EXPECT_EQ(options.socketPath, "/tmp/cfgserver.socket");
    EXPECT_EQ(options.holdDown.count(), 0);
    EXPECT_FALSE(options.background);
}

TEST(Options, AllCanBeGiven) {
    Options options;
    EXPECT_EQ(parse({"--socket", "/run/db.sock", "--hold-down", "3000", "--background"}, options),
              std::nullopt);
    EXPECT_EQ(options.socketPath, "/run/db.sock");
    EXPECT_EQ(options.holdDown.count(), 3000);
    EXPECT_TRUE(options.background);
}

TEST(Options, HelpGoesToStandardOutputAndEndsWell) {
    Options options;
    CaptureStdout();
    EXPECT_EQ(parse({"--help"}, options), 0);
    EXPECT_THAT(GetCapturedStdout(), HasSubstr("--hold-down"));
}

TEST(Options, TheVersionIsPrinted) {
    Options options;
    CaptureStdout();
    EXPECT_EQ(parse({"--version"}, options), 0);
    EXPECT_EQ(GetCapturedStdout(), "netwatchd 1.0.2\n");
}

TEST(Options, WrongUsageIsExitStatus2WithALineThatSaysWhy) {
    const std::map<std::vector<const char*>, std::string> reasons = {
        {{"--hold-down", "soon"}, "--hold-down: Value soon not in range 0 to 3600000"},
        {{"--hold-down", "-1"}, "--hold-down: Value -1 not in range 0 to 3600000"},
        {{"--hold-down", "3600001"}, "--hold-down: Value 3600001 not in range 0 to 3600000"},
        {{"--unknown"}, "The following argument was not expected: --unknown"},
        {{"word"}, "The following argument was not expected: word"}};
    for (const auto& [words, reason] : reasons) {
        Options options;
        CaptureStderr();
        EXPECT_EQ(parse(words, options), 2);
        EXPECT_EQ(GetCapturedStderr(), "netwatchd: " + reason + "; see netwatchd --help\n");
    }
}

} // namespace
