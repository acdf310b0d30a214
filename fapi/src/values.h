// Reading option values. Every reader throws Usage naming the option when the text is not what it must be.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace fapi {

// Decimal, no sign, no blanks, within [lowest, highest].
uint64_t readNumber(const std::string& option, const std::string& text, uint64_t lowest, uint64_t highest);

// Object names: 1 to 63 printable characters without blanks and '/', not beginning with '-'.
bool isName(std::string_view text);
void checkName(const std::string& what, const std::string& text);

// Interface names as the kernel takes them: 1 to 15 characters.
bool isInterfaceName(std::string_view text);
void checkInterfaceName(const std::string& option, const std::string& text);

} // namespace fapi
