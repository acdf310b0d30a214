// The table StatusNetifWatchLogical of the configuration database.
#pragma once

#include "netwatchd/statuskeeper.h"
#include "ovsdb/session.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace netwatchd {

class StatusDatabase final : private ovsdb::SessionObserver {
  public:
    using Clock = ovsdb::Session::Clock;

    // Messages go to the log under `logHandle`. A wait for the server ends early once `interrupt` is
    // readable.
    StatusDatabase(const std::string& socketPath, int logHandle, int interrupt);

    int descriptor() const { return session_.descriptor(); }
    short pollEvents() const { return session_.pollEvents(); }
    std::optional<Clock::time_point> deadline() const { return session_.deadline(); }
    // Something that came during a write is still to be processed; the descriptor will not tell.
    bool hasWork() const { return session_.hasWork(); }

    // Connects, reads, answers: all that is due, without waiting. Returns whether the rows may have changed.
    bool process();

    bool isLive() const { return session_.isLive(); }
    // In ascending Id. Nothing before the first connection.
    std::vector<StatusRow> rows() const;

    // Writes all of it in one transaction; a row that has been given another interface meanwhile is left
    // alone. False: nothing is written, and the reason is in the log.
    bool write(const std::vector<StatusUpdate>& updates);

  private:
    void onOutage(const std::string& reason) override;
    void onRecovery() override;
    void onSchema(const ovsdb::DatabaseSchema& schema) override;

    void logFailure(const std::string& reason);

    std::string socketPath_;
    int log_;
    std::string lastFailure_; // of a write; the same one is not repeated in the log
    ovsdb::Session session_;
};

} // namespace netwatchd
