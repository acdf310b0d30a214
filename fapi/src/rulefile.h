// The file `rules`: one record of fixed size for each rule, by slot.
#pragma once

#include "ruletable.h"

#include <string_view>

namespace fapi {

constexpr size_t largestRulesFile = (FAPI_RULES - 1) * sizeof(Rule); // bytes; slot 0 has no record

// Throws Failure on anything that these tools never write.
RuleTable parseRules(std::string_view bytes);

} // namespace fapi
