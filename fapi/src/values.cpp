#include "values.h"

#include "failure.h"

#include <algorithm>
#include <charconv>

namespace fapi {

namespace {

bool printable(char c) {
    return c > ' ' && c < 0x7f && c != '/';
}

} // namespace

uint64_t readNumber(const std::string& option, const std::string& text, uint64_t lowest, uint64_t highest) {
    uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < lowest || number > highest) {
        throw Usage("option " + option + ": '" + text + "' is not a number from " + std::to_string(lowest) +
                    " to " + std::to_string(highest));
    }
    return number;
}

bool isName(std::string_view text) {
    return !text.empty() && text.size() <= 63 && text.front() != '-' &&
           std::all_of(text.begin(), text.end(), printable);
}

void checkName(const std::string& what, const std::string& text) {
    if (!isName(text)) {
        throw Usage("'" + text + "' is not a " + what + " (1 to 63 printable characters without '/')");
    }
}

bool isInterfaceName(std::string_view text) {
    return isName(text) && text.size() <= 15 && text != "." && text != "..";
}

void checkInterfaceName(const std::string& option, const std::string& text) {
    if (!isInterfaceName(text)) {
        throw Usage("option " + option + ": '" + text +
                    "' is not an interface name (1 to 15 printable characters)");
    }
}

} // namespace fapi
