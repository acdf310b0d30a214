#include "qos/classifier.h"

#include "config/dbaccess.h"
#include "config/tables.h"
#include "qos/direction.h"

#include <zel/error/assert.h>
#include <zel/sysloglevel.h>
#include <zel/vastr.h>

#include <cstdlib>

namespace zel::pacerd {

namespace {

constexpr const char* source = "classifier.cpp";

constexpr long long dscpNone = -1;
constexpr long long dscpMax = 63; // six bits
constexpr long long pcpMax = 7;   // three bits

} // namespace

qosClassifierAction::qosClassifierAction(int handle, const cfg::common::IConfigClient& configClient,
                                         const basalt::ValueList& tableRow, int ruleDirection)
    : moduleHandle(handle), client(configClient), row(tableRow), direction(ruleDirection),
      id(static_cast<int>(row.getValue(dbm::qosClassAction::colId).getInteger())) {}

std::string qosClassifierAction::getClassifierActionName() const {
    return row.getValue(dbm::qosClassAction::colName).getText();
}

std::string qosClassifierAction::queueIfLookup(const std::string& logicalInterfaceName) const {
    namespace status = dbm::statusNifWLogic;
    const dbAccess db(moduleHandle, client);
    basalt::ValueList statusRow;
    if (!db.selectKey(status::tblName, status::colName, logicalInterfaceName, statusRow, false)) {
        ZEL_Sysloglevel_error(
            moduleHandle, source, __LINE__,
            VAStr("could not request interface name for logic interface '%s'", logicalInterfaceName.c_str()));
        return "";
    }
    return statusRow.getValue(status::colPhyName).getText();
}

//  -o ptm0 -j dscp --actdscp 46 -j mark --mark 5 --mark-loc 1 --priority 5
//  -j dscp --actdscp 46 -j mark --mark_ing 5 --mark-loc 2 --priority 5
std::string qosClassifierAction::genFapiQosSysCallCmd(int /*opMode*/) const {
    std::string cmd;
    const std::string queueInterface = row.getValue(dbm::qosClassAction::colLogicQIf).getText();
    const std::string phyInterface = queueIfLookup(queueInterface);
    if (phyInterface.empty() || queueInterface == dbm::statusNifWLogic::colLogicNameVal::pLan) {
        // For the home network a value was found; that it gets the same words is deliberate.
        ZEL_Sysloglevel_warning(moduleHandle, source, __LINE__,
                                "skip setting queue interface, no value found");
    } else if (direction == directionEgress) {
        cmd += " -o " + phyInterface;
    } else {
        ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__,
                                "skip queue interface for ingress classifier");
    }

    const long long dscp = row.getValue(dbm::qosClassAction::colDscp).getInteger();
    if (dscp >= 1 && dscp <= dscpMax) {
        cmd += " -j dscp --actdscp " + std::to_string(dscp);
    }
    const long long pcp = row.getValue(dbm::qosClassAction::colEthPrio).getInteger();
    if (pcp >= 1 && pcp <= pcpMax) {
        cmd += " -j vlan --pcp-outer " + std::to_string(pcp);
    }
    const std::string trafficClass = std::to_string(row.getValue(dbm::qosClassAction::colTC).getInteger());
    if (direction == directionIngress) {
        cmd += " -j mark --mark_ing " + trafficClass + " --mark-loc 2";
    } else {
        cmd += " -j mark --mark " + trafficClass + " --mark-loc 1";
    }
    return cmd + " --priority " + trafficClass;
}

std::string qosClassifierAction::getFapiQoSClassifierActionCmd(int opMode) const {
    return genFapiQosSysCallCmd(opMode);
}

qosClassifierRule::qosClassifierRule(int handle, const cfg::common::IConfigClient& configClient,
                                     const basalt::ValueList& tableRow, const std::string& phyName,
                                     int ruleDirection)
    : moduleHandle(handle), client(configClient), row(tableRow), phyInterfaceName(phyName),
      direction(ruleDirection), id(static_cast<int>(row.getValue(dbm::qosClassRule::colId).getInteger())) {
    if (!findClassifyAction()) {
        error::Assert::throwAssertionFailed("true == this->findClassifyAction()", source, __LINE__);
    }
}

std::string qosClassifierRule::getClassifierRuleName() const {
    return row.getValue(dbm::qosClassRule::colName).getText();
}

bool qosClassifierRule::findClassifyAction() {
    const dbAccess db(moduleHandle, client);
    unsigned count = 0;
    if (!db.size(dbm::qosClassAction::tblName, count)) {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                              VAStr("could not get size for table '%s'", dbm::qosClassAction::tblName));
        return false;
    }
    const long long actionId = row.getValue(dbm::qosClassRule::colClActionId).getInteger();
    basalt::ValueList actionRow;
    for (std::size_t offset = 0; offset < count; ++offset) {
        actionRow.clear();
        if (!db.selectRow(dbm::qosClassAction::tblName, static_cast<unsigned>(offset), actionRow)) {
            ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                                  VAStr("could not get row with offset %zu from table '%s'", offset,
                                        dbm::qosClassAction::tblName));
            return false;
        }
        if (actionRow.getValue(dbm::qosClassAction::colId).getInteger() == actionId) {
            action = std::make_shared<const qosClassifierAction>(moduleHandle, client, actionRow, direction);
            ZEL_Sysloglevel_info(moduleHandle, source, __LINE__,
                                 VAStr("found classifier action '%s' for classifier '%s'",
                                       action->getClassifierActionName().c_str(),
                                       getClassifierRuleName().c_str()));
            return true;
        }
    }
    ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                          VAStr("did not find any classifier action for classifier '%s' (id %d)",
                                getClassifierRuleName().c_str(), id));
    return false;
}

