// One interface stack, and the QoS objects that apply to it.
#pragma once

#include "qos/classifier.h"
#include "qos/ifmap.h"
#include "qos/pcpmap.h"
#include "qos/queues.h"

#include <zel/cfg/common/iconfigclient.h>

#include <string>
#include <vector>

namespace zel::pacerd {

// Reads the database while it is built and never again; copies are deep. The constructor throws
// AssertionFailed when one of its searches fails.
class upperDataPath {
  public:
    // `stack`: the upper interface first, the root last; at least one.
    upperDataPath(int handle, const cfg::common::IConfigClient& configClient, std::vector<std::string> stack);

    // The upper interface, which the messages call the "phy if" of the logical interfaces.
    std::string getIfName() const;
    bool isWanIngressIf(const std::string& logicalName) const;

    // Append the add commands of the owned objects of one kind. Always true. The classifier list gets one
    // entry for each rule, an empty one for a rule that has no command.
    bool getFapiQosQueueCmdList(std::vector<std::string>& cmds) const;
    bool getFapiQosClassifierCmdList(std::vector<std::string>& cmds) const;
    bool getFapiQosIfMapCmdList(std::vector<std::string>& cmds) const;
    bool getFapiQosPcpMapCmdList(std::vector<std::string>& cmds) const;

    // The searches of the constructor. False on a database failure.
    bool fillLogicalInterfaces();
    bool findQueues();
    bool findClassifier();
    bool findIfMap();
    bool findPcpMap();

  private:
    bool isOwnLogicalInterface(const std::string& logicalName) const;

    int moduleHandle;
    const cfg::common::IConfigClient& client;
    std::vector<std::string> interfaceStack;
    std::string stackName;
    std::vector<std::string> logicalInterfaces;
    std::vector<qosQueue> queueList;
    std::vector<qosClassifierRule> classifierRuleList;
    std::vector<ifMap> ifMapList;   // exactly one
    std::vector<pcpMap> pcpMapList; // exactly one
};

} // namespace zel::pacerd
