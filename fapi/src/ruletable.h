// The rules of a state, by slot (1...). Copies share what was read from the store and keep only their own
// changes, so that changing one rule of thousands costs little.
#pragma once

#include "rule.h"

#include <map>
#include <memory>
#include <vector>

namespace fapi {

class RuleTable {
  public:
    RuleTable() = default;
    RuleTable(std::shared_ptr<const Rule[]> base, uint32_t count);

    uint32_t size() const { return size_; } // the highest slot that was ever used
    // A free record beyond the last.
    const Rule& at(uint32_t slot) const;
    // slot: up to size() + 1.
    Rule& edit(uint32_t slot);

    bool empty() const;                    // no rule is used
    std::vector<uint32_t> inOrder() const; // the used slots, as the rules are tried

    // Slots in which two tables that share their base can differ.
    static std::vector<uint32_t> candidates(const RuleTable& a, const RuleTable& b);

  private:
    std::shared_ptr<const Rule[]> base_;
    uint32_t baseSize_ = 0;
    uint32_t size_ = 0;
    std::map<uint32_t, Rule> edits_;
};

} // namespace fapi
