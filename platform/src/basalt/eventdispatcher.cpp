#include "basalt/dispatcherimpl.h"

#include <basalt/net/eventdispatcher.h>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <climits>

namespace basalt::net {

namespace {

using Clock = EventSource::Clock;

// Rounded up: waking before the deadline would mean waking twice.
int millisecondsUntil(Clock::time_point then, Clock::time_point now) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(then - now).count();
    return static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
}

int waitTime(const std::vector<EventSource*>& sources, unsigned int boundMs) {
    int time = static_cast<int>(std::min<unsigned int>(boundMs, INT_MAX));
    const auto now = Clock::now();
    for (const EventSource* source : sources) {
        if (source->hasWork()) {
            return 0;
        }
        if (const auto deadline = source->deadline()) {
            time = std::min(time, millisecondsUntil(*deadline, now));
        }
    }
    return time;
}

// A program that is started with its standard streams closed would give their numbers to the first sockets
// that it opens, and whatever it prints would go there. An event loop is made before any of them.
void reserveStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) < 0) {
            ::open("/dev/null", O_RDWR); // takes the lowest free number
        }
    }
}

} // namespace

void EventDispatcher::Impl::attach(EventSource& source) {
    sources.push_back(&source);
}

void EventDispatcher::Impl::detach(EventSource& source) {
    std::erase(sources, &source);
}

EventDispatcher::EventDispatcher() {
    reserveStandardStreams();
    impl_ = std::make_unique<Impl>();
}

EventDispatcher::~EventDispatcher() = default;

int EventDispatcher::handleEvents(unsigned int boundMs) {
    impl_->stopSignals.arm();

    std::vector<pollfd> polled = {{impl_->stopSignals.descriptor(), POLLIN, 0}};
    for (const EventSource* source : impl_->sources) {
        polled.push_back({source->descriptor(), source->pollEvents(), 0}); // poll(2) passes over -1
    }
    const int ready = ::poll(polled.data(), polled.size(), waitTime(impl_->sources, boundMs));
    // Negative: a signal ended the wait. Draining loses nothing, for the program's own handler ran before the
    // descriptor became readable, and the caller looks at its flag next.
    if (ready < 0 || polled[0].revents != 0) {
        impl_->stopSignals.drain();
        return 0;
    }

    int working = 0;
    const auto now = Clock::now();
    for (std::size_t i = 0; i < impl_->sources.size(); ++i) {
        const EventSource& source = *impl_->sources[i];
        const auto deadline = source.deadline();
        if (polled[i + 1].revents != 0 || source.hasWork() || (deadline && *deadline <= now)) {
            ++working;
        }
    }
    return working;
}

} // namespace basalt::net
