// One row of "QoSShaper": the rate limit of a WAN port.
#pragma once

#include <basalt/valuelist.h>
#include <zel/cfg/common/iconfigclient.h>

#include <string>
#include <vector>

namespace zel::pacerd {

// Takes the interface from its own row, unlike queues and rules. The rate goes to the tool as it is stored.
class qosShaper {
  public:
    qosShaper(int handle, const cfg::common::IConfigClient& configClient, const basalt::ValueList& tableRow);

    // One command line; empty on an error, which has been logged. Any direction but 1 is ingress.
    std::string genFapiQosSysCallCmd(int opMode, int direction) const;

    // Appends the add commands, egress before ingress. Always true.
    bool getFapiQosShaperCmds(std::vector<std::string>& cmds) const;

  private:
    void appendAddCmd(int direction, std::vector<std::string>& cmds) const;

    int moduleHandle;
    [[maybe_unused]] const cfg::common::IConfigClient& client; // kept, not used by the shaper itself
    basalt::ValueList row;
};

} // namespace zel::pacerd
