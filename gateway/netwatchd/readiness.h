// Tells the service manager that the program is ready.
#pragma once

#include <string>

namespace netwatchd {

// Sends READY=1 to the socket that NOTIFY_SOCKET names (the protocol of sd_notify(3), which is one datagram),
// if there is one. Returns an error in words, or nothing.
std::string announceReadiness();

} // namespace netwatchd
