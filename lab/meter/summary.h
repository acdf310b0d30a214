// What a stream's samples say in a few numbers.
#pragma once

#include "meter/stream.h"

namespace lab {

struct Summary {
    uint64_t sent = 0;
    uint64_t lost = 0;
    // Delays of those that arrived, ns; 0 if none did. A percentile is the smallest delay that so many per
    // cent do not exceed.
    int64_t least = 0;
    int64_t median = 0;
    int64_t p99 = 0;
    int64_t most = 0;

    double lossPercent() const;
};

Summary summarize(const std::vector<Sample>& samples);
// Only what was sent in [from, to), ns since the epoch.
Summary summarize(const std::vector<Sample>& samples, int64_t from, int64_t to);

} // namespace lab
