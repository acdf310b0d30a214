#undef _FORTIFY_SOURCE // which would replace the declaration of syslog() by an inline function

#include "sysloglines.h"

#include <syslog.h>

#include <cstdarg>
#include <cstdio>
#include <utility>

namespace zel::test {

namespace {

SyslogLines* listening = nullptr;

// "FILE:LINE: TEXT"
std::string withoutPlace(const std::string& line) {
    const std::size_t place = line.find(": ");
    return place == std::string::npos ? line : line.substr(place + 2);
}

} // namespace

void record(int priority, std::string text) {
    if (listening != nullptr) {
        listening->lines_.push_back({priority, std::move(text)});
    }
}

SyslogLines::SyslogLines() {
    listening = this;
}

SyslogLines::~SyslogLines() {
    listening = nullptr;
}

std::vector<SyslogLine> SyslogLines::take() {
    return std::exchange(lines_, {});
}

std::vector<std::string> SyslogLines::takeTexts(int priority) {
    std::vector<std::string> texts;
    std::vector<SyslogLine> others;
    for (SyslogLine& line : lines_) {
        if (line.priority == priority) {
            texts.push_back(withoutPlace(line.text));
        } else {
            others.push_back(std::move(line));
        }
    }
    lines_ = std::move(others);
    return texts;
}

} // namespace zel::test

extern "C" void syslog(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    std::string text(static_cast<std::size_t>(std::vsnprintf(nullptr, 0, format, arguments)), '\0');
    va_end(arguments);
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    zel::test::record(priority, std::move(text));
}
