#include "basalt/stopsignals.h"
#include "platformtest.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <random>
#include <thread>

namespace zel::test {

namespace {

using basalt::net::EventDispatcher;
using basalt::net::StopSignals;
using Clock = std::chrono::steady_clock;

volatile std::sig_atomic_t stopped = 0;

extern "C" void onStop(int /*signal*/) {
    stopped = 1;
}

// Installs the handlers as a program does, and puts everything back.
class StopSignalsTest : public testing::Test {
  protected:
    StopSignalsTest() {
        stopped = 0;
        for (std::size_t i = 0; i < signals.size(); ++i) {
            ::sigaction(signals[i], nullptr, &before[i]);
            std::signal(signals[i], onStop);
        }
    }
    ~StopSignalsTest() override {
        for (std::size_t i = 0; i < signals.size(); ++i) {
            ::sigaction(signals[i], &before[i], nullptr);
        }
    }

    static bool isReadable(int fd) {
        pollfd polled = {fd, POLLIN, 0};
        return ::poll(&polled, 1, 0) == 1;
    }

    static struct sigaction actionOf(int number) {
        struct sigaction action = {};
        ::sigaction(number, nullptr, &action);
        return action;
    }

    static constexpr std::array<int, 3> signals = {SIGINT, SIGTERM, SIGQUIT};
    std::array<struct sigaction, 3> before = {};
};

TEST_F(StopSignalsTest, each_stop_signal_calls_the_programs_handler_and_wakes) {
    StopSignals stopSignals;
    stopSignals.arm();
    for (const int number : signals) {
        stopped = 0;
        EXPECT_FALSE(isReadable(stopSignals.descriptor()));
        std::raise(number);
        EXPECT_EQ(stopped, 1);
        EXPECT_TRUE(isReadable(stopSignals.descriptor()));
        EXPECT_TRUE(isReadable(stopSignals.descriptor())) << "until it is drained";
        stopSignals.drain();
    }
    EXPECT_FALSE(isReadable(stopSignals.descriptor()));
    stopSignals.drain(); // does not block
}

TEST_F(StopSignalsTest, the_programs_flags_and_mask_stay) {
    struct sigaction own = {};
    own.sa_handler = onStop;
    own.sa_flags = SA_RESTART;
    ::sigaddset(&own.sa_mask, SIGUSR1);
    ::sigaction(SIGTERM, &own, nullptr);
    StopSignals stopSignals;
    stopSignals.arm();
    const struct sigaction armed = actionOf(SIGTERM);
    EXPECT_NE(armed.sa_flags & SA_RESTART, 0);
    EXPECT_EQ(::sigismember(&armed.sa_mask, SIGUSR1), 1);
}

TEST_F(StopSignalsTest, the_last_one_gives_the_handlers_back) {
    std::optional<StopSignals> first(std::in_place);
    first->arm();
    {
        StopSignals second;
        second.arm();
        std::raise(SIGTERM);
        EXPECT_TRUE(isReadable(first->descriptor()));
        EXPECT_TRUE(isReadable(second.descriptor()));
    }
    EXPECT_NE(actionOf(SIGTERM).sa_handler, onStop);
    first.reset();
    for (const int number : signals) {
        EXPECT_EQ(actionOf(number).sa_handler, onStop);
        EXPECT_EQ(actionOf(number).sa_flags & SA_SIGINFO, 0);
    }
}

TEST_F(StopSignalsTest, a_handler_that_the_program_installs_later_is_chained_by_the_next_arming) {
    static volatile std::sig_atomic_t later = 0;
    StopSignals stopSignals;
    stopSignals.arm();
    std::signal(SIGTERM, [](int) { later = 1; });
    stopSignals.arm();
    std::raise(SIGTERM);
    EXPECT_EQ(later, 1);
    EXPECT_EQ(stopped, 0);
    EXPECT_TRUE(isReadable(stopSignals.descriptor()));
}

TEST_F(StopSignalsTest, ignored_and_default_signals_stay_as_they_are) {
    std::signal(SIGINT, SIG_IGN);
    std::signal(SIGQUIT, SIG_DFL);
    StopSignals stopSignals;
    stopSignals.arm();
    EXPECT_EQ(actionOf(SIGINT).sa_handler, SIG_IGN);
    EXPECT_EQ(actionOf(SIGQUIT).sa_handler, SIG_DFL);
}

TEST_F(StopSignalsTest, errno_survives_a_signal) {
    StopSignals stopSignals;
    stopSignals.arm();
    // Full, so that waking once more fails with EAGAIN.
    ASSERT_EQ(::eventfd_write(stopSignals.descriptor(), UINT64_MAX - 1), 0);
    errno = E2BIG;
    std::raise(SIGTERM);
    EXPECT_EQ(errno, E2BIG);
    EXPECT_TRUE(isReadable(stopSignals.descriptor()));
}

TEST_F(StopSignalsTest, commands_inherit_neither_a_blocked_nor_an_ignored_signal) {
    const Sandbox sandbox;
    EventDispatcher dispatcher;
    dispatcher.handleEvents(0);
    const std::string command = "grep -E 'SigBlk|SigIgn' /proc/self/status > " + sandbox / "mask";
    ASSERT_EQ(std::system(command.c_str()), 0);
    const std::string mask = readFile(sandbox / "mask");
    for (const char* line : {"SigBlk:\t0000000000000000\n", "SigIgn:\t"}) {
        EXPECT_NE(mask.find(line), std::string::npos) << mask;
    }
    const unsigned long long ignored = std::stoull(mask.substr(mask.find("SigIgn:\t") + 8), nullptr, 16);
    for (const int number : signals) {
        EXPECT_EQ(ignored >> (number - 1) & 1, 0U) << number;
    }
}

TEST_F(StopSignalsTest, a_signal_between_the_flags_test_and_the_wait_ends_the_wait_at_once) {
    EventDispatcher dispatcher;
    dispatcher.handleEvents(0);
    for (int round = 0; round < 1000; ++round) {
        ASSERT_EQ(stopped, 0);
        std::raise(SIGTERM); // the flag has just been tested
        const auto begin = Clock::now();
        EXPECT_EQ(dispatcher.handleEvents(10'000), 0);
        ASSERT_LT(Clock::now() - begin, std::chrono::seconds(5));
        stopped = 0;
    }
}

TEST_F(StopSignalsTest, a_signal_ends_one_wait_and_not_the_next) {
    EventDispatcher dispatcher;
    dispatcher.handleEvents(0);
    std::raise(SIGTERM);
    EXPECT_EQ(dispatcher.handleEvents(10'000), 0);
    const auto begin = Clock::now();
    EXPECT_EQ(dispatcher.handleEvents(60), 0);
    EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(60));
}

// The loop of the daemon against signals at every possible moment. A lost one would cost ten seconds.
TEST_F(StopSignalsTest, no_signal_is_lost_at_whatever_moment_it_comes) {
    constexpr int rounds = 5000;
    EventDispatcher dispatcher;
    dispatcher.handleEvents(0);
    const pthread_t loop = ::pthread_self();
    std::atomic<int> asked = 0;
    std::thread sender([&] {
        std::mt19937 random(5);
        for (int round = 1; round <= rounds; ++round) {
            while (asked < round) {
                std::this_thread::yield();
            }
            const auto end = Clock::now() + std::chrono::nanoseconds(random() % 60'000);
            while (Clock::now() < end) {
            }
            ::pthread_kill(loop, SIGTERM);
        }
    });
    const auto begin = Clock::now();
    auto longest = Clock::duration::zero();
    for (int round = 1; round <= rounds; ++round) {
        const auto start = Clock::now();
        asked = round;
        while (stopped == 0) {
            dispatcher.handleEvents(10'000);
        }
        stopped = 0;
        longest = std::max(longest, Clock::now() - start);
    }
    sender.join();
    EXPECT_LT(longest, std::chrono::seconds(5));
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(30));
}

} // namespace

} // namespace zel::test
