#include "paths.h"

#include <algorithm>

namespace e2e::model {

namespace {

const char* const logicalTable = "StatusNetifWatchLogical";

bool isProvider(const std::string& name) {
    return name == "ProviderInternet" || name == "ProviderIPTV" || name == "ProviderVoIP" ||
           name == "ProviderTR069";
}

bool contains(const std::vector<std::string>& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

// --- upper path

std::vector<std::string> logicalInterfaces(World& world, const std::string& interface) {
    std::vector<std::string> names;
    const auto count = world.size(logicalTable);
    if (!count) {
        world.error(form("could not get size for table '%s'", logicalTable));
        assertionFailed("true == this->fillLogicalInterfaces()");
    }
    for (unsigned index = 0; index < *count; ++index) {
        const Row row = *world.rowAt(logicalTable, index);
        if (row.text("Interface") == interface) {
            names.push_back(row.text("Name"));
            world.trace(form("found logical interface '%s' assigned to phy if '%s'", names.back().c_str(),
                             interface.c_str()));
        }
    }
    return names;
}

void findQueues(World& world, UpperPath& path, const std::vector<std::string>& logical) {
    const auto count = world.size("QoSQueues");
    if (!count) {
        world.error("could not get size of table QoSQueues");
        assertionFailed("true == this->findQueues()");
    }
    for (unsigned index = 0; index < *count; ++index) {
        const Row row = *world.rowAt("QoSQueues", index);
        if (!contains(logical, row.text("InterfaceName"))) {
            continue;
        }
        world.info(form("found matching queue '%s' for wanPath '%s' (%s)", row.text("Name").c_str(),
                        joined(path.stack).c_str(), row.text("InterfaceName").c_str()));
        path.queues.push_back(buildQueue(world, row, path.interface()));
    }
    world.info(form("found %zu queues for datapath '%s'", path.queues.size(), path.interface().c_str()));
}

void findRules(World& world, UpperPath& path, const std::vector<std::string>& logical) {
    const auto count = world.size("QoSClassification");
    if (!count) {
        world.error("could not get size of table 'QoSClassificationAction'");
        assertionFailed("true == this->findClassifier()");
    }
    bool ingress = false; // sticks
    for (unsigned index = 0; index < *count; ++index) {
        const Row row = *world.rowAt("QoSClassification", index);
        const std::string interface = row.text("ClassifyInterface");
        const std::string facts = form("logical interface '%s' @id %lld (%s)", interface.c_str(),
                                       row.number("Id"), row.text("Name").c_str());
        if (!contains(logical, interface)) {
            world.trace("skip classifier for " + facts);
            continue;
        }
        world.info("found matching classifier for " + facts);
        if (isProvider(interface)) {
            world.trace(form("interface '%s' is WAN ingress interface", interface.c_str()));
            ingress = true;
        }
        path.rules.push_back(buildRule(world, row, path.interface(), ingress));
    }
}

UpperPath buildUpperPath(World& world, const Stack& stack) {
    UpperPath path{stack, {}, {}, {}};
    world.trace(form("construct upper datapath for stack '%s'", joined(stack).c_str()));
    const std::vector<std::string> logical = logicalInterfaces(world, path.interface());
    findQueues(world, path, logical);
    findRules(world, path, logical);
    world.trace(form("construct interface Map for stack '%s'", joined(stack).c_str()));
    world.info(form("found matching interface map for if '%s'", path.interface().c_str()));
    path.pcpMap = buildPcpMap(world, stack);
    return path;
}

// --- low path

bool isUp(const Row& row) {
    return row.number("IsUp") != 0 && row.text("Addr") != "0.0.0.0";
}

std::optional<std::vector<std::string>> upperInterfaces(World& world) {
    std::vector<std::string> interfaces;
    const auto count = world.size(logicalTable);
    if (!count) {
        world.error(form("could not get size for table '%s'", logicalTable));
        return std::nullopt;
    }
    for (unsigned index = 0; index < *count; ++index) {
        const Row row = *world.rowAt(logicalTable, index);
        const std::string name = row.text("Name");
        const std::string interface = row.text("Interface");
        if (!isProvider(name)) {
            world.trace(form("skip logicalInterface '%s' in searching", name.c_str()));
        } else if (interface == "off") {
            world.warning(
                form("skip searching upper interface for '%s' at '%s'", interface.c_str(), name.c_str()));
        } else if (contains(interfaces, interface)) {
            continue;
        } else if (isUp(row)) {
            interfaces.push_back(interface);
        } else {
            world.warning(form("upper wan interface '%s' is not up, skip for wan path", interface.c_str()));
        }
    }
    return interfaces;
}

std::optional<Stack> stackOf(World& world, const std::string& upper) {
    Stack stack;
    std::string parent;
    for (std::string current = upper; parent != "root"; current = parent) {
        const auto row = world.rowWith("NetworkSetupNode", "InterfaceName", current, true);
        if (!row) {
            world.error(form("could not get interface data for if '%s'", current.c_str()));
            return std::nullopt;
        }
        const std::string name = row->text("InterfaceName");
        parent = row->text("ParentInterface");
        world.trace(form("found '%s' in stack of upperIf %s", name.c_str(), upper.c_str()));
        stack.push_back(name);
        if (name.find("atm") != std::string::npos) {
            world.trace("found ATM root interface, break");
            break;
        }
    }
    return stack;
}

bool findUppers(World& world, LowPath& path) {
    const auto interfaces = upperInterfaces(world);
    if (!interfaces) {
        return false;
    }
    for (const std::string& interface : *interfaces) {
        world.trace(form("search root for upper if '%s'", interface.c_str()));
        const auto stack = stackOf(world, interface);
        if (!stack) {
            world.error(form("could not find interface stack for '%s'", interface.c_str()));
            return false;
        }
        const std::string name = joined(*stack);
        world.trace(form("found interface stack '%s' for upper if '%s'", name.c_str(), interface.c_str()));
        if (stack->back() == path.interface) {
            world.info(form("found interface stack for for this datapath: '%s'", name.c_str()));
            path.uppers.push_back(buildUpperPath(world, *stack));
        }
    }
    return true;
}

bool findShapers(World& world, LowPath& path) {
    const auto count = world.size("QoSShaper");
    if (!count) {
        world.error("could not get soze of table 'QoSShaper'");
        return false;
    }
    for (unsigned index = 0; index < *count; ++index) {
        const Row row = *world.rowAt("QoSShaper", index);
        const std::string interface = row.text("InterfaceName");
        if (interface != path.interface) {
            world.trace(
                form("skip non-matching shaper for interface '%s' at offset %u", interface.c_str(), index));
        } else if (row.number("Enable") != 1) {
            world.trace(
                form("skip disabled shaper for interface '%s' at offset %u", interface.c_str(), index));
        } else {
            world.info(form("found active shaper for interface '%s' with rate %lld", interface.c_str(),
                            row.number("ShapingRate")));
            world.trace(form("construct shaper config for interface '%s'", interface.c_str()));
            path.shapers.push_back(row);
        }
    }
    return true;
}

LowPath buildLowPath(World& world, long long id) {
    const auto node = world.rowWith("NetworkSetupNode", "Id", std::to_string(id), true);
    if (!node) {
        assertionFailed(
            "true == dbAccess.selectKey(zel::pacerd::dbm::nsn::tblName, zel::pacerd::dbm::nsn::colId, "
            "std::to_string(this->nsnId), this->nsnValues, true)");
    }
    LowPath path{node->text("InterfaceName"), {}, {}};
    world.trace(form("construct low datapath for NSN Id %lld: type = '%s', interface = '%s'", id,
                     node->text("Type").c_str(), path.interface.c_str()));
    if (!findUppers(world, path)) {
        assertionFailed("true == this->findUpperDataInterface()");
    }
    if (!findShapers(world, path)) {
        assertionFailed("true == this->findShaper()");
    }
    return path;
}

// --- discovery

bool findWan(World& world, Paths& paths) {
    for (const std::string type : {"MPoA", "XDSL", "WANoE"}) {
        const auto node = world.rowWith("NetworkSetupNode", "Type", type, false);
        if (!node) {
            world.error("failed requesting table 'NetworkSetupNode' for low wan path");
            return false;
        }
        if (node->empty()) {
            world.trace(form("low wan doesn't have type '%s'", type.c_str()));
        } else if (node->number("Enable") == 0) {
            world.info(form("skip disabled WAN path for type '%s'", type.c_str()));
        } else {
            world.info(form("found enabled low WAN path device '%s' [%s]",
                            node->text("InterfaceName").c_str(), node->text("Type").c_str()));
            paths.wan.push_back(buildLowPath(world, node->number("Id")));
            break;
        }
    }
    world.info(form("found %zu low wan paths in data flow", paths.wan.size()));
    return true;
}

bool findLocal(World& world, const std::string& name, const std::string& kind, const std::string& closing,
               std::vector<UpperPath>& paths) {
    Stack interfaces; // not emptied between matches
    const auto count = world.size(logicalTable);
    if (!count) {
        world.error(form("could not get size of table '%s'", logicalTable));
        return false;
    }
    for (unsigned index = 0; index < *count; ++index) {
        const Row row = *world.rowAt(logicalTable, index);
        if (row.text("Name") != name) {
            continue;
        }
        interfaces.push_back(row.text("Interface"));
        world.info(form("found logical interface '%s' for local %s, phy if: '%s'", name.c_str(), kind.c_str(),
                        interfaces.back().c_str()));
        paths.push_back(buildUpperPath(world, interfaces));
    }
    world.info(form("found %zu local %s paths in data flow", paths.size(), closing.c_str()));
    return true;
}

} // namespace

bool discover(World& world, Paths& paths) {
    if (!findWan(world, paths)) {
        world.error("did not find any active wan Path");
        return false;
    }
    if (!findLocal(world, "LocalLoopback", "network", "wan", paths.local)) {
        world.error("did not find any active local data paths");
        return false;
    }
    if (!findLocal(world, "LocalLAN", "LAN", "LAN", paths.lan)) {
        world.error("did not find any active LAN data path");
        return false;
    }
    return true;
}

} // namespace e2e::model
