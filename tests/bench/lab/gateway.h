// The lab's gateway under measurement: its commands, its kernel's counters, and load on it.
#pragma once

#include "process.h"
#include "tc.h"

#include <chrono>
#include <string>
#include <vector>

namespace bench {

using Clock = std::chrono::steady_clock;

double seconds(Clock::duration time);
double milliseconds(Clock::duration time);

// While it lives, the lab has the gateway of share/examples/dsl-tripleplay.json. Programs that this process
// starts from the thread that made it run in the gateway's namespace; nothing of the tools' is configured.
class LabGateway {
  public:
    LabGateway();
    LabGateway(const LabGateway&) = delete;
    LabGateway& operator=(const LabGateway&) = delete;
    ~LabGateway();

    // Packets and bytes that an HTB class on the WAN port has sent.
    static fapi::tc::Counters sentBy(uint32_t handle);
};

// Runs a program as the daemon's shell would, words separated by blanks, without that shell; returns how long
// it took. Throws std::runtime_error if it fails.
Clock::duration run(const std::string& line);
std::string outputOf(const std::string& line);

// A saturating UDP stream of full packets from the home network to a server on the internet, as long as it
// lives (at most 60 s).
class Load {
  public:
    Load(int port, int mbit);

  private:
    e2e::Process server_;
    e2e::Process client_;
};

} // namespace bench
