#include "cfgctl/database.h"

#include "cfgctl/failure.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <utility>

namespace cfgctl {

namespace {

using ovsdb::Session;
using Status = ovsdb::TransactResult::Status;

ovsdb::SessionOptions sessionOptions(const std::string& socketPath, std::chrono::seconds answerTimeout) {
    ovsdb::SessionOptions options;
    options.socketPath = socketPath;
    options.database = databaseName;
    options.answerTimeout = answerTimeout;
    options.reconnect = false;
    return options;
}

void waitForEvent(const Session& session) {
    int timeout = -1;
    if (const auto deadline = session.deadline()) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(*deadline - Session::Clock::now()).count();
        timeout = static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
    }
    pollfd polled = {session.descriptor(), session.pollEvents(), 0};
    ::poll(&polled, 1, timeout);
}

// A transaction's changes come in no order of their own.
bool tellInOrder(std::vector<ovsdb::RowChange>& rows,
                 const std::function<bool(const ovsdb::RowChange&)>& onChange) {
    const auto idOf = [](const ovsdb::RowChange& row) {
        return (row.after.empty() ? row.before : row.after).getValue("Id").getInteger();
    };
    std::stable_sort(rows.begin(), rows.end(), [&idOf](const auto& left, const auto& right) {
        return std::pair(left.table, idOf(left)) < std::pair(right.table, idOf(right));
    });
    return std::all_of(rows.begin(), rows.end(), onChange);
}

} // namespace

Database::Database(const std::string& socketPath, std::chrono::seconds answerTimeout)
    : socketPath_(socketPath), session_(sessionOptions(socketPath, answerTimeout), nobody_) {
    if (session_.waitForSchema() == Status::answered) {
        return;
    }
    if (session_.lastOutage().find("unknown database") != std::string::npos) {
        throw Failure(ExitStatus::usage, "the configuration server at " + socketPath_ +
                                             " has no database \"" + databaseName + "\"");
    }
    throw Failure(ExitStatus::usage, outageText());
}

std::string Database::outageText() const {
    return "the configuration server at " + socketPath_ + " " + session_.lastOutage();
}

ovsdb::Json Database::transact(const ovsdb::Transaction& transaction,
                               const std::vector<std::string>& places) {
    const ovsdb::TransactResult result = session_.transact(transaction);
    if (result.status == Status::failed) {
        throw Failure(ExitStatus::failure, "the database refused the request: " + result.error);
    }
    if (result.status != Status::answered) {
        throw Failure(ExitStatus::usage,
                      {outageText(), "what was asked of it may or may not have been done"});
    }
    const ovsdb::TransactError error = ovsdb::findError(result.results);
    if (!error.error.empty()) {
        // Which of two equal rows was there first, and that by its uuid, helps nobody.
        const std::string details = error.details.substr(0, error.details.find(".  First row"));
        const std::string place = error.operation < places.size() ? places[error.operation] + ": " : "";
        throw Failure(ExitStatus::failure, place + "the database refused it: " + error.error +
                                               (details.empty() ? "" : ": " + details));
    }
    return result.results;
}

void Database::watch(const std::vector<std::string>& tables, const std::function<void()>& onReady,
                     const std::function<bool(const ovsdb::RowChange&)>& onChange) {
    while (session_.hasWork()) {
        session_.process(); // what the connection without tables had to tell
    }
    session_.watch(tables);
    session_.start();
    while (session_.descriptor() >= 0) {
        auto change = session_.process();
        if (change && change->snapshot) {
            onReady();
        }
        if (change && !tellInOrder(change->rows, onChange)) {
            return;
        }
        if (session_.descriptor() >= 0 && !session_.hasWork()) {
            waitForEvent(session_);
        }
    }
    throw Failure(ExitStatus::usage, outageText());
}

} // namespace cfgctl
