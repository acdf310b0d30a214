// Queues of one Linux interface need precedences of their own: they are the marks by which packets find them.
#pragma once

#include <optional>
#include <vector>

namespace importers {

struct WantedPrecedence {
    long long precedence = 0;
    bool isDefault = false; // at most one is
};

// For queues in the order of their rank. Precedences stay as they are if they can: different ones from 1 to
// 15, 8 for the default queue and for no other. Else they are counted from 1, before and behind the default
// queue. Nothing if there are more queues than numbers, which is more than 7 on one side of the default
// queue.
std::optional<std::vector<int>> assignPrecedences(const std::vector<WantedPrecedence>& wanted);

} // namespace importers
