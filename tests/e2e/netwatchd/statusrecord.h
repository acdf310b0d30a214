// What a client of the configuration database sees of the interface status, and when.
#pragma once

#include "ovsdb/session.h"

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace netwatchd::test {

class StatusRecord final : private ovsdb::SessionObserver {
  public:
    using Clock = std::chrono::steady_clock;

    // One transaction of somebody's: the rows that it changed, each as "ProviderInternet up 192.0.2.1", in
    // no particular order.
    struct Entry {
        Clock::time_point time;
        std::vector<std::string> rows;
    };

    // Connects, waits for the first snapshot, which is no entry.
    StatusRecord();

    // Takes in what comes until `condition` holds; false if it has not within 20 s.
    bool waitUntil(const std::function<bool()>& condition);
    bool waitForRow(const std::string& row);
    // Takes in what comes during that time.
    void listen(std::chrono::milliseconds time);

    const std::vector<Entry>& entries() const { return entries_; }
    void clear() { entries_.clear(); }
    // As the database has it now: "up 192.0.2.1".
    std::string now(const std::string& name) const;

  private:
    void onOutage(const std::string& /*reason*/) override {}
    void onRecovery() override {}
    void onSchema(const ovsdb::DatabaseSchema& /*schema*/) override {}

    void takeIn(std::chrono::milliseconds patience);

    ovsdb::Session session_;
    std::vector<Entry> entries_;
};

} // namespace netwatchd::test
