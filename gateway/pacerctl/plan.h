// What the daemon would run, made by the daemon's own classes.
#pragma once

#include "pacerctl/gatewayview.h"
#include "pacerctl/listingchecks.h"
#include "pacerctl/modelplatform.h"

#include <string>
#include <vector>

namespace pacerctl {

// What the plan takes for granted beyond what the tables say.
enum class Assume {
    nothing,  // the tables as they are; with the WAN down there is no WAN path
    internet, // ProviderInternet is up
    allUp,    // every provider that has an interface is up
};

struct PlanOptions {
    Assume assume = Assume::internet;
    CheckMode checks = CheckMode::run;
};

struct PlannedPath {
    std::string kind; // "wan", "gateway", "lan"
    std::vector<std::string> stack;
    std::vector<std::string> services;
};

// Commands of one kind. An empty line is what a rule without a command leaves behind.
struct CommandGroup {
    std::string name; // "interface maps", "queues", "classifiers", "shapers"
    std::vector<std::string> commands;
    // Undo only: why the daemon would remove nothing of the group; empty if it would.
    std::string refusal;
};

struct Plan {
    std::vector<std::string> takenAsUp; // services that are down in the tables
    std::vector<std::string> leftOut;   // providers that are down in this plan
    std::string wanPort;                // empty: there is none
    std::vector<PlannedPath> paths;
    std::vector<CommandGroup> apply; // in the daemon's order
    std::vector<CommandGroup> undo;  // in the daemon's order
    std::vector<std::string> notRun; // computed for the log only: PCP maps
    std::vector<ModelMessage> messages;
    std::vector<std::string> notes; // about the checks
    // Why the daemon would stop or hang instead; empty if it would not. Then there are no groups.
    std::string obstacle;
};

Plan makePlan(const Snapshot& snapshot, const PlanOptions& options);

// The snapshot with those services up that `assume` says. `takenAsUp` receives their names.
Snapshot assumeUp(const Snapshot& snapshot, Assume assume, std::vector<std::string>& takenAsUp);

} // namespace pacerctl
