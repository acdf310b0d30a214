#include "model/upperdatapath.h"

#include "config/dbaccess.h"
#include "config/tables.h"
#include "model/wanproviders.h"
#include "qos/direction.h"
#include "qos/stackname.h"

#include <zel/error/assert.h>
#include <zel/sysloglevel.h>
#include <zel/vastr.h>

#include <algorithm>
#include <utility>

namespace zel::pacerd {

namespace {

constexpr const char* source = "upperdatapath.cpp";

} // namespace

upperDataPath::upperDataPath(int handle, const cfg::common::IConfigClient& configClient,
                             std::vector<std::string> stack)
    : moduleHandle(handle), client(configClient), interfaceStack(std::move(stack)),
      stackName(writeStack(interfaceStack)) {
    ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__,
                            VAStr("construct upper datapath for stack '%s'", stackName.c_str()));
    // The order matters: queues and classifiers are matched against the logical interfaces.
    if (!fillLogicalInterfaces()) {
        error::Assert::throwAssertionFailed("true == this->fillLogicalInterfaces()", source, __LINE__);
    }
    if (!findQueues()) {
        error::Assert::throwAssertionFailed("true == this->findQueues()", source, __LINE__);
    }
    if (!findClassifier()) {
        error::Assert::throwAssertionFailed("true == this->findClassifier()", source, __LINE__);
    }
    if (!findIfMap()) {
        error::Assert::throwAssertionFailed("true == this->findIfMap()", source, __LINE__);
    }
    if (!findPcpMap()) {
        error::Assert::throwAssertionFailed("true == this->findPcpMap()", source, __LINE__);
    }
}

std::string upperDataPath::getIfName() const {
    return interfaceStack.front();
}

bool upperDataPath::isWanIngressIf(const std::string& logicalName) const {
    if (!isWanProvider(logicalName)) {
        return false;
    }
    ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__,
                            VAStr("interface '%s' is WAN ingress interface", logicalName.c_str()));
    return true;
}

bool upperDataPath::getFapiQosQueueCmdList(std::vector<std::string>& cmds) const {
    const std::size_t before = cmds.size();
    for (const qosQueue& queue : queueList) {
        queue.getFapiQosQueueCmds(cmds);
    }
    ZEL_Sysloglevel_info(moduleHandle, source, __LINE__,
                         VAStr("got %zu fapi qos queue commands for interface '%s'", cmds.size() - before,
                               getIfName().c_str()));
    return true;
}

bool upperDataPath::getFapiQosClassifierCmdList(std::vector<std::string>& cmds) const {
    const std::size_t before = cmds.size();
    for (const qosClassifierRule& rule : classifierRuleList) {
        cmds.push_back(rule.getFapiQosClassiferCmd(opAdd));
    }
    ZEL_Sysloglevel_info(moduleHandle, source, __LINE__,
                         VAStr("got %zu fapi qos classifier commands for interface '%s'",
                               cmds.size() - before, getIfName().c_str()));
    return true;
}

bool upperDataPath::getFapiQosIfMapCmdList(std::vector<std::string>& cmds) const {
    const std::size_t before = cmds.size();
    for (const ifMap& map : ifMapList) {
        map.getFapiQosIfMapCmds(cmds);
    }
    ZEL_Sysloglevel_info(
        moduleHandle, source, __LINE__,
        VAStr("got %zu fapi ifmap commands for interface '%s'", cmds.size() - before, getIfName().c_str()));
    // Deliberately the whole list, with what the caller put there.
    if (cmds.empty()) {
        ZEL_Sysloglevel_warning(moduleHandle, source, __LINE__,
                                "ifmap command list is empty, check log if this is caused by already applied "
                                "rules in case further processing fails!");
    }
    return true;
}

bool upperDataPath::getFapiQosPcpMapCmdList(std::vector<std::string>& cmds) const {
    const std::size_t before = cmds.size();
    for (const pcpMap& map : pcpMapList) {
        map.getFapiPcpMapCmds(cmds);
    }
    ZEL_Sysloglevel_info(
        moduleHandle, source, __LINE__,
        VAStr("got %zu pcp map commands for interface '%s'", cmds.size() - before, getIfName().c_str()));
    return true;
}

