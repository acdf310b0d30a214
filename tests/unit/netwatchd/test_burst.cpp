#include "netwatchd/burst.h"

#include <gtest/gtest.h>

using netwatchd::Burst;
using std::chrono::milliseconds;

namespace {

const Burst::Clock::time_point start{};

TEST(Burst, IsNotDueWithoutAnEvent) {
    Burst burst;
    EXPECT_FALSE(burst.takeDue(start + milliseconds(1000)));
    EXPECT_EQ(burst.deadline(), std::nullopt);
}

TEST(Burst, IsDueWhenNothingHasComeForTheQuietTime) {
    Burst burst;
    burst.note(start);
    EXPECT_EQ(burst.deadline(), start + milliseconds(10));
    EXPECT_FALSE(burst.takeDue(start + milliseconds(9)));
    EXPECT_TRUE(burst.takeDue(start + milliseconds(10)));
}

TEST(Burst, IsTakenOnce) {
    Burst burst;
    burst.note(start);
    EXPECT_TRUE(burst.takeDue(start + milliseconds(10)));
    EXPECT_FALSE(burst.takeDue(start + milliseconds(20)));
    EXPECT_EQ(burst.deadline(), std::nullopt);
}

TEST(Burst, IsProlongedByEachEvent) {
    Burst burst;
    burst.note(start);
    burst.note(start + milliseconds(8));
    EXPECT_FALSE(burst.takeDue(start + milliseconds(17)));
    EXPECT_TRUE(burst.takeDue(start + milliseconds(18)));
}

TEST(Burst, EndsAfterTheLongestTimeHoweverManyEventsCome) {
    Burst burst;
    for (int ms = 0; ms < 40; ++ms) {
        burst.note(start + milliseconds(ms));
        EXPECT_FALSE(burst.takeDue(start + milliseconds(ms))) << ms;
    }
    EXPECT_TRUE(burst.takeDue(start + milliseconds(40)));
}

TEST(Burst, StartsAnewAfterwards) {
    Burst burst;
    burst.note(start);
    ASSERT_TRUE(burst.takeDue(start + milliseconds(10)));
    burst.note(start + milliseconds(100));
    EXPECT_EQ(burst.deadline(), start + milliseconds(110));
}

} // namespace
