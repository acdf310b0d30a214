#include "qos/queues.h"

#include "config/tables.h"
#include "qos/direction.h"

#include <zel/error/assert.h>
#include <zel/sysloglevel.h>
#include <zel/vastr.h>

#include <cstdlib>
#include <sstream>

namespace zel::pacerd {

namespace {

constexpr const char* source = "queues.cpp";

constexpr long long defaultQueuePrecedence = 8;

} // namespace

qosQueue::qosQueue(int handle, const cfg::common::IConfigClient& configClient,
                   const basalt::ValueList& tableRow, const std::string& phyName,
                   const std::vector<std::string>& logicalNames)
    : moduleHandle(handle), client(configClient), row(tableRow), phyInterfaceName(phyName),
      logicalInterfaceNames(logicalNames) {
    ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__,
                            VAStr("construct queue object for queue '%s' on phy interface '%s'",
                                  getQueueName().c_str(), phyInterfaceName.c_str()));
    if (!extractTrafficClasses()) {
        error::Assert::throwAssertionFailed("true == this->extractTrafficClasses()", source, __LINE__);
    }
}

std::string qosQueue::getQueueName() const {
    return row.getValue(dbm::qosQueue::colName).getText();
}

bool qosQueue::extractTrafficClasses() {
    std::istringstream text(row.getValue(dbm::qosQueue::colTrClass).getText());
    int trafficClass = 0;
    while (text >> trafficClass) {
        ZEL_Sysloglevel_info(
            moduleHandle, source, __LINE__,
            VAStr("found traffic class '%d' assigned to queue '%s'", trafficClass, getQueueName().c_str()));
        trafficClasses.push_back(trafficClass);
        if (text.peek() == ',') {
            text.ignore();
        }
    }
    if (trafficClasses.empty()) {
        ZEL_Sysloglevel_error(
            moduleHandle, source, __LINE__,
            VAStr("could not find any traffic classes for queue '%s'", getQueueName().c_str()));
        return false;
    }
    return true;
}

std::string qosQueue::genQueueName(int direction) const {
    const long long precedence = row.getValue(dbm::qosQueue::colPreced).getInteger();
    std::string name = phyInterfaceName;
    name += precedence == defaultQueuePrecedence ? "_def_queue" : "_q" + std::to_string(precedence);
    if (direction == directionIngress) {
        name += "_ing";
    }
    return name;
}

// qcfg --queue -Lall -iptm0 -tingress | grep -qw ptm0_q3_ing
bool qosQueue::checkQueueExists(std::string& fapiQueueName, int direction) const {
    std::string cmd = "qcfg --queue -Lall -i" + phyInterfaceName;
    if (direction == directionIngress) {
        cmd += " -tingress"; // deliberately without the blank that the create command has
    }
    cmd += " | grep -qw " + fapiQueueName;
    if (std::system(cmd.c_str()) != 0) {
        ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__,
                                VAStr("queue with name '%s' does not exist yet", fapiQueueName.c_str()));
        return false;
    }
    return true;
}

// qcfg --queue -A ptm0_q3 -i ptm0 -t egress -l 64 -m sp --priority 3 -d tail --map 3
// qcfg --queue -M ptm0_q3_ing -i ptm0 -t ingress -l 64 -m wfq --weight 20 -d red --map 3
std::string qosQueue::genFapiQosSysCallCmd(int opMode, int direction) const {
    std::string name = genQueueName(direction);
    const std::string precedence = std::to_string(row.getValue(dbm::qosQueue::colPreced).getInteger());
    std::string cmd = "qcfg --queue ";

    if (opMode == opAdd) {
        cmd += checkQueueExists(name, direction) ? "-M " : "-A ";
    } else if (opMode == opDelete) {
        cmd += "-D ";
    } else {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__, VAStr("invalid op mode given: %d", opMode));
        return "";
    }
    cmd += name + " -i " + phyInterfaceName;

    if (direction == directionEgress) {
        cmd += " -t egress";
    } else if (direction == directionIngress) {
        cmd += " -t ingress";
    } else {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                              VAStr("invalid direction argument given: %d", direction));
        return "";
    }
    cmd += " -l " + std::to_string(row.getValue(dbm::qosQueue::colBuf).getInteger());

    const std::string scheduler = row.getValue(dbm::qosQueue::colSchedule).getText();
    if (scheduler == dbm::qosQueue::colSchedVal::sp) {
        cmd += " -m sp --priority " + precedence;
    } else if (scheduler == dbm::qosQueue::colSchedVal::wfq) {
        cmd += " -m wfq --weight " + std::to_string(row.getValue(dbm::qosQueue::colWfgWeight).getInteger());
    } else {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                              VAStr("invalid scheduler algorithm config '%s'", scheduler.c_str()));
        return "";
    }

    const std::string drop = row.getValue(dbm::qosQueue::colDropAlgo).getText();
    if (drop == dbm::qosQueue::colDropVal::tail) {
        cmd += " -d tail";
    } else if (drop == dbm::qosQueue::colDropVal::red) {
        cmd += " -d red";
    } else {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                              VAStr("invalid drop algorithm config '%s'", drop.c_str()));
        return "";
    }
    return cmd + " --map " + precedence;
}

bool qosQueue::getFapiQosQueueCmds(std::vector<std::string>& cmds) const {
    if (row.getValue(dbm::qosQueue::colEn).getInteger() == 0) {
        ZEL_Sysloglevel_info(moduleHandle, source, __LINE__,
                             VAStr("skip disabled queue %s", getQueueName().c_str()));
        return true;
    }
    if (row.getValue(dbm::qosQueue::colEgress).getInteger() == 1) {
        const std::string cmd = genFapiQosSysCallCmd(opAdd, directionEgress);
        if (cmd.empty()) {
            ZEL_Sysloglevel_error(
                moduleHandle, source, __LINE__,
                VAStr("could not gen egress queue command for queue '%s'", getQueueName().c_str()));
        } else {
            cmds.push_back(cmd);
            ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__,
                                    VAStr("added queue add cmd '%s'", cmd.c_str()));
        }
    }
    if (row.getValue(dbm::qosQueue::colIngress).getInteger() == 1) {
        const std::string cmd = genFapiQosSysCallCmd(opAdd, directionIngress);
        if (cmd.empty()) {
            ZEL_Sysloglevel_error(
                moduleHandle, source, __LINE__,
                VAStr("could not gen ingress queue command for queue '%s'", getQueueName().c_str()));
        } else {
            cmds.push_back(cmd);
            ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__,
                                    VAStr("added queue add cmd '%s'", cmd.c_str()));
        }
    }
    return true;
}

} // namespace zel::pacerd
