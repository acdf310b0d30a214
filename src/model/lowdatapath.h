// The bottom of a WAN data path: one network setup node and everything that hangs above and on it.
#pragma once

#include "model/upperdatapath.h"
#include "qos/shaper.h"

#include <basalt/valuelist.h>
#include <zel/cfg/common/iconfigclient.h>

#include <string>
#include <vector>

namespace zel::pacerd {

// Reads the database while it is built and never again; copies are deep. The constructor throws
// AssertionFailed when the node cannot be read or a search fails.
class lowDataPath {
  public:
    lowDataPath(int handle, const cfg::common::IConfigClient& configClient, int nodeId);

    std::string getIfName() const;
    std::string getType() const;
    const std::vector<upperDataPath>& getUpperDataPathList() const;
    bool getFapiQosShaperCmdList(std::vector<std::string>& cmds) const;

    // The searches of the constructor. False on a database failure.
    bool findUpperDataInterface();
    bool findShaper();

    // Appends the chain from `ifName` down to its root: ppp0, ptm0.7, ptm0. False when a link cannot be
    // read. A chain of parents that never reaches a root never ends, by design.
    bool findInterfaceStack(std::string ifName, std::vector<std::string>& stack) const;

  private:
    bool findUpInterfaces(std::vector<std::string>& interfaces) const;

    int moduleHandle;
    const cfg::common::IConfigClient& client;
    int nsnId;
    basalt::ValueList nsnValues;
    std::vector<upperDataPath> upperDataPathList;
    std::vector<qosShaper> shaperList;
};

} // namespace zel::pacerd
