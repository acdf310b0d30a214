#include "logsink.h"

#include <zel/sysloglevel.h>
#include <zel/vastr.h>

#include <syslog.h>

#include <cstdarg>
#include <cstdio>
#include <iostream>
#include <vector>

namespace {

using zel::memory::LogLevel;
using zel::memory::LogRecord;

struct Module {
    std::string name;
    unsigned int traceLevel = ZEL_TRACELEVEL_NONE;
};

struct Log {
    std::function<void(const LogRecord&)> sink;
    std::vector<Module> modules;
    std::string name; // openlog() keeps the pointer
    bool daemonized = false;
};

Log& theLog() {
    static Log log;
    return log;
}

bool isShown(const Log& log, const LogRecord& record) {
    if (record.level != LogLevel::trace) {
        return true;
    }
    const auto module = static_cast<std::size_t>(record.handle);
    return module < log.modules.size() && (log.modules[module].traceLevel & record.traceClass) != 0;
}

void write(const LogRecord& record) {
    static constexpr int priorities[] = {LOG_ERR, LOG_WARNING, LOG_INFO, LOG_DEBUG};
    const Log& log = theLog();
    if (log.sink) {
        log.sink(record);
        return;
    }
    if (!isShown(log, record)) {
        return;
    }
    const std::string text = std::string(nameOf(record.level)) + " [" + record.source + ":" +
                             std::to_string(record.line) + "] " + record.text;
    if (log.daemonized) {
        syslog(priorities[static_cast<int>(record.level)], "%s", text.c_str());
    } else {
        std::cerr << log.name << ": " << text << std::endl;
    }
}

} // namespace

namespace zel::memory {

const char* nameOf(LogLevel level) {
    static constexpr const char* names[] = {"error", "warning", "info", "trace"};
    return names[static_cast<int>(level)];
}

void setLogSink(std::function<void(const LogRecord&)> sink) {
    theLog().sink = std::move(sink);
}

} // namespace zel::memory

void ZEL_Sysloglevel_construct2(const std::string& prefix, const char* programPath) {
    const std::string path = programPath;
    theLog().name = prefix + path.substr(path.rfind('/') + 1);
    openlog(theLog().name.c_str(), LOG_PID, LOG_DAEMON);
}

int ZEL_Sysloglevel_registerModul(const char* name) {
    std::vector<Module>& modules = theLog().modules;
    for (std::size_t handle = 0; handle < modules.size(); ++handle) {
        if (modules[handle].name == name) {
            return static_cast<int>(handle);
        }
    }
    modules.push_back({name});
    return static_cast<int>(modules.size()) - 1;
}

void ZEL_Sysloglevel_changeTracelevel(const char* module, unsigned int level) {
    for (Module& known : theLog().modules) {
        if (known.name == module) {
            known.traceLevel = level;
        }
    }
}

void ZEL_Sysloglevel_set(int daemonized) {
    theLog().daemonized = daemonized != 0;
}

void ZEL_Sysloglevel_error(int handle, const char* source, int line, const std::string& text) {
    write({LogLevel::error, handle, source, line, text});
}

void ZEL_Sysloglevel_warning(int handle, const char* source, int line, const std::string& text) {
    write({LogLevel::warning, handle, source, line, text});
}

void ZEL_Sysloglevel_info(int handle, const char* source, int line, const std::string& text) {
    write({LogLevel::info, handle, source, line, text});
}

void ZEL_Sysloglevel_tracedo(int handle, const char* source, int line, const std::string& text,
                             unsigned int traceClass) {
    write({LogLevel::trace, handle, source, line, text, traceClass});
}

std::string VAStr(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    const int written = std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return written == length ? text : std::string();
}
