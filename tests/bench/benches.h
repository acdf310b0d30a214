// The measurements. Each prints its figures, writes its file, and returns how many targets it missed.
#pragma once

#include <string>

namespace bench {

// The daemon against a shell script that runs the same lines with the same tools.
int wanUp(const std::string& folder);

// From the commit of a change to the handler's checkConfigChange.
int latency(const std::string& folder);

// The daemon's own processor time for one WAN up, by stage and number of rules.
int processorTime(const std::string& folder);

// Memory, wake-ups and size on disk.
int footprint(const std::string& folder);

} // namespace bench
