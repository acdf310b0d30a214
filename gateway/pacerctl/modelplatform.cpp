// The platform functions that the daemon's classes call, for pacerctl's own use of them.
#include "pacerctl/modelplatform.h"

#include <zel/error/assert.h>
#include <zel/sysloglevel.h>
#include <zel/vastr.h>

#include <cstdarg>
#include <cstdio>

namespace pacerctl {

namespace {

MessageCapture*& current() {
    static MessageCapture* capture = nullptr;
    return capture;
}

void keep(MessageLevel level, const char* source, const std::string& text) {
    if (current() != nullptr) {
        current()->messages.push_back({level, source, text});
    }
}

} // namespace

const char* nameOf(MessageLevel level) {
    static constexpr const char* names[] = {"error", "warning", "info", "trace"};
    return names[static_cast<int>(level)];
}

MessageCapture::MessageCapture() : outer_(current()) {
    current() = this;
}

MessageCapture::~MessageCapture() {
    current() = outer_;
}

} // namespace pacerctl

int ZEL_Sysloglevel_registerModul(const char* /*name*/) {
    return 0;
}

void ZEL_Sysloglevel_error(int /*handle*/, const char* source, int /*line*/, const std::string& text) {
    pacerctl::keep(pacerctl::MessageLevel::error, source, text);
}

void ZEL_Sysloglevel_warning(int /*handle*/, const char* source, int /*line*/, const std::string& text) {
    pacerctl::keep(pacerctl::MessageLevel::warning, source, text);
}

void ZEL_Sysloglevel_info(int /*handle*/, const char* source, int /*line*/, const std::string& text) {
    pacerctl::keep(pacerctl::MessageLevel::info, source, text);
}

void ZEL_Sysloglevel_tracedo(int /*handle*/, const char* source, int /*line*/, const std::string& text,
                             unsigned int /*traceClass*/) {
    pacerctl::keep(pacerctl::MessageLevel::trace, source, text);
}

std::string VAStr(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

namespace zel::error {

void Assert::throwAssertionFailed(const std::string& expression, const char* file, int line) {
    throw AssertionFailed("assertion failed: " + expression + " (" + file + ":" + std::to_string(line) + ")");
}

void Assert::throwAllocationFailed(const std::string& object, const char* file, int line) {
    throw AllocationFailed("allocation failed: " + object + " (" + file + ":" + std::to_string(line) + ")");
}

} // namespace zel::error
