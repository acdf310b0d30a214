#include "qos/pcpmap.h"

#include "config/dbaccess.h"
#include "config/tables.h"
#include "qos/direction.h"
#include "qos/stackname.h"

#include <zel/error/assert.h>
#include <zel/sysloglevel.h>
#include <zel/vastr.h>

#include <algorithm>
#include <optional>
#include <sstream>

namespace zel::pacerd {

namespace {

constexpr const char* source = "pcpmap.cpp";

constexpr long long noQueuePrecedence = 8;
constexpr long long unreadablePrecedence = 0;

} // namespace

pcpMap::pcpMap(int handle, const cfg::common::IConfigClient& configClient,
               const std::vector<std::string>& stack)
    : moduleHandle(handle), client(configClient), interfaceStack(stack), stackName(writeStack(stack)) {
    ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__,
                            VAStr("construct pcp map for stack '%s'", stackName.c_str()));
    for (long long priority = 0; priority <= 7; ++priority) {
        skbToPcp[priority] = 0;
    }
    if (!findEgressQToPcpMap()) {
        error::Assert::throwAssertionFailed("true == findEgressQToPcpMap()", source, __LINE__);
    }
}

bool pcpMap::getFapiPcpMapCmds(std::vector<std::string>& cmds) const {
    const std::string cmd = genFapiQosSysCallCmd(opAdd, directionEgress);
    if (!cmd.empty()) {
        cmds.push_back(cmd);
        ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__, VAStr("added pcp map cmd '%s'", cmd.c_str()));
    }
    return true;
}

// ip link set ptm0.7 type vlan egress-qos-map 0:0 1:0 2:0 3:0 4:0 5:3 6:0 7:0
std::string pcpMap::genFapiQosSysCallCmd(int opMode, int direction) const {
    if (opMode == opDelete) {
        ZEL_Sysloglevel_warning(moduleHandle, source, __LINE__, "removing skb prio map not supported yet");
        return "";
    }
    const dbAccess db(moduleHandle, client);
    basalt::ValueList row;
    std::optional<std::string> vlanInterface;
    for (const std::string& name : interfaceStack) {
        row.clear();
        if (!db.selectKey(dbm::nsn::tblName, dbm::nsn::colIfName, name, row, true)) {
            ZEL_Sysloglevel_warning(moduleHandle, source, __LINE__,
                                    VAStr("could not get type of interface '%s'", name.c_str()));
            return "";
        }
        if (row.getValue(dbm::nsn::colType).getText() == dbm::nsn::colTypeVal::vlan) {
            ZEL_Sysloglevel_tracedo(
                moduleHandle, source, __LINE__,
                VAStr("found vlan interface '%s' in interfacestack '%s'", name.c_str(), stackName.c_str()));
            vlanInterface = row.getValue(dbm::nsn::colIfName).getText();
            break;
        }
    }
    if (!vlanInterface) {
        ZEL_Sysloglevel_warning(
            moduleHandle, source, __LINE__,
            VAStr("could not find any vlan interface in stack '%s' for setting PCP map", stackName.c_str()));
        return "";
    }
    if (direction != directionEgress) {
        ZEL_Sysloglevel_warning(moduleHandle, source, __LINE__, "ingress skb prio map not supported yet");
        return "";
    }
    std::string cmd = "ip link set " + *vlanInterface + " type vlan egress-qos-map";
    for (const auto& [priority, pcp] : skbToPcp) {
        cmd += VAStr(" %lld:%lld", priority, pcp);
    }
    return cmd;
}

bool pcpMap::findEgressQToPcpMap() {
    PriorityMap pcpOfTrafficClass;
    for (long long trafficClass = 1; trafficClass <= 8; ++trafficClass) {
        pcpOfTrafficClass[trafficClass] = 0;
    }
    if (!collectActionPcps(pcpOfTrafficClass)) {
        return false;
    }
    // Traffic classes that land on one priority deliberately overwrite each other, also with 0.
    for (const auto& [trafficClass, pcp] : pcpOfTrafficClass) {
        skbToPcp[8 - lookupQueuePrecedenceForTC(trafficClass)] = pcp;
    }
    std::string text;
    for (const auto& [priority, pcp] : skbToPcp) {
        text += VAStr("{%lld:%lld}", priority, pcp);
    }
    ZEL_Sysloglevel_info(moduleHandle, source, __LINE__,
                         VAStr("skb=>pcp map for if '%s': %s", interfaceStack.front().c_str(), text.c_str()));
    return true;
}

