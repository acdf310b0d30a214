#include "relay.h"

#include "database.h"
#include "fakeserver.h"
#include "process.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <system_error>

namespace e2e {

namespace {

constexpr const char* serversOwn = "/tmp/cfgserver.behind-relay";

sockaddr_un addressOf(const char* path) {
    sockaddr_un address = {AF_UNIX, {}};
    std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
    return address;
}

// Where the first message ends; npos if it has not come whole. The server's messages are JSON objects.
std::size_t endOfMessage(const std::string& text) {
    int depth = 0;
    bool inText = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char c = text[at];
        if (inText) {
            at += c == '\\' ? 1 : 0;
            inText = c != '"';
        } else if (c == '"') {
            inText = true;
        } else if (c == '{') {
            ++depth;
        } else if (c == '}' && --depth == 0) {
            return at + 1;
        }
    }
    return std::string::npos;
}

// False when the other side has closed.
bool receiveInto(std::string& text, int from) {
    std::array<char, 65536> buffer = {};
    const ssize_t count = ::recv(from, buffer.data(), buffer.size(), 0);
    text.append(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    return count > 0;
}

} // namespace

Relay::Relay() : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const sockaddr_un address = addressOf(serverSocket);
    if (std::rename(serverSocket, serversOwn) != 0 ||
        ::bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(socket_, 8) != 0) {
        throw std::system_error(errno, std::generic_category(), serverSocket);
    }
    thread_ = std::thread([this] { listen(); });
}

Relay::~Relay() {
    end_ = true;
    thread_.join();
    ::close(socket_);
    std::rename(serversOwn, serverSocket);
}

void Relay::stopAfter(int messages, bool half) {
    half_ = half;
    stopped_ = false;
    messages_ = messages;
}

bool Relay::waitUntilStopped() const {
    return eventually([this] { return stopped_.load(); });
}

void Relay::resume() {
    messages_ = -1;
}

void Relay::cut() {
    cut_ = true;
}

void Relay::listen() {
    while (!end_) {
        pollfd waiting = {socket_, POLLIN, 0};
        if (::poll(&waiting, 1, 1) <= 0) {
            continue;
        }
        const int daemon = ::accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC);
        const int server = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const sockaddr_un address = addressOf(serversOwn);
        if (::connect(server, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
            serve(daemon, server);
        }
        ::close(server);
        ::close(daemon);
    }
}

void Relay::serve(int daemon, int server) {
    std::string requests;
    std::string answers;    // not passed on yet
    std::size_t passed = 0; // of the message at their beginning
    int number = 0;         // of messages passed on
    while (!end_ && !cut_) {
        pollfd sides[] = {{daemon, POLLIN, 0}, {server, POLLIN, 0}};
        ::poll(sides, 2, 1);
        if ((sides[0].revents != 0 && !receiveInto(requests, daemon)) ||
            (sides[1].revents != 0 && !receiveInto(answers, server))) {
            return;
        }
        FakeServer::send(server, requests);
        requests.clear();
        for (std::size_t end = 0; (end = endOfMessage(answers)) != std::string::npos; ++number) {
            if (messages_ >= 0 && number >= messages_) {
                if (!stopped_ && half_) {
                    passed = end / 2;
                    FakeServer::send(daemon, answers.substr(0, passed));
                }
                stopped_ = true;
                break;
            }
            FakeServer::send(daemon, answers.substr(passed, end - passed));
            answers.erase(0, end);
            passed = 0;
        }
    }
    if (cut_.exchange(false)) {
        messages_ = -1;
    }
}

} // namespace e2e
