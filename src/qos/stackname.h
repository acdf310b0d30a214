// How an interface stack is written in logs.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace zel::pacerd {

// Upper interface first: `ppp0 <=> ptm0.7 <=> ptm0`.
inline std::string writeStack(const std::vector<std::string>& stack) {
    std::string text;
    for (std::size_t i = 0; i < stack.size(); ++i) {
        text += (i == 0 ? "" : " <=> ") + stack[i];
    }
    return text;
}

} // namespace zel::pacerd
