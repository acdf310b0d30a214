// The daemon's frame: options, single instance, background, event loop, shutdown.
#include "config/confighandler.h"
#include "config/stopflag.h"

#include <basalt/net/eventdispatcher.h>
#include <zel/cfg/notificationhandler.h>
#include <zel/daemon.h>
#include <zel/error/assert.h>
#include <zel/sysloglevel.h>
#include <zel/vastr.h>

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>

namespace {

using zel::pacerd::pacerdConfigHandler;
using zel::pacerd::stopFlag;

constexpr const char* source = "main.cpp";
constexpr const char* programName = "pacerd_ng";
constexpr const char* version = "1.0.2";
constexpr const char* pidFileDirectory = "/var/run";
constexpr const char* serverSocket = "/tmp/cfgserver.socket";
constexpr unsigned int loopBoundMs = 10000;

struct Options {
    bool daemonize = false;
    unsigned int traceLevel = ZEL_TRACELEVEL_NONE;
};

extern "C" void onStopSignal(int /*signal*/) {
    stopFlag = 1;
}

// A broken pipe neither kills nor stops the daemon. Not SIG_IGN: the tools that it starts would inherit that.
extern "C" void onPipeSignal(int /*signal*/) {}

// -v is deliberately not listed.
void printUsage() {
    std::cerr << "Usage: pacerd_ng [options]\n"
                 " Options:\n"
                 "  -h: Print this help\n"
                 "  -b: Start as daemon instead of starting in foreground\n"
                 "  -d: Enable debug output (0 => NO, 1 => STD, 2 => ALL)\n";
}

unsigned int traceLevelOf(const char* argument) {
    switch (std::atoi(argument)) { // NOLINT(cert-err34-c): no number is deliberately the same as 0
    case 0:
        return ZEL_TRACELEVEL_NONE;
    case 2:
        return ZEL_TRACELEVEL_ALL;
    default:
        return ZEL_TRACELEVEL_STANDARD;
    }
}

// Options act in the order given. Returns the exit status if one of them ends the program.
std::optional<int> parseOptions(int argc, char* argv[], Options& options) {
    int option = 0;
    while ((option = getopt(argc, argv, "vhbd:")) != -1) {
        switch (option) {
        case 'v':
            std::cout << "pacerd version: " << version << std::endl;
            return EXIT_SUCCESS;
        case 'h':
            printUsage();
            return EXIT_SUCCESS;
        case 'b':
            options.daemonize = true;
            std::cout << "Daemonize: " << options.daemonize << std::endl;
            break;
        case 'd':
            options.traceLevel = traceLevelOf(optarg);
            break;
        default:
            std::cerr << "Unknown option: " << option << std::endl;
            printUsage();
            return EXIT_FAILURE;
        }
    }
    return std::nullopt;
}

void refuseSecondInstance(int moduleHandle) {
    std::ostringstream text;
    text << "Another process is already running. Exiting..." << std::endl;
    ZEL_Sysloglevel_error(moduleHandle, source, __LINE__, text.str());
}

// Returns false when another instance was faster.
bool goIntoBackground(ZEL_Daemon& daemon, zel::error::DefaultAssertHook& assertHook) {
    ZEL_Sysloglevel_set(1);
    assertHook.setSyslog(true);
    ZEL_Daemon_daemonize(daemon);
    ZEL_Daemon_deletePidFile(daemon);
    return ZEL_Daemon_createPidFile(daemon) != ZEL_Daemon_PidFile::heldByOther;
}

void installSignalHandlers() {
    (void)std::signal(SIGINT, onStopSignal);
    (void)std::signal(SIGTERM, onStopSignal);
    (void)std::signal(SIGQUIT, onStopSignal);
    (void)std::signal(SIGPIPE, onPipeSignal);
}

// Connects, loops until the stop flag is set, reverts. Returns the exit status.
int run(int moduleHandle, basalt::net::EventDispatcher& dispatcher) {
    std::optional<zel::cfg::NotificationHandler> notification;
    std::optional<pacerdConfigHandler> handler;
    const auto giveUp = [&](const char* reason) {
        handler.reset();
        notification.reset();
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__, reason);
        return EXIT_FAILURE;
    };
    try {
        ZEL_Sysloglevel_info(moduleHandle, source, __LINE__,
                             VAStr("starting pacerd_ng (version %s)", version));
        notification.emplace(serverSocket, dispatcher, programName, false, 60U, 500U, true, false);

        ZEL_Sysloglevel_info(moduleHandle, source, __LINE__, "Now registering Confighandler...");
        handler.emplace(moduleHandle);
        notification->registerConfigHandler(*handler);

        ZEL_Sysloglevel_info(moduleHandle, source, __LINE__, "Do Inits..");
        notification->initialize(); // a server that is not there yet is waited for in the loop
        const zel::cfg::common::IConfigClient& client = notification->getConfigClient();

        ZEL_Sysloglevel_info(moduleHandle, source, __LINE__, "Now starting confighandler...");
        while (stopFlag == 0) {
            if (dispatcher.handleEvents(loopBoundMs) != 0) {
                notification->process();
            }
        }

        ZEL_Sysloglevel_info(moduleHandle, source, __LINE__, "pacerd_ng is called to go down, do so...");
        handler->removeQosConfig(client);
        notification->unregisterConfigHandler(*handler);
        handler.reset();
    } catch (const std::exception& exception) {
        // A copy: what() may belong to something that goes with the handler.
        return giveUp(std::string(exception.what()).c_str());
    } catch (...) {
        return giveUp("Unknown exception");
    }
    notification.reset();
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char* argv[]) {
    zel::error::DefaultAssertHook assertHook;
    basalt::net::EventDispatcher dispatcher;

    ZEL_Sysloglevel_construct2("", argv[0]);
    const int moduleHandle = ZEL_Sysloglevel_registerModul(programName);

    Options options;
    if (const std::optional<int> status = parseOptions(argc, argv, options)) {
        return *status;
    }
    ZEL_Sysloglevel_changeTracelevel(programName, options.traceLevel);
    ZEL_Sysloglevel_set(0);
    assertHook.setSyslog(false);

    ZEL_Daemon daemon;
    ZEL_Daemon_construct(daemon, programName, pidFileDirectory);
    if (ZEL_Daemon_occupiedPidFile(daemon)) {
        refuseSecondInstance(moduleHandle);
        return EXIT_FAILURE;
    }
    if (options.daemonize && !goIntoBackground(daemon, assertHook)) {
        refuseSecondInstance(moduleHandle);
        return EXIT_FAILURE;
    }
    installSignalHandlers();

    const int status = run(moduleHandle, dispatcher);
    ZEL_Daemon_deletePidFile(daemon);
    return status;
}
