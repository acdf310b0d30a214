#include "daemonmodel.h"

#include <algorithm>

namespace e2e::model {

namespace {

// In this order the changed tables of one transaction are told.
const char* const watchedTables[] = {"NetworkSetupNode", "StatusDsl", "StatusNetifWatchLogical",
                                     "QoSShaper",        "QoSQueues", "QoSClassificationAction",
                                     "QoSClassification"};

std::string replaced(const std::string& text, const std::string& from, const std::string& to) {
    const std::size_t position = text.find(from);
    return position == std::string::npos ? text : std::string(text).replace(position, from.size(), to);
}

} // namespace

DaemonModel::DaemonModel(ToolAnswers answers, bool traced, const Snapshot& snapshot)
    : world_(answers, traced) {
    world_.info("starting pacerd_ng (version 1.0.2)");
    world_.info("Now registering Confighandler...");
    world_.info("Do Inits..");
    world_.info("Now starting confighandler...");
    world_.show(snapshot);
    guarded([this] { change(""); });
}

void DaemonModel::transaction(const Snapshot& snapshot, const std::set<std::string>& tables) {
    world_.show(snapshot);
    guarded([&] {
        for (const char* table : watchedTables) {
            if (tables.count(table) > 0) {
                change(table);
            }
        }
    });
}

void DaemonModel::stop() {
    guarded([this] {
        world_.info("pacerd_ng is called to go down, do so...");
        if (initialised_) {
            removeAll();
        }
        status_ = 0;
    });
}

// What ends the daemon leaves everything that is applied as it is.
void DaemonModel::guarded(const std::function<void()>& work) {
    try {
        work();
    } catch (const Fatal& failure) {
        world_.error(failure.text);
        status_ = 1;
    }
}

void DaemonModel::change(const std::string& table) {
    if (checkConfigChange(table)) {
        processConfigChange();
    }
}

bool DaemonModel::isDslUp() {
    const auto row = world_.rowAt("StatusDsl", 0);
    if (!row) {
        world_.error("could not get values at offset 0 for table 'StatusDsl'");
        return false;
    }
    world_.info(form("DSL has state '%s'", row->text("StatusString").c_str()));
    return row->number("Status") == 4;
}

bool DaemonModel::isWanoeEnabled() {
    const auto row = world_.rowWith("NetworkSetupNode", "Type", "WANoE", false);
    if (!row) {
        world_.info("could not get Wanoe node from table 'NetworkSetupNode'");
        return false;
    }
    const bool enabled = row->number("Enable") == 1;
    world_.info(enabled ? "detected WANoE node enabled" : "WANoE is currently disabled");
    return enabled;
}

bool DaemonModel::isInternetUp() {
    const auto row = world_.rowWith("StatusNetifWatchLogical", "Name", "ProviderInternet", false);
    if (!row) {
        world_.error("could not get status of 'Name' from table 'StatusNetifWatchLogical'");
        return false;
    }
    if (row->number("IsUp") == 1 && row->text("Addr") != "0.0.0.0") {
        world_.info("detected 'ProviderInternet' is up");
        return true;
    }
    world_.info(form("current ProviderInternet state: isUp: %lld, Address: '%s'", row->number("IsUp"),
                     row->text("Addr").c_str()));
    return false;
}

bool DaemonModel::isWanUp() {
    return (isDslUp() || isWanoeEnabled()) && isInternetUp();
}

bool DaemonModel::checkConfigChange(const std::string& table) {
    if (table.empty()) {
        world_.info("initial startup in progress");
        initialised_ = true;
        state_ = 0;
    }
    previous_ = state_;
    state_ = isWanUp() ? 1 : 0;
    if (state_ == 1 && previous_ == 0 && !discover(world_, paths_)) {
        world_.error("error initializing data flows");
        stop_ = true;
        return false;
    }
    if (state_ == previous_) {
        return false;
    }
    world_.info(form("WAN up statue %d => %d", previous_, state_));
    return true;
}

void DaemonModel::processConfigChange() {
    if (state_ == 0) {
        world_.info("remove WAN QoS settings...");
        removeAll();
        return;
    }
    world_.info("apply WAN QoS settings...");
    if (!applyAll()) {
        world_.error("failed appliing qos config");
        stop_ = true;
    }
}

void DaemonModel::collect(Connector& connector) {
    const auto eachUpper = [this](const auto& visit) {
        for (const LowPath& low : paths_.wan) {
            for (const UpperPath& upper : low.uppers) {
                visit(upper);
            }
        }
    };
    const auto maps = [&](const UpperPath& path) {
        const std::size_t before = connector.maps.size();
        addInterfaceMapCommands(world_, path.stack, connector.maps);
        world_.info(form("got %zu fapi ifmap commands for interface '%s'", connector.maps.size() - before,
                         path.interface().c_str()));
        if (connector.maps.empty()) {
            world_.warning(
                "ifmap command list is empty, check log if this is caused by already applied rules in "
                "case further processing fails!");
        }
    };
    const auto queues = [&](const UpperPath& path) {
        const std::size_t before = connector.queues.size();
        for (const Queue& queue : path.queues) {
            addQueueCommands(world_, queue, connector.queues);
        }
        world_.info(form("got %zu fapi qos queue commands for interface '%s'",
                         connector.queues.size() - before, path.interface().c_str()));
    };
    const auto rules = [&](const UpperPath& path) {
        for (const Rule& rule : path.rules) {
            connector.rules.push_back(ruleCommand(world_, rule));
        }
        world_.info(form("got %zu fapi qos classifier commands for interface '%s'", path.rules.size(),
                         path.interface().c_str()));
    };
    const auto pcpMaps = [&](const UpperPath& path) {
        const std::size_t before = connector.pcpMaps.size();
        addPcpMapCommand(world_, path.stack, path.pcpMap, connector.pcpMaps);
        world_.info(form("got %zu pcp map commands for interface '%s'", connector.pcpMaps.size() - before,
                         path.interface().c_str()));
    };

    eachUpper(maps);
    for (const auto& kind : {std::function<void(const UpperPath&)>(queues), {rules}}) {
        eachUpper(kind);
        std::for_each(paths_.lan.begin(), paths_.lan.end(), kind);
        std::for_each(paths_.local.begin(), paths_.local.end(), kind);
    }
    eachUpper(pcpMaps);
    for (const LowPath& low : paths_.wan) {
        const std::size_t before = connector.shapers.size();
        for (const Row& shaper : low.shapers) {
            addShaperCommands(world_, shaper, connector.shapers);
        }
        world_.info(form("got %zu fapi qos shaper commands for interface '%s'",
                         connector.shapers.size() - before, low.interface.c_str()));
    }
}

bool DaemonModel::applyAll() {
    if (connector_) {
        world_.error("fapi qos has already been applied");
        return false;
    }
    Connector collected;
    collect(collected);
    connector_ = collected;
    const auto group = [this](const Commands& commands, const char* complaint) {
        if (applyGroup(commands)) {
            return true;
        }
        world_.error(complaint);
        return false;
    };
    if (!group(connector_->maps, "could not apply fapi ifmap") ||
        !group(connector_->queues, "could not apply qos queue commands") ||
        !group(connector_->rules, "failed applying classifier commands")) {
        return false;
    }
    world_.info("skip setting PCP egress map, done by fapi");
    return group(connector_->shapers, "failed applying shaper commands");
}

bool DaemonModel::applyGroup(const Commands& commands) {
    for (const std::string& command : commands) {
        const int status = world_.shell(command);
        if (status != 0) {
            world_.error(form("failed cmd '%s' (retcode: %d)", command.c_str(), status));
            return false;
        }
        world_.info(form("apply success: '%s'", command.c_str()));
    }
    return true;
}

void DaemonModel::removeAll() {
    if (!connector_) {
        world_.info("qos config hasn't been applied yet, skip revert");
    } else {
        removeGroup(connector_->rules);
        removeGroup(connector_->queues);
        removeGroup(connector_->shapers);
        world_.info("skip removing PCP egress map, done by fapi");
        removeGroup(connector_->maps);
        connector_.reset();
    }
    paths_ = Paths();
}

// A group with a command that cannot be turned round is left alone.
void DaemonModel::removeGroup(const Commands& commands) {
    Commands removals;
    for (auto command = commands.rbegin(); command != commands.rend(); ++command) {
        const bool add = command->find("-A") != std::string::npos;
        if (!add && command->find("-M") == std::string::npos) {
            world_.error(form("failed creating rm command from '%s'", command->c_str()));
            world_.error("failed getting command remove list");
            return;
        }
        removals.push_back(replaced(*command, add ? "-A" : "-M", "-D"));
    }
    for (const std::string& removal : removals) {
        const int status = world_.shell(removal);
        if (status != 0) {
            world_.error(form("failed removing cmd '%s' (retcode: %d)", removal.c_str(), status));
        } else {
            world_.info(form("remove success: '%s'", removal.c_str()));
        }
    }
}

} // namespace e2e::model
