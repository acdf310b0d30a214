#include "import/precedences.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace importers {

namespace {

using ::testing::ElementsAre;
using ::testing::Optional;

constexpr bool isDefault = true;

TEST(Precedences, StayAsTheyAreIfTheyCan) {
    EXPECT_THAT(assignPrecedences({{2}, {5}, {8, isDefault}, {9}}), Optional(ElementsAre(2, 5, 8, 9)));
    EXPECT_THAT(assignPrecedences({{1}, {15}}), Optional(ElementsAre(1, 15)));
}

TEST(Precedences, AreCountedAnewIfTwoAreEqual) {
    EXPECT_THAT(assignPrecedences({{4}, {4}, {6}}), Optional(ElementsAre(1, 2, 3)));
}

TEST(Precedences, LeaveEightToTheDefaultQueue) {
    EXPECT_THAT(assignPrecedences({{1}, {2, isDefault}, {3}}), Optional(ElementsAre(1, 8, 9)));
    EXPECT_THAT(assignPrecedences({{7}, {8}}), Optional(ElementsAre(1, 2)));
}

TEST(Precedences, AreCountedAnewIfTheyAreOutOfRange) {
    EXPECT_THAT(assignPrecedences({{0}, {5}}), Optional(ElementsAre(1, 2)));
    EXPECT_THAT(assignPrecedences({{5}, {16}}), Optional(ElementsAre(1, 2)));
}

TEST(Precedences, OfManyQueuesWithoutDefaultPassOverEight) {
    const std::vector<WantedPrecedence> fourteen(14, WantedPrecedence{1});
    EXPECT_THAT(assignPrecedences(fourteen),
                Optional(ElementsAre(1, 2, 3, 4, 5, 6, 7, 9, 10, 11, 12, 13, 14, 15)));
    EXPECT_EQ(assignPrecedences(std::vector<WantedPrecedence>(15, WantedPrecedence{1})), std::nullopt);
}

TEST(Precedences, EndWithSevenOnEitherSideOfTheDefaultQueue) {
    std::vector<WantedPrecedence> wanted(7, WantedPrecedence{1});
    wanted.push_back({1, isDefault});
    EXPECT_THAT(assignPrecedences(wanted), Optional(ElementsAre(1, 2, 3, 4, 5, 6, 7, 8)));
    wanted.insert(wanted.begin(), WantedPrecedence{1});
    EXPECT_EQ(assignPrecedences(wanted), std::nullopt);
    std::vector<WantedPrecedence> behind(8, WantedPrecedence{1, isDefault});
    for (std::size_t i = 1; i < behind.size(); ++i) {
        behind[i].isDefault = false;
    }
    EXPECT_THAT(assignPrecedences(behind), Optional(ElementsAre(8, 9, 10, 11, 12, 13, 14, 15)));
    behind.push_back({1});
    EXPECT_EQ(assignPrecedences(behind), std::nullopt);
}

} // namespace

} // namespace importers
