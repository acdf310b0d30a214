// The traps of pacerctl lint, one list for each file of checks.
#pragma once

#include "gateways.h"
#include "pacerctl/report.h"

#include <functional>
#include <string>
#include <vector>

namespace pacerctl::test {

using Change = std::function<void(Json&)>; // of the clean gateway

struct Trap {
    // What is found in a gateway that has it, "CHECK TABLE/ID/COLUMN", the check in question first.
    std::vector<std::string> findings;
    Change set;
    Change nearMiss; // after this one the check in question finds nothing
};

std::vector<Trap> pathTraps();
std::vector<Trap> queueTraps();
std::vector<Trap> shaperTraps();
std::vector<Trap> ruleTraps();
std::vector<Trap> matchTraps();
std::vector<Trap> actionTraps();
std::vector<Trap> valueTraps();

inline void nothing(Json& /*gateway*/) {}

// Shorthands: a table's row by position.
inline Json& node(Json& gateway, std::size_t row) {
    return gateway["NetworkSetupNode"][row];
}
inline Json& service(Json& gateway, std::size_t row) {
    return gateway["StatusNetifWatchLogical"][row];
}
inline Json& shaper(Json& gateway, std::size_t row) {
    return gateway["QoSShaper"][row];
}
inline Json& queue(Json& gateway, std::size_t row) {
    return gateway["QoSQueues"][row];
}
inline Json& action(Json& gateway, std::size_t row) {
    return gateway["QoSClassificationAction"][row];
}
inline Json& rule(Json& gateway, std::size_t row) {
    return gateway["QoSClassification"][row];
}

inline void addNode(Json& gateway, int id, int enable, const char* type, const char* name,
                    const char* parent) {
    gateway["NetworkSetupNode"].push_back({{"Id", id},
                                           {"Enable", enable},
                                           {"Type", type},
                                           {"InterfaceName", name},
                                           {"ParentInterface", parent}});
}

inline void addService(Json& gateway, int id, const char* name, const char* interface) {
    gateway["StatusNetifWatchLogical"].push_back(
        {{"Id", id}, {"Name", name}, {"Interface", interface}, {"IsUp", 0}, {"Addr", "0.0.0.0"}});
}

inline void addRule(Json& gateway, int id, const char* name, std::size_t like) {
    Json copy = rule(gateway, like);
    copy["Id"] = id;
    copy["Name"] = name;
    gateway["QoSClassification"].push_back(copy);
}

inline void addQueue(Json& gateway, int id, std::size_t like) {
    Json copy = queue(gateway, like);
    copy["Id"] = id;
    gateway["QoSQueues"].push_back(copy);
}

inline void addShaper(Json& gateway, int id) {
    Json copy = shaper(gateway, 0);
    copy["Id"] = id;
    gateway["QoSShaper"].push_back(copy);
}

} // namespace pacerctl::test
