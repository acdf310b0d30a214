// Preloaded into the daemon: writes down, in one order, what it asks the shell, what it logs and how long it
// sleeps, and answers in the shell's place. SPY_EVENTS names the file, SPY_ANSWERS holds the plan. One event
// a line: a letter, a number, a blank, the text; backslash and newline in the text are escaped.
#include "toolanswers.h"

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

void writeEvent(char kind, long number, const std::string& text) {
    static const int file =
        open(variable("SPY_EVENTS").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    std::string line = std::string(1, kind) + std::to_string(number) + " ";
    for (const char character : text) {
        if (character == '\\' || character == '\n') {
            line += '\\';
        }
        line += character == '\n' ? 'n' : character;
    }
    line += '\n';
    [[maybe_unused]] const ssize_t written = write(file, line.data(), line.size());
}

} // namespace

extern "C" {

__attribute__((visibility("default"))) int system(const char* command) {
    static e2e::model::ToolAnswers answers(variable("SPY_ANSWERS"));
    const int status = answers.next(command);
    writeEvent('C', status, command);
    return status;
}

__attribute__((visibility("default"))) int usleep(useconds_t microseconds) {
    writeEvent('S', static_cast<long>(microseconds), "");
    return 0;
}

__attribute__((visibility("default"))) void syslog(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    const int length = vsnprintf(nullptr, 0, format, arguments);
    std::vector<char> text(static_cast<std::size_t>(length) + 1);
    vsnprintf(text.data(), text.size(), format, again);
    va_end(again);
    va_end(arguments);
    writeEvent('L', LOG_PRI(priority), std::string(text.data(), static_cast<std::size_t>(length)));
}
}
