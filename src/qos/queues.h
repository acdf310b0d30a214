// One row of "QoSQueues" on the interface of one data path.
#pragma once

#include <basalt/valuelist.h>
#include <zel/cfg/common/iconfigclient.h>

#include <string>
#include <vector>

namespace zel::pacerd {

// Keeps its own copy of the row and reads it when it generates a command. The constructor throws
// AssertionFailed for a queue that serves no traffic class.
class qosQueue {
  public:
    qosQueue(int handle, const cfg::common::IConfigClient& configClient, const basalt::ValueList& tableRow,
             const std::string& phyName, const std::vector<std::string>& logicalNames);

    // The configured name; it never enters a command.
    std::string getQueueName() const;

    // Reads the leading list of numbers, separated by commas or blanks: "0,1,2". False if there is none.
    bool extractTrafficClasses();

    // The name in the FAPI tool: ptm0_q3, ptm0_q3_ing, ptm0_def_queue, ptm0_def_queue_ing.
    std::string genQueueName(int direction) const;

    // Runs the tool's listing.
    bool checkQueueExists(std::string& fapiQueueName, int direction) const;

    // One command line; empty on an error, which has been logged.
    std::string genFapiQosSysCallCmd(int opMode, int direction) const;

    // Appends the add commands, egress before ingress. Always true.
    bool getFapiQosQueueCmds(std::vector<std::string>& cmds) const;

  private:
    int moduleHandle;
    [[maybe_unused]] const cfg::common::IConfigClient& client; // kept, not used by the queue itself
    basalt::ValueList row;
    std::string phyInterfaceName;
    std::vector<std::string> logicalInterfaceNames; // kept, not used by the queue itself
    std::vector<int> trafficClasses;
};

} // namespace zel::pacerd
