#include "netwatchd/statusdatabase.h"

#include <zel/sysloglevel.h>
#include <zel/vastr.h>

#include <utility>

namespace netwatchd {

namespace {

constexpr const char* source = "statusdatabase.cpp";
constexpr const char* databaseName = "Gateway";
constexpr const char* statusTable = "StatusNetifWatchLogical";

// A server that takes longer is lost to this program; it connects anew and writes what is true by then.
constexpr std::chrono::seconds answerTimeout{10};

ovsdb::SessionOptions sessionOptions(const std::string& socketPath) {
    ovsdb::SessionOptions options;
    options.socketPath = socketPath;
    options.database = databaseName;
    options.tables = {statusTable};
    options.answerTimeout = answerTimeout;
    return options;
}

std::string describe(const StatusUpdate& update) {
    std::string text = update.row.name + " (" + update.row.interface + ")";
    if (update.isUp) {
        text += *update.isUp ? " is up" : " is down";
    }
    if (update.address) {
        text += (update.isUp ? ", address " : " has the address ") + *update.address;
    }
    return text;
}

} // namespace

StatusDatabase::StatusDatabase(const std::string& socketPath, int logHandle, int interrupt)
    : socketPath_(socketPath), log_(logHandle), session_(sessionOptions(socketPath), *this) {
    session_.setInterrupt(interrupt);
    session_.start();
}

bool StatusDatabase::process() {
    bool changed = false;
    do {
        changed = session_.process().has_value() || changed;
    } while (session_.hasWork());
    return changed;
}

std::vector<StatusRow> StatusDatabase::rows() const {
    std::vector<StatusRow> found;
    const ovsdb::Replica* replica = session_.replica();
    const ovsdb::ReplicaTable* table = replica == nullptr ? nullptr : replica->find(statusTable);
    if (table == nullptr) {
        return found;
    }
    for (const ovsdb::Row& row : table->rows()) {
        found.push_back({row.uuid.text(), row.values.getValue("Name").getText(),
                         row.values.getValue("Interface").getText(), row.values.getValue("IsUp").getInteger(),
                         row.values.getValue("Addr").getText()});
    }
    return found;
}

bool StatusDatabase::write(const std::vector<StatusUpdate>& updates) {
    ovsdb::Transaction transaction;
    std::string remark = "netwatchd:";
    for (const StatusUpdate& update : updates) {
        ovsdb::Json values = ovsdb::Json::object();
        if (update.isUp) {
            values["IsUp"] = *update.isUp ? 1 : 0;
        }
        if (update.address) {
            values["Addr"] = *update.address;
        }
        transaction.update(
            statusTable,
            {ovsdb::isRow(update.row.uuid), ovsdb::condition("Interface", "==", update.row.interface)},
            std::move(values));
        remark += (remark.back() == ':' ? " " : "; ") + describe(update);
    }
    transaction.comment(remark);

    using Status = ovsdb::TransactResult::Status;
    const ovsdb::TransactResult result = session_.transact(transaction);
    switch (result.status) {
    case Status::answered:
        break;
    case Status::notConnected:
    case Status::noAnswer:
        return false; // onOutage has said why, or the program is told to stop
    case Status::failed:
        logFailure(result.error);
        return false;
    }
    const ovsdb::TransactError error = ovsdb::findError(result.results);
    if (!error.error.empty()) {
        logFailure(error.error + (error.details.empty() ? "" : ": " + error.details));
        return false;
    }
    lastFailure_.clear();
    for (std::size_t i = 0; i < updates.size(); ++i) {
        if (ovsdb::countOf(result.results, i) != 0) {
            ZEL_Sysloglevel_info(log_, source, __LINE__, describe(updates[i]));
        }
    }
    return true;
}

void StatusDatabase::logFailure(const std::string& reason) {
    if (std::exchange(lastFailure_, reason) != reason) {
        ZEL_Sysloglevel_error(log_, source, __LINE__,
                              VAStr("cannot write table '%s': %s", statusTable, reason.c_str()));
    }
}

void StatusDatabase::onOutage(const std::string& reason) {
    ZEL_Sysloglevel_error(log_, source, __LINE__,
                          VAStr("configuration server at '%s' %s", socketPath_.c_str(), reason.c_str()));
}

void StatusDatabase::onRecovery() {
    ZEL_Sysloglevel_info(log_, source, __LINE__,
                         VAStr("connected to the configuration server at '%s' again", socketPath_.c_str()));
}

void StatusDatabase::onSchema(const ovsdb::DatabaseSchema& schema) {
    for (const char* column : {"Name", "Interface", "IsUp", "Addr"}) {
        if (schema.findColumn(statusTable, column) == nullptr) {
            ZEL_Sysloglevel_error(
                log_, source, __LINE__,
                VAStr("database '%s' has no column '%s' in table '%s'", databaseName, column, statusTable));
        }
    }
}

} // namespace netwatchd
