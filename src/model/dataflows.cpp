#include "model/dataflows.h"

#include "config/dbaccess.h"
#include "config/tables.h"

#include <zel/sysloglevel.h>
#include <zel/vastr.h>

namespace zel::pacerd {

namespace {

constexpr const char* source = "dataflows.cpp";

} // namespace

dataFlows::dataFlows(int handle, const cfg::common::IConfigClient& configClient)
    : moduleHandle(handle), client(configClient) {}

dataFlows::~dataFlows() {
    delete connector;
}

bool dataFlows::findLowWanPaths() {
    const dbAccess db(moduleHandle, client);
    basalt::ValueList row;
    // In order of preference.
    for (const char* type :
         {dbm::nsn::colTypeVal::mpoa, dbm::nsn::colTypeVal::xdsl, dbm::nsn::colTypeVal::wanoe}) {
        row.clear();
        if (!db.selectKey(dbm::nsn::tblName, dbm::nsn::colType, type, row, false)) {
            ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                                  VAStr("failed requesting table '%s' for low wan path", dbm::nsn::tblName));
            return false;
        }
        if (row.empty()) {
            ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__,
                                    VAStr("low wan doesn't have type '%s'", type), ZEL_TRACE_SEARCH);
            continue;
        }
        if (row.getValue(dbm::nsn::colEn).getInteger() == 0) {
            ZEL_Sysloglevel_info(moduleHandle, source, __LINE__,
                                 VAStr("skip disabled WAN path for type '%s'", type));
            continue;
        }
        ZEL_Sysloglevel_info(moduleHandle, source, __LINE__,
                             VAStr("found enabled low WAN path device '%s' [%s]",
                                   row.getValue(dbm::nsn::colIfName).getText().c_str(),
                                   row.getValue(dbm::nsn::colType).getText().c_str()));
        lowWanPaths.emplace_back(moduleHandle, client,
                                 static_cast<int>(row.getValue(dbm::nsn::colId).getInteger()));
        break;
    }
    ZEL_Sysloglevel_info(moduleHandle, source, __LINE__,
                         VAStr("found %zu low wan paths in data flow", lowWanPaths.size()));
    return true;
}

bool dataFlows::findLocalNetworkPaths() {
    return findLocalPaths({dbm::statusNifWLogic::colLogicNameVal::pLocal, "network", "wan"},
                          localNetworkPaths);
}

bool dataFlows::findLocalLanPaths() {
    return findLocalPaths({dbm::statusNifWLogic::colLogicNameVal::pLan, "LAN", "LAN"}, localLanPaths);
}

bool dataFlows::findLocalPaths(const LocalKind& kind, std::vector<upperDataPath>& paths) {
    namespace status = dbm::statusNifWLogic;
    const dbAccess db(moduleHandle, client);
    basalt::ValueList row;
    // Deliberately not reset between matches: a second row gives a path built from both interfaces.
    std::vector<std::string> interfaces;
    unsigned count = 0;
    if (!db.size(status::tblName, count)) {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                              VAStr("could not get size of table '%s'", status::tblName));
        return false;
    }
    for (std::size_t offset = 0; offset < count; ++offset) {
        row.clear();
        if (!db.selectRow(status::tblName, static_cast<unsigned>(offset), row)) {
            ZEL_Sysloglevel_error(
                moduleHandle, source, __LINE__,
                VAStr("could not get row at offset %zu from table '%s'", offset, status::tblName));
            return false;
        }
        const std::string name = row.getValue(status::colName).getText();
        if (name != kind.logicalName) {
            continue;
        }
        const std::string interface = row.getValue(status::colPhyName).getText();
        ZEL_Sysloglevel_info(moduleHandle, source, __LINE__,
                             VAStr("found logical interface '%s' for local %s, phy if: '%s'", name.c_str(),
                                   kind.matchWord, interface.c_str()));
        interfaces.push_back(interface);
        paths.emplace_back(moduleHandle, client, interfaces);
    }
    ZEL_Sysloglevel_info(moduleHandle, source, __LINE__,
                         VAStr("found %zu local %s paths in data flow", paths.size(), kind.countWord));
    return true;
}

bool dataFlows::applyQos() {
    if (connector != nullptr) {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__, "fapi qos has already been applied");
        return false;
    }
    connector = new fapiQosConnector(moduleHandle, lowWanPaths, localNetworkPaths, localLanPaths);
    if (!connector->applyFapiQosIfMapCmds()) {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__, "could not apply fapi ifmap");
        return false;
    }
    if (!connector->applyFapiQosQueueCmds()) {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__, "could not apply qos queue commands");
        return false;
    }
    if (!connector->applyFapiQosClCmds()) {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__, "failed applying classifier commands");
        return false;
    }
    ZEL_Sysloglevel_info(moduleHandle, source, __LINE__, "skip setting PCP egress map, done by fapi");
    if (!connector->applyFapiQosShaperCmds()) {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__, "failed applying shaper commands");
        return false;
    }
    return true;
}

// The order is deliberately not the reverse of applyQos.
bool dataFlows::revertQos() {
    if (connector == nullptr) {
        ZEL_Sysloglevel_info(moduleHandle, source, __LINE__,
                             "qos config hasn't been applied yet, skip revert");
        return true;
    }
    connector->removeFapiQosClCmds();
    connector->removeFapiQosQCmds();
    connector->removeFapiQosShaperCmds();
    ZEL_Sysloglevel_info(moduleHandle, source, __LINE__, "skip removing PCP egress map, done by fapi");
    connector->removeFapiQosIfMapCmds();
    delete connector;
    connector = nullptr;
    return true;
}

bool dataFlows::clearPaths() {
    lowWanPaths.clear();
    localLanPaths.clear();
    localNetworkPaths.clear();
    return true;
}

} // namespace zel::pacerd
