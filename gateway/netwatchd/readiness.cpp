#include "netwatchd/readiness.h"

#include "ovsdb/uniquefd.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace netwatchd {

std::string announceReadiness() {
    const char* variable = std::getenv("NOTIFY_SOCKET"); // NOLINT(concurrency-mt-unsafe): one thread
    if (variable == nullptr || *variable == '\0') {
        return {};
    }
    const std::string_view path = variable;
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return "NOTIFY_SOCKET is too long";
    }
    path.copy(address.sun_path, path.size());
    if (path.front() == '@') {
        address.sun_path[0] = '\0'; // an abstract socket
    }
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
    const ovsdb::UniqueFd socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    constexpr std::string_view message = "READY=1";
    if (!socket.valid() || ::sendto(socket.get(), message.data(), message.size(), MSG_NOSIGNAL,
                                    reinterpret_cast<const sockaddr*>(&address), length) < 0) {
        return std::string("cannot tell the service manager: ") + std::strerror(errno);
    }
    return {};
}

} // namespace netwatchd
