// Tells the FAPI framework which interfaces belong to the WAN side of one interface stack.
#pragma once

#include <zel/cfg/common/iconfigclient.h>

#include <string>
#include <vector>

namespace zel::pacerd {

// Reads nothing while it is built; generating a command reads the lowest interface's type and runs the tool's
// listing.
class ifMap {
  public:
    // `stack`: the top interface first, the lowest last; at least one.
    ifMap(int handle, const cfg::common::IConfigClient& configClient, std::vector<std::string> stack);

    // Appends the add commands that are not configured yet. Always true.
    bool getFapiQosIfMapCmds(std::vector<std::string>& cmds) const;

    // One command line; empty when the mapping exists already. Any op mode but 0 deletes.
    std::string genFapiQosSysCallCmd(std::string ifName, int opMode, int direction) const;

    // The FAPI framework's number for the interface: its category with `category` 1, else its ingress group.
    int lookupIfType(const std::string& ifName, int category) const;

    // Runs the tool's listing.
    bool checkIfMapExists(const std::string& ifName, int category, int group, int direction) const;

  private:
    int moduleHandle;
    const cfg::common::IConfigClient& client;
    std::vector<std::string> interfaceStack;
    std::string stackName;
};

} // namespace zel::pacerd
