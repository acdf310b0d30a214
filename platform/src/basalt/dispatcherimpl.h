// What the platform's own classes share behind basalt/net/eventdispatcher.h.
#pragma once

#include "basalt/stopsignals.h"

#include <basalt/net/eventdispatcher.h>

#include <chrono>
#include <optional>
#include <vector>

namespace basalt::net {

// Something the event loop waits for. Asked anew before each wait.
class EventSource {
  public:
    using Clock = std::chrono::steady_clock;

    EventSource() = default;
    EventSource(const EventSource&) = delete;
    EventSource& operator=(const EventSource&) = delete;
    virtual ~EventSource() = default;

    // -1: nothing to poll for now.
    virtual int descriptor() const = 0;
    // What to poll for, as in poll(2).
    virtual short pollEvents() const = 0;
    // There is work without any further event.
    virtual bool hasWork() const = 0;
    // There will be work at that time, if nothing comes earlier.
    virtual std::optional<Clock::time_point> deadline() const = 0;
};

struct EventDispatcher::Impl {
    std::vector<EventSource*> sources;
    StopSignals stopSignals;

    void attach(EventSource& source);
    void detach(EventSource& source);
};

} // namespace basalt::net
