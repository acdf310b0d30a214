// The daemon with its database, in the lab's gateway, as fast as it goes.
#pragma once

#include "database.h"
#include "gateways.h"
#include "ovsdbserver.h"
#include "process.h"
#include "syslogcapture.h"

#include <optional>
#include <string>

namespace bench {

class LabDaemon {
  public:
    // The database holds the example: the line is up, and all services but the internet's are.
    explicit LabDaemon(const std::string& example);

    // tools: the folder that the daemon finds its tools in. quiet: how long nobody looks at the log after a
    // change, which takes processor time that a measured tool may want.
    void start(const std::string& tools, e2e::Milliseconds quiet = e2e::Milliseconds(0));
    void stop();
    void kill();

    // Milliseconds from the commit until the last command has run. Throws std::runtime_error if the daemon
    // complains.
    double up();
    double down();
    // Returns when the database has it.
    void setInternet(bool up);

  private:
    double change(bool up, const std::string& message);
    // Returns when the daemon has done what follows from every change so far.
    void settle();

    e2e::SyslogCapture log_;
    e2e::OvsdbServer server_{e2e::schemaFile()};
    e2e::Database database_;
    std::optional<e2e::Process> daemon_;
    e2e::Milliseconds quiet_{0};
    int internetRow_ = 0;
    int settled_ = 0;
};

} // namespace bench
