// A gateway in the lab with its database and its daemon, which runs the real tools.
#pragma once

#include "database.h"
#include "gateways.h"
#include "kernel.h"
#include "ovsdbserver.h"
#include "process.h"
#include "syslogcapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace lab {

using e2e::Json;

// Every how many-th command of a long row something happens at, unless LAB_CUT_STEP says it (1: at each;
// minutes).
int cutStep(int usual);

class LabTest : public ::testing::Test {
  protected:
    LabTest();
    ~LabTest() override;

    // Builds the lab for that configuration and puts it into the database. The WAN is down in it.
    void buildGateway(const Json& configuration);
    // Only the database; interfaces and addresses stay as they are.
    void configure(const Json& configuration);

    // In the foreground, with `tools` before the others in PATH.
    void startDaemon(const std::string& tools = "");
    void stopDaemon(); // SIGTERM; fails the test if the daemon does not end well
    void killDaemon();

    // The line's and the services' rows change in one transaction; return when the daemon has done what
    // follows.
    void bringUp();
    void takeDown();

    // The rows change, and nothing is waited for.
    void setWan(bool up);
    // Returns when the daemon has taken in every change so far (true) or has ended (false).
    bool settlesOrEnds();

    void expectNoErrors() const;

    e2e::SyslogCapture log;
    e2e::OvsdbServer server{e2e::schemaFile()};
    e2e::Database database;
    std::optional<e2e::Process> daemon;

  private:
    void settle();

    Json configuration_;
    int settled_ = 0;
};

} // namespace lab
