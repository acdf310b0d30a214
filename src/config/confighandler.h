// Reacts to configuration changes: decides whether the WAN is up, and applies or removes the QoS
// configuration when that changes.
#pragma once

#include "model/dataflows.h"

#include <zel/cfg/iconfighandler.h>

#include <list>
#include <string>
#include <vector>

namespace zel::pacerd {

// A change of any watched table leads to the same full re-evaluation of the WAN. Only its transitions act: up
// discovers the data paths and applies their QoS, down removes it. A QoS table that changes while the WAN
// stays up has no effect until the WAN has been down and up again.
class pacerdConfigHandler : public cfg::IConfigHandler {
  public:
    explicit pacerdConfigHandler(int handle);
    pacerdConfigHandler(const pacerdConfigHandler&) = delete;
    pacerdConfigHandler& operator=(const pacerdConfigHandler&) = delete;
    ~pacerdConfigHandler() override;

    void getWatchedTables(std::list<std::string>& tables) override;

    // Returns whether the WAN state changed. On the way up it has discovered the data paths; if that failed,
    // it sets the stop flag and returns false.
    bool checkConfigChange(const cfg::common::IConfigClient& client, const std::string& table) override;

    // Acts on the change that checkConfigChange found. A failed apply sets the stop flag.
    void processConfigChange(const cfg::common::IConfigClient& client) override;

    virtual bool addDataFlow(const cfg::common::IConfigClient& client);

    // Reverts whatever was applied and forgets the paths, whatever the WAN state.
    virtual void removeQosConfig(const cfg::common::IConfigClient& client);

    // The WAN is up when one of the first two and the third say so. None of them fails: what cannot be read
    // is not up.
    bool isDslUp(const cfg::common::IConfigClient& client) const;
    bool isWanoeEnabled(const cfg::common::IConfigClient& client) const;
    bool isProviderInternetUp(const cfg::common::IConfigClient& client) const;

  private:
    bool isWanUp(const cfg::common::IConfigClient& client) const;
    bool checkDataFlows();

    int moduleHandle;
    int wanState = 0;
    int previousWanState = 0;
    std::vector<dataFlows> flows; // exactly one from the first notification on
};

} // namespace zel::pacerd
