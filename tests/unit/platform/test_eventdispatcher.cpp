#include "basalt/dispatcherimpl.h"
#include "platformtest.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

namespace zel::test {

namespace {

using basalt::net::EventDispatcher;
using basalt::net::EventSource;
using Clock = EventSource::Clock;
using std::chrono::milliseconds;

class Source : public EventSource {
  public:
    explicit Source(EventDispatcher& dispatcher) : dispatcher_(dispatcher) {
        dispatcher_.impl().attach(*this);
    }
    ~Source() override { dispatcher_.impl().detach(*this); }
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    int descriptor() const override { return fd; }
    short pollEvents() const override { return POLLIN; }
    bool hasWork() const override { return work; }
    std::optional<Clock::time_point> deadline() const override { return due; }

    int fd = -1;
    bool work = false;
    std::optional<Clock::time_point> due;

  private:
    EventDispatcher& dispatcher_;
};

class EventDispatcherTest : public testing::Test {
  protected:
    EventDispatcherTest() { EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0); }
    ~EventDispatcherTest() override {
        ::close(ends[0]);
        ::close(ends[1]);
    }

    // How long handleEvents took.
    milliseconds timed(unsigned int bound, int expected) {
        const auto begin = Clock::now();
        EXPECT_EQ(dispatcher.handleEvents(bound), expected);
        return std::chrono::duration_cast<milliseconds>(Clock::now() - begin);
    }

    EventDispatcher dispatcher;
    std::array<int, 2> ends = {-1, -1};
};

TEST_F(EventDispatcherTest, waits_for_the_bound_when_there_is_nothing_to_do) {
    EXPECT_GE(timed(60, 0), milliseconds(60));
    const Source idle(dispatcher);
    EXPECT_GE(timed(60, 0), milliseconds(60));
}

TEST_F(EventDispatcherTest, returns_the_number_of_clients_with_work) {
    Source readable(dispatcher);
    Source busy(dispatcher);
    const Source idle(dispatcher);
    readable.fd = ends[0];
    EXPECT_EQ(dispatcher.handleEvents(0), 0);
    ASSERT_EQ(::write(ends[1], "x", 1), 1);
    EXPECT_LT(timed(10'000, 1), milliseconds(5000));
    busy.work = true;
    EXPECT_LT(timed(10'000, 2), milliseconds(5000));
}

TEST_F(EventDispatcherTest, wakes_for_a_deadline_and_not_before_it) {
    Source source(dispatcher);
    source.due = Clock::now() + milliseconds(80);
    EXPECT_GE(timed(10'000, 1), milliseconds(79));
    EXPECT_GE(Clock::now(), *source.due);
    EXPECT_EQ(dispatcher.handleEvents(10'000), 1) << "still due";
}

TEST_F(EventDispatcherTest, a_bound_beyond_what_poll_takes_is_no_negative_one) {
    Source source(dispatcher);
    source.due = Clock::now() + milliseconds(20);
    EXPECT_EQ(dispatcher.handleEvents(4'000'000'000U), 1);
}

TEST_F(EventDispatcherTest, a_detached_source_is_not_asked) {
    {
        Source source(dispatcher);
        source.work = true;
    }
    EXPECT_EQ(dispatcher.handleEvents(0), 0);
}

// Otherwise the log's lines for standard error would end in whatever has got its number.
TEST(EventDispatcher, puts_something_harmless_in_the_place_of_closed_standard_streams) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::close(STDIN_FILENO);
        ::close(STDERR_FILENO);
        const EventDispatcher dispatcher;
        const bool open = ::fcntl(STDIN_FILENO, F_GETFD) == 0 && ::fcntl(STDERR_FILENO, F_GETFD) == 0;
        ::_exit(open && ::write(STDERR_FILENO, "x", 1) == 1 ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

} // namespace

} // namespace zel::test
