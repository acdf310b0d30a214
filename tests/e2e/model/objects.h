// The QoS objects of the model: what building one logs, and which add commands it gives.
#pragma once

#include "world.h"

#include <map>
#include <string>
#include <vector>

namespace e2e::model {

using Stack = std::vector<std::string>;    // upper interface first, root last
using Commands = std::vector<std::string>; // in the order in which they are applied

std::string joined(const Stack& stack);

struct Queue {
    Row row;
    std::string interface;
};
Queue buildQueue(World& world, const Row& row, const std::string& interface);
void addQueueCommands(World& world, const Queue& queue, Commands& commands);

struct Rule {
    Row row;
    std::string interface;
    bool ingress;
    Row action;
};
Rule buildRule(World& world, const Row& row, const std::string& interface, bool ingress);
// Empty if the rule is disabled or impossible.
std::string ruleCommand(World& world, const Rule& rule);

void addShaperCommands(World& world, const Row& shaper, Commands& commands);

void addInterfaceMapCommands(World& world, const Stack& stack, Commands& commands);

using PcpMap = std::map<int, int>;
PcpMap buildPcpMap(World& world, const Stack& stack);
void addPcpMapCommand(World& world, const Stack& stack, const PcpMap& map, Commands& commands);

} // namespace e2e::model
