#include "fakeserver.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace zel::test {

using ovsdb::Json;

std::optional<Json> FakePeer::read() {
    char bytes[4096];
    while (!splitter_.ready()) {
        const ssize_t got = ::recv(fd_, bytes, sizeof bytes, 0);
        if (got <= 0) {
            return std::nullopt;
        }
        splitter_.append({bytes, static_cast<std::size_t>(got)});
    }
    return Json::parse(*splitter_.next());
}

bool FakePeer::send(const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t taken = ::send(fd_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (taken <= 0) {
            return false;
        }
        sent += static_cast<std::size_t>(taken);
    }
    return true;
}

bool FakePeer::reply(const Json& request, const Json& result) {
    return send(Json{{"id", request.at("id")}, {"result", result}, {"error", nullptr}}.dump());
}

bool FakePeer::refuse(const Json& request, const Json& error) {
    return send(Json{{"id", request.at("id")}, {"result", nullptr}, {"error", error}}.dump());
}

bool FakePeer::answerSchema(const Json& schema) {
    const auto request = read();
    return request && request->at("method") == "get_schema" && reply(*request, schema);
}

bool FakePeer::answerMonitor(const Json& tables) {
    const auto request = read();
    return request && request->at("method") == "monitor" && reply(*request, tables);
}

bool FakePeer::update(const Json& tables) {
    return send(
        Json{{"id", nullptr}, {"method", "update"}, {"params", Json::array({"replica", tables})}}.dump());
}

bool FakePeer::makeRoom(int bytes) const {
    return ::setsockopt(fd_, SOL_SOCKET, SO_SNDBUFFORCE, &bytes, sizeof bytes) == 0;
}

void FakePeer::waitUntilClosed() {
    while (read()) {
    }
}

void FakePeer::sleepUntilClosed() const {
    pollfd polled = {fd_, POLLRDHUP, 0};
    ::poll(&polled, 1, -1);
}

std::string uuidOf(int number) {
    char text[37];
    std::snprintf(text, sizeof text, "00000000-0000-4000-8000-%012d", number);
    return text;
}

Json rowOf(int number, const Json& row) {
    return {{uuidOf(number), {{"new", row}}}};
}

FakeServer::FakeServer(std::string path, Script script)
    : path_(std::move(path)), script_(std::move(script)),
      listener_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    ::unlink(path_.c_str());
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path_.c_str(), sizeof address.sun_path - 1);
    if (::bind(listener_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener_.get(), 16) != 0) {
        throw std::runtime_error("no fake server at " + path_);
    }
    thread_ = std::thread([this] { run(); });
}

FakeServer::~FakeServer() {
    stopping_ = true;
    ::shutdown(listener_.get(), SHUT_RDWR);
    ::shutdown(current_, SHUT_RDWR);
    thread_.join();
    ::unlink(path_.c_str());
}

void FakeServer::run() {
    while (!stopping_) {
        const ovsdb::UniqueFd connection(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!connection.valid()) {
            return;
        }
        current_ = connection.get();
        if (stopping_) {
            return; // the destructor may have looked at current_ too early
        }
        FakePeer peer(connection.get());
        script_(peer, connections_++);
        current_ = -1;
    }
}

} // namespace zel::test
