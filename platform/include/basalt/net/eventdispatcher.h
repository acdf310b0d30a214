// The event loop: the one place where the daemon waits.
#pragma once

#include <memory>

namespace basalt::net {

class EventDispatcher {
  public:
    EventDispatcher();
    EventDispatcher(const EventDispatcher&) = delete;
    EventDispatcher& operator=(const EventDispatcher&) = delete;
    ~EventDispatcher();

    // Waits until an attached client has something to do, but at most `boundMs` milliseconds. Returns the
    // number of clients that have work, so that non-zero asks the caller to process it; 0 when the bound
    // passed or a signal ended the wait.
    //
    // SIGINT, SIGTERM and SIGQUIT end the wait at once, also when they arrive between the caller's test of
    // its stop flag and this call: a platform must not lose that wake-up.
    int handleEvents(unsigned int boundMs);

    // What a platform keeps here and shares with its own notification handler is its own business.
    struct Impl;
    Impl& impl() { return *impl_; }

  private:
    std::unique_ptr<Impl> impl_;
};

} // namespace basalt::net
