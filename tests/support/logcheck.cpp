#include "logcheck.h"

#include <zel/sysloglevel.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <utility>

namespace zel::pacerd::test {

using memory::LogLevel;
using memory::LogRecord;

namespace {

std::vector<std::string> lines(const std::vector<LogRecord>& records) {
    std::vector<std::string> result;
    result.reserve(records.size());
    for (const LogRecord& record : records) {
        result.push_back(std::string(nameOf(record.level)) + ": " + record.text);
    }
    return result;
}

} // namespace

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

std::vector<LogRecord> LogCheck::extract(const std::function<bool(const LogRecord&)>& wanted) {
    const auto first = std::stable_partition(records_.begin(), records_.end(), std::not_fn(wanted));
    std::vector<LogRecord> extracted(first, records_.end());
    records_.erase(first, records_.end());
    return extracted;
}

std::vector<std::string> LogCheck::take() {
    return lines(std::exchange(records_, {}));
}

std::vector<std::string> LogCheck::take(LogLevel level) {
    std::vector<std::string> texts;
    for (const LogRecord& record : extract([&](const LogRecord& r) { return r.level == level; })) {
        texts.push_back(record.text);
    }
    return texts;
}

std::vector<std::string> LogCheck::takeFrom(const std::string& source) {
    return lines(extract([&](const LogRecord& record) { return record.source == source; }));
}

void LogCheck::verify() {
    const auto isFailure = [](const LogRecord& record) {
        return record.level == LogLevel::error || record.level == LogLevel::warning;
    };
    const std::vector<std::string> unseen = lines(extract(isFailure));
    EXPECT_THAT(unseen, ::testing::ElementsAreArray(expected_)) << "errors and warnings that no test took";
}

} // namespace zel::pacerd::test
