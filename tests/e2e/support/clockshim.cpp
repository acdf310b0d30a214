// Preloaded into a program: the clock that can be set goes wrong by the seconds in /tmp/clock-shift, from one
// moment to the next. The steady clocks stay as they are, as in a machine whose clock is set.
#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>

namespace {

time_t shift() {
    char text[32] = {};
    const int file = open("/tmp/clock-shift", O_RDONLY | O_CLOEXEC);
    if (file >= 0) {
        [[maybe_unused]] const ssize_t length = read(file, text, sizeof text - 1);
        close(file);
    }
    return std::atol(text);
}

bool canBeSet(clockid_t clock) {
    return clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE || clock == CLOCK_TAI;
}

} // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* now) noexcept {
    const long result = syscall(SYS_clock_gettime, clock, now);
    if (result == 0 && canBeSet(clock)) {
        now->tv_sec += shift();
    }
    return static_cast<int>(result);
}

int gettimeofday(timeval* now, void* /*zone*/) noexcept {
    timespec precise = {};
    const int result = clock_gettime(CLOCK_REALTIME, &precise);
    now->tv_sec = precise.tv_sec;
    now->tv_usec = precise.tv_nsec / 1000;
    return result;
}

time_t time(time_t* now) noexcept {
    timespec precise = {};
    clock_gettime(CLOCK_REALTIME, &precise);
    if (now != nullptr) {
        *now = precise.tv_sec;
    }
    return precise.tv_sec;
}
}
