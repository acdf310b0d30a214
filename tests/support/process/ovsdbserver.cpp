#include "process/ovsdbserver.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <thread>

namespace zel::test {

namespace {

bool accepts(const std::string& socketPath) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    socketPath.copy(address.sun_path, sizeof(address.sun_path) - 1);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool connected =
        ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    ::close(socket);
    return connected;
}

} // namespace

void makeDatabase(const std::string& databaseFile, const std::string& schemaFile) {
    const Outcome made = run({OVSDB_TOOL, "create", databaseFile, schemaFile});
    if (made.status != 0) {
        throw std::runtime_error("ovsdb-tool create: " + made.err);
    }
}

OvsdbServer::OvsdbServer(const std::string& schemaFile) {
    makeDatabase(sandbox_.path("database"), schemaFile);
    start();
}

void OvsdbServer::start() {
    server_.emplace(std::vector<std::string>{OVSDB_SERVER, "--remote=punix:" + socket(),
                                             "--unixctl=" + sandbox_.path("control"), "--no-chdir",
                                             sandbox_.path("database")});
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!accepts(socket())) {
        if (std::chrono::steady_clock::now() >= end) {
            throw std::runtime_error("ovsdb-server does not start: " + server_->err());
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

void OvsdbServer::stop() {
    if (server_) {
        server_->send(SIGTERM);
        server_->wait();
        server_.reset();
    }
}

void OvsdbServer::freeze() const {
    server_->send(SIGSTOP);
}

void OvsdbServer::thaw() const {
    server_->send(SIGCONT);
}

} // namespace zel::test
