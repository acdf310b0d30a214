// Turns a burst of events into one occasion to act.
#pragma once

#include <chrono>
#include <optional>

namespace netwatchd {

// Pulling a cable or bringing up a PPP session makes a dozen kernel messages within a few milliseconds. A
// burst is over when nothing has come for `quiet`, or `longest` after it began, whatever still comes.
class Burst {
  public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds quiet{10};
    static constexpr std::chrono::milliseconds longest{40};

    void note(Clock::time_point now);
    std::optional<Clock::time_point> deadline() const;

    // Whether a burst is over by now; then there is none any more.
    bool takeDue(Clock::time_point now);

  private:
    struct Span {
        Clock::time_point first;
        Clock::time_point last;
    };
    std::optional<Span> span_;
};

} // namespace netwatchd
