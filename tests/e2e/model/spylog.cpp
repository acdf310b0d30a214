#include "spylog.h"

#include "gatewaytest.h"

#include <syslog.h>

#include <cstdlib>

namespace e2e::model {

namespace {

std::string unescaped(const std::string& text) {
    std::string result;
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (text[index] == '\\' && index + 1 < text.size()) {
            ++index;
            result += text[index] == 'n' ? '\n' : text[index];
        } else {
            result += text[index];
        }
    }
    return result;
}

std::string levelName(int priority) {
    switch (priority) {
    case LOG_ERR:
        return "error";
    case LOG_WARNING:
        return "warning";
    case LOG_INFO:
        return "info";
    case LOG_DEBUG:
        return "trace";
    default:
        return "priority " + std::to_string(priority);
    }
}

// Where an assertion stands in the source is nobody's contract.
std::string withoutPlace(const std::string& text) {
    const std::string start = "assertion failed: ";
    return text.compare(0, start.size(), start) == 0 ? text.substr(0, text.rfind(" (")) : text;
}

} // namespace

const std::vector<std::string>& SpyLog::events() {
    std::ifstream file(file_, std::ios::binary);
    file.seekg(position_);
    for (std::string line; std::getline(file, line) && !file.eof();) {
        position_ += static_cast<std::streamoff>(line.size()) + 1;
        take(line);
    }
    return events_;
}

void SpyLog::take(const std::string& line) {
    const std::size_t blank = line.find(' ');
    const int number = std::atoi(line.substr(1, blank - 1).c_str());
    const std::string text = unescaped(line.substr(blank + 1));
    if (line.front() == 'C') {
        events_.push_back("run (" + std::to_string(number) + "): " + text);
    } else if (line.front() == 'S') {
        events_.push_back("sleep: " + std::to_string(number));
    } else {
        const std::size_t colon = text.find(':');
        if (isDaemonSource(text.substr(0, colon))) {
            const std::string message = text.substr(text.find(": ") + 2);
            events_.push_back(levelName(number) + ": " + withoutPlace(message));
        }
    }
}

} // namespace e2e::model
