// A gateway under measurement: server, daemon and log on the private machine.
#pragma once

#include "daemonprocess.h"
#include "database.h"
#include "gateways.h"
#include "ovsdbserver.h"
#include "syslogcapture.h"

#include <chrono>
#include <map>
#include <memory>
#include <string>

namespace bench {

using Clock = std::chrono::steady_clock;

double milliseconds(Clock::duration time);

// The line is up and all services but the internet's are.
e2e::Json readyGateway(const std::string& example);

class Gateway {
  public:
    explicit Gateway(const e2e::Json& configuration);

    void startDaemon(const std::map<std::string, std::string>& environment = {});
    void stopDaemon();

    // Both return the time from before the commit until that message was logged.
    Clock::duration up(const std::string& lastMessage);
    Clock::duration down(const std::string& lastMessage);

    e2e::SyslogCapture log;
    e2e::OvsdbServer server;
    e2e::Database db;
    std::unique_ptr<e2e::Daemon> daemon;

  private:
    Clock::duration commitAndWait(const e2e::Json& columns, const std::string& lastMessage);
};

} // namespace bench
