// System calls that fail become exceptions with the call's name and the kernel's reason.
#pragma once

#include <cerrno>
#include <string>
#include <system_error>

namespace lab {

template <typename Result>
Result throwIfNegative(Result result, const std::string& what) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

} // namespace lab
