#include "failure.h"

#include <cstring>

namespace fapi {

std::string withErrno(const std::string& what, int error) {
    return what + ": " + strerror(error);
}

} // namespace fapi
