#include "port.h"

#include <gtest/gtest.h>

namespace fapi {

namespace {

const Interface ppp0{"ppp0", 7};
const Interface ptm0{"ptm0", 3};

Queue strict(uint32_t precedence, uint16_t minor) {
    Queue queue;
    queue.name = "q" + std::to_string(precedence);
    queue.owner = ppp0;
    queue.length = 64;
    queue.value = precedence;
    queue.minor = minor;
    return queue;
}

Queue weighted(uint32_t weight, uint16_t minor) {
    Queue queue = strict(0, minor);
    queue.scheduler = Scheduler::weighted;
    queue.value = weight;
    return queue;
}

const LeafPlan& leaf(const TreePlan& tree, uint32_t handle) {
    for (const LeafPlan& leaf : tree.leaves) {
        if (leaf.handle == handle) {
            return leaf;
        }
    }
    throw std::runtime_error("no such leaf");
}

} // namespace

TEST(Plans, putQueuesOnTheBaseThatTheMapNames) {
    State state;
    state.queues.push_back(strict(1, 16));
    EXPECT_EQ(ppp0, plansOf(state).at(0).port);
    state.ifMaps.push_back({ppp0, 2, ptm0, ptm0, std::nullopt, 1});
    EXPECT_EQ(ptm0, plansOf(state).at(0).port);
}

TEST(Plans, joinTheShaperAndAllStacksOfAPort) {
    State state;
    state.ifMaps.push_back({ppp0, 2, ptm0, ptm0, std::nullopt, 1});
    state.shapers.push_back({"shape_wan", ptm0, Direction::egress, 20000});
    state.queues.push_back(strict(1, 16));
    Queue other = strict(1, 17);
    other.owner = ptm0;
    state.queues.push_back(other);
    const std::vector<PortPlan> plans = plansOf(state);
    ASSERT_EQ(1U, plans.size());
    EXPECT_EQ(20000U, plans[0].kbit);
    EXPECT_EQ(2U, plans[0].queues.size());
}

TEST(Tree, givesEachPrecedenceItsPlaceInTheOrder) {
    PortPlan plan;
    for (uint16_t precedence = 0; precedence <= 9; ++precedence) {
        plan.queues.push_back(strict(precedence, static_cast<uint16_t>(16 + precedence)));
    }
    plan.queues.push_back(weighted(1, 40));
    const TreePlan tree = treeOf(plan, 1500);
    for (uint32_t precedence = 0; precedence <= 6; ++precedence) {
        EXPECT_EQ(precedence, leaf(tree, tc::handleOf(0xfa91, 16 + precedence)).htb.prio);
    }
    EXPECT_EQ(7U, tree.rest.prio);
    for (uint32_t precedence = 7; precedence <= 9; ++precedence) {
        EXPECT_EQ(precedence - 7, leaf(tree, tc::handleOf(0xfa92, 16 + precedence)).htb.prio);
    }
    EXPECT_EQ(3U, leaf(tree, tc::handleOf(0xfa92, 40)).htb.prio);
    EXPECT_EQ(7U, leaf(tree, unclassifiedClass).htb.prio);
}

TEST(Tree, makesQuantaFollowTheWeightsAndTheLeastAWholeFrame) {
    PortPlan plan;
    plan.queues = {weighted(20, 16), weighted(40, 17), weighted(70, 18)};
    const TreePlan tree = treeOf(plan, 1500);
    EXPECT_EQ(1522U, leaf(tree, tc::handleOf(0xfa92, 16)).htb.quantum);
    EXPECT_EQ(3044U, leaf(tree, tc::handleOf(0xfa92, 17)).htb.quantum);
    EXPECT_EQ(5327U, leaf(tree, tc::handleOf(0xfa92, 18)).htb.quantum);
}

TEST(Tree, shapesTheRootClassToTheRate) {
    PortPlan plan;
    plan.kbit = 20000;
    const TreePlan fast = treeOf(plan, 1500);
    EXPECT_EQ(2'500'000U, fast.shaper.rate);
    EXPECT_EQ(fast.shaper.rate, fast.shaper.ceil);
    EXPECT_EQ(tc::ticksOf(4'000'000), fast.shaper.buffer);
    plan.kbit = 256;
    EXPECT_EQ(tc::ticksOf(95'125'000), treeOf(plan, 1500).shaper.buffer); // two frames
}

TEST(Tree, givesAQueueOfLengthZeroTheUsualLength) {
    PortPlan plan;
    plan.queues = {strict(1, 16)};
    plan.queues[0].length = 0;
    EXPECT_EQ(100U, leaf(treeOf(plan, 1500), tc::handleOf(0xfa91, 16)).packets);
}

TEST(IfbName, fitsWhateverThePortIsCalled) {
    EXPECT_EQ("fapi-in3", ifbNameOf(3));
    EXPECT_GE(15U, ifbNameOf(99999999).size());
}

} // namespace fapi
