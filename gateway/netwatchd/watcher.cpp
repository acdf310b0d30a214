#include "netwatchd/watcher.h"

#include <zel/sysloglevel.h>

#include <poll.h>

#include <algorithm>
#include <climits>
#include <utility>

namespace netwatchd {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds longestWait{60'000};
constexpr milliseconds writeRetryPause{1'000};

} // namespace

Watcher::Watcher(const Options& options, int logHandle, int stopDescriptor, std::function<void()> onReady)
    : log_(logHandle), stopDescriptor_(stopDescriptor), onReady_(std::move(onReady)),
      database_(options.socketPath, logHandle, stopDescriptor), keeper_(options.holdDown) {}

void Watcher::run() {
    do {
        takeIn();
        writeIfDue();
    } while (wait());
}

void Watcher::takeIn() {
    const Clock::time_point now = Clock::now();
    const bool news = monitor_.process(now);
    if (const std::string complaint = monitor_.takeComplaint(); !complaint.empty()) {
        ZEL_Sysloglevel_warning(log_, "watcher.cpp", __LINE__, complaint);
    }
    const bool rowsChanged = database_.process();
    if (news || rowsChanged) {
        burst_.note(now);
    }
}

// Both ends have to be there; the return of either is news.
bool Watcher::canWrite() const {
    return database_.isLive() && monitor_.isComplete();
}

// What comes up together is written together, even if the kernel tells of it one after the other: the daemon
// takes in only what is up when it decides.
void Watcher::catchUp() {
    const auto rows = database_.rows();
    if (std::any_of(rows.begin(), rows.end(), [this](const StatusRow& row) {
            return monitor_.interfaces().lagsBehind(row.interface, caughtUpTo_);
        })) {
        monitor_.askForLinks();
    }
    caughtUpTo_ = monitor_.interfaces().lastPeriod();
}

void Watcher::writeIfDue() {
    const Clock::time_point now = Clock::now();
    const auto isDue = [now](const auto& time) { return time && *time <= now; };
    if (!canWrite() || (!burst_.takeDue(now) && !isDue(keeper_.deadline()) && !isDue(retryAt_))) {
        return;
    }
    retryAt_.reset();
    catchUp();
    const auto updates = keeper_.evaluate(database_.rows(), monitor_.interfaces(), now);
    if (!updates.empty() && !database_.write(updates)) {
        retryAt_ = now + writeRetryPause;
        return;
    }
    if (onReady_) {
        std::exchange(onReady_, nullptr)();
    }
}

Watcher::Clock::time_point Watcher::nextDeadline() const {
    if (database_.hasWork()) {
        return Clock::now();
    }
    Clock::time_point next = Clock::now() + longestWait;
    const auto take = [&next](const auto& deadline) {
        if (deadline) {
            next = std::min(next, *deadline);
        }
    };
    take(monitor_.deadline());
    take(database_.deadline());
    if (canWrite()) {
        take(burst_.deadline());
        take(keeper_.deadline());
        take(retryAt_);
    }
    return next;
}

bool Watcher::wait() {
    const auto left = std::chrono::ceil<milliseconds>(nextDeadline() - Clock::now()).count();
    pollfd polled[] = {
        {stopDescriptor_, POLLIN, 0},
        {monitor_.descriptor(), POLLIN, 0}, // poll(2) passes over -1
        {database_.descriptor(), database_.pollEvents(), 0},
    };
    ::poll(polled, std::size(polled), static_cast<int>(std::clamp<long long>(left, 0, INT_MAX)));
    return polled[0].revents == 0;
}

} // namespace netwatchd
