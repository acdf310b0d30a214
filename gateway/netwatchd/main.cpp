#include "netwatchd/options.h"
#include "netwatchd/readiness.h"
#include "netwatchd/watcher.h"
#include "ovsdb/uniquefd.h"

#include <zel/daemon.h>
#include <zel/sysloglevel.h>

#include <sys/signalfd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <system_error>

namespace {

constexpr const char* programName = "netwatchd";
constexpr const char* pidFileDirectory = "/var/run";

// The program starts no others, so that nobody inherits the blocked signals.
ovsdb::UniqueFd catchStopSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int each : {SIGINT, SIGTERM, SIGQUIT, SIGHUP}) {
        sigaddset(&signals, each);
    }
    if (::sigprocmask(SIG_BLOCK, &signals, nullptr) != 0) {
        throw std::system_error(errno, std::generic_category(), "sigprocmask");
    }
    ovsdb::UniqueFd descriptor(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!descriptor.valid()) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }
    return descriptor;
}

// Returns the exit status.
int run(const netwatchd::Options& options, int log) {
    ZEL_Daemon daemon;
    ZEL_Daemon_construct(daemon, programName, pidFileDirectory);
    if (ZEL_Daemon_occupiedPidFile(daemon)) {
        ZEL_Sysloglevel_error(log, "main.cpp", __LINE__, "another netwatchd is running");
        return EXIT_FAILURE;
    }
    if (options.background) {
        ZEL_Sysloglevel_set(1);
        ZEL_Daemon_daemonize(daemon);
        if (ZEL_Daemon_createPidFile(daemon) == ZEL_Daemon_PidFile::heldByOther) {
            ZEL_Sysloglevel_error(log, "main.cpp", __LINE__, "another netwatchd is running");
            return EXIT_FAILURE;
        }
    }
    const ovsdb::UniqueFd stop = catchStopSignals();
    ZEL_Sysloglevel_info(log, "main.cpp", __LINE__, "starting");
    netwatchd::Watcher watcher(options, log, stop.get(), [log] {
        const std::string error = netwatchd::announceReadiness();
        if (!error.empty()) {
            ZEL_Sysloglevel_warning(log, "main.cpp", __LINE__, error);
        }
    });
    watcher.run();
    ZEL_Sysloglevel_info(log, "main.cpp", __LINE__, "stopping");
    if (options.background) {
        ZEL_Daemon_deletePidFile(daemon);
    }
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char* argv[]) {
    netwatchd::Options options;
    if (const auto status = netwatchd::parseOptions(argc, argv, options)) {
        return *status;
    }
    ZEL_Sysloglevel_construct2("", argv[0]);
    const int log = ZEL_Sysloglevel_registerModul(programName);
    ZEL_Sysloglevel_set(0);
    try {
        return run(options, log);
    } catch (const std::exception& error) {
        ZEL_Sysloglevel_error(log, "main.cpp", __LINE__, error.what());
        return EXIT_FAILURE;
    }
}
