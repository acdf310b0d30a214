#include <zel/error/assert.h>

#include <syslog.h>

#include <iostream>

namespace zel::error {

namespace {

struct Hook {
    int count = 0;
    bool toSyslog = false;
};

Hook& theHook() {
    static Hook hook;
    return hook;
}

std::string report(const std::string& what, const char* file, int line) {
    std::string text = what + " (" + file + ":" + std::to_string(line) + ")";
    if (theHook().count > 0 && theHook().toSyslog) {
        syslog(LOG_ERR, "%s", text.c_str());
    } else if (theHook().count > 0) {
        std::cerr << text << std::endl;
    }
    return text;
}

} // namespace

void Assert::throwAssertionFailed(const std::string& expression, const char* file, int line) {
    throw AssertionFailed(report("assertion failed: " + expression, file, line));
}

void Assert::throwAllocationFailed(const std::string& object, const char* file, int line) {
    throw AllocationFailed(report("allocation failed: " + object, file, line));
}

DefaultAssertHook::DefaultAssertHook() {
    ++theHook().count;
}
DefaultAssertHook::~DefaultAssertHook() {
    --theHook().count;
}
void DefaultAssertHook::setSyslog(bool on) {
    theHook().toSyslog = on;
}

} // namespace zel::error
