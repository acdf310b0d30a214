// The criteria and actions of a classifier rule, from the command line.
#pragma once

#include "options.h"
#include "rule.h"

#include <string>
#include <vector>

namespace fapi {

// The options of a command line of classcfg. Throws Usage.
Options ruleOptions(const std::vector<std::string>& words);

// Everything but the rule's name, interfaces, slot and place in the order. Throws Usage.
fapi_rule readRule(const Options& options);

} // namespace fapi
