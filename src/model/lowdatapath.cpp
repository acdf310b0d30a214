#include "model/lowdatapath.h"

#include "config/dbaccess.h"
#include "config/tables.h"
#include "model/wanproviders.h"
#include "qos/stackname.h"

#include <zel/error/assert.h>
#include <zel/sysloglevel.h>
#include <zel/vastr.h>

#include <algorithm>

namespace zel::pacerd {

namespace {

constexpr const char* source = "lowdatapath.cpp";

constexpr const char* interfaceOff = "off";
constexpr const char* noAddress = "0.0.0.0";
constexpr const char* rootParent = "root";
constexpr const char* atmMark = "atm"; // an interface with this in its name ends a stack

} // namespace

lowDataPath::lowDataPath(int handle, const cfg::common::IConfigClient& configClient, int nodeId)
    : moduleHandle(handle), client(configClient), nsnId(nodeId) {
    const dbAccess db(moduleHandle, client);
    if (!db.selectKey(dbm::nsn::tblName, dbm::nsn::colId, std::to_string(nsnId), nsnValues, true)) {
        error::Assert::throwAssertionFailed(
            "true == dbAccess.selectKey(zel::pacerd::dbm::nsn::tblName, zel::pacerd::dbm::nsn::colId, "
            "std::to_string(this->nsnId), this->nsnValues, true)",
            source, __LINE__);
    }
    ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__,
                            VAStr("construct low datapath for NSN Id %d: type = '%s', interface = '%s'",
                                  nsnId, getType().c_str(), getIfName().c_str()));
    if (!findUpperDataInterface()) {
        error::Assert::throwAssertionFailed("true == this->findUpperDataInterface()", source, __LINE__);
    }
    if (!findShaper()) {
        error::Assert::throwAssertionFailed("true == this->findShaper()", source, __LINE__);
    }
}

std::string lowDataPath::getIfName() const {
    return nsnValues.getValue(dbm::nsn::colIfName).getText();
}

std::string lowDataPath::getType() const {
    return nsnValues.getValue(dbm::nsn::colType).getText();
}

const std::vector<upperDataPath>& lowDataPath::getUpperDataPathList() const {
    return upperDataPathList;
}

bool lowDataPath::getFapiQosShaperCmdList(std::vector<std::string>& cmds) const {
    const std::size_t before = cmds.size();
    for (const qosShaper& shaper : shaperList) {
        shaper.getFapiQosShaperCmds(cmds);
    }
    ZEL_Sysloglevel_info(moduleHandle, source, __LINE__,
                         VAStr("got %zu fapi qos shaper commands for interface '%s'", cmds.size() - before,
                               getIfName().c_str()));
    return true;
}

bool lowDataPath::findUpperDataInterface() {
    std::vector<std::string> interfaces;
    if (!findUpInterfaces(interfaces)) {
        return false;
    }
    std::vector<std::string> stack;
    for (const std::string& interface : interfaces) {
        ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__,
                                VAStr("search root for upper if '%s'", interface.c_str()), ZEL_TRACE_SEARCH);
        stack.clear();
        if (!findInterfaceStack(interface, stack)) {
            ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                                  VAStr("could not find interface stack for '%s'", interface.c_str()));
            return false;
        }
        const std::string stackText = writeStack(stack);
        ZEL_Sysloglevel_tracedo(
            moduleHandle, source, __LINE__,
            VAStr("found interface stack '%s' for upper if '%s'", stackText.c_str(), interface.c_str()));
        if (stack.back() == getIfName()) {
            // The doubled "for" is part of the message.
            ZEL_Sysloglevel_info(
                moduleHandle, source, __LINE__,
                VAStr("found interface stack for for this datapath: '%s'", stackText.c_str()));
            upperDataPathList.emplace_back(moduleHandle, client, stack);
        }
    }
    return true;
}

