#include "platformtest.h"

#include <zel/error/assert.h>
#include <zel/sysloglevel.h>

#include <gtest/gtest.h>
#include <syslog.h>

namespace zel::test {

namespace {

using error::Assert;
using error::DefaultAssertHook;

std::string messageOf(void (*thrower)()) {
    try {
        thrower();
    } catch (const std::exception& exception) {
        return exception.what();
    }
    return "nothing thrown";
}

void failAssertion() {
    Assert::throwAssertionFailed("true == this->findShaper()", "src/model/lowdatapath.cpp", 42);
}

void failAllocation() {
    Assert::throwAllocationFailed("qosClassifierAction", "classifier.cpp", 7);
}

const std::string assertionText =
    "assertion failed: true == this->findShaper() (src/model/lowdatapath.cpp:42)";

TEST(Assert, carries_the_expression_and_the_place) {
    EXPECT_EQ(messageOf(failAssertion), assertionText);
    EXPECT_THROW(failAssertion(), error::AssertionFailed);
}

TEST(Assert, names_the_object_that_is_missing_and_the_place) {
    EXPECT_EQ(messageOf(failAllocation), "allocation failed: qosClassifierAction (classifier.cpp:7)");
    EXPECT_THROW(failAllocation(), error::AllocationFailed);
}

TEST(DefaultAssertHook, without_one_nothing_is_reported) {
    SyslogLines lines;
    testing::internal::CaptureStderr();
    messageOf(failAssertion);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_TRUE(lines.take().empty());
}

TEST(DefaultAssertHook, reports_to_standard_error_at_first) {
    SyslogLines lines;
    DefaultAssertHook hook;
    testing::internal::CaptureStderr();
    messageOf(failAssertion);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), assertionText + "\n");
    EXPECT_TRUE(lines.take().empty());
}

TEST(DefaultAssertHook, reports_to_syslog_when_told_so) {
    SyslogLines lines;
    DefaultAssertHook hook;
    hook.setSyslog(true);
    testing::internal::CaptureStderr();
    messageOf(failAssertion);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(lines.take(), (std::vector<SyslogLine>{{LOG_ERR, "lowdatapath.cpp:42: " + assertionText}}));
    hook.setSyslog(false);
    testing::internal::CaptureStderr();
    messageOf(failAllocation);
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
    EXPECT_TRUE(lines.take().empty());
}

TEST(DefaultAssertHook, ends_with_the_last_one) {
    SyslogLines lines;
    {
        DefaultAssertHook outer;
        outer.setSyslog(true);
        { const DefaultAssertHook inner; }
        messageOf(failAssertion);
        EXPECT_EQ(lines.take().size(), 1U);
    }
    testing::internal::CaptureStderr();
    messageOf(failAssertion);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_TRUE(lines.take().empty());
}

TEST(DefaultAssertHook, begins_anew_with_standard_error) {
    SyslogLines lines;
    {
        DefaultAssertHook hook;
        hook.setSyslog(true);
    }
    const DefaultAssertHook next;
    testing::internal::CaptureStderr();
    messageOf(failAssertion);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), assertionText + "\n");
    EXPECT_TRUE(lines.take().empty());
}

} // namespace

} // namespace zel::test
