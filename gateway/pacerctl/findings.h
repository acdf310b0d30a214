// How lint's findings are written.
#pragma once

#include "pacerctl/lint/lint.h"
#include "pacerctl/report.h"

#include <vector>

namespace pacerctl {

void printFindings(const Terminal& terminal, const std::vector<Finding>& findings);

Json toJson(const std::vector<Finding>& findings);

} // namespace pacerctl
