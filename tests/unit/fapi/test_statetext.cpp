#include "failure.h"
#include "store.h"

#include <gtest/gtest.h>

namespace fapi {

TEST(StateText, isReadAsItWasWritten) {
    const std::string text = "ifmap ppp0 7 2 ptm0 3 ptm0 3 - 1\n"
                             "ifmap ppp0 7 2 ptm0 3 ptm0 3 2 2\n"
                             "shaper shape_wan ptm0 3 egress 20000\n"
                             "queue ppp0_q1 ppp0 7 egress 64 strict 1 tail 1 16\n"
                             "queue w ppp0 7 ingress 0 weighted 20 red 4 17\n"
                             "clsact br0 5\n"
                             "pcp ptm0.7 4 5\n"
                             "kernel 12345678901234567890 81 82 83 84 85 86 87 88 41 42 0 0 0\n";
    const State state = parseState(text);
    EXPECT_EQ(text, formatState(state));
    ASSERT_EQ(2U, state.ifMaps.size());
    EXPECT_FALSE(state.ifMaps[0].group);
    EXPECT_EQ(2U, state.ifMaps[1].uses);
    EXPECT_EQ((Interface{"ppp0", 7}), state.queues[0].owner);
    EXPECT_EQ(Direction::ingress, state.queues[1].direction);
    EXPECT_EQ(88U, state.kernel.maps[7]);
}

TEST(StateText, refusesWhatItDoesNotKnow) {
    for (const char* text :
         {"frob\n", "shaper s ptm0 3 sideways 1\n", "shaper s ptm0 x egress 1\n", "queue q ppp0\n"}) {
        EXPECT_THROW(parseState(text), Failure) << text;
    }
}

// A damaged number or a line that stands there twice would lead every later call astray.
TEST(StateText, refusesWhatTheToolsNeverWrite) {
    const std::string shaper = "shaper s ptm0 3 egress 20000\n";
    const std::string queue = "queue q ptm0 3 egress 64 weighted 20 tail 1 16\n";
    EXPECT_NO_THROW(parseState(shaper + queue));
    for (const std::string& text :
         {std::string("shaper s ptm0 3 egress 0\n"), std::string("shaper s ptm0 3 egress 100000001\n"),
          std::string("shaper s ptm0 3 egress 2305843009213693952\n"), // times 1000 it is 0
          std::string("shaper s ptm0 0 egress 20000\n"), std::string("shaper s ptm0 3 egress 20000 1\n"),
          std::string("shaper a/b ptm0 3 egress 20000\n"),
          std::string("queue q ptm0 3 egress 64 weighted 0 tail 1 16\n"), // divided by
          std::string("queue q ptm0 3 egress 64 weighted 1001 tail 1 16\n"),
          std::string("queue q ptm0 3 egress 64 strict 10 tail 1 16\n"),
          std::string("queue q ptm0 3 egress 100001 strict 1 tail 1 16\n"),
          std::string("queue q ptm0 3 egress 64 strict 1 tail 1 1\n"), // the class of all that has no queue
          std::string("queue q ptm0 3 egress 64 strict 1 tail 1 3840\n"),
          std::string("ifmap ppp0 7 2 ptm0 3 ptm0 3 - 0\n"), std::string("pcp ptm0.7 4 8\n"), shaper + shaper,
          queue + queue}) {
        EXPECT_THROW(parseState(text), Failure) << text;
    }
}

TEST(StateText, takesAnInterfaceByWhateverNameTheKernelHasIt) {
    const std::string text = "pcp wl\xc3\xa4n0 4 5\n";
    EXPECT_EQ(text, formatState(parseState(text)));
}

TEST(StateText, isReadAsFarAsItWasWrittenOverALongerOne) {
    const std::string text = "pcp ptm0.7 4 5\n";
    EXPECT_EQ(text, formatState(parseState(text + "\n\n\n")));
}

TEST(StateText, ofNothingIsNothing) {
    EXPECT_EQ("", formatState(State{}));
    EXPECT_TRUE(parseState("").empty());
}

} // namespace fapi
