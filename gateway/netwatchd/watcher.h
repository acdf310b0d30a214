// The program's loop: from the kernel's news to the database.
#pragma once

#include "netwatchd/burst.h"
#include "netwatchd/linkmonitor.h"
#include "netwatchd/options.h"
#include "netwatchd/statusdatabase.h"
#include "netwatchd/statuskeeper.h"

#include <chrono>
#include <cstdint>
#include <functional>

namespace netwatchd {

class Watcher {
  public:
    using Clock = std::chrono::steady_clock;

    // Ends when `stopDescriptor` becomes readable. `onReady` is called once: when the rows are for the first
    // time as the kernel has it.
    Watcher(const Options& options, int logHandle, int stopDescriptor, std::function<void()> onReady);

    void run();

  private:
    // False: it is time to stop.
    bool wait();
    Clock::time_point nextDeadline() const;
    void takeIn();
    bool canWrite() const;
    void catchUp();
    void writeIfDue();

    int log_;
    int stopDescriptor_;
    std::function<void()> onReady_;
    LinkMonitor monitor_;
    StatusDatabase database_;
    StatusKeeper keeper_;
    Burst burst_;
    std::uint64_t caughtUpTo_ = 0;             // a period of the interfaces
    std::optional<Clock::time_point> retryAt_; // of a write that failed
};

} // namespace netwatchd
