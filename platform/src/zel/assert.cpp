#include <zel/error/assert.h>
#include <zel/sysloglevel.h>

#include <unistd.h>

#include <cstring>

namespace zel::error {

namespace {

int hooks = 0;
bool reportToSyslog = false;

void report(const std::string& message, const char* file, int line) {
    if (hooks == 0) {
        return;
    }
    if (reportToSyslog) {
        const char* slash = std::strrchr(file, '/');
        ZEL_Sysloglevel_error(ZEL_Sysloglevel_registerModul("assert"), slash == nullptr ? file : slash + 1,
                              line, message);
        return;
    }
    const std::string text = message + "\n";
    // Nobody is left to tell if standard error is gone.
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
}

std::string describe(const char* what, const std::string& subject, const char* file, int line) {
    return std::string(what) + ": " + subject + " (" + file + ":" + std::to_string(line) + ")";
}

} // namespace

void Assert::throwAssertionFailed(const std::string& expression, const char* file, int line) {
    const std::string message = describe("assertion failed", expression, file, line);
    report(message, file, line);
    throw AssertionFailed(message);
}

void Assert::throwAllocationFailed(const std::string& object, const char* file, int line) {
    const std::string message = describe("allocation failed", object, file, line);
    report(message, file, line);
    throw AllocationFailed(message);
}

DefaultAssertHook::DefaultAssertHook() {
    ++hooks;
}

DefaultAssertHook::~DefaultAssertHook() {
    if (--hooks == 0) {
        reportToSyslog = false;
    }
}

// One setting for all hooks: a program has one place to report to.
void DefaultAssertHook::setSyslog(bool on) {
    reportToSyslog = on;
}

} // namespace zel::error
