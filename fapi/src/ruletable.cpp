#include "ruletable.h"

#include <algorithm>
#include <numeric>

namespace fapi {

RuleTable::RuleTable(std::shared_ptr<const Rule[]> base, uint32_t count)
    : base_(std::move(base)), baseSize_(count), size_(count) {}

const Rule& RuleTable::at(uint32_t slot) const {
    static const Rule none{};
    if (!edits_.empty()) {
        const auto edited = edits_.find(slot);
        if (edited != edits_.end()) {
            return edited->second;
        }
    }
    return slot >= 1 && slot <= baseSize_ ? base_[slot - 1] : none;
}

Rule& RuleTable::edit(uint32_t slot) {
    const auto [place, fresh] = edits_.try_emplace(slot);
    if (fresh) {
        place->second = slot <= baseSize_ ? base_[slot - 1] : Rule{};
    }
    size_ = std::max(size_, slot);
    return place->second;
}

bool RuleTable::empty() const {
    for (uint32_t slot = 1; slot <= size_; ++slot) {
        if (at(slot).used != 0) {
            return false;
        }
    }
    return true;
}

std::vector<uint32_t> RuleTable::inOrder() const {
    std::vector<uint32_t> slots;
    slots.reserve(size_);
    uint32_t last = 0;
    bool sorted = true;
    for (uint32_t slot = 1; slot <= size_; ++slot) {
        const Rule& rule = at(slot);
        if (rule.used != 0) {
            sorted = sorted && rule.sequence > last;
            last = rule.sequence;
            slots.push_back(slot);
        }
    }
    if (!sorted) {
        std::sort(slots.begin(), slots.end(),
                  [&](uint32_t a, uint32_t b) { return at(a).sequence < at(b).sequence; });
    }
    return slots;
}

std::vector<uint32_t> RuleTable::candidates(const RuleTable& a, const RuleTable& b) {
    std::vector<uint32_t> slots;
    if (a.base_ != b.base_) {
        slots.resize(std::max(a.size_, b.size_));
        std::iota(slots.begin(), slots.end(), 1);
        return slots;
    }
    for (const RuleTable* table : {&a, &b}) {
        for (const auto& [slot, rule] : table->edits_) {
            slots.push_back(slot);
        }
    }
    std::sort(slots.begin(), slots.end());
    slots.erase(std::unique(slots.begin(), slots.end()), slots.end());
    return slots;
}

} // namespace fapi