// The interfaces of the WAN providers that are up, each once, in table order.
bool lowDataPath::findUpInterfaces(std::vector<std::string>& interfaces) const {
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
        const std::string name = row.getValue(status::colName).getText();
        if (!isWanProvider(name)) {
            ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__,
                                    VAStr("skip logicalInterface '%s' in searching", name.c_str()),
                                    ZEL_TRACE_SEARCH);
            continue;
        }
        const std::string interface = row.getValue(status::colPhyName).getText();
        if (interface == interfaceOff) {
            // Deliberately the interface first, then the name.
            ZEL_Sysloglevel_warning(
                moduleHandle, source, __LINE__,
                VAStr("skip searching upper interface for '%s' at '%s'", interface.c_str(), name.c_str()));
            continue;
        }
        if (std::find(interfaces.begin(), interfaces.end(), interface) != interfaces.end()) {
            continue;
        }
        if (row.getValue(status::colIsup).getInteger() != 0 &&
            row.getValue(status::colAddr).getText() != noAddress) {
            interfaces.push_back(interface);
        } else {
            ZEL_Sysloglevel_warning(
                moduleHandle, source, __LINE__,
                VAStr("upper wan interface '%s' is not up, skip for wan path", interface.c_str()));
        }
    }
    return true;
}

bool lowDataPath::findInterfaceStack(std::string ifName, std::vector<std::string>& stack) const {
    const dbAccess db(moduleHandle, client);
    basalt::ValueList row;
    std::string current = ifName;
    std::string parent;
    while (parent != rootParent) {
        row.clear();
        if (!db.selectKey(dbm::nsn::tblName, dbm::nsn::colIfName, current, row, true)) {
            ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                                  VAStr("could not get interface data for if '%s'", current.c_str()));
            return false;
        }
        current = row.getValue(dbm::nsn::colIfName).getText();
        parent = row.getValue(dbm::nsn::colParentIf).getText();
        ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__,
                                VAStr("found '%s' in stack of upperIf %s", current.c_str(), ifName.c_str()),
                                ZEL_TRACE_SEARCH);
        stack.push_back(current);
        if (current.find(atmMark) != std::string::npos) {
            ZEL_Sysloglevel_tracedo(moduleHandle, source, __LINE__, "found ATM root interface, break",
                                    ZEL_TRACE_SEARCH);
            return true;
        }
        current = parent;
    }
    return true;
}

bool lowDataPath::findShaper() {
    const dbAccess db(moduleHandle, client);
    basalt::ValueList row;
    unsigned count = 0;
    if (!db.size(dbm::qosShaper::tblName, count)) {
        // "soze" is the message's own word.
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                              VAStr("could not get soze of table '%s'", dbm::qosShaper::tblName));
        return false;
    }
    for (std::size_t offset = 0; offset < count; ++offset) {
        row.clear();
        if (!db.selectRow(dbm::qosShaper::tblName, static_cast<unsigned>(offset), row)) {
            ZEL_Sysloglevel_error(
                moduleHandle, source, __LINE__,
                VAStr("could not get row at offset %zu from table '%s'", offset, dbm::qosShaper::tblName));
            return false;
        }
        const std::string interface = row.getValue(dbm::qosShaper::colIfName).getText();
        if (interface != getIfName()) {
            ZEL_Sysloglevel_tracedo(
                moduleHandle, source, __LINE__,
                VAStr("skip non-matching shaper for interface '%s' at offset %zu", interface.c_str(), offset),
                ZEL_TRACE_SEARCH);
            continue;
        }
        if (row.getValue(dbm::qosShaper::colEn).getInteger() != 1) {
            ZEL_Sysloglevel_tracedo(
                moduleHandle, source, __LINE__,
                VAStr("skip disabled shaper for interface '%s' at offset %zu", interface.c_str(), offset),
                ZEL_TRACE_SEARCH);
            continue;
        }
        ZEL_Sysloglevel_info(moduleHandle, source, __LINE__,
                             VAStr("found active shaper for interface '%s' with rate %lld",
                                   getIfName().c_str(), row.getValue(dbm::qosShaper::colRate).getInteger()));
        shaperList.emplace_back(moduleHandle, client, row);
    }
    return true;
}

} // namespace zel::pacerd
