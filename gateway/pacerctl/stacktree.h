// The interface stacks as a tree: roots first, what hangs above them indented below them.
#pragma once

#include "pacerctl/gatewayview.h"

#include <string>
#include <vector>

namespace pacerctl {

struct StackLine {
    std::string lead; // the branches in front
    std::string text; // "ppp0 (PPP)"
    std::string note; // "ProviderInternet up 203.0.113.17"
    bool isBroken = false;
};

// Every node, every local interface, and the services without an interface.
std::vector<StackLine> stackLines(const Gateway& gateway);

} // namespace pacerctl
