#include "meter/summary.h"

#include <algorithm>
#include <limits>

namespace lab {

namespace {

int64_t percentile(const std::vector<int64_t>& sorted, uint64_t percent) {
    const uint64_t rank = (sorted.size() * percent + 99) / 100; // rounded up, counted from 1
    return sorted[std::max<uint64_t>(rank, 1) - 1];
}

} // namespace

double Summary::lossPercent() const {
    return sent == 0 ? 0.0 : 100.0 * static_cast<double>(lost) / static_cast<double>(sent);
}

Summary summarize(const std::vector<Sample>& samples) {
    return summarize(samples, std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max());
}

Summary summarize(const std::vector<Sample>& samples, int64_t from, int64_t to) {
    Summary summary;
    std::vector<int64_t> delays;
    for (const Sample& sample : samples) {
        if (sample.sent < from || sample.sent >= to) {
            continue;
        }
        ++summary.sent;
        if (sample.delay == Sample::lost) {
            ++summary.lost;
        } else {
            delays.push_back(sample.delay);
        }
    }
    if (!delays.empty()) {
        std::sort(delays.begin(), delays.end());
        summary.least = delays.front();
        summary.median = percentile(delays, 50);
        summary.p99 = percentile(delays, 99);
        summary.most = delays.back();
    }
    return summary;
}

} // namespace lab
