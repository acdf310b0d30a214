#include "failure.h"

#include <cstring>
#include <new>

namespace fapi {

const char* reasonOf(const std::exception& error) {
    return dynamic_cast<const std::bad_alloc*>(&error) != nullptr ? "no memory left" : error.what();
}

std::string withErrno(const std::string& what, int error) {
    return what + ": " + strerror(error);
}

} // namespace fapi
