// The command line.
#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace netwatchd {

struct Options {
    std::string socketPath = "/tmp/cfgserver.socket";
    std::chrono::milliseconds holdDown{0};
    bool background = false;
};

// Fills in `options`. Returns the exit status if the program ends here: 0 after --help and --version, 2 after
// wrong usage, with a line on standard error.
std::optional<int> parseOptions(int argc, const char* const* argv, Options& options);

} // namespace netwatchd
