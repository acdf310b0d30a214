#include "pipeline.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <stdexcept>

namespace e2e {

namespace {

constexpr const char* endOfAnswer = "\"id\":"; // in each answer once, for nothing else there is called so

} // namespace

Pipeline::Pipeline() : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address = {AF_UNIX, {}};
    std::strncpy(address.sun_path, serverSocket, sizeof address.sun_path - 1);
    if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        ::close(socket_);
        throw std::runtime_error("cannot connect to the database");
    }
}

Pipeline::~Pipeline() {
    ::close(socket_);
}

void Pipeline::add(const Json& operations) {
    Json parameters = Json::array({"Gateway"});
    parameters.insert(parameters.end(), operations.begin(), operations.end());
    unsent_ += Json{{"method", "transact"}, {"params", parameters}, {"id", added_}}.dump();
    ++added_;
}

void Pipeline::move() {
    const ssize_t sent = ::send(socket_, unsent_.data(), unsent_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent > 0) {
        unsent_.erase(0, static_cast<std::size_t>(sent));
    }
    std::array<char, 65536> buffer = {};
    for (ssize_t count = 0; (count = ::recv(socket_, buffer.data(), buffer.size(), MSG_DONTWAIT)) > 0;) {
        received_.append(buffer.data(), static_cast<std::size_t>(count));
    }
    std::size_t after = 0;
    for (std::size_t at = 0; (at = received_.find(endOfAnswer, after)) != std::string::npos; ++answered_) {
        after = at + std::strlen(endOfAnswer);
    }
    received_.erase(0, after);
}

void Pipeline::sendHalf(const Json& operations) {
    Pipeline pipeline;
    pipeline.add(operations);
    pipeline.unsent_.resize(pipeline.unsent_.size() / 2);
    while (!pipeline.unsent_.empty()) {
        pipeline.move();
    }
}

bool Pipeline::finish(Milliseconds limit) {
    return eventually(
        [this] {
            move();
            return answered_ == added_;
        },
        limit);
}

} // namespace e2e
