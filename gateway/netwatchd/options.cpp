#include "netwatchd/options.h"

#include <CLI/CLI.hpp>

#include <iostream>

namespace netwatchd {

namespace {

constexpr int wrongUsage = 2;
constexpr int longestHoldDownMs = 3'600'000;

} // namespace

std::optional<int> parseOptions(int argc, const char* const* argv, Options& options) {
    CLI::App app(
        "Keeps the interface status in the gateway's configuration database true: writes IsUp and Addr of\n"
        "each StatusNetifWatchLogical row from what the kernel says about the row's Interface.",
        "netwatchd");
    app.set_version_flag("-V,--version", "netwatchd " NETWATCHD_VERSION);
    app.add_option("-s,--socket", options.socketPath, "Socket of the configuration server")
        ->capture_default_str()
        ->type_name("PATH");
    int holdDownMs = 0;
    app.add_option("--hold-down", holdDownMs,
                   "Report an interface as up, or an address as present, only after it has lasted this long; "
                   "the loss of either is reported at once")
        ->capture_default_str()
        ->type_name("MS")
        ->check(CLI::Range(0, longestHoldDownMs));
    app.add_flag("-b,--background", options.background,
                 "Detach and write /var/run/netwatchd.pid; the log goes to syslog alone");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) { // --help, --version
            return app.exit(error);
        }
        std::cerr << "netwatchd: " << error.what() << "; see netwatchd --help\n";
        return wrongUsage;
    }
    options.holdDown = std::chrono::milliseconds(holdDownMs);
    return std::nullopt;
}

} // namespace netwatchd