// The PCP that the actions of this stack's queues give to each traffic class.
bool pcpMap::collectActionPcps(PriorityMap& pcpOfTrafficClass) const {
    namespace action = dbm::qosClassAction;
    const dbAccess db(moduleHandle, client);
    basalt::ValueList row;
    unsigned count = 0;
    if (!db.size(action::tblName, count)) {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                              VAStr("could not get size of table '%s'", action::tblName));
        return false;
    }
    for (std::size_t offset = 0; offset < count; ++offset) {
        row.clear();
        if (!db.selectRow(action::tblName, static_cast<unsigned>(offset), row)) {
            ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                                  VAStr("failed getting offset %zu of table %s", offset, action::tblName));
            return false;
        }
        const std::string queueInterface = row.getValue(action::colLogicQIf).getText();
        if (lookupPhyIfName(queueInterface) != interfaceStack.front()) {
            continue;
        }
        const long long trafficClass = row.getValue(action::colTC).getInteger();
        const long long pcp = row.getValue(action::colEthPrio).getInteger();
        if (pcp <= 0) {
            continue;
        }
        ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__,
                                VAStr("handle class action @Id%lld for queue interface %s: TC:%lld=>PCP:%lld",
                                      row.getValue(action::colId).getInteger(), queueInterface.c_str(),
                                      trafficClass, pcp));
        long long& held = pcpOfTrafficClass[trafficClass];
        if (held == 0) {
            held = pcp;
            ZEL_Sysloglevel_tracedo(
                moduleHandle, source, __LINE__,
                VAStr("found PCP %lld@TC%lld for interface %s", pcp, trafficClass, queueInterface.c_str()));
        } else if (held != pcp) {
            // The words and the order of the numbers disagree, deliberately.
            ZEL_Sysloglevel_error(
                moduleHandle, source, __LINE__,
                VAStr("PCP for TC%lld was already set to %lld previously (currently updated to %lld), abort!",
                      trafficClass, pcp, held));
            return false;
        }
    }
    return true;
}

long long pcpMap::lookupQueuePrecedenceForTC(long long trafficClass) const {
    const dbAccess db(moduleHandle, client);
    basalt::ValueList row;
    unsigned count = 0;
    if (!db.size(dbm::qosQueue::tblName, count)) {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                              VAStr("could not get size of table '%s'", dbm::qosQueue::tblName));
        return unreadablePrecedence;
    }
    for (std::size_t offset = 0; offset < count; ++offset) {
        row.clear();
        if (!db.selectRow(dbm::qosQueue::tblName, static_cast<unsigned>(offset), row)) {
            ZEL_Sysloglevel_error(
                moduleHandle, source, __LINE__,
                VAStr("failed getting offset %zu from table %s", offset, dbm::qosQueue::tblName));
            return unreadablePrecedence;
        }
        if (lookupPhyIfName(row.getValue(dbm::qosQueue::colLogIf).getText()) != interfaceStack.front()) {
            continue;
        }
        const std::vector<int> classes =
            extractTrafficClasses(row.getValue(dbm::qosQueue::colTrClass).getText());
        if (std::find(classes.begin(), classes.end(), trafficClass) == classes.end()) {
            continue;
        }
        const long long precedence = row.getValue(dbm::qosQueue::colPreced).getInteger();
        ZEL_Sysloglevel_tracedo(
            moduleHandle, source, __LINE__,
            VAStr("found queue precedence '%lld' for traffic class '%lld'", precedence, trafficClass));
        return precedence;
    }
    return noQueuePrecedence;
}

std::string pcpMap::lookupPhyIfName(const std::string& logicalName) const {
    namespace status = dbm::statusNifWLogic;
    const dbAccess db(moduleHandle, client);
    basalt::ValueList row;
    if (!db.selectKey(status::tblName, status::colName, logicalName, row, false)) {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                              VAStr("failed looking up phy name for logic ifname %s", logicalName.c_str()));
        return "";
    }
    return row.getValue(status::colPhyName).getText();
}

std::vector<int> pcpMap::extractTrafficClasses(const std::string& text) const {
    std::vector<int> classes;
    std::istringstream stream(text);
    int trafficClass = 0;
    while (stream >> trafficClass) {
        classes.push_back(trafficClass);
        if (stream.peek() == ',') {
            stream.ignore();
        }
    }
    if (classes.empty()) {
        // The trailing blank is part of the message.
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__, "could not find any traffic classes ");
    }
    return classes;
}

} // namespace zel::pacerd
