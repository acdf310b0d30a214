// The lab's gateway under measurement: its commands, its kernel's counters, and load on it.
#pragma once

#include "process.h"
#include "tc.h"

#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace bench {

using Clock = std::chrono::steady_clock;

double seconds(Clock::duration time);
double milliseconds(Clock::duration time);

// While it lives, the lab has the gateway of a file of share/examples. Programs that this process
// starts from the thread that made it run in the gateway's namespace; nothing of the tools' is configured.
class LabGateway {
  public:
    explicit LabGateway(const std::string& example = "dsl-tripleplay");
    LabGateway(const LabGateway&) = delete;
    LabGateway& operator=(const LabGateway&) = delete;
    ~LabGateway();

    // Of the WAN port and of ppp0; to be set before the tools build anything there.
    static void setMtu(int bytes);

    // Packets and bytes that an HTB class on the WAN port has sent.
    static fapi::tc::Counters sentBy(uint32_t handle);
};

// Runs a program as the daemon's shell would, words separated by blanks, without that shell; returns how long
// it took. Throws std::runtime_error if it fails.
Clock::duration run(const std::string& line);
// The folder of a copy of the program under the tools' names, as a package would leave it: one that the
// linker has just written lies in small pieces in the page cache, and starting it takes a tenth of a
// millisecond longer. below: a folder on a disk.
std::string installTools(const std::string& program, const std::string& below);

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

// As many full packets as the WAN port takes, sent by the gateway itself to a station that nobody is, as long
// as it lives. Forwarding costs several times as much per packet: a load from the home network ends where the
// processor does.
class OwnLoad {
  public:
    explicit OwnLoad(int mtu); // bytes of an IP packet
    OwnLoad(const OwnLoad&) = delete;
    OwnLoad& operator=(const OwnLoad&) = delete;
    ~OwnLoad();

  private:
    int socket_;
    std::jthread sender_;
};

} // namespace bench
