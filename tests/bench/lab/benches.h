// Measurements of the FAPI tools on real packets and against other tools, in a run of the lab. Each prints
// its figures, writes its file, and returns how many targets it missed.
#pragma once

#include <string>

namespace bench {

// Packets that match rules and packets that narrowly do not.
int classification(const std::string& folder);

// Achieved rates against the shaper's, counted in the kernel.
int shaping(const std::string& folder);

// A call's loss and delay under a saturating load, with queues and without.
int priority(const std::string& folder);

// Shares of saturating flows against their weights.
int sharing(const std::string& folder);

// What is left after WAN up and down, and after kills.
int undo(const std::string& folder);

// One call of a tool against the same change by one call of tc or nft; listings of many objects.
int toolCost(const std::string& folder);

// Time of a call against the number of objects that are there.
int growth(const std::string& folder);

// A whole WAN up and down against FireQOS, and against one tc -batch plus one nft -f.
int wholeWan(const std::string& folder);

} // namespace bench
