// How lint's findings are written.
#pragma once

#include "pacerctl/lint/lint.h"
#include "pacerctl/report.h"

#include <iosfwd>
#include <vector>

namespace pacerctl {

void printFindings(std::ostream& out, const Style& style, const std::vector<Finding>& findings);

Json toJson(const std::vector<Finding>& findings);

} // namespace pacerctl
