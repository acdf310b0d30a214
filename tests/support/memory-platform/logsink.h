// Where log messages go when a test wants to see them.
#pragma once

#include <functional>
#include <string>

namespace zel::memory {

enum class LogLevel { error, warning, info, trace };

const char* nameOf(LogLevel level);

struct LogRecord {
    LogLevel level = LogLevel::error;
    int handle = 0;
    std::string source;
    int line = 0;
    std::string text;
    unsigned int traceClass = 0; // of a trace message only
};

// While set, the sink receives every message, whatever the trace level, and nothing is written. An empty
// function ends that.
void setLogSink(std::function<void(const LogRecord&)> sink);

} // namespace zel::memory
