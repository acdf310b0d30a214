// Gateways for tests, as JSON that a test changes before it is read.
#pragma once

#include "pacerctl/snapshot.h"

#include <nlohmann/json.hpp>

namespace pacerctl::test {

// A DSL gateway in which nothing is wrong: internet (ppp0 on ptm0.7 on ptm0), telephony (ptm0.9 on ptm0), the
// home network (br0) and the gateway itself (lo); every service is up.
nlohmann::ordered_json cleanGateway();

Snapshot toSnapshot(const nlohmann::ordered_json& gateway);

// The example of that name in share/examples.
Snapshot example(const std::string& name);

} // namespace pacerctl::test
