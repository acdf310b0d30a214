// Whether the WAN is up, and what decides it.
#pragma once

#include "pacerctl/gatewayview.h"

#include <string>
#include <vector>

namespace pacerctl {

// One of the daemon's three checks.
struct WanCheck {
    std::string name; // "dsl", "wanoe", "internet"
    bool ok = false;
    bool looked = true; // the daemon does not look at every one every time
    std::string table;
    long long rowId = 0; // 0: there is no such row
    std::string why;
};

struct WanState {
    bool up = false;
    std::vector<WanCheck> checks; // in the daemon's order
};

// The verdicts are the daemon's own.
WanState findWanState(const Snapshot& snapshot);

} // namespace pacerctl
