#include "connector/fapiqosconnector.h"

#include <zel/error/assert.h>
#include <zel/sysloglevel.h>
#include <zel/vastr.h>

#include <algorithm>
#include <cstdlib>

namespace zel::pacerd {

namespace {

constexpr const char* source = "fapiqosconnector.cpp";

constexpr const char* addFlag = "-A";
constexpr const char* modifyFlag = "-M";
constexpr const char* deleteFlag = "-D";

bool contains(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

bool eraseFirst(std::vector<std::string>& list, const std::string& element) {
    const auto found = std::find(list.begin(), list.end(), element);
    if (found == list.end()) {
        return false;
    }
    list.erase(found);
    return true;
}

} // namespace

fapiQosConnector::fapiQosConnector(int handle, const std::vector<lowDataPath>& wan,
                                   const std::vector<upperDataPath>& local,
                                   const std::vector<upperDataPath>& lan)
    : moduleHandle(handle), wanPaths(wan), localPaths(local), lanPaths(lan) {
    const auto require = [](bool collected, const char* expression, int line) {
        if (!collected) {
            error::Assert::throwAssertionFailed(expression, source, line);
        }
    };
    require(getFapiQosWanIfMapCmds(fapiIfMapCmds),
            "true == this->getFapiQosWanIfMapCmds(this->fapiIfMapCmds)", __LINE__);
    require(getFapiQosWanQueueCmds(fapiQCmds), "true == this->getFapiQosWanQueueCmds(this->fapiQCmds)",
            __LINE__);
    require(getFapiQosLanQueueCmds(fapiQCmds), "true == this->getFapiQosLanQueueCmds(this->fapiQCmds)",
            __LINE__);
    require(getFapiQosLocalQueueCmds(fapiQCmds), "true == this->getFapiQosLocalQueueCmds(this->fapiQCmds)",
            __LINE__);
    require(getFapiQosWanClassifierCmds(fapiClCmds),
            "true == this->getFapiQosWanClassifierCmds(this->fapiClCmds)", __LINE__);
    require(getFapiQosLanClassifierCmds(fapiClCmds),
            "true == this->getFapiQosLanClassifierCmds(this->fapiClCmds)", __LINE__);
    require(getFapiQosLocalClassifierCmds(fapiClCmds),
            "true == this->getFapiQosLocalClassifierCmds(this->fapiClCmds)", __LINE__);
    require(getFapiQosWanPcpMapCmds(fapiPcpMapCmds),
            "true == this->getFapiQosWanPcpMapCmds(this->fapiPcpMapCmds)", __LINE__);
    require(getFapiQosWanShaperCmds(fapiShaperCmds),
            "true == this->getFapiQosWanShaperCmds(this->fapiShaperCmds)", __LINE__);
}

bool fapiQosConnector::getFapiQosWanQueueCmds(std::vector<std::string>& cmds) const {
    return collectWan(&upperDataPath::getFapiQosQueueCmdList, "queue", cmds);
}

bool fapiQosConnector::getFapiQosLanQueueCmds(std::vector<std::string>& cmds) const {
    return collectUpper(lanPaths, &upperDataPath::getFapiQosQueueCmdList, "queue", "LAN", cmds);
}

bool fapiQosConnector::getFapiQosLocalQueueCmds(std::vector<std::string>& cmds) const {
    return collectUpper(localPaths, &upperDataPath::getFapiQosQueueCmdList, "queue", "local", cmds);
}

bool fapiQosConnector::getFapiQosWanClassifierCmds(std::vector<std::string>& cmds) const {
    return collectWan(&upperDataPath::getFapiQosClassifierCmdList, "classifier", cmds);
}

bool fapiQosConnector::getFapiQosLanClassifierCmds(std::vector<std::string>& cmds) const {
    return collectUpper(lanPaths, &upperDataPath::getFapiQosClassifierCmdList, "classifier", "LAN", cmds);
}

bool fapiQosConnector::getFapiQosLocalClassifierCmds(std::vector<std::string>& cmds) const {
    return collectUpper(localPaths, &upperDataPath::getFapiQosClassifierCmdList, "classifier", "local", cmds);
}

bool fapiQosConnector::getFapiQosWanIfMapCmds(std::vector<std::string>& cmds) const {
    return collectWan(&upperDataPath::getFapiQosIfMapCmdList, "interface map", cmds);
}

bool fapiQosConnector::getFapiQosWanPcpMapCmds(std::vector<std::string>& cmds) const {
    return collectWan(&upperDataPath::getFapiQosPcpMapCmdList, "pcp map", cmds);
}

bool fapiQosConnector::getFapiQosWanShaperCmds(std::vector<std::string>& cmds) const {
    for (const lowDataPath& path : wanPaths) {
        if (!path.getFapiQosShaperCmdList(cmds)) {
            ZEL_Sysloglevel_error(
                moduleHandle, source, __LINE__,
                VAStr("failed getting shaper cmd list for wan path '%s'", path.getIfName().c_str()));
            return false;
        }
    }
    return true;
}

bool fapiQosConnector::collectWan(UpperCollector collector, const char* kind,
                                  std::vector<std::string>& cmds) const {
    for (const lowDataPath& wanPath : wanPaths) {
        for (const upperDataPath& path : wanPath.getUpperDataPathList()) {
            if (!(path.*collector)(cmds)) {
                ZEL_Sysloglevel_error(
                    moduleHandle, source, __LINE__,
                    VAStr("failed getting %s cmd list for wan path '%s'", kind, path.getIfName().c_str()));
                return false;
            }
        }
    }
    return true;
}

bool fapiQosConnector::collectUpper(const std::vector<upperDataPath>& paths, UpperCollector collector,
                                    const char* kind, const char* where,
                                    std::vector<std::string>& cmds) const {
    for (const upperDataPath& path : paths) {
        if (!(path.*collector)(cmds)) {
            ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                                  VAStr("could not get %s cmd list for %s data path '%s'", kind, where,
                                        path.getIfName().c_str()));
            return false;
        }
    }
    return true;
}

bool fapiQosConnector::applyFapiQosIfMapCmds() {
    return applySysCmd(fapiIfMapCmds, appliedIfMapCmds);
}

bool fapiQosConnector::applyFapiQosQueueCmds() {
    return applySysCmd(fapiQCmds, appliedQCmds);
}

bool fapiQosConnector::applyFapiQosClCmds() {
    return applySysCmd(fapiClCmds, appliedClCmds);
}

bool fapiQosConnector::applyFapiQosShaperCmds() {
    return applySysCmd(fapiShaperCmds, appliedShaperCmds);
}

bool fapiQosConnector::removeFapiQosIfMapCmds() {
    return rmSysCmd(fapiIfMapCmds, appliedIfMapCmds);
}

bool fapiQosConnector::removeFapiQosQCmds() {
    return rmSysCmd(fapiQCmds, appliedQCmds);
}

bool fapiQosConnector::removeFapiQosClCmds() {
    return rmSysCmd(fapiClCmds, appliedClCmds);
}

bool fapiQosConnector::removeFapiQosShaperCmds() {
    return rmSysCmd(fapiShaperCmds, appliedShaperCmds);
}

bool fapiQosConnector::applySysCmd(std::vector<std::string>& cmds, std::vector<std::string>& applied) {
    for (const std::string& cmd : cmds) {
        const int status = std::system(cmd.c_str());
        if (status != 0) {
            // The status as system() gives it, deliberately not decoded.
            ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                                  VAStr("failed cmd '%s' (retcode: %d)", cmd.c_str(), status));
            return false;
        }
        ZEL_Sysloglevel_info(moduleHandle, source, __LINE__, VAStr("apply success: '%s'", cmd.c_str()));
        applied.push_back(cmd);
    }
    return true;
}

