#include "ovsdbserver.h"

#include "database.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

namespace e2e {

namespace {

bool accepts(const char* path) {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {AF_UNIX, {}};
    std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
    const bool connected = ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(fd);
    return connected;
}

} // namespace

OvsdbServer::OvsdbServer(const std::string& schemaFile, const std::string& folder) {
    static int count = 0;
    file_ = folder + "/gateway" + std::to_string(++count) + ".db";
    const Outcome outcome = run({"ovsdb-tool", "create", file_, schemaFile});
    if (outcome.status != 0) {
        throw std::runtime_error("ovsdb-tool: " + outcome.errors);
    }
}

OvsdbServer::~OvsdbServer() {
    crash();
    ::unlink(serverSocket);
}

void OvsdbServer::start() {
    crash(); // or it would still hold the lock on the file
    process_ = Process(Command{{"ovsdb-server", "--remote=punix:" + std::string(serverSocket),
                                "--unixctl=none", "--no-chdir", "-vconsole:off", "-vsyslog:off", file_}});
    if (!eventually([] { return accepts(serverSocket); })) {
        throw std::runtime_error("ovsdb-server does not start");
    }
}

void OvsdbServer::stop() {
    process_.signal(SIGTERM);
    process_.wait();
}

void OvsdbServer::crash() {
    process_.signal(SIGKILL);
    process_.wait();
}

} // namespace e2e
