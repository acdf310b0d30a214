#include "pacerctl/cli.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

namespace {

// Where the FAPI tools' package puts them, out of everybody's PATH: after what is there.
void addToolsFolder() {
    const char* path = std::getenv("PATH");
    const std::string before = path == nullptr || *path == '\0' ? "" : std::string(path) + ":";
    ::setenv("PATH", (before + PACERCTL_TOOLS_FOLDER).c_str(), 1);
}

pacerctl::TerminalSize terminalSize() {
    winsize size = {};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) { // no terminal
        return {};
    }
    return {size.ws_col, size.ws_row};
}

} // namespace

int main(int argc, char** argv) {
    try {
        addToolsFolder();
        const std::vector<std::string> arguments(argv + 1, argv + argc);
        const int status =
            pacerctl::run(arguments, std::cout, std::cerr, ::isatty(STDOUT_FILENO) == 1, terminalSize);
        if (!std::cout.flush()) { // a full disk, say: half a report must not pass for a whole one
            std::cerr << "pacerctl: cannot write the report\n";
            return 2;
        }
        return status;
    } catch (const std::exception& error) {
        std::cerr << "pacerctl: " << error.what() << '\n';
        return 2;
    }
}
