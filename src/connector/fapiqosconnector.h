// Runs the command lines of all data paths, and takes them back.
#pragma once

#include "model/lowdatapath.h"
#include "model/upperdatapath.h"

#include <string>
#include <vector>

namespace zel::pacerd {

// The only place where the daemon changes the system. Construction collects every command, group by group,
// and runs none; it throws AssertionFailed when a group cannot be collected. Destruction runs none either.
//
// A command that creates something carries "-A" or "-M"; what undoes it is the same line with "-D" there.
class fapiQosConnector {
  public:
    fapiQosConnector(int handle, const std::vector<lowDataPath>& wan, const std::vector<upperDataPath>& local,
                     const std::vector<upperDataPath>& lan);

    // Append the commands of one kind of path. False at the first path that has no list.
    bool getFapiQosWanQueueCmds(std::vector<std::string>& cmds) const;
    bool getFapiQosLanQueueCmds(std::vector<std::string>& cmds) const;
    bool getFapiQosLocalQueueCmds(std::vector<std::string>& cmds) const;
    bool getFapiQosWanClassifierCmds(std::vector<std::string>& cmds) const;
    bool getFapiQosLanClassifierCmds(std::vector<std::string>& cmds) const;
    bool getFapiQosLocalClassifierCmds(std::vector<std::string>& cmds) const;
    bool getFapiQosWanIfMapCmds(std::vector<std::string>& cmds) const;
    bool getFapiQosWanPcpMapCmds(std::vector<std::string>& cmds) const;
    bool getFapiQosWanShaperCmds(std::vector<std::string>& cmds) const;

    // The groups, for programs that show what would be run.
    const std::vector<std::string>& getIfMapCmds() const { return fapiIfMapCmds; }
    const std::vector<std::string>& getQueueCmds() const { return fapiQCmds; }
    const std::vector<std::string>& getClCmds() const { return fapiClCmds; }
    const std::vector<std::string>& getPcpMapCmds() const { return fapiPcpMapCmds; }
    const std::vector<std::string>& getShaperCmds() const { return fapiShaperCmds; }

    // Run a group, first command first, up to the first that fails. The PCP map group has no such operation:
    // its commands are computed, and deliberately never run.
    bool applyFapiQosIfMapCmds();
    bool applyFapiQosQueueCmds();
    bool applyFapiQosClCmds();
    bool applyFapiQosShaperCmds();

    // Undo a group, last command first, whatever of it was applied.
    bool removeFapiQosIfMapCmds();
    bool removeFapiQosQCmds();
    bool removeFapiQosClCmds();
    bool removeFapiQosShaperCmds();

    // Runs `cmds` up to the first that fails; appends to `applied` what succeeded.
    bool applySysCmd(std::vector<std::string>& cmds, std::vector<std::string>& applied);

    // Runs the undo commands of all of `cmds`, also those that never ran, and drops each from `applied` even
    // if its undo failed; both are deliberate. False, with nothing run, when one of them cannot be undone.
    bool rmSysCmd(std::vector<std::string>& cmds, std::vector<std::string>& applied);

    // The undo commands of `cmds`, last command first. False at the first that carries neither flag.
    bool getReversedRmCmdList(const std::vector<std::string>& cmds, std::vector<std::string>& rmCmds) const;

    // A copy of `original` with the first occurrence of `from`, a plain substring, replaced.
    std::string str_replace(std::string& original, std::string from, std::string to) const;

  private:
    using UpperCollector = bool (upperDataPath::*)(std::vector<std::string>&) const;

    bool collectWan(UpperCollector collector, const char* kind, std::vector<std::string>& cmds) const;
    bool collectUpper(const std::vector<upperDataPath>& paths, UpperCollector collector, const char* kind,
                      const char* where, std::vector<std::string>& cmds) const;

    int moduleHandle;
    std::vector<lowDataPath> wanPaths;
    std::vector<upperDataPath> localPaths;
    std::vector<upperDataPath> lanPaths;
    std::vector<std::string> fapiQCmds;
    std::vector<std::string> fapiClCmds;
    std::vector<std::string> fapiIfMapCmds;
    std::vector<std::string> fapiPcpMapCmds;
    std::vector<std::string> fapiShaperCmds;
    std::vector<std::string> appliedQCmds;
    std::vector<std::string> appliedClCmds;
    std::vector<std::string> appliedIfMapCmds;
    std::vector<std::string> appliedPcpMapCmds; // never filled
    std::vector<std::string> appliedShaperCmds;
};

} // namespace zel::pacerd
