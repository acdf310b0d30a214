// Command lines of the FAPI tools: a word a line, the tool's name first. Wrong usage is status 2, and no line
// does anything else wrong before the tools would turn to the kernel.
#include "failure.h"
#include "input.h"
#include "tools.h"

#include <algorithm>

namespace {

// "needs the kernel", as the end of a line that was understood.
class KernelNeeded {};

} // namespace

// In place of the functions of those names, see CMakeLists.txt.
extern "C" [[noreturn]] void __wrap__ZN4fapi7SessionC1ENS_6AccessE() { // NOLINT(bugprone-reserved-identifier)
    throw KernelNeeded();
}
extern "C" void __wrap__ZN4fapi14needPrivilegesEv() {} // NOLINT(bugprone-reserved-identifier)

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::string tool = input.line();
    fapi::Words words;
    while (!input.empty()) {
        words.push_back(input.line());
    }
    if (std::count(words.begin(), words.end(), "--help") +
            std::count(words.begin(), words.end(), "--version") !=
        0) {
        return 0; // prints
    }
    fapi::Subject subject;
    try {
        (tool == "qcfg" ? fapi::qcfg : tool == "ifcfg" ? fapi::ifcfg : fapi::classcfg)(words, subject);
        fuzz::require(false, "every tool needs the kernel in the end", tool);
    } catch (const fapi::Usage&) {
    } catch (const KernelNeeded&) {
        fuzz::require(subject.text.find('\n') == std::string::npos, "a subject is one line", subject.text);
    }
    return 0;
}
