// Which VLAN priority (PCP) each socket-buffer priority gets on the VLAN interface of one interface stack.
#pragma once

#include <zel/cfg/common/iconfigclient.h>

#include <map>
#include <string>
#include <vector>

namespace zel::pacerd {

// The actions say which traffic class gets which PCP, the queues with which precedence a traffic class is
// queued; the socket-buffer priority of a traffic class is 8 minus that precedence. The command is computed
// and logged, and deliberately never run: the FAPI framework sets the map itself.
//
// The constructor computes the map and throws AssertionFailed when that fails.
class pcpMap {
  public:
    // `stack`: the top interface first.
    pcpMap(int handle, const cfg::common::IConfigClient& configClient, const std::vector<std::string>& stack);

    // Appends the add command if there is one. Always true.
    bool getFapiPcpMapCmds(std::vector<std::string>& cmds) const;

    // One command line; empty when there can be none, which has been logged.
    std::string genFapiQosSysCallCmd(int opMode, int direction) const;

    bool findEgressQToPcpMap();

    // 8 for a traffic class without a queue, 0 when the queues cannot be read; both are deliberate.
    long long lookupQueuePrecedenceForTC(long long trafficClass) const;

    // The Linux interface of a logical interface; empty if it has none or cannot be read.
    std::string lookupPhyIfName(const std::string& logicalName) const;

    // The leading list of numbers, separated by commas or blanks: "1,2,5".
    std::vector<int> extractTrafficClasses(const std::string& text) const;

  private:
    using PriorityMap = std::map<long long, long long>;

    bool collectActionPcps(PriorityMap& pcpOfTrafficClass) const;

    int moduleHandle;
    const cfg::common::IConfigClient& client;
    std::vector<std::string> interfaceStack;
    std::string stackName;
    PriorityMap skbToPcp; // socket-buffer priority to PCP; always holds 0 to 7
};

} // namespace zel::pacerd
