#include "zel/wordrule.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace zel::cfg {

namespace {

constexpr std::string_view marks = "._:/,+@%=-";

// Whatever the locale: a shell decides by bytes.
bool isHarmless(char byte) {
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
           marks.find(byte) != std::string_view::npos;
}

std::string printable(char byte) {
    const auto code = static_cast<unsigned char>(byte);
    if (code >= ' ' && code < 0x7F) {
        return {byte};
    }
    std::array<char, 5> text = {};
    (void)std::snprintf(text.data(), text.size(), "\\x%02x", static_cast<unsigned>(code));
    return text.data();
}

std::size_t longest(ColumnClass kind) {
    return kind == ColumnClass::interfaceName ? longestInterfaceName : longestWord;
}

} // namespace

std::string allowedWord(ColumnClass kind) {
    return "letters, digits and . _ : / , + @ % = -, no - in front, at most " +
           std::to_string(longest(kind)) + " characters";
}

std::string characterFault(std::string_view text) {
    const auto bad = std::find_if_not(text.begin(), text.end(), isHarmless);
    if (bad != text.end()) {
        return "holds '" + printable(*bad) + "'";
    }
    if (!text.empty() && text.front() == '-') {
        return "begins with '-'";
    }
    return "";
}

std::string whyNoWord(ColumnClass kind, std::string_view text) {
    if (!isWord(kind)) {
        return "";
    }
    std::string why = characterFault(text);
    if (!why.empty()) {
        return why;
    }
    if (text.size() > longest(kind)) {
        return "has " + std::to_string(text.size()) + " characters, from '" + printable(text[longest(kind)]) +
               "' on more than the " + std::to_string(longest(kind)) + " allowed";
    }
    return "";
}

} // namespace zel::cfg
