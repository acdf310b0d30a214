// The fortified header would turn syslog() into another symbol. Tools that watch a program's log by
// preloading look for the plain name, and a constant format gives the fortified form nothing to check.
#undef _FORTIFY_SOURCE

#include <zel/sysloglevel.h>

#include <syslog.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

struct Module {
    std::string name;
    unsigned int tracelevel;
};

std::vector<Module>& modules() {
    static std::vector<Module> all;
    return all;
}

// syslog(3) keeps the pointer, so the identity outlives everything that may log.
char identity[128];

bool foreground = false;

void writeToStderr(const char* level, const std::string& line) {
    std::string text = std::string(level) + ": " + line;
    if (text.back() != '\n') {
        text += '\n';
    }
    // One write per message keeps lines whole among those of the commands that run; there is nobody to tell
    // if standard error is gone.
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
}

void write(int priority, const char* level, const char* source, int line, const std::string& text) {
    const std::string message = std::string(source) + ":" + std::to_string(line) + ": " + text;
    ::syslog(priority, "%s", message.c_str());
    if (foreground) {
        writeToStderr(level, message);
    }
}

} // namespace

void ZEL_Sysloglevel_construct2(const std::string& prefix, const char* programPath) {
    const char* slash = std::strrchr(programPath, '/');
    const std::string name = prefix + (slash == nullptr ? programPath : slash + 1);
    identity[name.copy(identity, sizeof identity - 1)] = '\0';
    ::openlog(identity, LOG_PID, LOG_DAEMON);
}

int ZEL_Sysloglevel_registerModul(const char* name) {
    std::vector<Module>& all = modules();
    for (std::size_t handle = 0; handle < all.size(); ++handle) {
        if (all[handle].name == name) {
            return static_cast<int>(handle);
        }
    }
    all.push_back({name, ZEL_TRACELEVEL_NONE});
    return static_cast<int>(all.size() - 1);
}

void ZEL_Sysloglevel_changeTracelevel(const char* module, unsigned int level) {
    for (Module& each : modules()) {
        if (each.name == module) {
            each.tracelevel = level;
        }
    }
}

void ZEL_Sysloglevel_set(int daemonized) {
    foreground = daemonized == 0;
}

void ZEL_Sysloglevel_error(int /*handle*/, const char* source, int line, const std::string& text) {
    write(LOG_ERR, "error", source, line, text);
}

void ZEL_Sysloglevel_warning(int /*handle*/, const char* source, int line, const std::string& text) {
    write(LOG_WARNING, "warning", source, line, text);
}

void ZEL_Sysloglevel_info(int /*handle*/, const char* source, int line, const std::string& text) {
    write(LOG_INFO, "info", source, line, text);
}

void ZEL_Sysloglevel_tracedo(int handle, const char* source, int line, const std::string& text,
                             unsigned int traceClass) {
    const std::vector<Module>& all = modules();
    const auto index = static_cast<std::size_t>(handle);
    if (handle < 0 || index >= all.size() || (all[index].tracelevel & traceClass) == 0) {
        return;
    }
    write(LOG_DEBUG, "trace", source, line, text);
}
