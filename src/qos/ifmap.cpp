#include "qos/ifmap.h"

#include "config/dbaccess.h"
#include "config/tables.h"
#include "qos/direction.h"
#include "qos/stackname.h"

#include <zel/sysloglevel.h>
#include <zel/vastr.h>

#include <cstdlib>
#include <utility>

namespace zel::pacerd {

namespace {

constexpr const char* source = "ifmap.cpp";

constexpr int selectGroup = 0;
constexpr int selectCategory = 1;

} // namespace

ifMap::ifMap(int handle, const cfg::common::IConfigClient& configClient, std::vector<std::string> stack)
    : moduleHandle(handle), client(configClient), interfaceStack(std::move(stack)),
      stackName(writeStack(interfaceStack)) {
    ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__,
                            VAStr("construct interface Map for stack '%s'", stackName.c_str()));
}

bool ifMap::getFapiQosIfMapCmds(std::vector<std::string>& cmds) const {
    const std::string& top = interfaceStack.front();
    const std::string& lowest = interfaceStack.back();
    const auto append = [&](const std::string& ifName, int direction, const char* word) {
        const std::string cmd = genFapiQosSysCallCmd(ifName, opAdd, direction);
        if (cmd.empty()) {
            ZEL_Sysloglevel_warning(
                moduleHandle, source, __LINE__,
                VAStr("could not get %s ifmap command for interface '%s', maybe already configured", word,
                      ifName.c_str()));
            return;
        }
        cmds.push_back(cmd);
        ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__,
                                VAStr("added ifmap add cmd '%s'", cmd.c_str()));
    };
    if (top != lowest) {
        append(lowest, directionEgress, "egress");
    }
    append(top, directionEgress, "egress");
    if (top != lowest) {
        append(top, directionIngress, "ingress");
    }
    return true;
}

// ifcfg --ifmap -A ppp0 -t3 -bptm0 -lptm0
// ifcfg --ifmap -A ppp0 -t3 -bptm0 -lptm0 -g2
std::string ifMap::genFapiQosSysCallCmd(std::string ifName, int opMode, int direction) const {
    const std::string& lowest = interfaceStack.back();
    const int category = lookupIfType(lowest, selectCategory);
    const int group = lookupIfType(lowest, selectGroup);
    std::string cmd = "ifcfg --ifmap";
    cmd += opMode == opAdd ? " -A " : " -D ";
    cmd += ifName + " -t" + std::to_string(category) + " -b" + lowest + " -l" + lowest;
    if (direction == directionIngress) {
        cmd += " -g" + std::to_string(group);
    }
    if (checkIfMapExists(ifName, category, group, direction)) {
        ZEL_Sysloglevel_warning(moduleHandle, source, __LINE__,
                                VAStr("ifmap with cmd '%s' already exists, skip...", cmd.c_str()));
        return "";
    }
    return cmd;
}

int ifMap::lookupIfType(const std::string& ifName, int category) const {
    struct IfType {
        const char* type;
        int category;
        int group;
    };
    // The FAPI framework's numbers; their asymmetry is deliberate.
    const IfType types[] = {
        {dbm::nsn::colTypeVal::wanoe, 1, 3},
        {dbm::nsn::colTypeVal::mpoa, 3, 2},
        {dbm::nsn::colTypeVal::xdsl, 2, 2},
    };
    constexpr int otherType = 8;
    constexpr int unknownCategory = 8;
    constexpr int unknownGroup = 6;

    const dbAccess db(moduleHandle, client);
    basalt::ValueList row;
    if (!db.selectKey(dbm::nsn::tblName, dbm::nsn::colIfName, ifName, row, true)) {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                              VAStr("could not lookup interface type for interface '%s'", ifName.c_str()));
        return category == selectCategory ? unknownCategory : unknownGroup;
    }
    const std::string name = row.getValue(dbm::nsn::colType).getText();
    for (const IfType& type : types) {
        if (name == type.type) {
            return category == selectCategory ? type.category : type.group;
        }
    }
    return otherType;
}

// ifcfg --ifmap -L | grep -q "CAT 3.*ppp0.*"
// ifcfg --ifmap -L | grep -q "INGGRP 2.*ppp0.*"
bool ifMap::checkIfMapExists(const std::string& ifName, int category, int group, int direction) const {
    std::string cmd = "ifcfg --ifmap -L | grep -q";
    cmd += direction == directionEgress ? " \"CAT " + std::to_string(category)
                                        : " \"INGGRP " + std::to_string(group);
    cmd += ".*" + ifName + ".*\"";
    ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__, VAStr("check cmd: '%s'", cmd.c_str()));
    return std::system(cmd.c_str()) == 0;
}

} // namespace zel::pacerd