// classcfg -Lall -iptm0 | grep -qw voip
bool qosClassifierRule::checkClassifierExists() const {
    const std::string name = getClassifierRuleName();
    const std::string cmd = "classcfg -Lall -i" + phyInterfaceName + " | grep -qw " + name;
    if (std::system(cmd.c_str()) != 0) {
        ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__,
                                VAStr("classifier with name '%s' does not exist yet", name.c_str()));
        return false;
    }
    return true;
}

// classcfg -A voip -i ptm0 -p udp -d 10.0.0.2 --dport 5060:5061 --iphdr-dscp 46
// classcfg -M web -i ptm0 -p tcp -s !192.168.1.10 --dport 80
// classcfg -A ack -i ptm0 -p tcp --tcp-flags ack
std::string qosClassifierRule::genFapiQosSysCallCmd(int opMode) const {
    std::string cmd = "classcfg";
    if (opMode == opAdd) {
        cmd += checkClassifierExists() ? " -M " : " -A ";
    } else {
        cmd += " -D "; // deliberately without a check of the op mode
    }
    cmd += getClassifierRuleName() + " -i " + phyInterfaceName;

    const std::string protocol = row.getValue(dbm::qosClassRule::colProto).getText();
    if (!appendProtocol(cmd, protocol)) {
        return "";
    }
    if (row.getValue(dbm::qosClassRule::colTcpAck).getInteger() == 1) {
        if (protocol != "tcp") {
            ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                                  VAStr("need to select protocol tcp at rule '%s' for ack classifier",
                                        getClassifierRuleName().c_str()));
            return "";
        }
        // Deliberately the end: an ACK rule has no other criteria, whatever its row holds.
        return cmd + " --tcp-flags ack";
    }
    appendAddressesAndPorts(cmd);
    return appendDscp(cmd) ? cmd : "";
}

bool qosClassifierRule::appendProtocol(std::string& cmd, const std::string& protocol) const {
    if (protocol != "udp" && protocol != "tcp" && protocol != "igmp") {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                              VAStr("unsupported classifier protocol '%s'", protocol.c_str()));
        return false;
    }
    cmd += " -p " + protocol;
    return true;
}

void qosClassifierRule::appendAddressesAndPorts(std::string& cmd) const {
    struct Criterion {
        const char* column;
        const char* option;
        const char* excludeColumn;
    };
    const Criterion criteria[] = {
        {dbm::qosClassRule::colDstIp, " -d ", dbm::qosClassRule::colDstIpExcl},
        {dbm::qosClassRule::colSrcIp, " -s ", dbm::qosClassRule::colSrcIpExcl},
        {dbm::qosClassRule::colDstPort, " --dport ", dbm::qosClassRule::colDstPortExcl},
        {dbm::qosClassRule::colSrcPort, " --sport ", dbm::qosClassRule::colSrcPortExcl},
    };
    for (const Criterion& criterion : criteria) {
        const std::string text = row.getValue(criterion.column).getText();
        if (!text.empty()) {
            cmd += criterion.option;
            cmd += row.getValue(criterion.excludeColumn).getInteger() == 1 ? "!" : "";
            cmd += text;
        }
    }
}

bool qosClassifierRule::appendDscp(std::string& cmd) const {
    if (!row.hasValue(dbm::qosClassRule::colDSCP)) {
        return true;
    }
    const basalt::Value& value = row.getValue(dbm::qosClassRule::colDSCP);
    long long dscp = dscpNone;
    if (value.getDataType().getTypeCode() == basalt::IDataType::integerCode) {
        dscp = value.getInteger();
    } else if (value.getDataType().getTypeCode() == basalt::IDataType::textCode) {
        dscp = std::stoi(value.getText());
    }
    if (dscp == dscpNone) {
        return true;
    }
    if (row.getValue(dbm::qosClassRule::colDSCPExcl).getInteger() == 1) {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__, "exclude DSCP is not supported");
        return false;
    }
    cmd += " --iphdr-dscp " + std::to_string(dscp);
    return true;
}

std::string qosClassifierRule::getFapiQosClassiferCmd(int opMode) const {
    if (action == nullptr) {
        error::Assert::throwAllocationFailed("action", source, __LINE__);
    }
    // Both halves come before the look at "Enable": the existence check runs for a disabled rule too.
    const std::string match = genFapiQosSysCallCmd(opMode);
    const std::string actionHalf = action->getFapiQoSClassifierActionCmd(opMode);
    if (row.getValue(dbm::qosClassRule::colEn).getInteger() == 0) {
        ZEL_Sysloglevel_info(
            moduleHandle, source, __LINE__,
            VAStr("skip disabled classification command '%s'", getClassifierRuleName().c_str()));
        return "";
    }
    if (match.empty() || actionHalf.empty()) {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                              VAStr("error generation qos classifier command for '%s'=>'%s'",
                                    getClassifierRuleName().c_str(),
                                    action->getClassifierActionName().c_str()));
        return "";
    }
    return match + actionHalf;
}

} // namespace zel::pacerd
