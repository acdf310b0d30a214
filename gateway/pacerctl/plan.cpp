#include "pacerctl/plan.h"

#include "config/tables.h"
#include "connector/fapiqosconnector.h"
#include "model/dataflows.h"
#include "pacerctl/snapshotclient.h"

#include <exception>

namespace pacerctl {

namespace {

namespace status = zel::pacerd::dbm::statusNifWLogic;
using zel::pacerd::dataFlows;
using zel::pacerd::fapiQosConnector;

constexpr int moduleHandle = 0;
constexpr const char* placeholderAddress = "192.0.2.1"; // of a service that is taken as up (RFC 5737)

// Endless for the daemon, so it must not be left to its classes.
std::string findEndlessWalk(const Gateway& gateway) {
    if (gateway.wanPort() == nullptr) {
        return "";
    }
    for (const Service& service : gateway.services) {
        if (!service.isProvider() || service.isOff() || !service.isUpForPath()) {
            continue;
        }
        const Stack stack = findStack(gateway, service.interface);
        if (stack.end == Stack::End::cycle) {
            return "the daemon would hang: the parents of " + service.interface + " (" + service.name +
                   ") lead back to " + stack.culprit;
        }
    }
    return "";
}

std::vector<std::string> namesOn(const Gateway& gateway, const std::string& interface) {
    std::vector<std::string> names;
    for (const Service* service : gateway.servicesOn(interface)) {
        names.push_back(service->name);
    }
    return names;
}

void addPaths(const Gateway& gateway, const dataFlows& flows, Plan& plan) {
    for (const auto& low : flows.getLowWanPaths()) {
        plan.wanPort = low.getIfName();
        for (const auto& upper : low.getUpperDataPathList()) {
            plan.paths.push_back({"wan", findStack(gateway, upper.getIfName()).interfaces,
                                  namesOn(gateway, upper.getIfName())});
        }
    }
    for (const auto& path : flows.getLocalNetworkPaths()) {
        plan.paths.push_back({"gateway", {path.getIfName()}, namesOn(gateway, path.getIfName())});
    }
    for (const auto& path : flows.getLocalLanPaths()) {
        plan.paths.push_back({"lan", {path.getIfName()}, namesOn(gateway, path.getIfName())});
    }
}

CommandGroup makeUndo(const fapiQosConnector& connector, const CommandGroup& group) {
    CommandGroup undo{group.name, {}, ""};
    if (!connector.getReversedRmCmdList(group.commands, undo.commands)) {
        const std::string& culprit = group.commands[group.commands.size() - 1 - undo.commands.size()];
        undo.commands.clear();
        undo.refusal =
            culprit.empty()
                ? "one of its commands is empty, and an empty command cannot be turned into a removal"
                : "no removal can be made of '" + culprit + "'";
    }
    return undo;
}

void addGroups(const fapiQosConnector& connector, Plan& plan) {
    plan.apply = {{"interface maps", connector.getIfMapCmds(), ""},
                  {"queues", connector.getQueueCmds(), ""},
                  {"classifiers", connector.getClCmds(), ""},
                  {"shapers", connector.getShaperCmds(), ""}};
    plan.notRun = connector.getPcpMapCmds();
    for (const std::size_t group : {2U, 1U, 3U, 0U}) { // as the daemon removes them
        plan.undo.push_back(makeUndo(connector, plan.apply[group]));
    }
}

void runModel(const Snapshot& snapshot, const Gateway& gateway, Plan& plan) {
    const SnapshotClient client(snapshot);
    dataFlows flows(moduleHandle, client);
    if (!flows.findLowWanPaths() || !flows.findLocalNetworkPaths() || !flows.findLocalLanPaths()) {
        plan.obstacle = "the daemon would stop: it cannot read the data paths";
        return;
    }
    addPaths(gateway, flows, plan);
    const fapiQosConnector connector(moduleHandle, flows.getLowWanPaths(), flows.getLocalNetworkPaths(),
                                     flows.getLocalLanPaths());
    addGroups(connector, plan);
}

void addNotes(const ListingChecks& checks, Plan& plan) {
    for (const std::string& tool : checks.missingTools) {
        plan.notes.push_back(tool + " is not in PATH: taken as if nothing were configured");
    }
    for (const std::string& line : checks.refused) {
        plan.notes.push_back("not run, because a shell would interpret it: " + line);
    }
}

} // namespace

Snapshot assumeUp(const Snapshot& snapshot, Assume assume, std::vector<std::string>& takenAsUp) {
    Snapshot assumed = snapshot;
    Rows rows = snapshot.rows(status::tblName);
    for (basalt::ValueList& row : rows) {
        const std::string name = row.getValue(status::colName).getText();
        const Service service = {0, name, row.getValue(status::colPhyName).getText(),
                                 row.getValue(status::colIsup).getInteger(),
                                 row.getValue(status::colAddr).getText()};
        const bool wanted = assume == Assume::allUp
                                ? service.isProvider()
                                : assume == Assume::internet && name == status::colLogicNameVal::pInet;
        if (!wanted || service.isOff() || service.isUpForPath()) {
            continue;
        }
        row.setValue(status::colIsup, basalt::Value(1LL));
        if (service.address == "0.0.0.0") {
            row.setValue(status::colAddr, basalt::Value(std::string(placeholderAddress)));
        }
        takenAsUp.push_back(name);
    }
    if (snapshot.hasTable(status::tblName)) {
        assumed.setTable(status::tblName, std::move(rows));
    }
    return assumed;
}

Plan makePlan(const Snapshot& snapshot, const PlanOptions& options) {
    Plan plan;
    const Snapshot assumed = assumeUp(snapshot, options.assume, plan.takenAsUp);
    const Gateway gateway(assumed);
    for (const Service& service : gateway.services) {
        if (service.isProvider() && (service.isOff() || !service.isUpForPath())) {
            plan.leftOut.push_back(service.name);
        }
    }
    if (const Node* port = gateway.wanPort()) {
        plan.wanPort = port->interface;
    }
    plan.obstacle = findEndlessWalk(gateway);
    if (!plan.obstacle.empty()) {
        return plan;
    }
    MessageCapture capture;
    ListingChecks checks(options.checks);
    try {
        runModel(assumed, gateway, plan);
    } catch (const std::exception& error) {
        plan.obstacle = std::string("the daemon would stop: ") + error.what();
    }
    addNotes(checks, plan);
    plan.messages = std::move(capture.messages);
    return plan;
}

} // namespace pacerctl
