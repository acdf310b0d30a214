// A real configuration server.
#pragma once

#include "process/program.h"
#include "process/sandbox.h"

#include <optional>
#include <string>

namespace zel::test {

// Makes a database file by a schema with ovsdb-tool.
void makeDatabase(const std::string& databaseFile, const std::string& schemaFile);

// ovsdb-server on a socket of its own, from construction on or after start().
class OvsdbServer {
  public:
    // Serves a new database made by that schema.
    explicit OvsdbServer(const std::string& schemaFile);

    std::string socket() const { return sandbox_.path("socket"); }

    // Throws if it does not answer in time.
    void start();
    void stop();

    // While frozen it takes connections and answers nothing.
    void freeze() const;
    void thaw() const;

  private:
    Sandbox sandbox_;
    std::optional<Program> server_;
};

} // namespace zel::test
