#include "netwatchd/options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <vector>

using namespace netwatchd;
using ::testing::HasSubstr;
using ::testing::internal::CaptureStderr;
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStderr;
using ::testing::internal::GetCapturedStdout;

namespace {

std::optional<int> parse(std::initializer_list<const char*> words, Options& options) {
    std::vector<const char*> arguments = {"netwatchd"};
    arguments.insert(arguments.end(), words);
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

TEST(Options, WrongUsageIsExitStatus2WithAReason) {
    for (const auto& words :
         std::initializer_list<std::initializer_list<const char*>>{{"--hold-down", "soon"},
                                                                   {"--hold-down", "-1"},
                                                                   {"--hold-down", "3600001"},
                                                                   {"--unknown"},
                                                                   {"word"}}) {
        Options options;
        CaptureStderr();
        EXPECT_EQ(parse(words, options), 2) << *words.begin();
        EXPECT_FALSE(GetCapturedStderr().empty());
    }
}

} // namespace
