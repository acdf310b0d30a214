// A machine of one's own for a test process: the daemon's paths are fixed, and other daemons, databases and
// tests use the same ones.
#pragma once

#include <string>
#include <vector>

namespace e2e {

// Goes on as the first process of private mount and process namespaces (without root, in a user namespace of
// its own), in which /tmp, /run and /dev are empty but for the usual devices. The folders in `kept` stay
// visible at their paths. Whatever is started in here ends with this process; daemons in the background
// become its children. Call it before the first thread. Throws std::system_error if the kernel does not allow
// it.
void enterPrivateMachine(const std::vector<std::string>& kept);

} // namespace e2e
