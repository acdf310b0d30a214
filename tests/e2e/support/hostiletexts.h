// Texts that a shell or a tool would make something of.
#pragma once

#include <string>
#include <vector>

namespace e2e {

// What the texts try to run. Short, because interface names are.
inline constexpr const char* canary = "/tmp/c";

// At least 2,000, each once, the same each time, all valid UTF-8: metacharacters, substitutions,
// redirections, line ends, globs, options, odd characters, and texts that are too long. None may stand in a
// word.
std::vector<std::string> hostileTexts();

} // namespace e2e
