// What a text may hold that becomes part of a command line. The daemon passes its lines to the shell as they
// are, without quoting: what a shell or a tool would interpret must not get that far.
#pragma once

#include "zel/gatewaytables.h"

#include <string>
#include <string_view>

namespace zel::cfg {

inline constexpr std::size_t longestWord = 64;
inline constexpr std::size_t longestInterfaceName = 15; // the kernel's IFNAMSIZ, without the final zero

// The rule in words: "letters, digits and ...".
std::string allowedWord(ColumnClass kind);

// Why a word of whatever length must not hold that text; empty if it may.
std::string characterFault(std::string_view text);

// Why the text must not stand in a column of that class, "holds ';'"; empty if it may. Names the first
// character at fault, bytes that cannot be printed as "\x0a". Numbers and free texts may hold anything.
std::string whyNoWord(ColumnClass kind, std::string_view text);

} // namespace zel::cfg
