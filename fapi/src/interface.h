#pragma once

#include <string>

namespace fapi {

// An interface as it was when an object was configured on it. One that has vanished and come back has another
// index and is another interface.
struct Interface {
    std::string name;
    int index = 0;
    bool operator==(const Interface&) const = default;
};

} // namespace fapi
