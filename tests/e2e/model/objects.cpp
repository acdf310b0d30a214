#include "objects.h"

#include <sstream>
#include <stdexcept>
#include <utility>

namespace e2e::model {

namespace {

// Numbers separated by a comma or blanks; the first thing that is neither ends the list.
std::vector<int> numbersIn(const std::string& text) {
    std::vector<int> numbers;
    std::istringstream stream(text);
    int number = 0;
    while (stream >> number) {
        numbers.push_back(number);
        if (stream.peek() == ',') {
            stream.get();
        }
    }
    return numbers;
}

std::string decimal(long long number) {
    return std::to_string(number);
}

} // namespace

std::string joined(const Stack& stack) {
    std::string text;
    for (const std::string& name : stack) {
        text += (&name == &stack.front() ? "" : " <=> ") + name;
    }
    return text;
}

// --- queue

Queue buildQueue(World& world, const Row& row, const std::string& interface) {
    const std::string name = row.text("Name");
    world.trace(
        form("construct queue object for queue '%s' on phy interface '%s'", name.c_str(), interface.c_str()));
    const std::vector<int> classes = numbersIn(row.text("TrafficClasses"));
    for (const int number : classes) {
        world.info(form("found traffic class '%d' assigned to queue '%s'", number, name.c_str()));
    }
    if (classes.empty()) {
        world.error(form("could not find any traffic classes for queue '%s'", name.c_str()));
        assertionFailed("true == this->extractTrafficClasses()");
    }
    return {row, interface};
}

namespace {

std::string queueAdd(World& world, const Queue& queue, bool ingress) {
    const Row& row = queue.row;
    const std::string precedence = decimal(row.number("Precedence"));
    const std::string name = queue.interface +
                             (row.number("Precedence") == 8 ? "_def_queue" : "_q" + precedence) +
                             (ingress ? "_ing" : "");
    const bool exists = world.shell("qcfg --queue -Lall -i" + queue.interface +
                                    (ingress ? " -tingress" : "") + " | grep -qw " + name) == 0;
    if (!exists) {
        world.trace(form("queue with name '%s' does not exist yet", name.c_str()));
    }
    std::string command = std::string("qcfg --queue ") + (exists ? "-M " : "-A ") + name + " -i " +
                          queue.interface + (ingress ? " -t ingress" : " -t egress") + " -l " +
                          decimal(row.number("BufferLen"));
    const std::string scheduler = row.text("Scheduler");
    if (scheduler == "SP") {
        command += " -m sp --priority " + precedence;
    } else if (scheduler == "WFQ") {
        command += " -m wfq --weight " + decimal(row.number("WFQWeight"));
    } else {
        world.error(form("invalid scheduler algorithm config '%s'", scheduler.c_str()));
        return "";
    }
    const std::string drop = row.text("DropAlgorithm");
    if (drop != "DT" && drop != "RED") {
        world.error(form("invalid drop algorithm config '%s'", drop.c_str()));
        return "";
    }
    return command + (drop == "DT" ? " -d tail" : " -d red") + " --map " + precedence;
}

void addQueueDirection(World& world, const Queue& queue, bool ingress, Commands& commands) {
    const std::string command = queueAdd(world, queue, ingress);
    if (command.empty()) {
        world.error(form("could not gen %s queue command for queue '%s'", ingress ? "ingress" : "egress",
                         queue.row.text("Name").c_str()));
        return;
    }
    commands.push_back(command);
    world.trace(form("added queue add cmd '%s'", command.c_str()));
}

} // namespace

void addQueueCommands(World& world, const Queue& queue, Commands& commands) {
    if (queue.row.number("Enable") == 0) {
        world.info(form("skip disabled queue %s", queue.row.text("Name").c_str()));
        return;
    }
    if (queue.row.number("Egress") == 1) {
        addQueueDirection(world, queue, false, commands);
    }
    if (queue.row.number("Ingress") == 1) {
        addQueueDirection(world, queue, true, commands);
    }
}

// --- classifier rule and its action

Rule buildRule(World& world, const Row& row, const std::string& interface, bool ingress) {
    const char* const table = "QoSClassificationAction";
    const std::string expression = "true == this->findClassifyAction()";
    const std::string name = row.text("Name");
    const auto count = world.size(table);
    if (!count) {
        world.error(form("could not get size for table '%s'", table));
        assertionFailed(expression);
    }
    for (unsigned index = 0; index < *count; ++index) {
        const auto action = world.rowAt(table, index);
        if (action && action->number("Id") == row.number("QoSClassificationActionId")) {
            world.info(form("found classifier action '%s' for classifier '%s'", action->text("Name").c_str(),
                            name.c_str()));
            return {row, interface, ingress, *action};
        }
    }
    world.error(form("did not find any classifier action for classifier '%s' (id %lld)", name.c_str(),
                     row.number("Id")));
    assertionFailed(expression);
}

namespace {

// The DSCP option, or nothing if the rule has become impossible. A text that is no number ends the daemon.
std::optional<std::string> dscpMatch(World& world, const Row& row) {
    const auto found = row.cells.find("DSCPMatch");
    if (found == row.cells.end()) {
        return "";
    }
    long long dscp = 0;
    if (const auto* text = std::get_if<std::string>(&found->second)) {
        try {
            dscp = std::stoi(*text);
        } catch (const std::logic_error&) {
            throw Fatal{"stoi"};
        }
    } else {
        dscp = std::get<long long>(found->second);
    }
    if (dscp == -1) {
        return "";
    }
    if (row.number("DSCPMatchExclude") == 1) {
        world.error("exclude DSCP is not supported");
        return std::nullopt;
    }
    return " --iphdr-dscp " + decimal(dscp);
}

std::string matchHalf(World& world, const Rule& rule) {
    const Row& row = rule.row;
    const std::string name = row.text("Name");
    const bool exists = world.shell("classcfg -Lall -i" + rule.interface + " | grep -qw " + name) == 0;
    if (!exists) {
        world.trace(form("classifier with name '%s' does not exist yet", name.c_str()));
    }
    const std::string protocol = row.text("Protocol");
    if (protocol != "udp" && protocol != "tcp" && protocol != "igmp") {
        world.error(form("unsupported classifier protocol '%s'", protocol.c_str()));
        return "";
    }
    std::string command = std::string("classcfg") + (exists ? " -M " : " -A ") + name + " -i " +
                          rule.interface + " -p " + protocol;
    if (row.number("TCPACK") == 1) {
        if (protocol != "tcp") {
            world.error(form("need to select protocol tcp at rule '%s' for ack classifier", name.c_str()));
            return "";
        }
        return command + " --tcp-flags ack";
    }
    const std::pair<const char*, const char*> criteria[] = {{"DestIP", " -d "},
                                                            {"SourceIP", " -s "},
                                                            {"DestPortRange", " --dport "},
                                                            {"SourcePortRange", " --sport "}};
    for (const auto& [column, option] : criteria) {
        if (const std::string value = row.text(column); !value.empty()) {
            command +=
                option + std::string(row.number(column + std::string("Exclude")) == 1 ? "!" : "") + value;
        }
    }
    const auto dscp = dscpMatch(world, row);
    return dscp ? command + *dscp : "";
}

std::string queueInterfaceOption(World& world, const Rule& rule) {
    const std::string logical = rule.action.text("QueueInterface");
    const auto row = world.rowWith("StatusNetifWatchLogical", "Name", logical, false);
    if (!row) {
        world.error(form("could not request interface name for logic interface '%s'", logical.c_str()));
    }
    const std::string interface = row ? row->text("Interface") : "";
    if (interface.empty() || logical == "LocalLAN") {
        world.warning("skip setting queue interface, no value found");
        return "";
    }
    if (rule.ingress) {
        world.trace("skip queue interface for ingress classifier");
        return "";
    }
    return " -o " + interface;
}

std::string actionHalf(World& world, const Rule& rule) {
    const long long dscp = rule.action.number("DSCPMark");
    const long long pcp = rule.action.number("EthPriorityMark");
    const std::string mark = decimal(rule.action.number("TrafficClass"));
    std::string text = queueInterfaceOption(world, rule);
    if (dscp >= 1 && dscp <= 63) {
        text += " -j dscp --actdscp " + decimal(dscp);
    }
    if (pcp >= 1 && pcp <= 7) {
        text += " -j vlan --pcp-outer " + decimal(pcp);
    }
    text += rule.ingress ? " -j mark --mark_ing " + mark + " --mark-loc 2"
                         : " -j mark --mark " + mark + " --mark-loc 1";
    return text + " --priority " + mark;
}

} // namespace

std::string ruleCommand(World& world, const Rule& rule) {
    const std::string name = rule.row.text("Name");
    const std::string match = matchHalf(world, rule);
    const std::string action = actionHalf(world, rule);
    if (rule.row.number("Enable") == 0) {
        world.info(form("skip disabled classification command '%s'", name.c_str()));
        return "";
    }
    if (match.empty()) {
        world.error(form("error generation qos classifier command for '%s'=>'%s'", name.c_str(),
                         rule.action.text("Name").c_str()));
        return "";
    }
    return match + action;
}

// --- shaper

void addShaperCommands(World& world, const Row& shaper, Commands& commands) {
    const auto add = [&](const std::string& name, const std::string& direction) {
        commands.push_back("qcfg --port -A " + name + " -i " + shaper.text("InterfaceName") +
                           " -s cb --pir " + decimal(shaper.number("ShapingRate")) + " -t " + direction);
        world.trace(form("added shaper add cmd '%s'", commands.back().c_str()));
    };
    if (shaper.number("ShapeEgress") == 1) {
        add("shape_wan", "egress");
    }
    if (shaper.number("ShapeIngress") == 1) {
        add("shape_wan_ing", "ingress");
    }
}

// --- interface map

namespace {

// Category and ingress group of the stack's root.
int interfaceType(World& world, const std::string& interface, bool category) {
    const auto row = world.rowWith("NetworkSetupNode", "InterfaceName", interface, true);
    if (!row) {
        world.error(form("could not lookup interface type for interface '%s'", interface.c_str()));
        return category ? 8 : 6;
    }
    const std::string type = row->text("Type");
    if (type == "WANoE") {
        return category ? 1 : 3;
    }
    if (type == "MPoA") {
        return category ? 3 : 2;
    }
    return type == "XDSL" ? 2 : 8;
}

void addInterfaceMap(World& world, const std::string& interface, const std::string& root, bool ingress,
                     Commands& commands) {
    const std::string category = decimal(interfaceType(world, root, true));
    const std::string group = decimal(interfaceType(world, root, false));
    const std::string command = "ifcfg --ifmap -A " + interface + " -t" + category + " -b" + root + " -l" +
                                root + (ingress ? " -g" + group : "");
    const std::string check = "ifcfg --ifmap -L | grep -q \"" +
                              (ingress ? "INGGRP " + group : "CAT " + category) + ".*" + interface + ".*\"";
    world.trace(form("check cmd: '%s'", check.c_str()));
    if (world.shell(check) != 0) {
        commands.push_back(command);
        world.trace(form("added ifmap add cmd '%s'", command.c_str()));
        return;
    }
    world.warning(form("ifmap with cmd '%s' already exists, skip...", command.c_str()));
    world.warning(form("could not get %s ifmap command for interface '%s', maybe already configured",
                       ingress ? "ingress" : "egress", interface.c_str()));
}

} // namespace

void addInterfaceMapCommands(World& world, const Stack& stack, Commands& commands) {
    const bool layered = stack.front() != stack.back();
    if (layered) {
        addInterfaceMap(world, stack.back(), stack.back(), false, commands);
    }
    addInterfaceMap(world, stack.front(), stack.back(), false, commands);
    if (layered) {
        addInterfaceMap(world, stack.front(), stack.back(), true, commands);
    }
}

// --- PCP map

namespace {

std::string carrierOf(World& world, const std::string& logical) {
    const auto row = world.rowWith("StatusNetifWatchLogical", "Name", logical, false);
    if (!row) {
        world.error(form("failed looking up phy name for logic ifname %s", logical.c_str()));
    }
    return row ? row->text("Interface") : "";
}

bool serves(World& world, const Row& queue, long long trafficClass) {
    const std::vector<int> classes = numbersIn(queue.text("TrafficClasses"));
    if (classes.empty()) {
        world.error("could not find any traffic classes ");
    }
    for (const int each : classes) {
        if (each == trafficClass) {
            return true;
        }
    }
    return false;
}

int precedenceOf(World& world, const Stack& stack, int trafficClass) {
    const auto count = world.size("QoSQueues");
    if (!count) {
        world.error(form("could not get size of table '%s'", "QoSQueues"));
        return 0;
    }
    for (unsigned index = 0; index < *count; ++index) {
        const Row queue = *world.rowAt("QoSQueues", index);
        if (carrierOf(world, queue.text("InterfaceName")) == stack.front() &&
            serves(world, queue, trafficClass)) {
            const int precedence = static_cast<int>(queue.number("Precedence"));
            world.trace(form("found queue precedence '%d' for traffic class '%d'", precedence, trafficClass));
            return precedence;
        }
    }
    return 8;
}

// PCP of each traffic class; the classes 1 to 8 are always there.
std::map<int, int> pcpOfTrafficClasses(World& world, const Stack& stack) {
    const char* const table = "QoSClassificationAction";
    const std::string expression = "true == findEgressQToPcpMap()";
    std::map<int, int> map = {{1, 0}, {2, 0}, {3, 0}, {4, 0}, {5, 0}, {6, 0}, {7, 0}, {8, 0}};
    const auto count = world.size(table);
    if (!count) {
        world.error(form("could not get size of table '%s'", table));
        assertionFailed(expression);
    }
    for (unsigned index = 0; index < *count; ++index) {
        const Row action = *world.rowAt(table, index);
        const std::string logical = action.text("QueueInterface");
        if (carrierOf(world, logical) != stack.front()) {
            continue;
        }
        const int trafficClass = static_cast<int>(action.number("TrafficClass"));
        const int pcp = static_cast<int>(action.number("EthPriorityMark"));
        if (pcp <= 0) {
            continue;
        }
        world.trace(form("handle class action @Id%lld for queue interface %s: TC:%d=>PCP:%d",
                         action.number("Id"), logical.c_str(), trafficClass, pcp));
        int& known = map[trafficClass];
        if (known == 0) {
            known = pcp;
            world.trace(form("found PCP %d@TC%d for interface %s", pcp, trafficClass, logical.c_str()));
        } else if (known != pcp) {
            world.error(
                form("PCP for TC%d was already set to %d previously (currently updated to %d), abort!",
                     trafficClass, pcp, known));
            assertionFailed(expression);
        }
    }
    return map;
}

} // namespace

PcpMap buildPcpMap(World& world, const Stack& stack) {
    world.trace(form("construct pcp map for stack '%s'", joined(stack).c_str()));
    PcpMap map = {{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}, {5, 0}, {6, 0}, {7, 0}};
    for (const auto& [trafficClass, pcp] : pcpOfTrafficClasses(world, stack)) {
        map[8 - precedenceOf(world, stack, trafficClass)] = pcp;
    }
    std::string pairs;
    for (const auto& [key, pcp] : map) {
        pairs += "{" + decimal(key) + ":" + decimal(pcp) + "}";
    }
    world.info(form("skb=>pcp map for if '%s': %s", stack.front().c_str(), pairs.c_str()));
    return map;
}

void addPcpMapCommand(World& world, const Stack& stack, const PcpMap& map, Commands& commands) {
    for (const std::string& name : stack) {
        const auto node = world.rowWith("NetworkSetupNode", "InterfaceName", name, true);
        if (!node) {
            world.warning(form("could not get type of interface '%s'", name.c_str()));
            return;
        }
        if (node->text("Type") != "VLAN") {
            continue;
        }
        world.trace(
            form("found vlan interface '%s' in interfacestack '%s'", name.c_str(), joined(stack).c_str()));
        std::string command = "ip link set " + node->text("InterfaceName") + " type vlan egress-qos-map";
        for (const auto& [key, pcp] : map) {
            command += " " + decimal(key) + ":" + decimal(pcp);
        }
        commands.push_back(command);
        world.trace(form("added pcp map cmd '%s'", command.c_str()));
        return;
    }
    world.warning(
        form("could not find any vlan interface in stack '%s' for setting PCP map", joined(stack).c_str()));
}

} // namespace e2e::model
