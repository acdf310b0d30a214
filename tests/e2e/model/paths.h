// The data paths of the model: what discovery logs and builds.
#pragma once

#include "objects.h"

namespace e2e::model {

struct UpperPath {
    Stack stack;
    std::vector<Queue> queues;
    std::vector<Rule> rules;
    PcpMap pcpMap;

    const std::string& interface() const { return stack.front(); }
};

struct LowPath {
    std::string interface;
    std::vector<UpperPath> uppers;
    std::vector<Row> shapers;
};

struct Paths {
    std::vector<LowPath> wan;
    std::vector<UpperPath> local;
    std::vector<UpperPath> lan;
};

// False if a request has failed; the paths found so far stay.
bool discover(World& world, Paths& paths);

} // namespace e2e::model
