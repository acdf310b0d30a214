#include "basalt/stopsignals.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <stdexcept>
#include <system_error>

namespace basalt::net {

namespace {

constexpr std::array<int, 3> stopSignals = {SIGINT, SIGTERM, SIGQUIT};

// Signal handlers are the process's, not an object's; everything they touch is lock-free.
std::array<struct sigaction, stopSignals.size()> chained;
std::array<std::atomic<int>, 8> listeners = {-1, -1, -1, -1, -1, -1, -1, -1};
static_assert(std::atomic<int>::is_always_lock_free);

void onStopSignal(int number, siginfo_t* info, void* context) {
    const int savedErrno = errno;
    for (std::size_t i = 0; i < stopSignals.size(); ++i) {
        if (stopSignals[i] != number) {
            continue;
        }
        if ((chained[i].sa_flags & SA_SIGINFO) != 0) {
            chained[i].sa_sigaction(number, info, context);
        } else {
            chained[i].sa_handler(number);
        }
    }
    for (const std::atomic<int>& listener : listeners) {
        const int descriptor = listener.load();
        if (descriptor >= 0) {
            const std::uint64_t one = 1;
            // Fails only when the counter is full, which wakes just as well.
            [[maybe_unused]] const ssize_t written = ::write(descriptor, &one, sizeof one);
        }
    }
    errno = savedErrno;
}

bool isOurs(const struct sigaction& action) {
    return (action.sa_flags & SA_SIGINFO) != 0 && action.sa_sigaction == onStopSignal;
}

bool isHandler(const struct sigaction& action) {
    return (action.sa_flags & SA_SIGINFO) != 0 ||
           (action.sa_handler != SIG_DFL && action.sa_handler != SIG_IGN);
}

void unchain() {
    for (std::size_t i = 0; i < stopSignals.size(); ++i) {
        struct sigaction current = {};
        if (::sigaction(stopSignals[i], nullptr, &current) == 0 && isOurs(current)) {
            ::sigaction(stopSignals[i], &chained[i], nullptr);
        }
    }
}

} // namespace

StopSignals::StopSignals() : descriptor_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (descriptor_ < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    for (std::atomic<int>& listener : listeners) {
        int unused = -1;
        if (listener.compare_exchange_strong(unused, descriptor_)) {
            return;
        }
    }
    ::close(descriptor_);
    throw std::length_error("too many event loops in one process");
}

StopSignals::~StopSignals() {
    bool last = true;
    for (std::atomic<int>& listener : listeners) {
        int own = descriptor_;
        listener.compare_exchange_strong(own, -1);
        last = last && listener.load() < 0;
    }
    if (last) {
        unchain();
    }
    ::close(descriptor_);
}

void StopSignals::arm() {
    for (std::size_t i = 0; i < stopSignals.size(); ++i) {
        struct sigaction current = {};
        if (::sigaction(stopSignals[i], nullptr, &current) != 0 || isOurs(current) || !isHandler(current)) {
            continue;
        }
        chained[i] = current; // our handler is not installed for this signal, so nobody reads it now
        struct sigaction ours = current;
        ours.sa_flags |= SA_SIGINFO;
        ours.sa_sigaction = onStopSignal;
        ::sigaction(stopSignals[i], &ours, nullptr);
    }
}

void StopSignals::drain() {
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t got = ::read(descriptor_, &count, sizeof count);
}

} // namespace basalt::net
