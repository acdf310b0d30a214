#include "config/confighandler.h"

#include "config/dbaccess.h"
#include "config/stopflag.h"
#include "config/tables.h"

#include <zel/sysloglevel.h>
#include <zel/vastr.h>

namespace zel::pacerd {

namespace {

constexpr const char* source = "confighandler.cpp";

// The DSL line's status; no other file reads it.
constexpr const char* dslTable = "StatusDsl";
constexpr const char* dslStatus = "Status";
constexpr const char* dslStatusString = "StatusString";
constexpr long long dslStatusUp = 4;

constexpr const char* noAddress = "0.0.0.0";

} // namespace

pacerdConfigHandler::pacerdConfigHandler(int handle) : moduleHandle(handle) {}

pacerdConfigHandler::~pacerdConfigHandler() = default;

void pacerdConfigHandler::getWatchedTables(std::list<std::string>& tables) {
    tables.emplace_back(dbm::nsn::tblName);
    tables.emplace_back(dslTable);
    tables.emplace_back(dbm::statusNifWLogic::tblName);
    tables.emplace_back(dbm::qosShaper::tblName);
    tables.emplace_back(dbm::qosQueue::tblName);
    tables.emplace_back(dbm::qosClassAction::tblName);
    tables.emplace_back(dbm::qosClassRule::tblName);
}

bool pacerdConfigHandler::checkConfigChange(const cfg::common::IConfigClient& client,
                                            const std::string& table) {
    if (table.empty()) {
        ZEL_Sysloglevel_info(moduleHandle, source, __LINE__, "initial startup in progress");
        if (flows.empty()) {
            addDataFlow(client);
            wanState = 0;
        }
    }
    previousWanState = wanState;
    wanState = isWanUp(client) ? 1 : 0;
    if (wanState == 1 && previousWanState == 0 && !checkDataFlows()) {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__, "error initializing data flows");
        stopFlag = 1;
        return false;
    }
    if (wanState == previousWanState) {
        return false;
    }
    // "statue" is the message's own word.
    ZEL_Sysloglevel_info(moduleHandle, source, __LINE__,
                         VAStr("WAN up statue %d => %d", previousWanState, wanState));
    return true;
}

void pacerdConfigHandler::processConfigChange(const cfg::common::IConfigClient& client) {
    if (previousWanState == 0 && wanState == 1) {
        ZEL_Sysloglevel_info(moduleHandle, source, __LINE__, "apply WAN QoS settings...");
        for (dataFlows& flow : flows) {
            if (!flow.applyQos()) {
                // "appliing" is the message's own word. What was applied is left for the shutdown to remove.
                ZEL_Sysloglevel_error(moduleHandle, source, __LINE__, "failed appliing qos config");
                stopFlag = 1;
                return;
            }
        }
    } else if (previousWanState == 1 && wanState == 0) {
        ZEL_Sysloglevel_info(moduleHandle, source, __LINE__, "remove WAN QoS settings...");
        removeQosConfig(client);
    }
}

bool pacerdConfigHandler::addDataFlow(const cfg::common::IConfigClient& client) {
    const dataFlows flow(moduleHandle, client);
    flows.push_back(flow);
    return true;
}

void pacerdConfigHandler::removeQosConfig(const cfg::common::IConfigClient& /*client*/) {
    for (dataFlows& flow : flows) {
        flow.revertQos();
        flow.clearPaths();
    }
}

bool pacerdConfigHandler::isDslUp(const cfg::common::IConfigClient& client) const {
    const dbAccess db(moduleHandle, client);
    basalt::ValueList row;
    if (!db.selectRow(dslTable, 0, row)) {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                              VAStr("could not get values at offset 0 for table '%s'", dslTable));
        return false;
    }
    const bool up = row.getValue(dslStatus).getInteger() == dslStatusUp;
    ZEL_Sysloglevel_info(moduleHandle, source, __LINE__,
                         VAStr("DSL has state '%s'", row.getValue(dslStatusString).getText().c_str()));
    return up;
}

bool pacerdConfigHandler::isWanoeEnabled(const cfg::common::IConfigClient& client) const {
    const dbAccess db(moduleHandle, client);
    basalt::ValueList row;
    if (!db.selectKey(dbm::nsn::tblName, dbm::nsn::colType, dbm::nsn::colTypeVal::wanoe, row, false)) {
        ZEL_Sysloglevel_info(moduleHandle, source, __LINE__,
                             VAStr("could not get Wanoe node from table '%s'", dbm::nsn::tblName));
        return false;
    }
    // Without such a node the row is empty and reads as disabled.
    if (row.getValue(dbm::nsn::colEn).getInteger() != 1) {
        ZEL_Sysloglevel_info(moduleHandle, source, __LINE__, "WANoE is currently disabled");
        return false;
    }
    ZEL_Sysloglevel_info(moduleHandle, source, __LINE__, "detected WANoE node enabled");
    return true;
}

bool pacerdConfigHandler::isProviderInternetUp(const cfg::common::IConfigClient& client) const {
    namespace status = dbm::statusNifWLogic;
    const dbAccess db(moduleHandle, client);
    basalt::ValueList row;
    if (!db.selectKey(status::tblName, status::colName, status::colLogicNameVal::pInet, row, false)) {
        // Deliberately the name of the key column where one would expect the interface's name.
        ZEL_Sysloglevel_error(
            moduleHandle, source, __LINE__,
            VAStr("could not get status of '%s' from table '%s'", status::colName, status::tblName));
        return false;
    }
    const long long isUp = row.getValue(status::colIsup).getInteger();
    const std::string address = row.getValue(status::colAddr).getText();
    if (isUp == 1 && address != noAddress) {
        ZEL_Sysloglevel_info(moduleHandle, source, __LINE__,
                             VAStr("detected '%s' is up", status::colLogicNameVal::pInet));
        return true;
    }
    ZEL_Sysloglevel_info(
        moduleHandle, source, __LINE__,
        VAStr("current ProviderInternet state: isUp: %lld, Address: '%s'", isUp, address.c_str()));
    return false;
}

bool pacerdConfigHandler::isWanUp(const cfg::common::IConfigClient& client) const {
    return (isDslUp(client) || isWanoeEnabled(client)) && isProviderInternetUp(client);
}

bool pacerdConfigHandler::checkDataFlows() {
    for (dataFlows& flow : flows) {
        if (!flow.findLowWanPaths()) {
            ZEL_Sysloglevel_error(moduleHandle, source, __LINE__, "did not find any active wan Path");
            return false;
        }
        if (!flow.findLocalNetworkPaths()) {
            ZEL_Sysloglevel_error(moduleHandle, source, __LINE__, "did not find any active local data paths");
            return false;
        }
        if (!flow.findLocalLanPaths()) {
            ZEL_Sysloglevel_error(moduleHandle, source, __LINE__, "did not find any active LAN data path");
            return false;
        }
    }
    return true;
}

} // namespace zel::pacerd
