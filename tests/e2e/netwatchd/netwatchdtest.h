// netwatchd on a private machine whose network it has for itself.
#pragma once

#include "database.h"
#include "ovsdbserver.h"
#include "process.h"
#include "statusrecord.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace netwatchd::test {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
using Milliseconds = std::chrono::milliseconds;
using Texts = std::vector<std::string>;

class NetwatchdTest : public ::testing::Test {
  protected:
    // A network namespace with an Ethernet WAN port "eth1", up, whose other end is "far1"; a database whose
    // ProviderInternet runs over eth1, ProviderVoIP over "voip0" (which is not there) and ProviderIPTV is
    // off.
    NetwatchdTest();

    // ip(8) with these arguments; throws if it fails.
    static void ip(const std::string& arguments);
    // ip(8) with these lines as its batch.
    static void ipBatch(const std::string& lines);
    // The same while netwatchd stands still: or a busy machine makes several bursts of it.
    void ipBatchAtOnce(const std::string& lines) const;

    void startNetwatchd(Texts options = {});
    // The same, and returns when it has settled: a record is open, ProviderInternet is as eth1 is.
    void startAndSettle(Texts options = {});
    std::string log() const { return e2e::readFile(logFile); }
    bool waitForLog(const std::string& text) const;

    static constexpr const char* logFile = "/tmp/netwatchd.log";
    e2e::OvsdbServer server;
    e2e::Database db;
    e2e::Process netwatchd;
    std::optional<StatusRecord> record;
};

} // namespace netwatchd::test
