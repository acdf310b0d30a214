// A gateway on a private machine: log, database server and database, one daemon at a time.
#pragma once

#include "daemonprocess.h"
#include "database.h"
#include "gateways.h"
#include "ovsdbserver.h"
#include "syslogcapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

namespace e2e {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using Texts = std::vector<std::string>;

// A stop that waits for something takes longer: the loop's turn is 10 s, the patience with a server 60 s. One
// that does not may take a while, too, where the machine is busy with something else.
inline constexpr Milliseconds promptly{5000};

class GatewayTest : public ::testing::Test {
  protected:
    GatewayTest();
    ~GatewayTest() override;

    // The server runs with that configuration in its database.
    void startServer(const Json& configuration);

    // The server runs, the daemon runs with everything logged, and has made its initial call.
    void startDaemon(const Json& configuration, const Texts& options = {"-d", "2"});
    void startDaemon(const Texts& options = {"-d", "2"});

    // The same with a running server and everything logged, and each command of that tool takes 0.1 s.
    void startDaemonWithSlow(const std::string& tool);

    // The internet's row changes; return when the daemon has done what follows from it.
    void bringUp();
    void takeDown();

    // Returns when the daemon is done with every change so far, and has said all: it looks at one more, which
    // has no meaning.
    void settle();

    // How often the daemon has looked whether the WAN is up.
    std::size_t looks() const;

    // How often the daemon has said that there is no connection to the server; until it has.
    std::size_t outagesReported() const;
    void waitForOutage() const;

    void expectPromptStop();
    void expectNoErrors() const;

    SyslogCapture log;
    OvsdbServer server{schemaFile()};
    Database db;
    std::optional<Daemon> daemon;

  private:
    int settled_ = 0;
};

// The messages from that one on.
Texts from(const Texts& messages, const std::string& first);

// The source files of the daemon itself; other messages are the platform's, which may say more or less.
bool isDaemonSource(const std::string& file);
} // namespace e2e
