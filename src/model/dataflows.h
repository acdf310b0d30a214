// Everything the daemon knows about the data paths of one WAN-up period.
#pragma once

#include "connector/fapiqosconnector.h"
#include "model/lowdatapath.h"
#include "model/upperdatapath.h"

#include <zel/cfg/common/iconfigclient.h>

#include <string>
#include <vector>

namespace zel::pacerd {

// Life of one period: the three discoveries fill the lists, applyQos creates the connector, which runs the
// commands; revertQos undoes them and deletes it; clearPaths empties the lists.
//
// A failed database request makes a discovery return false. Building a path may throw AssertionFailed.
class dataFlows {
  public:
    dataFlows(int handle, const cfg::common::IConfigClient& configClient);

    // Takes the connector pointer over as it is. Copy only an object to which nothing was applied: its
    // pointer is null, and two objects never own one connector.
    dataFlows(const dataFlows&) = default;
    dataFlows& operator=(const dataFlows&) = delete;
    ~dataFlows();

    // The first enabled node of the preferred types becomes the one low WAN path. None is not a failure.
    bool findLowWanPaths();
    bool findLocalNetworkPaths();
    bool findLocalLanPaths();

    // What was found, for programs that show it.
    const std::vector<lowDataPath>& getLowWanPaths() const { return lowWanPaths; }
    const std::vector<upperDataPath>& getLocalNetworkPaths() const { return localNetworkPaths; }
    const std::vector<upperDataPath>& getLocalLanPaths() const { return localLanPaths; }

    // Stops at the first group that fails; what was applied then stays until revertQos.
    bool applyQos();
    bool revertQos();
    bool clearPaths();

  private:
    // What tells the two kinds of local path apart.
    struct LocalKind {
        const char* logicalName;
        const char* matchWord;
        const char* countWord;
    };

    bool findLocalPaths(const LocalKind& kind, std::vector<upperDataPath>& paths);

    int moduleHandle;
    const cfg::common::IConfigClient& client;
    std::vector<lowDataPath> lowWanPaths; // at most one
    std::vector<upperDataPath> localNetworkPaths;
    std::vector<upperDataPath> localLanPaths;
    // Deliberately kept though nothing fills them.
    std::vector<std::string> wanInterfaceNames;
    std::vector<std::string> localInterfaceNames;
    fapiQosConnector* connector = nullptr; // owned; null while nothing is applied
};

} // namespace zel::pacerd
