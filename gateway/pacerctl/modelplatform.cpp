// The log functions that the daemon's classes call: what they say is kept, not sent to syslog.
#include "pacerctl/modelplatform.h"

#include <zel/sysloglevel.h>

namespace pacerctl {

namespace {

MessageCapture*& listening() {
    static MessageCapture* capture = nullptr;
    return capture;
}

void keep(MessageLevel level, const char* source, const std::string& text) {
    if (listening() != nullptr) {
        listening()->messages.push_back({level, source, text});
    }
}

} // namespace

const char* nameOf(MessageLevel level) {
    static constexpr const char* names[] = {"error", "warning", "info", "trace"};
    return names[static_cast<int>(level)];
}

MessageCapture::MessageCapture() : outer_(listening()) {
    listening() = this;
}

MessageCapture::~MessageCapture() {
    listening() = outer_;
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
