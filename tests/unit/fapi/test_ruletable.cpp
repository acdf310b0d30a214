#include "ruletable.h"

#include <gtest/gtest.h>

namespace fapi {

namespace {

RuleTable tableOf(std::vector<uint32_t> sequences) {
    const auto rules = std::make_shared<Rule[]>(sequences.size());
    Rule* rule = rules.get();
    for (const uint32_t sequence : sequences) {
        rule->used = sequence == 0 ? 0 : 1;
        rule->sequence = sequence;
        ++rule;
    }
    return {rules, static_cast<uint32_t>(sequences.size())};
}

} // namespace

TEST(RuleTable, triesRulesInTheOrderOfTheirAdding) {
    EXPECT_EQ((std::vector<uint32_t>{1, 2, 3}), tableOf({1, 2, 3}).inOrder());
    EXPECT_EQ((std::vector<uint32_t>{3, 1, 4}), tableOf({5, 0, 2, 9}).inOrder());
}

TEST(RuleTable, changesOnlyTheCopy) {
    const RuleTable original = tableOf({1, 2});
    RuleTable copy = original;
    copy.edit(2) = {};
    copy.edit(3).used = 1;
    EXPECT_EQ(1U, original.at(2).used);
    EXPECT_EQ(0U, copy.at(2).used);
    EXPECT_EQ(2U, original.size());
    EXPECT_EQ(3U, copy.size());
    EXPECT_EQ((std::vector<uint32_t>{2, 3}), RuleTable::candidates(original, copy));
}

TEST(RuleTable, withoutACommonBaseEverySlotIsACandidate) {
    EXPECT_EQ((std::vector<uint32_t>{1, 2, 3}), RuleTable::candidates(tableOf({1}), tableOf({1, 2, 3})));
}

TEST(RuleTable, isEmptyWhenNoRuleIsUsed) {
    EXPECT_TRUE(RuleTable().empty());
    EXPECT_TRUE(tableOf({0, 0}).empty());
    EXPECT_FALSE(tableOf({0, 1}).empty());
}

} // namespace fapi
