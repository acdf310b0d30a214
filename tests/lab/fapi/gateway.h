// A gateway in network namespaces of this test process:
//
//   namespace lan: eth0 -- lan1 = br0 [this process] ppp0, ptm0.8 on ptm0 -- wan0 :namespace wan
//                                                     plain0 -- wan1
//
// ppp0 and ptm0.8 are macvlan devices: they carry an upper interface's packets down to the port on every
// kernel. plain0 is a way out that no QoS is configured on. ptm0.7 is a real VLAN interface on ptm0, for the
// tests that ask for it. Everything, /run included, belongs to the process and goes with it.
#pragma once

#include "command.h"
#include "packets.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

namespace fapi::test {

struct ClassCounters {
    uint64_t bytes = 0;
    uint64_t packets = 0;
    uint64_t drops = 0;
};

class GatewayTest : public testing::Test {
  protected:
    static constexpr const char* bridgeMac = "02:00:00:00:00:01"; // br0
    static constexpr const char* pppMac = "02:00:00:00:00:02";    // ppp0
    static constexpr const char* portMac = "02:00:00:00:00:04";   // ptm0
    static constexpr const char* vlanMac = "02:00:00:00:00:03";   // ptm0.8

    void SetUp() override;

    // These skip the test, which is reported as such, where the kernel has no such thing.
    static void addVlan(); // ptm0.7, up, with an entry of somebody else's in its egress map
    static void needRed();
    static bool goesOn(); // neither skipped nor failed

    // Runs a tool that must succeed and say nothing.
    static void ok(const std::string& line);
    // Runs a tool that must fail with this status and this one line on standard error.
    static void fails(int status, const std::string& error, const std::string& line);
    static std::string output(const std::string& line); // standard output of a program that must succeed

    static void fillRun(); // /run takes nothing more until emptyRun()
    static void emptyRun();

    // Everything that an administrator could look at, without counters and timers.
    static std::string dump();
    static std::map<std::string, ClassCounters> classes(const std::string& device); // htb classes by handle

    Wire& lan();
    Wire& wan();
    // Sends packets from the home network and returns what comes out at the provider's side, by
    // identification.
    std::map<uint16_t, Arrived> throughGateway(std::vector<Packet> packets);

  private:
    void waitForLinks();
    static void skipWithout(const char* what);

    std::unique_ptr<Wire> lan_;
    std::unique_ptr<Wire> wan_;
};

} // namespace fapi::test
