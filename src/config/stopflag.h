// The one thing that ends the daemon.
#pragma once

#include <atomic>

namespace zel::pacerd {

// Set to 1 by the stop signals and by a failed discovery or apply; never cleared. The main loop polls it. A
// signal handler may store it because the store is a single byte without a lock.
inline std::atomic<unsigned char> stopFlag{0};
static_assert(std::atomic<unsigned char>::is_always_lock_free);

} // namespace zel::pacerd
