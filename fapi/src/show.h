// The listings for programs: everything configured in this network namespace, with the kernel's counters.
#pragma once

#include "session.h"

#include <string>

namespace fapi {

std::string showIfMaps(Session& session);
std::string showPorts(Session& session); // shapers, queues, and what no queue is for
std::string showRules(Session& session);

} // namespace fapi
