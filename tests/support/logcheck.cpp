#include "logcheck.h"

#include <zel/sysloglevel.h>

#include <gmock/gmock.h>

#include <utility>

namespace zel::pacerd::test {

using memory::LogLevel;
using memory::LogRecord;

LogCheck::LogCheck(int handle) : handle_(handle) {
    memory::setLogSink([this](const LogRecord& record) { accept(record); });
}

LogCheck::~LogCheck() {
    memory::setLogSink(nullptr);
}

void LogCheck::accept(const LogRecord& record) {
    EXPECT_EQ(record.handle, handle_) << "at: " << record.text;
    EXPECT_GT(record.line, 0) << "at: " << record.text;
    if (record.level == LogLevel::trace) {
        EXPECT_THAT(record.traceClass, ::testing::AnyOf(ZEL_TRACE_OBJECT, ZEL_TRACE_SEARCH))
            << "at: " << record.text;
    }
    sources_.insert(record.source);
    records_.push_back(record);
}

std::vector<std::string> LogCheck::take() {
    std::vector<std::string> lines;
    for (const LogRecord& record : std::exchange(records_, {})) {
        lines.push_back(std::string(nameOf(record.level)) + ": " + record.text);
    }
    return lines;
}

std::vector<std::string> LogCheck::take(LogLevel level) {
    std::vector<std::string> texts;
    std::vector<LogRecord> others;
    for (LogRecord& record : records_) {
        if (record.level == level) {
            texts.push_back(record.text);
        } else {
            others.push_back(std::move(record));
        }
    }
    records_ = std::move(others);
    return texts;
}

void LogCheck::verify() {
    std::vector<std::string> unseen;
    for (const LogRecord& record : records_) {
        if (record.level == LogLevel::error || record.level == LogLevel::warning) {
            unseen.push_back(std::string(nameOf(record.level)) + ": " + record.text);
        }
    }
    EXPECT_THAT(unseen, ::testing::ElementsAreArray(expected_)) << "errors and warnings that no test took";
}

} // namespace zel::pacerd::test
