#include "netwatchdtest.h"

using namespace netwatchd::test;

namespace {

class HoldDown : public NetwatchdTest {
  protected:
    // Returns the moment before the last time that it came up.
    StatusRecord::Clock::time_point flap(int times) {
        StatusRecord::Clock::time_point up;
        for (int i = 0; i < times; ++i) {
            ip("link set eth1 down");
            record->listen(Milliseconds(60));
            up = StatusRecord::Clock::now();
            ip("link set eth1 up");
            record->listen(Milliseconds(60));
        }
        return up;
    }
};

TEST_F(HoldDown, WithoutItEveryFlapIsWritten) {
    startAndSettle();
    for (std::size_t flap = 1; flap <= 3; ++flap) {
        ip("link set eth1 down");
        ASSERT_TRUE(record->waitForRow("ProviderInternet down 0.0.0.0"));
        ip("link set eth1 up");
        ASSERT_TRUE(record->waitForRow("ProviderInternet up 0.0.0.0"));
        EXPECT_EQ(record->entries().size(), 2 * flap);
    }
}

TEST_F(HoldDown, AFlappingInterfaceGoesDownOnceAndComesUpOnceItIsStable) {
    startAndSettle({"--hold-down", "1000"}); // longer than a busy machine may take from flap to flap
    const auto stable = flap(3);
    ASSERT_TRUE(record->waitForRow("ProviderInternet up 0.0.0.0"));
    ASSERT_EQ(record->entries().size(), 2U);
    EXPECT_THAT(record->entries()[0].rows, ElementsAre("ProviderInternet down 0.0.0.0"));
    EXPECT_LT(record->entries()[0].time, stable) << "down is not held back";
    EXPECT_GE(record->entries()[1].time - stable, Milliseconds(1000));
}

TEST_F(HoldDown, AnAddressThatComesBackIsHeldBackToo) {
    ip("address add 192.0.2.1/24 dev eth1");
    record.emplace();
    startNetwatchd({"--hold-down", "300"});
    ASSERT_TRUE(record->waitForRow("ProviderInternet up 192.0.2.1"));
    record->clear();
    ip("address del 192.0.2.1/24 dev eth1");
    ASSERT_TRUE(record->waitForRow("ProviderInternet up 0.0.0.0"));
    const auto back = StatusRecord::Clock::now();
    ip("address add 192.0.2.1/24 dev eth1");
    ASSERT_TRUE(record->waitForRow("ProviderInternet up 192.0.2.1"));
    EXPECT_GE(StatusRecord::Clock::now() - back, Milliseconds(300));
}

TEST_F(HoldDown, ARestartDoesNotTakeAWorkingWanDown) {
    startAndSettle({"--hold-down", "300"});
    netwatchd.signal(SIGKILL);
    netwatchd.wait();
    startNetwatchd({"--hold-down", "300"});
    ASSERT_TRUE(waitForLog("starting"));
    record->listen(Milliseconds(500));
    EXPECT_THAT(record->entries(), IsEmpty());
}

} // namespace
