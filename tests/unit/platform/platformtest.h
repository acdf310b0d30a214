// What the platform's tests share: a directory of their own, a database schema, a recording handler, a loop.
#pragma once

#include "ovsdb/json.h"
#include "sysloglines.h"

#include <basalt/net/eventdispatcher.h>
#include <zel/cfg/notificationhandler.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <list>
#include <optional>
#include <string>
#include <vector>

namespace zel::test {

using ovsdb::Json;

// A directory that is removed with everything in it.
class Sandbox {
  public:
    Sandbox();
    Sandbox(const Sandbox&) = delete;
    Sandbox& operator=(const Sandbox&) = delete;
    ~Sandbox();

    std::string operator/(const std::string& name) const { return path_ + "/" + name; }
    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

// The seven tables with the columns that the daemon reads; numbers as integers, the rest as texts, DSCPMatch
// as an optional integer, "Id" unique in each.
Json gatewaySchema();

std::string readFile(const std::string& path);

// Watches some tables and notes every call: "check:TABLE" and "process".
class RecordingHandler : public cfg::IConfigHandler {
  public:
    using Client = cfg::common::IConfigClient;

    void getWatchedTables(std::list<std::string>& tables) override;
    bool checkConfigChange(const Client& client, const std::string& table) override;
    void processConfigChange(const Client& client) override;

    // Everything since the last take.
    std::vector<std::string> take();

    // As the daemon watches them.
    std::list<std::string> tables = {"NetworkSetupNode", "StatusDsl", "StatusNetifWatchLogical",
                                     "QoSShaper",        "QoSQueues", "QoSClassificationAction",
                                     "QoSClassification"};
    std::function<bool(const Client&, const std::string&)> onCheck;
    std::function<void(const Client&)> onProcess;
    std::vector<std::string> calls;
};

// A program that follows a configuration server as the daemon does. Its log must have been looked at: an
// error or warning that no test has taken fails it.
class PlatformTest : public testing::Test {
  protected:
    static constexpr std::chrono::seconds patience{30};

    ~PlatformTest() override;

    // Constructs, registers `handler`, initializes. Returns what initialize() said.
    bool start(unsigned int answerSeconds = 60, unsigned int reconnectMs = 20);

    // Loops as the daemon does until the condition holds. False if it does not within `patience`.
    bool loopUntil(const std::function<bool()>& condition);
    // Loops for that long, or until there is nothing to do for that long.
    void loopFor(std::chrono::milliseconds time);
    bool loopUntilCalled(const std::string& call);

    const cfg::common::IConfigClient& client() { return notification->getConfigClient(); }

    Sandbox sandbox;
    std::string socketPath = sandbox / "server.socket";
    SyslogLines log;
    RecordingHandler handler;
    basalt::net::EventDispatcher dispatcher;
    std::optional<cfg::NotificationHandler> notification;
};

} // namespace zel::test
