#include "ovsdb/unixstream.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace ovsdb {

UnixStream::Connect UnixStream::connect(const std::string& path, const std::vector<uid_t>& trustedUsers) {
    close();
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return unreachable(ENAMETOOLONG);
    }
    std::memcpy(address.sun_path, path.data(), path.size());

    UniqueFd fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!fd.valid() ||
        ::connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        return unreachable(errno);
    }
    ucred peer = {};
    socklen_t length = sizeof peer;
    if (::getsockopt(fd.get(), SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0) {
        return unreachable(errno);
    }
    if (std::find(trustedUsers.begin(), trustedUsers.end(), peer.uid) == trustedUsers.end()) {
        lastError_ = "the socket belongs to user " + std::to_string(peer.uid) + ", who is not trusted";
        return Connect::foreignPeer;
    }
    fd_ = std::move(fd);
    return Connect::connected;
}

void UnixStream::close() {
    fd_.reset();
    unsent_ = std::string();
}

void UnixStream::send(const std::string& bytes) {
    unsent_ += bytes;
    flush();
}

bool UnixStream::flush() {
    std::size_t sent = 0;
    bool alive = true;
    while (sent < unsent_.size()) {
        const ssize_t taken =
            ::send(fd_.get(), unsent_.data() + sent, unsent_.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (taken < 0) {
            alive = errno == EAGAIN || errno == EINTR;
            if (!alive) {
                lastError_ = std::strerror(errno);
            }
            break;
        }
        sent += static_cast<std::size_t>(taken);
    }
    if (sent == unsent_.size()) {
        unsent_ = std::string(); // not clear(): one large request would keep its memory
    } else {
        unsent_.erase(0, sent);
    }
    return alive;
}

UnixStream::Receive UnixStream::receive(std::string& bytes, std::size_t limit) {
    const std::size_t before = bytes.size();
    bytes.resize(before + limit);
    const ssize_t got = ::recv(fd_.get(), bytes.data() + before, limit, MSG_DONTWAIT);
    const int error = errno;
    bytes.resize(before + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    if (got > 0) {
        return Receive::data;
    }
    if (got < 0 && (error == EAGAIN || error == EINTR)) {
        return Receive::nothingYet;
    }
    lastError_ = got == 0 ? "closed by the server" : std::strerror(error);
    return Receive::closed;
}

UnixStream::Connect UnixStream::unreachable(int error) {
    lastError_ = std::strerror(error);
    return Connect::unreachable;
}

} // namespace ovsdb
