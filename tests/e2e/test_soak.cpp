// Weeks of a flapping line in little time. PACERD_SOAK_FLAPS says how often the WAN goes up and down
// (default 40; ./run soak: 20,000).
#include "gatewaytest.h"
#include "upkeep.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <iostream>

namespace e2e {

namespace {

#ifdef E2E_SANITIZED
constexpr int standardFlaps = 10;
#else
constexpr int standardFlaps = 40;
#endif

int flaps() {
    const char* chosen = std::getenv("PACERD_SOAK_FLAPS");
    return chosen == nullptr ? standardFlaps : std::atoi(chosen);
}

class SoakTest : public GatewayTest {
  protected:
    // Up and down once; the first round says which objects each later one is to give.
    void flap() {
        bringUp();
        const Texts objects = daemon->commands().objects();
        EXPECT_THAT(objects, Not(IsEmpty()));
        objects_ = objects_.empty() ? objects : objects_;
        EXPECT_EQ(objects, objects_);
        takeDown();
        EXPECT_THAT(daemon->commands().objects(), IsEmpty());
        // What this process keeps of the past would outweigh the daemon.
        log.clear();
        daemon->commands().clear();
    }

    void flap(int rounds) {
        for (int round = 0; round < rounds; ++round) {
            flap();
            ASSERT_FALSE(HasFailure()) << "round " << round;
        }
    }

  private:
    Texts objects_;
};

TEST_F(SoakTest, DescriptorsMemoryAndObjectsStayTheSame) {
    startDaemon(smallGateway(), {"-d", "0"});
    const pid_t id = daemon->process().id();
    const int rounds = flaps();
    constexpr int looks = 20;
    flap(std::max(10, rounds / 20)); // until all is there that is made once
    const long files = openFilesOf(id);
    Trend size; // kB over thousands of flaps
    Trend own;
    size.add(0, static_cast<double>(proportionalSizeOf(id)));
    own.add(0, static_cast<double>(ownMemoryOf(id)));
    for (int look = 1; look <= looks && !HasFatalFailure(); ++look) {
        flap(rounds / looks);
        const double thousands = look * (rounds / looks) / 1000.0;
        size.add(thousands, static_cast<double>(proportionalSizeOf(id)));
        own.add(thousands, static_cast<double>(ownMemoryOf(id)));
        EXPECT_EQ(openFilesOf(id), files);
    }
    std::cout << rounds << " flaps: " << files << " descriptors; proportional size from " << size.first()
              << " to " << size.last() << " kB, " << size.slope()
              << " kB more for each 1000 flaps; its own memory from " << own.first() << " to " << own.last()
              << " kB, " << own.slope() << " kB more\n";
#ifndef E2E_SANITIZED // which keep freed memory for a while
    // A lost byte per flap shows with many; a few pages are the allocator's play.
    EXPECT_LE(own.last() - own.first(), 16 + rounds / 1000);
    if (rounds >= 1000) { // for a short one the programs of other tests move it more
        EXPECT_LE(size.last() - size.first(), 64 + rounds / 100);
    }
#endif
    EXPECT_EQ(daemon->stop(SIGTERM), 0);
}

} // namespace

} // namespace e2e
