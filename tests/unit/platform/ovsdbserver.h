// A real ovsdb-server with a database of its own.
#pragma once

#include "ovsdb/json.h"
#include "ovsdb/session.h"

#include <sys/types.h>

#include <string>

namespace zel::test {

// Creates the database in `directory` and serves it at `socketPath`.
class OvsdbServer {
  public:
    OvsdbServer(const std::string& directory, std::string socketPath, const ovsdb::Json& schema);
    OvsdbServer(const OvsdbServer&) = delete;
    OvsdbServer& operator=(const OvsdbServer&) = delete;
    ~OvsdbServer();

    void start(); // returns when the server listens
    void stop();
    void signal(int number) const;
    // Only while stopped.
    void replaceDatabase(const ovsdb::Json& schema);

  private:
    std::string directory_;
    std::string socketPath_;
    pid_t pid_ = -1;
};

// Another client of the same server, which changes things behind the back of the one under test.
class OtherClient : private ovsdb::SessionObserver {
  public:
    OtherClient(const std::string& socketPath, const std::string& database = "Gateway");

    // Fails the test if the server does not take it. Returns the results.
    ovsdb::Json transact(const ovsdb::Transaction& transaction);
    void insert(const std::string& table, const ovsdb::Json& row);
    void update(const std::string& table, int id, const ovsdb::Json& row);
    void remove(const std::string& table, int id);
    ovsdb::Json rows(const std::string& table);

  private:
    ovsdb::Session session_;
};

} // namespace zel::test
