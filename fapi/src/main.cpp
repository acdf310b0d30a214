#include "failure.h"
#include "tools.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>

namespace {

// Only where not even an exception finds room: before the first word is read, or while another one is told.
[[noreturn]] void withoutAnyMemory() {
    (void)dprintf(STDERR_FILENO, "%s: no memory left\n", program_invocation_short_name);
    _exit(fapi::exitFailed);
}

} // namespace

int main(int argc, char** argv) {
    std::set_terminate(withoutAnyMemory);
    const std::string path = argc > 0 ? argv[0] : "";
    const fapi::Words words(argv + (argc > 0 ? 1 : 0), argv + argc);
    return fapi::run(path.substr(path.rfind('/') + 1), words);
}
