#include "fakeserver.h"

#include "database.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

namespace e2e {

FakeServer::FakeServer(std::function<void(int connection)> serve)
    : serve_(std::move(serve)), socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address = {AF_UNIX, {}};
    std::strncpy(address.sun_path, serverSocket, sizeof address.sun_path - 1);
    ::unlink(serverSocket);
    if (::bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(socket_, 8) != 0) {
        throw std::system_error(errno, std::generic_category(), serverSocket);
    }
    thread_ = std::thread([this] { listen(); });
}

FakeServer::~FakeServer() {
    stop_ = true;
    thread_.join();
    ::close(socket_);
    ::unlink(serverSocket);
}

void FakeServer::listen() {
    while (!stop_) {
        pollfd waiting = {socket_, POLLIN, 0};
        if (::poll(&waiting, 1, 20) <= 0) {
            continue;
        }
        const int connection = ::accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC);
        ++connections_;
        serve_(connection);
        ::close(connection);
    }
}

bool FakeServer::send(int connection, const std::string& text) {
    for (std::size_t sent = 0; sent < text.size();) {
        const ssize_t count = ::send(connection, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        sent += static_cast<std::size_t>(count);
    }
    return true;
}

void FakeServer::waitUntilClosed(int connection) {
    std::array<char, 4096> buffer = {};
    while (::recv(connection, buffer.data(), buffer.size(), 0) > 0) {
    }
}

} // namespace e2e
