// A real ovsdb-server at the daemon's socket.
#pragma once

#include "process.h"

#include <csignal>
#include <string>

namespace e2e {

class OvsdbServer {
  public:
    // Makes an empty database from the schema file, without starting a server.
    explicit OvsdbServer(const std::string& schemaFile, const std::string& folder = "/tmp");
    OvsdbServer(const OvsdbServer&) = delete;
    OvsdbServer& operator=(const OvsdbServer&) = delete;
    ~OvsdbServer(); // nothing is left at the socket's path

    // Returns when clients can connect. One that runs already is ended first.
    void start();
    void stop();  // SIGTERM, as a service manager does it
    void crash(); // SIGKILL: the socket's name stays behind
    void freeze() { process_.signal(SIGSTOP); }
    void thaw() { process_.signal(SIGCONT); }
    bool running() const { return process_.running(); }
    pid_t id() const { return process_.id(); }
    const std::string& file() const { return file_; }

  private:
    std::string file_;
    Process process_;
};

} // namespace e2e
