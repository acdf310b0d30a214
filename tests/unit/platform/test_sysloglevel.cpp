#include "platformtest.h"

#include <zel/sysloglevel.h>

#include <gtest/gtest.h>
#include <syslog.h>

namespace zel::test {

namespace {

class SysloglevelTest : public testing::Test {
  protected:
    SysloglevelTest() {
        ZEL_Sysloglevel_changeTracelevel("log-test", ZEL_TRACELEVEL_NONE);
        ZEL_Sysloglevel_set(1);
    }
    ~SysloglevelTest() override { ZEL_Sysloglevel_set(1); }

    int handle = ZEL_Sysloglevel_registerModul("log-test");
    SyslogLines lines;
};

TEST_F(SysloglevelTest, each_level_has_its_priority_and_the_text_stands_last) {
    ZEL_Sysloglevel_changeTracelevel("log-test", ZEL_TRACELEVEL_ALL);
    ZEL_Sysloglevel_error(handle, "dataflows.cpp", 12, "one");
    ZEL_Sysloglevel_warning(handle, "dbaccess.cpp", 3, "two");
    ZEL_Sysloglevel_info(handle, "main.cpp", 100, "three");
    ZEL_Sysloglevel_tracedo(handle, "queues.cpp", 7, "four");
    EXPECT_EQ(lines.take(), (std::vector<SyslogLine>{{LOG_ERR, "dataflows.cpp:12: one"},
                                                     {LOG_WARNING, "dbaccess.cpp:3: two"},
                                                     {LOG_INFO, "main.cpp:100: three"},
                                                     {LOG_DEBUG, "queues.cpp:7: four"}}));
}

TEST_F(SysloglevelTest, a_text_is_never_a_format) {
    ZEL_Sysloglevel_error(handle, "a.cpp", 1, "100% %s %n %d");
    EXPECT_EQ(lines.take(), (std::vector<SyslogLine>{{LOG_ERR, "a.cpp:1: 100% %s %n %d"}}));
}

TEST_F(SysloglevelTest, a_text_is_passed_on_unchanged) {
    const std::string text = "  ends in blanks and a new line \n";
    ZEL_Sysloglevel_info(handle, "a.cpp", 1, text);
    ZEL_Sysloglevel_info(handle, "a.cpp", 1, "");
    const std::string large(100'000, 'x');
    ZEL_Sysloglevel_info(handle, "a.cpp", 1, large);
    EXPECT_EQ(lines.take(),
              (std::vector<SyslogLine>{
                  {LOG_INFO, "a.cpp:1: " + text}, {LOG_INFO, "a.cpp:1: "}, {LOG_INFO, "a.cpp:1: " + large}}));
}

TEST_F(SysloglevelTest, the_same_name_gives_the_same_handle) {
    EXPECT_EQ(ZEL_Sysloglevel_registerModul("log-test"), handle);
    EXPECT_NE(ZEL_Sysloglevel_registerModul("log-test-2"), handle);
}

TEST_F(SysloglevelTest, a_trace_message_shows_when_its_class_is_in_the_level) {
    ZEL_Sysloglevel_tracedo(handle, "a.cpp", 1, "level 0");
    ZEL_Sysloglevel_changeTracelevel("log-test", 113);
    ZEL_Sysloglevel_tracedo(handle, "a.cpp", 2, "object at 113");
    ZEL_Sysloglevel_tracedo(handle, "a.cpp", 3, "search at 113", ZEL_TRACE_SEARCH);
    ZEL_Sysloglevel_changeTracelevel("log-test", 1023);
    ZEL_Sysloglevel_tracedo(handle, "a.cpp", 4, "search at 1023", ZEL_TRACE_SEARCH);
    EXPECT_EQ(lines.takeTexts(LOG_DEBUG), (std::vector<std::string>{"object at 113", "search at 1023"}));
}

TEST_F(SysloglevelTest, each_module_has_its_own_level) {
    const int other = ZEL_Sysloglevel_registerModul("log-test-other");
    ZEL_Sysloglevel_changeTracelevel("log-test-other", ZEL_TRACELEVEL_ALL);
    ZEL_Sysloglevel_changeTracelevel("nobody", ZEL_TRACELEVEL_ALL);
    ZEL_Sysloglevel_tracedo(handle, "a.cpp", 1, "quiet");
    ZEL_Sysloglevel_tracedo(other, "a.cpp", 1, "talkative");
    ZEL_Sysloglevel_tracedo(-1, "a.cpp", 1, "nobody's");
    ZEL_Sysloglevel_tracedo(1'000'000, "a.cpp", 1, "nobody's");
    EXPECT_EQ(lines.takeTexts(LOG_DEBUG), (std::vector<std::string>{"talkative"}));
}

TEST_F(SysloglevelTest, in_the_foreground_each_message_also_goes_to_standard_error) {
    ZEL_Sysloglevel_set(0);
    testing::internal::CaptureStderr();
    ZEL_Sysloglevel_error(handle, "a.cpp", 1, "one %s");
    ZEL_Sysloglevel_warning(handle, "b.cpp", 2, "two");
    ZEL_Sysloglevel_info(handle, "c.cpp", 3, "has its own end\n");
    ZEL_Sysloglevel_tracedo(handle, "d.cpp", 4, "not shown");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "error: a.cpp:1: one %s\n"
                                                      "warning: b.cpp:2: two\n"
                                                      "info: c.cpp:3: has its own end\n");
    EXPECT_EQ(lines.take().size(), 3U);
}

TEST_F(SysloglevelTest, as_a_daemon_it_writes_nothing_to_standard_error) {
    ZEL_Sysloglevel_set(0);
    ZEL_Sysloglevel_set(1);
    testing::internal::CaptureStderr();
    ZEL_Sysloglevel_error(handle, "a.cpp", 1, "one");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(lines.take().size(), 1U);
}

} // namespace

} // namespace zel::test
