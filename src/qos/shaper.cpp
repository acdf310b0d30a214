#include "qos/shaper.h"

#include "config/tables.h"
#include "qos/direction.h"

#include <zel/sysloglevel.h>
#include <zel/vastr.h>

namespace zel::pacerd {

namespace {

constexpr const char* source = "shaper.cpp";

} // namespace

qosShaper::qosShaper(int handle, const cfg::common::IConfigClient& configClient,
                     const basalt::ValueList& tableRow)
    : moduleHandle(handle), client(configClient), row(tableRow) {
    ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__,
                            VAStr("construct shaper config for interface '%s'",
                                  row.getValue(dbm::qosShaper::colIfName).getText().c_str()));
}

// qcfg --port -A shape_wan -i ptm0 -s cb --pir 50000 -t egress
// qcfg --port -D shape_wan_ing -i ptm0 -s cb --pir 50000 -t ingress
std::string qosShaper::genFapiQosSysCallCmd(int opMode, int direction) const {
    const bool egress = direction == directionEgress;
    std::string cmd = "qcfg --port ";
    if (opMode == opAdd) {
        cmd += "-A";
    } else if (opMode == opDelete) {
        cmd += "-D";
    } else {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__, VAStr("invalid op mode given: %d", opMode));
        return "";
    }
    cmd += egress ? " shape_wan" : " shape_wan_ing";
    cmd += " -i " + row.getValue(dbm::qosShaper::colIfName).getText();
    cmd += " -s cb --pir " + std::to_string(row.getValue(dbm::qosShaper::colRate).getInteger());
    cmd += egress ? " -t egress" : " -t ingress";
    return cmd;
}

bool qosShaper::getFapiQosShaperCmds(std::vector<std::string>& cmds) const {
    if (row.getValue(dbm::qosShaper::colEn).getInteger() == 0) {
        ZEL_Sysloglevel_info(moduleHandle, source, __LINE__,
                             VAStr("skip disabled shaper on interface '%s'",
                                   row.getValue(dbm::qosShaper::colIfName).getText().c_str()));
        return true;
    }
    if (row.getValue(dbm::qosShaper::colEgress).getInteger() == 1) {
        appendAddCmd(directionEgress, cmds);
    }
    if (row.getValue(dbm::qosShaper::colIngress).getInteger() == 1) {
        appendAddCmd(directionIngress, cmds);
    }
    return true;
}

void qosShaper::appendAddCmd(int direction, std::vector<std::string>& cmds) const {
    const std::string cmd = genFapiQosSysCallCmd(opAdd, direction);
    if (cmd.empty()) {
        // Deliberately "egress" for both directions.
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                              VAStr("could not gen egress shaper command for interface '%s'",
                                    row.getValue(dbm::qosShaper::colIfName).getText().c_str()));
        return;
    }
    cmds.push_back(cmd);
    ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__, VAStr("added shaper add cmd '%s'", cmd.c_str()));
}

} // namespace zel::pacerd
