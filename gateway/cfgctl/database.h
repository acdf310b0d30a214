// The connection to the configuration server for the time of one command.
#pragma once

#include "ovsdb/session.h"
#include "zel/gatewaytables.h"

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace cfgctl {

inline constexpr const char* databaseName = zel::cfg::gatewayDatabase;
inline constexpr const char* defaultSocket = "/tmp/cfgserver.socket";
inline constexpr std::chrono::seconds defaultAnswerTimeout{30};

class Database {
  public:
    // Connects and reads the schema. Throws Failure, with the exit status for "no database". A server that
    // does not answer within that time, now or later, counts as gone.
    Database(const std::string& socketPath, std::chrono::seconds answerTimeout);

    const ovsdb::DatabaseSchema& schema() const { return *session_.schema(); }

    // The server's answer, one element for each operation, if all was done. If not, throws Failure: nothing
    // was done. `places` say what the operations stand for, by their number, in messages; it may be empty.
    ovsdb::Json transact(const ovsdb::Transaction& transaction, const std::vector<std::string>& places = {});

    // Calls `onReady` once it follows the tables, and then `onChange` for each row that changes, as long as
    // it returns true. Throws Failure if the connection is lost.
    void watch(const std::vector<std::string>& tables, const std::function<void()>& onReady,
               const std::function<bool(const ovsdb::RowChange&)>& onChange);

  private:
    // "the configuration server at /tmp/cfgserver.socket is gone: ...".
    std::string outageText() const;

    std::string socketPath_;
    ovsdb::SessionObserver nobody_;
    ovsdb::Session session_;
};

} // namespace cfgctl
