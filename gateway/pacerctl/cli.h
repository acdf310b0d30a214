// pacerctl's command line.
#pragma once

#include "pacerctl/report.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace pacerctl {

// Runs one command line (without the program's name) and returns the exit status. `onTerminal`: the output
// goes to a person's terminal, which is that large.
int run(
    const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err, bool onTerminal,
    const std::function<TerminalSize()>& size = [] { return TerminalSize(); });

} // namespace pacerctl