bool upperDataPath::fillLogicalInterfaces() {
    namespace status = dbm::statusNifWLogic;
    const dbAccess db(moduleHandle, client);
    basalt::ValueList row;
    unsigned count = 0;
    if (!db.size(status::tblName, count)) {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                              VAStr("could not get size for table '%s'", status::tblName));
        return false;
    }
    for (std::size_t offset = 0; offset < count; ++offset) {
        row.clear();
        if (!db.selectRow(status::tblName, static_cast<unsigned>(offset), row)) {
            ZEL_Sysloglevel_error(
                moduleHandle, source, __LINE__,
                VAStr("could not get row from table '%s' at offset '%zu'", status::tblName, offset));
            return false;
        }
        if (row.getValue(status::colPhyName).getText() != getIfName()) {
            continue;
        }
        const std::string name = row.getValue(status::colName).getText();
        ZEL_Sysloglevel_tracedo(
            moduleHandle, source, __LINE__,
            VAStr("found logical interface '%s' assigned to phy if '%s'", name.c_str(), getIfName().c_str()));
        logicalInterfaces.push_back(name);
    }
    return true;
}

bool upperDataPath::findQueues() {
    const dbAccess db(moduleHandle, client);
    basalt::ValueList row;
    unsigned count = 0;
    if (!db.size(dbm::qosQueue::tblName, count)) {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                              VAStr("could not get size of table %s", dbm::qosQueue::tblName));
        return false;
    }
    for (std::size_t offset = 0; offset < count; ++offset) {
        row.clear();
        if (!db.selectRow(dbm::qosQueue::tblName, static_cast<unsigned>(offset), row)) {
            ZEL_Sysloglevel_error(
                moduleHandle, source, __LINE__,
                VAStr("could not get table's '%s' row at offset %zu", dbm::qosQueue::tblName, offset));
            return false;
        }
        const std::string logicalInterface = row.getValue(dbm::qosQueue::colLogIf).getText();
        if (!isOwnLogicalInterface(logicalInterface)) {
            continue;
        }
        ZEL_Sysloglevel_info(moduleHandle, source, __LINE__,
                             VAStr("found matching queue '%s' for wanPath '%s' (%s)",
                                   row.getValue(dbm::qosQueue::colName).getText().c_str(), stackName.c_str(),
                                   logicalInterface.c_str()));
        queueList.emplace_back(moduleHandle, client, row, getIfName(), logicalInterfaces);
    }
    ZEL_Sysloglevel_info(moduleHandle, source, __LINE__,
                         VAStr("found %zu queues for datapath '%s'", queueList.size(), getIfName().c_str()));
    return true;
}

bool upperDataPath::findClassifier() {
    const dbAccess db(moduleHandle, client);
    basalt::ValueList row;
    unsigned count = 0;
    if (!db.size(dbm::qosClassRule::tblName, count)) {
        // Deliberately the name of the action table.
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                              VAStr("could not get size of table '%s'", dbm::qosClassAction::tblName));
        return false;
    }
    // Deliberately sticky: every rule after the first one on a WAN provider interface is ingress too.
    int direction = directionEgress;
    for (std::size_t offset = 0; offset < count; ++offset) {
        row.clear();
        if (!db.selectRow(dbm::qosClassRule::tblName, static_cast<unsigned>(offset), row)) {
            ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                                  VAStr("could not get row with offset %zu from table '%s'", offset,
                                        dbm::qosClassRule::tblName));
            return false;
        }
        const std::string logicalInterface = row.getValue(dbm::qosClassRule::colLogClIf).getText();
        const long long id = row.getValue(dbm::qosClassRule::colId).getInteger();
        const std::string name = row.getValue(dbm::qosClassRule::colName).getText();
        if (!isOwnLogicalInterface(logicalInterface)) {
            ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__,
                                    VAStr("skip classifier for logical interface '%s' @id %lld (%s)",
                                          logicalInterface.c_str(), id, name.c_str()),
                                    ZEL_TRACE_SEARCH);
            continue;
        }
        ZEL_Sysloglevel_info(moduleHandle, source, __LINE__,
                             VAStr("found matching classifier for logical interface '%s' @id %lld (%s)",
                                   logicalInterface.c_str(), id, name.c_str()));
        if (isWanIngressIf(logicalInterface)) {
            direction = directionIngress;
        }
        classifierRuleList.emplace_back(moduleHandle, client, row, getIfName(), direction);
    }
    return true;
}

bool upperDataPath::findIfMap() {
    ifMapList.emplace_back(moduleHandle, client, interfaceStack);
    ZEL_Sysloglevel_info(moduleHandle, source, __LINE__,
                         VAStr("found matching interface map for if '%s'", getIfName().c_str()));
    return true;
}

bool upperDataPath::findPcpMap() {
    pcpMapList.emplace_back(moduleHandle, client, interfaceStack);
    return true;
}

bool upperDataPath::isOwnLogicalInterface(const std::string& logicalName) const {
    return std::find(logicalInterfaces.begin(), logicalInterfaces.end(), logicalName) !=
           logicalInterfaces.end();
}

} // namespace zel::pacerd
