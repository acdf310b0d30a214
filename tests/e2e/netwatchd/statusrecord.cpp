#include "statusrecord.h"

#include "database.h"

#include <poll.h>

#include <stdexcept>

namespace netwatchd::test {

namespace {

using std::chrono::milliseconds;

constexpr const char* table = "StatusNetifWatchLogical";

ovsdb::SessionOptions options() {
    ovsdb::SessionOptions chosen;
    chosen.socketPath = e2e::serverSocket;
    chosen.database = "Gateway";
    chosen.tables = {table};
    chosen.reconnectPause = milliseconds(20);
    return chosen;
}

std::string state(const basalt::ValueList& row) {
    return (row.getValue("IsUp").getInteger() == 1 ? "up " : "down ") + row.getValue("Addr").getText();
}

} // namespace

StatusRecord::StatusRecord() : session_(options(), *this) {
    session_.start();
    if (!waitUntil([this] { return session_.isLive(); })) {
        throw std::runtime_error("no connection to the database");
    }
}

void StatusRecord::takeIn(milliseconds patience) {
    pollfd polled = {session_.descriptor(), session_.pollEvents(), 0};
    ::poll(&polled, 1, session_.hasWork() ? 0 : static_cast<int>(patience.count()));
    const auto change = session_.process();
    if (!change || change->snapshot) {
        return;
    }
    Entry entry{Clock::now(), {}};
    for (const ovsdb::RowChange& row : change->rows) {
        entry.rows.push_back(row.after.getValue("Name").getText() + " " + state(row.after));
    }
    entries_.push_back(std::move(entry));
}

bool StatusRecord::waitUntil(const std::function<bool()>& condition) {
    constexpr std::chrono::seconds patience{20};
    const auto end = Clock::now() + patience;
    while (!condition()) {
        if (Clock::now() > end) {
            return false;
        }
        takeIn(milliseconds(5));
    }
    return true;
}

bool StatusRecord::waitForRow(const std::string& row) {
    return waitUntil([&] {
        const std::size_t blank = row.find(' ');
        return session_.isLive() && now(row.substr(0, blank)) == row.substr(blank + 1);
    });
}

void StatusRecord::listen(milliseconds time) {
    const auto end = Clock::now() + time;
    while (Clock::now() < end) {
        takeIn(milliseconds(5));
    }
}

std::string StatusRecord::now(const std::string& name) const {
    const ovsdb::Replica* replica = session_.replica();
    const ovsdb::ReplicaTable* rows = replica == nullptr ? nullptr : replica->find(table);
    const ovsdb::Row* row = rows == nullptr ? nullptr : rows->findFirst("Name", name);
    return row == nullptr ? "no row" : state(row->values);
}

} // namespace netwatchd::test