bool fapiQosConnector::rmSysCmd(std::vector<std::string>& cmds, std::vector<std::string>& applied) {
    std::vector<std::string> rmCmds;
    if (!getReversedRmCmdList(cmds, rmCmds)) {
        ZEL_Sysloglevel_error(moduleHandle, source, __LINE__, "failed getting command remove list");
        return false;
    }
    for (std::string& rmCmd : rmCmds) {
        const int status = std::system(rmCmd.c_str());
        if (status != 0) {
            ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                                  VAStr("failed removing cmd '%s' (retcode: %d)", rmCmd.c_str(), status));
        } else {
            ZEL_Sysloglevel_info(moduleHandle, source, __LINE__,
                                 VAStr("remove success: '%s'", rmCmd.c_str()));
        }
        if (!eraseFirst(applied, str_replace(rmCmd, deleteFlag, addFlag))) {
            eraseFirst(applied, str_replace(rmCmd, deleteFlag, modifyFlag));
        }
    }
    return true;
}

bool fapiQosConnector::getReversedRmCmdList(const std::vector<std::string>& cmds,
                                            std::vector<std::string>& rmCmds) const {
    for (auto cmd = cmds.rbegin(); cmd != cmds.rend(); ++cmd) {
        std::string line = *cmd;
        if (contains(line, addFlag)) {
            rmCmds.push_back(str_replace(line, addFlag, deleteFlag));
        } else if (contains(line, modifyFlag)) {
            rmCmds.push_back(str_replace(line, modifyFlag, deleteFlag));
        } else {
            ZEL_Sysloglevel_error(moduleHandle, source, __LINE__,
                                  VAStr("failed creating rm command from '%s'", line.c_str()));
            return false;
        }
    }
    return true;
}

std::string fapiQosConnector::str_replace(std::string& original, std::string from, std::string to) const {
    std::string text = original;
    const std::size_t position = text.find(from);
    if (position == std::string::npos) {
        ZEL_Sysloglevel_tracedo(
            moduleHandle, source, __LINE__,
            VAStr("did not find str to replace '%s' in '%s'", from.c_str(), text.c_str()));
        return text;
    }
    return text.replace(position, from.size(), to);
}

} // namespace zel::pacerd
